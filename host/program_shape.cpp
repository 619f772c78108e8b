#include "host/program_shape.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iterator>
#include <sstream>

namespace tarn::host {

namespace {

std::vector<std::string> Split(std::string_view text, char separator) {
    std::vector<std::string> parts;
    std::istringstream input{std::string(text)};
    for (std::string part; std::getline(input, part, separator);)
        if (!part.empty()) parts.push_back(part);
    return parts;
}

// "TEXT:{auto,always,never}", "INT:INT in [0 - 1]", "FOLDER"
void ReadValue(const CLI::Option& option, OptionShape& shape) {
    const std::string type = option.get_type_name();
    const std::size_t begin = type.find('{');
    const std::size_t end = type.find('}');
    if (begin != std::string::npos && end != std::string::npos && begin < end) {
        shape.kind = ValueKind::kChoice;
        shape.choices = Split(std::string_view(type).substr(begin + 1, end - begin - 1), ',');
        for (const std::string& choice : shape.choices) shape.value += (shape.value.empty() ? "" : "|") + choice;
        return;
    }
    shape.value = type.substr(0, type.find(':'));
    if (shape.value == "INT" || shape.value == "UINT") shape.value = "NUMBER";
    const std::string name = option.get_positional() ? option.get_name(true) : shape.value;
    shape.kind = ValueKind::kOther;
    if (name == "FOLDER") shape.kind = ValueKind::kFolder;
    if (name == "FILE" || name == "CAPTURE" || name == "EVENTS") shape.kind = ValueKind::kFile;
}

OptionShape ShapeOf(const CLI::Option& option) {
    OptionShape shape;
    for (const std::string& name : option.get_snames()) shape.names.push_back("-" + name);
    for (const std::string& name : option.get_lnames()) shape.names.push_back("--" + name);
    shape.description = option.get_description();
    shape.isRepeated = option.get_items_expected_max() > 1;
    shape.isRequired = option.get_required();
    if (option.get_items_expected_max() != 0) ReadValue(option, shape);
    if (option.get_positional()) shape.value = option.get_name(true);
    return shape;
}

bool HasName(const OptionShape& option, const std::vector<std::string>& names) {
    return std::find_first_of(option.names.begin(), option.names.end(), names.begin(), names.end()) !=
           option.names.end();
}

}  // namespace

ProgramShape ShapeOf(const CLI::App& app, const std::function<std::string_view(const std::string&)>& withoutUse) {
    ProgramShape program{app.get_name(), app.get_description(), app.get_footer(), {}, {}};
    for (const CLI::Option* option : app.get_options({})) program.options.push_back(ShapeOf(*option));
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        CommandShape shape{command->get_name(), command->get_description(), command->get_footer(), {}, {}, {}};
        for (const CLI::Option* option : command->get_options({}))
            (option->get_positional() ? shape.arguments : shape.options).push_back(ShapeOf(*option));
        std::vector<std::string> unwanted = Split(withoutUse(shape.name), ' ');
        unwanted.insert(unwanted.end(), {"--help", "--version"});
        std::copy_if(program.options.begin(), program.options.end(), std::back_inserter(shape.shared),
                     [&](const OptionShape& option) { return !HasName(option, unwanted); });
        program.commands.push_back(std::move(shape));
    }
    return program;
}

}  // namespace tarn::host
