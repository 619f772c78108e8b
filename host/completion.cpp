#include "host/completion.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>

namespace tarn::host {

namespace {

std::string Join(const std::vector<std::string>& parts, std::string_view between) {
    std::string joined;
    for (const std::string& part : parts) joined += (joined.empty() ? "" : std::string(between)) + part;
    return joined;
}

std::vector<std::string> CommandNames(const ProgramShape& program) {
    std::vector<std::string> names;
    for (const CommandShape& command : program.commands) names.push_back(command.name);
    return names;
}

std::vector<std::string> OptionNames(const std::vector<OptionShape>& options) {
    std::vector<std::string> names;
    for (const OptionShape& option : options) names.insert(names.end(), option.names.begin(), option.names.end());
    return names;
}

std::vector<OptionShape> OptionsOf(const CommandShape& command) {
    std::vector<OptionShape> options = command.options;
    options.insert(options.end(), command.shared.begin(), command.shared.end());
    return options;
}

bool TakesValue(const OptionShape& option) {
    return option.kind != ValueKind::kNone;
}

// What a shell can offer for a value; empty when nobody knows it.
std::string BashValues(const OptionShape& option) {
    switch (option.kind) {
        case ValueKind::kChoice:
            return fmt::format("compgen -W '{}' -- \"$current\"", Join(option.choices, " "));
        case ValueKind::kFile:
            return "compgen -f -- \"$current\"";
        case ValueKind::kFolder:
            return "compgen -d -- \"$current\"";
        default:
            return ":";
    }
}

std::string BashCaseOfValue(const std::string& command, const OptionShape& option) {
    std::vector<std::string> patterns;
    for (const std::string& name : option.names) patterns.push_back(fmt::format("{}:{}", command, name));
    return fmt::format("    {}) {} ;;\n", Join(patterns, " | "), BashValues(option));
}

// In single quotes of zsh or of PowerShell.
std::string Quoted(std::string_view text, std::string_view quote) {
    std::string quoted = "'";
    for (const char c : text) quoted += c == '\'' ? std::string(quote) : std::string(1, c);
    return quoted + "'";
}

std::string ZshQuoted(std::string_view text) {
    return Quoted(text, "'\\''");
}

// A description or a message of _arguments and _describe.
std::string ZshText(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        if (c == '[' || c == ']' || c == ':' || c == '\\') escaped += '\\';
        escaped += c;
    }
    return escaped;
}

std::string ZshAction(const OptionShape& option) {
    switch (option.kind) {
        case ValueKind::kChoice:
            return fmt::format("({})", Join(option.choices, " "));
        case ValueKind::kFile:
            return "_files";
        case ValueKind::kFolder:
            return "_files -/";
        default:
            return " ";
    }
}

std::string ZshArguments(const std::vector<OptionShape>& options, const std::vector<OptionShape>& arguments) {
    std::string lines;
    for (const OptionShape& option : options)
        for (const std::string& name : option.names) {
            std::string one = fmt::format("{}{}[{}]", option.isRepeated ? "*" : "", name, ZshText(option.description));
            if (TakesValue(option)) one += fmt::format(":{}:{}", ZshText(option.value), ZshAction(option));
            lines += " \\\n            " + ZshQuoted(one);
        }
    for (const OptionShape& argument : arguments)
        lines += " \\\n            " + ZshQuoted(fmt::format("{}:{}:{}", argument.isRepeated ? "*" : "",
                                                             ZshText(argument.value), ZshAction(argument)));
    return lines;
}

std::string PowerShellList(const std::vector<std::string>& words) {
    std::vector<std::string> quoted;
    std::transform(words.begin(), words.end(), std::back_inserter(quoted),
                   [](const std::string& word) { return Quoted(word, "''"); });
    return fmt::format("@({})", Join(quoted, ", "));
}

}  // namespace

std::string BashCompletion(const ProgramShape& program) {
    const std::vector<std::string> commands = CommandNames(program);
    std::vector<std::string> withValue;
    std::string values;
    std::string words;
    std::string arguments;
    for (const OptionShape& option : program.options)
        if (TakesValue(option)) {
            withValue.insert(withValue.end(), option.names.begin(), option.names.end());
            values += BashCaseOfValue("*", option);
        }
    for (const CommandShape& command : program.commands) {
        for (const OptionShape& option : command.options)
            if (TakesValue(option)) values += BashCaseOfValue(command.name, option);
        words += fmt::format("        {}) words='{}' ;;\n", command.name, Join(OptionNames(OptionsOf(command)), " "));
        if (!command.arguments.empty())
            arguments += fmt::format("    {}:*) {} ;;\n", command.name, BashValues(command.arguments.front()));
        else
            arguments += fmt::format("    {}:*) compgen -W \"$words\" -- \"$current\" ;;\n", command.name);
    }
    return fmt::format(R"(# Completes {0} in bash: source this file, or put it beside the completions of the system.
# Made by: {0} completion bash
_{0}_words() {{
    local current=$1 previous=$2 command=$3 words
    case $command:$previous in
{1}    *) false ;;
    esac && return
    case $command in
{2}        *) words='{3}' ;;
    esac
    case $command:$current in
    *:-*) compgen -W "$words" -- "$current" ;;
    :*) compgen -W '{4}' -- "$current" ;;
{5}    esac
}}
_{0}() {{
    local command='' i
    for ((i = 1; i < COMP_CWORD; ++i)); do
        case ${{COMP_WORDS[i]}} in
        {6}) ((++i)) ;;
        {7}) command=${{COMP_WORDS[i]}}; break ;;
        esac
    done
    mapfile -t COMPREPLY < <(_{0}_words "${{COMP_WORDS[COMP_CWORD]}}" "${{COMP_WORDS[COMP_CWORD - 1]}}" "$command")
    compopt -o filenames 2>/dev/null
}}
complete -F _{0} {0} {0}.exe
)",
                       program.name, values, words, Join(OptionNames(program.options), " "), Join(commands, " "),
                       arguments, Join(withValue, " | "), Join(commands, " | "));
}

std::string ZshCompletion(const ProgramShape& program) {
    std::string commands;
    std::string cases;
    for (const CommandShape& command : program.commands) {
        commands += fmt::format("            {}\n", ZshQuoted(command.name + ":" + ZshText(command.description)));
        cases += fmt::format("        {})\n            _arguments{}\n            ;;\n", command.name,
                             ZshArguments(OptionsOf(command), command.arguments));
    }
    return fmt::format(R"(#compdef {0} {0}.exe
# Completes {0} in zsh: source this file, or put it as _{0} into a folder of fpath.
# Made by: {0} completion zsh
_{0}() {{
    local curcontext=$curcontext state line
    typeset -A opt_args
    _arguments -C{1} \
            '1:command:->command' '*::argument:->argument'
    case $state in
    command)
        local -a commands=(
{2}        )
        _describe command commands
        ;;
    argument)
        case $words[1] in
{3}        esac
        ;;
    esac
}}
if [[ $funcstack[1] == _{0} ]]; then
    _{0} "$@"
else
    compdef _{0} {0} {0}.exe
fi
)",
                       program.name, ZshArguments(program.options, {}), commands, cases);
}

std::string PowerShellCompletion(const ProgramShape& program) {
    std::string options;
    std::string values;
    std::string choices;  // of arguments
    const auto addValues = [&](const std::string& command, const OptionShape& option) {
        if (option.kind != ValueKind::kChoice) return;
        for (const std::string& name : option.names)
            values += fmt::format("        {} = {}\n", Quoted(command + name, "''"), PowerShellList(option.choices));
    };
    std::vector<std::string> withValue;
    for (const OptionShape& option : program.options) {
        addValues("", option);
        if (TakesValue(option)) withValue.insert(withValue.end(), option.names.begin(), option.names.end());
    }
    for (const CommandShape& command : program.commands) {
        for (const OptionShape& option : command.options) addValues(command.name + " ", option);
        options += fmt::format("        {} = {}\n", Quoted(command.name, "''"),
                               PowerShellList(OptionNames(OptionsOf(command))));
        for (const OptionShape& argument : command.arguments)
            if (argument.kind == ValueKind::kChoice)
                choices +=
                    fmt::format("        {} = {}\n", Quoted(command.name, "''"), PowerShellList(argument.choices));
    }
    return fmt::format(R"(# Completes {0} in PowerShell: put ". FILE" with this file into your profile.
# Made by: {0} completion powershell
Register-ArgumentCompleter -Native -CommandName {0}, {0}.exe -ScriptBlock {{
    param($word, $ast, $position)
    $programOptions = {1}
    $withValue = {2}
    $options = @{{
{3}    }}
    $values = @{{
{4}    }}
    $choices = @{{
{5}    }}
    $before = @($ast.CommandElements | Select-Object -Skip 1 |
        Where-Object {{ $_.Extent.EndOffset -lt $position }} | ForEach-Object {{ $_.ToString() }})
    $command = ''
    for ($i = 0; $i -lt $before.Count; $i++) {{
        if ($withValue -ccontains $before[$i]) {{ $i++ }}
        elseif ($options.ContainsKey($before[$i])) {{ $command = $before[$i]; break }}
    }}
    $last = if ($before.Count) {{ $before[-1] }} else {{ '' }}
    $offered = if ($values.ContainsKey("$command $last")) {{ $values["$command $last"] }}
    elseif ($values.ContainsKey($last)) {{ $values[$last] }}
    elseif ($word -like '-*') {{ if ($command) {{ $options[$command] }} else {{ $programOptions }} }}
    elseif (-not $command) {{ $options.Keys | Sort-Object }}
    elseif ($choices.ContainsKey($command)) {{ $choices[$command] }}
    $offered | Where-Object {{ $_ -like "$word*" }} | ForEach-Object {{
        [System.Management.Automation.CompletionResult]::new($_, $_, 'ParameterValue', $_)
    }}
}}
)",
                       program.name, PowerShellList(OptionNames(program.options)), PowerShellList(withValue), options,
                       values, choices);
}

}  // namespace tarn::host
