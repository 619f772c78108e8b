// A machine without a system: no companion module loads, the clock stands where the test puts it, ini files are texts.
#ifndef TARN_TESTS_API_FAKE_PLATFORM_H
#define TARN_TESTS_API_FAKE_PLATFORM_H

#include <algorithm>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "fakes/clocks.h"
#include "fakes/no_modules.h"
#include "fakes/processes.h"
#include "machine/machine.h"

namespace tarn::api {

class NoSessions final : public machine::LiveSessionSource {
 public:
    bool ListSessions(std::vector<std::uint32_t>&) override { return false; }
    std::u16string DomainName(std::uint32_t) override { return {}; }
    std::u16string UserName(std::uint32_t) override { return {}; }
    bool ResolveAccount(const std::u16string&, std::array<std::uint8_t, 68>&) override { return false; }
};

class FakePlatform final : public machine::Machine {
 public:
    machine::ModuleSystem& Modules() override { return modules; }
    machine::ProcessInspector& Processes() override { return processes; }
    const machine::LocalClock& Clock() override { return clock; }
    machine::LiveSessionSource& LiveSessions() override { return sessions; }
    std::uint32_t ReadIniInteger(const base::PathBuffer& file, const char16_t* section, const char16_t* key,
                                 std::uint32_t defaultValue) override {
        const auto found = integers.find(Name(file, section, key));
        return found == integers.end() ? defaultValue : found->second;
    }
    std::size_t ReadIniText(const base::PathBuffer& file, const char16_t* section, const char16_t* key,
                            std::span<char16_t> text) override {
        const auto found = texts.find(Name(file, section, key));
        const std::u16string& value = found == texts.end() ? std::u16string() : found->second;
        const std::size_t length = std::min(value.size(), text.size() - 1);
        std::copy_n(value.begin(), length, text.begin());
        text[length] = u'\0';
        return length;
    }

    bool SetTcpRow(const machine::TcpTableRow& row) override {
        tcpRows.push_back(row);
        return true;
    }

    fakes::NoModules modules;
    fakes::NoProcesses processes;
    NoSessions sessions;
    fakes::UtcClock clock;
    // By "file [section] key".
    std::map<std::u16string, std::uint32_t> integers;
    std::map<std::u16string, std::u16string> texts;
    std::vector<machine::TcpTableRow> tcpRows;  // all that were set

 private:
    static std::u16string Name(const base::PathBuffer& file, const char16_t* section, const char16_t* key) {
        return std::u16string(base::FieldText(file)) + u" [" + section + u"] " + key;
    }
};

}  // namespace tarn::api

#endif
