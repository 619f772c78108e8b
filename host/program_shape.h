// The command line as data: what completions and the manual page are made from.
#ifndef TARN_HOST_PROGRAM_SHAPE_H
#define TARN_HOST_PROGRAM_SHAPE_H

#include <functional>
#include <string>
#include <string_view>
#include <vector>

// The parser's.
namespace CLI {
class App;
}  // namespace CLI

namespace tarn::host {

enum class ValueKind { kNone, kChoice, kFile, kFolder, kOther };

// An option, or an argument that has its place only.
struct OptionShape {
    std::vector<std::string> names;  // "-h", "--help"; none of an argument
    std::string value;               // "FOLDER", "auto|always|never"; empty for a flag
    ValueKind kind = ValueKind::kNone;
    std::vector<std::string> choices;
    std::string description;
    bool isRepeated = false;
    bool isRequired = false;
};

struct CommandShape {
    std::string name;
    std::string description;
    std::string notes;  // lines; one that begins with a blank is an example
    std::vector<OptionShape> arguments;
    std::vector<OptionShape> options;  // its own
    std::vector<OptionShape> shared;   // of the program, those that do something for it
};

struct ProgramShape {
    std::string name;
    std::string description;
    std::string notes;
    std::vector<OptionShape> options;
    std::vector<CommandShape> commands;
};

// withoutUse: the shared options that do nothing for a command, with blanks between them.
ProgramShape ShapeOf(const CLI::App& app, const std::function<std::string_view(const std::string&)>& withoutUse);

}  // namespace tarn::host

#endif
