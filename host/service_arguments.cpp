#include "host/service_arguments.h"

#include <algorithm>
#include <iterator>

#include "host/commands/command.h"

namespace tarn::host {

namespace {

constexpr std::string_view kService = "--service";
constexpr std::string_view kFileOptions[] = {"--policy", "--keep-state", "--install-folder", "--events"};

// The value of "--name value" or "--name=value" at this place; null for another option. at moves to the value.
std::string* ValueAt(std::vector<std::string>& arguments, std::size_t& at, std::string_view name, std::size_t& begin) {
    std::string& argument = arguments[at];
    if (argument == name && at + 1 < arguments.size()) {
        begin = 0;
        return &arguments[++at];
    }
    if (!argument.starts_with(name) || argument.size() <= name.size() || argument[name.size()] != '=') return nullptr;
    begin = name.size() + 1;
    return &argument;
}

}  // namespace

bool AsksToRunAsService(const std::vector<std::string>& arguments) {
    std::vector<std::string> copy = arguments;
    bool isRun = false;
    for (std::size_t i = 0; i < copy.size(); ++i) {
        std::size_t begin = 0;
        if (const std::string* value = ValueAt(copy, i, kService, begin)) isRun = value->substr(begin) == "run";
    }
    return isRun && std::find(arguments.begin(), arguments.end(), "serve") != arguments.end();
}

std::vector<std::string> ServiceArguments(const std::vector<std::string>& arguments,
                                          const std::function<std::string(const std::string&)>& makeAbsolute) {
    std::vector<std::string> service = arguments;
    for (std::size_t i = 0; i < service.size(); ++i) {
        std::size_t from = 0;
        if (std::string* value = ValueAt(service, i, kService, from)) {
            *value = value->substr(0, from) + "run";
            continue;
        }
        for (const std::string_view option : kFileOptions)
            if (std::string* value = ValueAt(service, i, option, from)) {
                *value = value->substr(0, from) + makeAbsolute(value->substr(from));
                break;
            }
    }
    return service;
}

int ToldExitCode(int exitCode) {
    return exitCode == kExitUsage ? kExitOk : exitCode;
}

// A backslash counts as one only in front of a quotation mark.
std::string QuotedForWindows(std::string_view argument) {
    if (!argument.empty() && argument.find_first_of(" \t\"") == std::string_view::npos) return std::string(argument);
    std::string quoted = "\"";
    std::size_t backslashes = 0;
    for (const char c : argument) {
        if (c == '"') quoted.append(backslashes + 1, '\\');
        backslashes = c == '\\' ? backslashes + 1 : 0;
        quoted += c;
    }
    quoted.append(backslashes, '\\');
    return quoted + '"';
}

std::string CommandLineOf(const std::vector<std::string>& arguments) {
    std::string line;
    for (const std::string& argument : arguments) line += (line.empty() ? "" : " ") + QuotedForWindows(argument);
    return line;
}

}  // namespace tarn::host
