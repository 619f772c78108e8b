#include "host/man_page.h"

#include <algorithm>
#include <cctype>
#include <fmt/format.h>
#include <sstream>

namespace tarn::host {

namespace {

// One line of text that has no meaning for the formatter.
std::string Plain(std::string_view text) {
    std::string plain;
    for (const char c : text) {
        if (c == '-')
            plain += "\\-";
        else if (c == '\\')
            plain += "\\e";
        else
            plain += c;
    }
    if (!plain.empty() && (plain[0] == '.' || plain[0] == '\'')) plain.insert(0, "\\&");
    return plain;
}

std::string Bold(std::string_view text) {
    return "\\fB" + Plain(text) + "\\fR";
}

std::string Italic(std::string_view text) {
    return "\\fI" + Plain(text) + "\\fR";
}

std::string OptionText(const OptionShape& option) {
    std::string names;
    for (const std::string& name : option.names) names += (names.empty() ? "" : ", ") + Bold(name);
    if (!option.value.empty()) names += (names.empty() ? "" : " ") + Italic(option.value);
    return fmt::format(".TP\n{}\n{}.\n", names, Plain(option.description));
}

// Paragraphs, and examples as they are.
std::string Notes(const std::string& notes) {
    std::string page;
    std::istringstream input(notes);
    bool isExample = false;
    for (std::string line; std::getline(input, line);) {
        if (line.empty()) continue;
        const bool wasExample = isExample;
        isExample = line[0] == ' ';
        if (isExample && !wasExample) page += ".RS 4\n.nf\n";
        if (!isExample) page += wasExample ? ".fi\n.RE\n.PP\n" : ".PP\n";
        page += Plain(isExample ? line.substr(line.find_first_not_of(' ')) : line) + "\n";
    }
    return page + (isExample ? ".fi\n.RE\n" : "");
}

std::string CommandText(const ProgramShape& program, const CommandShape& command) {
    std::string usage = fmt::format("{} {} [{}]", Bold(program.name), Bold(command.name), Italic("OPTIONS"));
    for (const OptionShape& argument : command.arguments) {
        const std::string one = Italic(argument.value) + (argument.isRepeated ? "..." : "");
        usage += argument.isRequired ? " " + one : " [" + one + "]";
    }
    std::string page = fmt::format(".SS {}\n{}.\n.PP\n{}\n", command.name, Plain(command.description), usage);
    for (const OptionShape& argument : command.arguments) page += OptionText(argument);
    for (const OptionShape& option : command.options) page += OptionText(option);
    return page + Notes(command.notes);
}

}  // namespace

std::string ManPage(const ProgramShape& program, std::string_view version) {
    std::string title = program.name;
    std::transform(title.begin(), title.end(), title.begin(),
                   [](char c) { return static_cast<char>(std::toupper(static_cast<unsigned char>(c))); });
    std::string page = fmt::format(".TH {} 1 \"\" \"{} {}\" \"User Commands\"\n", title, program.name, version);
    page += fmt::format(".SH NAME\n{} \\- judge captures, addresses and logons with tarn.dll\n", program.name);
    page += fmt::format(".SH SYNOPSIS\n{0} {1} [{2}] [{3}...]\n", Bold(program.name), Italic("COMMAND"),
                        Italic("OPTIONS"), Italic("ARGUMENT"));
    page += fmt::format(".SH DESCRIPTION\n{}\n", Plain(program.description));
    page += ".SH COMMANDS\n";
    for (const CommandShape& command : program.commands) page += CommandText(program, command);
    page += ".SH OPTIONS\nThey stand before or behind the command. One that does nothing for a command is refused.\n";
    for (const OptionShape& option : program.options) page += OptionText(option);
    page += ".SH EXIT STATUS\n" + Notes(program.notes).substr(4);  // a section begins a paragraph
    page +=
        ".SH ENVIRONMENT\n.TP\n.B NO_COLOR\nNo colours, unless \\fB\\-\\-color always\\fR asks for them.\n"
        ".TP\n.B COLUMNS\nThe width of the terminal, instead of the one that the terminal says.\n";
    return page;
}

}  // namespace tarn::host
