// tarnhost completion and tarnhost man: what a shell and a reader of manuals want to know, made from the command line.
#include <memory>

#include "host/commands/command.h"
#include "host/completion.h"
#include "host/man_page.h"

namespace tarn::host {

namespace {

ProgramShape ShapeAround(CommandOptions command) {
    return ShapeOf(command.Program(), [](const std::string& name) { return OptionsWithoutUse(name); });
}

}  // namespace

RunCommand AddCompletionCommand(CommandOptions command, Session& session) {
    const auto shell = std::make_shared<std::string>();
    command.Add("SHELL", *shell, "The shell that is to complete").Required().OneOf({"bash", "zsh", "powershell"});
    return [shell, command, &session] {
        const ProgramShape program = ShapeAround(command);
        if (*shell == "bash") session.out << BashCompletion(program);
        if (*shell == "zsh") session.out << ZshCompletion(program);
        if (*shell == "powershell") session.out << PowerShellCompletion(program);
        return kExitOk;
    };
}

RunCommand AddManCommand(CommandOptions command, Session& session) {
    return [command, &session] {
        session.out << ManPage(ShapeAround(command), TARN_VERSION);
        return kExitOk;
    };
}

}  // namespace tarn::host
