// The options and arguments of a command, as it defines them.
// The parser keeps them; options.cpp alone hands them to it, because its library takes long to compile. What is read
// goes into the caller's values, which live as long as the command line.
#ifndef TARN_HOST_COMMANDS_OPTIONS_H
#define TARN_HOST_COMMANDS_OPTIONS_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// The parser's.
namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace tarn::host {

// One that was added.
class CommandOption {
 public:
    explicit CommandOption(CLI::Option& option) : option_(&option) {}

    CommandOption& Required();
    // What the help calls its value.
    CommandOption& Value(const std::string& name);
    // It takes one value each time it is given.
    CommandOption& Repeatable();
    CommandOption& OneOf(const std::vector<std::string>& values);
    // Both are allowed. The help shows the type of the bounds.
    CommandOption& Within(int least, int most);
    CommandOption& Within(std::uint32_t least, std::uint32_t most);

 private:
    CLI::Option* option_;
};

// Those of a command, or of the program. A copy adds to the same ones.
class CommandOptions {
 public:
    explicit CommandOptions(CLI::App& parser) : parser_(&parser) {}

    void Flag(const std::string& name, bool& isGiven, const std::string& help);
    // name: "--output", "-o,--output", or of an argument, which has its place only, "FILE". A list takes all arguments.
    CommandOption Add(const std::string& name, std::string& value, const std::string& help);
    CommandOption Add(const std::string& name, std::optional<std::string>& value, const std::string& help);
    CommandOption Add(const std::string& name, std::vector<std::string>& values, const std::string& help);
    CommandOption Add(const std::string& name, std::uint8_t& value, const std::string& help);
    CommandOption Add(const std::string& name, std::uint32_t& value, const std::string& help);
    CommandOption Add(const std::string& name, std::optional<std::uint32_t>& value, const std::string& help);
    CommandOption Add(const std::string& name, std::size_t& value, const std::string& help);
    // Stands below the options in the help.
    void Notes(const std::string& text);

    // That of the whole command line.
    [[nodiscard]] const CLI::App& Program() const;

 private:
    CLI::App* parser_;
};

}  // namespace tarn::host

#endif
