// Process inspectors of machines with one user and with none.
#ifndef TARN_TESTS_FAKES_PROCESSES_H
#define TARN_TESTS_FAKES_PROCESSES_H

#include <string>

#include "fakes/latin_text.h"
#include "machine/process_inspector.h"

namespace tarn::fakes {

// Every process runs the same executable as the same user; either can be made unknown. Answers allocate nothing.
class OneProgram : public machine::ProcessInspector {
 public:
    bool GetProcessUser(std::uint32_t, machine::ProcessUser& found) override {
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
    bool ToWide(std::string_view text, std::span<char16_t> wide) override { return LatinToWide(text, wide); }

    bool userKnown = true;
    bool pathKnown = true;
    machine::ProcessUser user{{u'K', u'i', u'm'}, {1, 5, 7}};
    std::u16string executable = u"C:\\Programs\\Reader.exe";
};

// Nothing can be found out.
class NoProcesses final : public machine::ProcessInspector {
 public:
    bool GetProcessUser(std::uint32_t, machine::ProcessUser&) override { return false; }
    bool GetProcessImagePath(std::uint32_t, base::PathBuffer&, std::uint32_t&) override { return false; }
    std::uint32_t CurrentProcessId() override { return 1; }
    bool ToWide(std::string_view, std::span<char16_t>) override { return false; }
};

}  // namespace tarn::fakes

#endif
