// A module system in memory: nine modules whose functions note their calls and answer as a test sets them.
// A call into a module that is not loaded fails any test.
#ifndef TARN_TESTS_FAKES_FAKE_MODULES_H
#define TARN_TESTS_FAKES_FAKE_MODULES_H

#include <cstring>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "machine/module_system.h"
#include "modules/companions.h"

namespace tarn::fakes {

// One at a time: the functions of the modules find it by themselves.
class FakeModules final : public machine::ModuleSystem {
 public:
    FakeModules();
    ~FakeModules() override;
    FakeModules(const FakeModules&) = delete;
    FakeModules& operator=(const FakeModules&) = delete;
    static FakeModules& Current();

    // ---- What the machine is like ----
    std::u16string installFolder = u"C:\\Suite\\";
    bool hasInstallFolder = true;
    bool hostExecutableKnown = true;
    bool managed = false;
    machine::FileStart proxyFile{machine::FileStart::State::kAbsent, {}, 0};
    std::uint32_t classification = 50042;
    machine::HttpsInspectionFacts httpsFacts{true, false, 50042, true, 1};

    // ---- What the modules are like ----
    std::set<std::string> missingFiles;
    std::set<std::string> missingFunctions;
    std::set<std::string> failing;  // functions that answer false, 0 or nothing
    void* packetContext = &packetContextTarget_;
    std::vector<std::uint16_t> categories = {10, 20, 30};
    bool returnsArrayOnFailure = false;

    // The bytes that a read delivers; zeros otherwise. A read that fails delivers rubbish.
    template <class Record>
    void Give(const std::string& read, const Record& record) {
        auto& bytes = given_[read];
        bytes.resize(sizeof record);
        std::memcpy(bytes.data(), &record, sizeof record);
    }

    // ---- What happened ----
    std::vector<std::string> journal;       // "load setrd.dll", "free setrd.dll", "SCInit 1", "ReadBPStatus"
    std::vector<std::string> finds;         // functions asked for, in order
    std::vector<std::u16string> loads;      // full paths asked for
    std::vector<std::u16string> filesRead;  // paths whose start was read
    std::map<std::string, std::vector<std::uint8_t>> released;  // what a release was handed
    std::map<std::string, std::vector<std::uint8_t>> written;   // what a write was handed
    std::map<std::string, int> held;         // by read: records that are not all zero and were not released yet
    std::size_t liveArrays = 0;              // category arrays that were not released
    void** packetContextCell = nullptr;      // where PKSInit stored its context
    std::vector<std::uint32_t*> errorCells;  // that reads and starts were handed

    [[nodiscard]] std::set<std::string> Loaded() const;
    [[nodiscard]] std::size_t Count(const std::string& entry) const;
    // The journal since the last call.
    std::vector<std::string> Take();

    // ---- machine::ModuleSystem ----
    void* Load(const char16_t* path) override;
    void* Find(void* module, const char* function) override;
    void Free(void* module) override;
    bool InstallFolder(base::PathBuffer& folder) override;
    bool HostExecutableKnown() override;
    bool ManagedClientInstalled() override;
    machine::FileStart ReadFileStart(const base::PathBuffer& path) override;
    std::uint32_t SystemClassification() override;
    machine::HttpsInspectionFacts HttpsFacts() override;

    // ---- For the functions of the modules ----
    // Notes a call; whether the function is to succeed.
    bool Called(const std::string& function, const std::string& arguments = "");
    [[nodiscard]] const std::vector<std::uint8_t>* Given(const std::string& read) const;

 private:
    struct Instance {
        std::string file;
        bool loaded = true;
    };
    std::map<void*, Instance> instances_;
    std::map<std::string, std::vector<std::uint8_t>> given_;
    std::vector<std::unique_ptr<int>> handles_;
    int packetContextTarget_ = 0;
};

}  // namespace tarn::fakes

#endif
