// What a URL scan asks of the system, scripted: processes, clock, the quarantine module.
// The rules under test never see that nothing of it is real.
#ifndef TARN_TESTS_URL_SCAN_FAKES_H
#define TARN_TESTS_URL_SCAN_FAKES_H

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

#include "tarn/companions.h"

#include "fakes/latin_text.h"
#include "machine/local_time.h"
#include "machine/module_system.h"
#include "machine/process_inspector.h"

namespace tarn::url {

// One user for every process; a path and quarantine module that a test may take away.
class FakeProcesses final : public machine::ProcessInspector {
 public:
    bool GetProcessUser(std::uint32_t processId, machine::ProcessUser& found) override {
        asked.push_back(processId);
        if (!userKnown) return false;
        found = user;
        return true;
    }
    bool GetProcessImagePath(std::uint32_t, base::PathBuffer& path, std::uint32_t& error) override {
        error = pathKnown ? 0 : 5;
        base::CopyText(path, executable);
        return pathKnown;
    }
    std::uint32_t CurrentProcessId() override { return 999; }
    bool ToWide(std::string_view text, std::span<char16_t> wide) override { return fakes::LatinToWide(text, wide); }

    bool userKnown = true;
    bool pathKnown = true;
    machine::ProcessUser user{{u'K', u'i', u'm'}, {1, 5, 7}};
    std::u16string executable = u"C:\\Programs\\Reader.exe";
    std::vector<std::uint32_t> asked;
};

class FakeClock final : public machine::LocalClock {
 public:
    [[nodiscard]] TarnSystemTime Now() const override { return time; }
    [[nodiscard]] std::optional<std::int64_t> ToSeconds(const TarnSystemTime&) const override { return std::nullopt; }
    [[nodiscard]] std::optional<TarnSystemTime> ToLocal(std::int64_t) const override { return std::nullopt; }
    TarnSystemTime time{2026, 3, 4, 5, 6, 7, 8, 9};
};

// What the quarantine module was handed.
struct QuarantineScript {
    bool moduleThere = true;
    bool answer = true;
    int loads = 0;
    int frees = 0;
    std::function<void()> whileLoaded;  // called before the module answers
    std::vector<std::u16string> paths;
    std::vector<std::u16string> urls;
    QuarantineRequest last{};
};
inline QuarantineScript* quarantineScript = nullptr;

inline std::uint8_t TARN_CALL QuarantineFile(const char16_t* path, std::uint64_t a, const QuarantineRequest* request,
                                             std::uint64_t b, std::uint64_t c, std::uint64_t d, std::uint64_t* out1,
                                             std::uint32_t* out2) {
    EXPECT_EQ(a | b | c | d, 0U);
    *out1 = 1;
    *out2 = 2;
    if (quarantineScript->whileLoaded) quarantineScript->whileLoaded();
    quarantineScript->paths.emplace_back(path);
    quarantineScript->urls.emplace_back(request->url);
    quarantineScript->last = *request;
    return quarantineScript->answer ? 1 : 0;
}

// Only the quarantine module is ever loaded while scans run.
class FakeModules final : public machine::ModuleSystem {
 public:
    void* Load(const char16_t* path) override {
        loaded.emplace_back(path);
        if (!quarantineScript->moduleThere) return nullptr;
        ++quarantineScript->loads;
        return this;
    }
    void* Find(void*, const char* function) override {
        return std::string_view(function) == "ZRQuarantineFile" ? reinterpret_cast<void*>(QuarantineFile) : nullptr;
    }
    void Free(void*) override { ++quarantineScript->frees; }
    bool InstallFolder(base::PathBuffer& folder) override {
        return base::Succeeded(base::CopyText(folder, u"C:\\suite\\"));
    }
    bool HostExecutableKnown() override { return true; }
    bool ManagedClientInstalled() override { return false; }
    machine::FileStart ReadFileStart(const base::PathBuffer&) override { return {}; }
    std::uint32_t SystemClassification() override { return 0; }
    machine::HttpsInspectionFacts HttpsFacts() override { return {}; }

    std::vector<std::u16string> loaded;
};

}  // namespace tarn::url

#endif
