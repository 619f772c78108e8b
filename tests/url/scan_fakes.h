// What a URL scan asks of the system, scripted: the users of processes, the quarantine module.
// The rules under test never see that nothing of it is real.
#ifndef TARN_TESTS_URL_SCAN_FAKES_H
#define TARN_TESTS_URL_SCAN_FAKES_H

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tarn/companions.h"

#include "fakes/no_modules.h"
#include "fakes/processes.h"

namespace tarn::url {

// Notes whose user is asked for.
class AskedProcesses final : public fakes::OneProgram {
 public:
    bool GetProcessUser(std::uint32_t processId, machine::ProcessUser& found) override {
        asked.push_back(processId);
        return OneProgram::GetProcessUser(processId, found);
    }

    std::vector<std::uint32_t> asked;
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
class QuarantineModules final : public fakes::NoModules {
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

    std::vector<std::u16string> loaded;
};

}  // namespace tarn::url

#endif
