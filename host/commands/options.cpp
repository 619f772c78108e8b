#include "host/commands/options.h"

#include <CLI/CLI.hpp>

namespace tarn::host {

CommandOption& CommandOption::Required() {
    option_->required();
    return *this;
}

CommandOption& CommandOption::Value(const std::string& name) {
    option_->type_name(name);
    return *this;
}

CommandOption& CommandOption::Repeatable() {
    option_->take_all()->allow_extra_args(false);
    return *this;
}

CommandOption& CommandOption::OneOf(const std::vector<std::string>& values) {
    option_->check(CLI::IsMember(values));
    return *this;
}

CommandOption& CommandOption::Within(int least, int most) {
    option_->check(CLI::Range(least, most));
    return *this;
}

CommandOption& CommandOption::Within(std::uint32_t least, std::uint32_t most) {
    option_->check(CLI::Range(least, most));
    return *this;
}

void CommandOptions::Flag(const std::string& name, bool& isGiven, const std::string& help) {
    parser_->add_flag(name, isGiven, help);
}

CommandOption CommandOptions::Add(const std::string& name, std::string& value, const std::string& help) {
    return CommandOption(*parser_->add_option(name, value, help));
}

CommandOption CommandOptions::Add(const std::string& name, std::optional<std::string>& value, const std::string& help) {
    return CommandOption(*parser_->add_option(name, value, help));
}

CommandOption CommandOptions::Add(const std::string& name, std::vector<std::string>& values, const std::string& help) {
    return CommandOption(*parser_->add_option(name, values, help));
}

CommandOption CommandOptions::Add(const std::string& name, std::uint8_t& value, const std::string& help) {
    return CommandOption(*parser_->add_option(name, value, help));
}

CommandOption CommandOptions::Add(const std::string& name, std::uint32_t& value, const std::string& help) {
    return CommandOption(*parser_->add_option(name, value, help));
}

CommandOption CommandOptions::Add(const std::string& name, std::optional<std::uint32_t>& value,
                                  const std::string& help) {
    return CommandOption(*parser_->add_option(name, value, help));
}

CommandOption CommandOptions::Add(const std::string& name, std::size_t& value, const std::string& help) {
    return CommandOption(*parser_->add_option(name, value, help));
}

void CommandOptions::Notes(const std::string& text) {
    parser_->footer(text);
}

const CLI::App& CommandOptions::Program() const {
    return *parser_->get_parent();
}

}  // namespace tarn::host
