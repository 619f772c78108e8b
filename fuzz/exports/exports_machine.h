// The machine that the exports' world runs on: scripted modules, one program with a user, sessions, a clock, ini files.
#ifndef TARN_FUZZ_EXPORTS_EXPORTS_MACHINE_H
#define TARN_FUZZ_EXPORTS_EXPORTS_MACHINE_H

#include <string>
#include <vector>

#include "api/fake_platform.h"
#include "api/machine_with_modules.h"
#include "fakes/processes.h"
#include "machine/machine.h"
#include "making/module_records.h"

namespace tarn::fuzz {

class FewSessions final : public machine::LiveSessionSource {
 public:
    bool ListSessions(std::vector<std::uint32_t>& sessionIds) override {
        for (std::uint32_t id = 1; id <= count; ++id) sessionIds.push_back(id);
        return canList;
    }
    std::u16string DomainName(std::uint32_t sessionId) override { return sessionId % 2 == 0 ? u"" : u"HOUSE"; }
    std::u16string UserName(std::uint32_t sessionId) override {
        return sessionId % 4 == 3 ? std::u16string() : std::u16string(1, static_cast<char16_t>(u'a' + sessionId));
    }
    bool ResolveAccount(const std::u16string& account, std::array<std::uint8_t, 68>& sid) override {
        sid.fill(0);
        ModuleRecords::PutSid(static_cast<std::uint8_t>(account.back() % 4), sid.data());
        return account.back() % 8 != 5;
    }

    std::uint32_t count = 2;
    bool canList = true;
};

class ExportsMachine final : public machine::Machine {
 public:
    machine::ModuleSystem& Modules() override { return modules; }
    machine::ProcessInspector& Processes() override { return processes; }
    const machine::LocalClock& Clock() override { return bare.Clock(); }
    machine::LiveSessionSource& LiveSessions() override { return sessions; }
    std::uint32_t ReadIniInteger(const base::PathBuffer& file, const char16_t* section, const char16_t* key,
                                 std::uint32_t defaultValue) override {
        return bare.ReadIniInteger(file, section, key, defaultValue);
    }
    std::size_t ReadIniText(const base::PathBuffer& file, const char16_t* section, const char16_t* key,
                            std::span<char16_t> text) override {
        return bare.ReadIniText(file, section, key, text);
    }
    bool SetTcpRow(const machine::TcpTableRow& row) override { return bare.SetTcpRow(row); }

    api::LosingModules modules;
    api::FakePlatform bare;
    fakes::OneProgram processes;
    FewSessions sessions;
};

}  // namespace tarn::fuzz

#endif
