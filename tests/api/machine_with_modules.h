// A machine in which the companion modules load, as FakeModules scripts them, from an install folder that can be lost.
// Functions can be put in place of the scripted ones.
#ifndef TARN_TESTS_API_MACHINE_WITH_MODULES_H
#define TARN_TESTS_API_MACHINE_WITH_MODULES_H

#include <map>
#include <string>

#include "api/fake_platform.h"
#include "fakes/fake_modules.h"
#include "support/uncounted.h"

namespace tarn::api {

class LosingModules final : public machine::ModuleSystem {
 public:
    void* Load(const char16_t* path) override { return inner.Load(path); }
    void* Find(void* module, const char* function) override {
        const support::Uncounted pause;
        const auto replaced = replacements.find(function);
        return replaced == replacements.end() ? inner.Find(module, function) : replaced->second;
    }
    void Free(void* module) override { inner.Free(module); }
    bool InstallFolder(base::PathBuffer& folder) override {
        if (++asked == lostAt) return false;
        return inner.InstallFolder(folder);
    }
    bool HostExecutableKnown() override { return inner.HostExecutableKnown(); }
    bool ManagedClientInstalled() override { return inner.ManagedClientInstalled(); }
    machine::FileStart ReadFileStart(const base::PathBuffer& path) override { return inner.ReadFileStart(path); }
    std::uint32_t SystemClassification() override { return inner.SystemClassification(); }
    machine::HttpsInspectionFacts HttpsFacts() override { return inner.HttpsFacts(); }

    template <class Function>
    void Replace(const std::string& name, Function* function) {
        replacements[name] = reinterpret_cast<void*>(function);
    }

    fakes::FakeModules inner;
    std::map<std::string, void*> replacements;
    int asked = 0;
    int lostAt = 0;  // the call that fails, counted from 1; 0 = none
};

class MachineWithModules final : public machine::Machine {
 public:
    machine::ModuleSystem& Modules() override { return modules; }
    machine::ProcessInspector& Processes() override { return bare.Processes(); }
    const machine::LocalClock& Clock() override { return bare.Clock(); }
    machine::LiveSessionSource& LiveSessions() override { return bare.LiveSessions(); }
    std::uint32_t ReadIniInteger(const base::PathBuffer& file, const char16_t* section, const char16_t* key,
                                 std::uint32_t defaultValue) override {
        const support::Uncounted pause;
        return bare.ReadIniInteger(file, section, key, defaultValue);
    }
    std::size_t ReadIniText(const base::PathBuffer& file, const char16_t* section, const char16_t* key,
                            std::span<char16_t> text) override {
        const support::Uncounted pause;
        return bare.ReadIniText(file, section, key, text);
    }
    bool SetTcpRow(const machine::TcpTableRow& row) override { return bare.SetTcpRow(row); }

    LosingModules modules;
    FakePlatform bare;
};

}  // namespace tarn::api

#endif
