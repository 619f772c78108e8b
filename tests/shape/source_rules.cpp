#include "shape/source_rules.h"

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <set>

namespace tarn::shape {
namespace {

struct Layer {
    std::string_view folder;
    int height;
};

// Two folders on one height do not know each other.
constexpr std::array kLayers = {Layer{"base", 0},    Layer{"machine", 1}, Layer{"modules", 2},
                                Layer{"network", 3}, Layer{"smb", 4},     Layer{"parental", 4},
                                Layer{"lists", 5},   Layer{"url", 6},     Layer{"api", 7}};

constexpr auto kSystemHeaders = std::to_array<std::string_view>(
    {"aclapi.h",  "dbghelp.h",  "iphlpapi.h", "mswsock.h", "ntdef.h",    "ntsecapi.h", "psapi.h",
     "sddl.h",    "shellapi.h", "shlobj.h",   "shlwapi.h", "tchar.h",    "tcpmib.h",   "tlhelp32.h",
     "userenv.h", "winbase.h",  "windef.h",   "windows.h", "winnt.h",    "winreg.h",   "winsock2.h",
     "winsvc.h",  "winternl.h", "winuser.h",  "winver.h",  "ws2tcpip.h", "wtsapi32.h", "versionhelpers.h"});

constexpr auto kFilesOfTheParser =
    std::to_array<std::string_view>({"host/command_line.cpp", "host/commands/options.cpp", "host/program_shape.cpp"});

std::optional<int> HeightOf(std::string_view folder) {
    const auto* const layer = std::find_if(kLayers.begin(), kLayers.end(),
                                           [&](const Layer& candidate) { return candidate.folder == folder; });
    if (layer == kLayers.end()) return std::nullopt;
    return layer->height;
}

std::vector<std::string> Split(std::string_view text, char separator) {
    std::vector<std::string> parts;
    for (std::size_t begin = 0; begin <= text.size();) {
        const std::size_t end = std::min(text.find(separator, begin), text.size());
        parts.emplace_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return parts;
}

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; });
    return text;
}

std::string FileName(std::string_view path) {
    return Split(path, '/').back();
}

std::string Stem(std::string_view path) {
    const std::string name = FileName(path);
    return name.substr(0, name.find('.'));
}

bool IsHeader(std::string_view path) {
    return path.ends_with(".h");
}

// "layer/file.h" without its quotes or brackets.
std::string_view Named(std::string_view include) {
    return include.substr(1, include.size() - 2);
}

bool MayUseTheSystem(std::string_view path) {
    const std::string stem = Stem(path);
    if (path == "src/api/dll_main.cpp" || stem == "win32_owners") return true;
    if (path.starts_with("examples/")) return true;  // programs of hosts, which are Windows programs
    if (path.starts_with("src/")) return stem.ends_with("_win32") && path.ends_with(".cpp");
    return stem.find("_win32") != std::string::npos;
}

std::string GuardWord(std::string_view text) {
    std::string word;
    for (const char c : text) word += c >= 'a' && c <= 'z' ? static_cast<char>(c - ('a' - 'A')) : c;
    return word;
}

// The blank-separated words of a line.
std::vector<std::string> WordsOf(std::string_view line) {
    std::vector<std::string> words;
    for (const std::string& word : Split(line, ' '))
        if (!word.empty()) words.push_back(word);
    return words;
}

// The guard that a header uses: its first #ifndef, when the next line defines the same name.
std::string GuardOf(std::string_view text) {
    const std::vector<std::string> lines = Split(text, '\n');
    for (std::size_t i = 0; i + 1 < lines.size(); ++i) {
        const std::vector<std::string> test = WordsOf(lines[i]);
        if (test.size() != 2 || test[0] != "#ifndef") continue;
        const std::vector<std::string> definition = WordsOf(lines[i + 1]);
        const bool isGuard = definition.size() == 2 && definition[0] == "#define" && definition[1] == test[1];
        return isGuard ? test[1] : std::string();
    }
    return {};
}

std::vector<std::string> GuardsAllowed(std::string_view path) {
    std::vector<std::string> parts = Split(path, '/');
    const std::string name = GuardWord(Stem(path)) + "_H";
    parts.pop_back();
    if (path.starts_with("include/tarn/")) return {name == "TARN_H" ? name : "TARN_" + name};
    if (parts.empty()) return {"TARN_" + name};
    if (parts.front() == "src") parts.erase(parts.begin());
    std::vector<std::string> allowed;
    std::string guard = name;
    for (auto folder = parts.rbegin(); folder != parts.rend(); ++folder) {
        guard.insert(0, "_").insert(0, GuardWord(*folder));
        allowed.push_back(std::string("TARN_").append(guard));
    }
    return allowed;
}

bool IsWordPart(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

bool ContainsWord(std::string_view text, std::string_view word) {
    for (std::size_t at = text.find(word); at != std::string_view::npos; at = text.find(word, at + 1)) {
        const std::size_t end = at + word.size();
        if ((at == 0 || !IsWordPart(text[at - 1])) && (end == text.size() || !IsWordPart(text[end]))) return true;
    }
    return false;
}

// The text without its // comments.
std::string WithoutComments(std::string_view text) {
    std::string code;
    for (const std::string& line : Split(text, '\n')) code += line.substr(0, line.find("//")) + '\n';
    return code;
}

// The names that code declares as Bytes, by value or by reference.
std::set<std::string> BytesDeclaredIn(std::string_view code) {
    static constexpr std::string_view kType = "Bytes";
    std::set<std::string> names;
    for (std::size_t at = code.find(kType); at != std::string_view::npos; at = code.find(kType, at + 1)) {
        const std::size_t end = at + kType.size();
        if (at != 0 && IsWordPart(code[at - 1])) continue;
        const std::size_t begin = std::min(code.find_first_not_of(" &", end), code.size());
        std::size_t last = begin;
        while (last < code.size() && IsWordPart(code[last])) ++last;
        if (begin > end && last > begin) names.emplace(code.substr(begin, last - begin));
    }
    return names;
}

// Whether the text holds a test case of this name: TEST(Suite, name), TEST_F, TEST_P or TYPED_TEST.
bool DefinesTest(std::string_view text, std::string_view name) {
    static constexpr std::string_view kMacros[] = {"TEST", "TEST_F", "TEST_P", "TYPED_TEST"};
    static constexpr std::string_view kBlanks = " \t\r\n";
    for (std::size_t open = text.find('('); open != std::string_view::npos; open = text.find('(', open + 1)) {
        std::size_t begin = open;
        while (begin > 0 && IsWordPart(text[begin - 1])) --begin;
        if (std::ranges::find(kMacros, text.substr(begin, open - begin)) == std::end(kMacros)) continue;
        const std::size_t comma = text.find_first_of(",;{)", open);
        if (comma == std::string_view::npos || text[comma] != ',') continue;
        const std::size_t word = text.find_first_not_of(kBlanks, comma + 1);
        if (word == std::string_view::npos || text.substr(word, name.size()) != name) continue;
        const std::size_t close = text.find_first_not_of(kBlanks, word + name.size());
        if (close != std::string_view::npos && text[close] == ')') return true;
    }
    return false;
}

// What a comment names behind "Test: ", without the suite that may stand before it.
std::string TestNamedBy(std::string_view comment) {
    static constexpr std::string_view kMark = "Test: ";
    const std::size_t mark = comment.find(kMark);
    if (mark == std::string_view::npos) return {};
    const std::string_view rest = comment.substr(mark + kMark.size());
    std::string name;
    for (std::size_t i = 0; i < rest.size(); ++i) {
        const bool wordFollows = i + 1 < rest.size() && IsWordPart(rest[i + 1]);
        if (IsWordPart(rest[i])) {
            name += rest[i];
        } else if ((rest[i] == '.' || rest[i] == '/') && wordFollows) {
            name.clear();
        } else {
            break;
        }
    }
    return name;
}

}  // namespace

std::vector<std::string> IncludesOf(std::string_view text) {
    std::vector<std::string> includes;
    for (const std::string& line : Split(text, '\n')) {
        std::string_view rest = line;
        const auto skipBlanks = [&] { rest.remove_prefix(std::min(rest.find_first_not_of(" \t"), rest.size())); };
        const auto skip = [&](std::string_view token) {
            skipBlanks();
            if (!rest.starts_with(token)) return false;
            rest.remove_prefix(token.size());
            return true;
        };
        if (!skip("#") || !skip("include")) continue;
        skipBlanks();
        if (rest.empty() || (rest.front() != '<' && rest.front() != '"')) continue;
        const std::size_t end = rest.find(rest.front() == '<' ? '>' : '"', 1);
        if (end != std::string_view::npos) includes.emplace_back(rest.substr(0, end + 1));
    }
    return includes;
}

Complaints CheckLayers(const SourceFile& file) {
    const std::vector<std::string> parts = Split(file.path, '/');
    if (parts.size() < 3 || parts[0] != "src") return {};
    const std::optional<int> own = HeightOf(parts[1]);
    if (!own) return {file.path + " stands in no known layer"};
    Complaints complaints;
    for (const std::string& include : IncludesOf(file.text)) {
        const std::string_view named = Named(include);
        if (include.front() == '<' || named.starts_with("tarn/")) continue;
        const std::string folder = named.find('/') == std::string_view::npos ? "" : Split(named, '/').front();
        const std::optional<int> other = HeightOf(folder);
        if (!other) {
            complaints.push_back(file.path + " includes " + include + ", which names no layer");
        } else if (folder != parts[1] && *other >= *own) {
            complaints.push_back(file.path + " includes " + include + ", which is not below it");
        }
    }
    return complaints;
}

Complaints CheckSystemHeaders(const SourceFile& file) {
    if (MayUseTheSystem(file.path)) return {};
    Complaints complaints;
    for (const std::string& include : IncludesOf(file.text)) {
        const std::string named = Lower(std::string(Named(include)));
        const auto isNamed = [&](std::string_view header) { return header == named; };
        if (std::any_of(kSystemHeaders.begin(), kSystemHeaders.end(), isNamed))
            complaints.push_back(file.path + " includes " + include + ", which is for files named *_win32.cpp");
    }
    return complaints;
}

Complaints CheckParserHeaders(const SourceFile& file) {
    if (std::find(kFilesOfTheParser.begin(), kFilesOfTheParser.end(), file.path) != kFilesOfTheParser.end()) return {};
    Complaints complaints;
    for (const std::string& include : IncludesOf(file.text))
        if (Named(include).starts_with("CLI/"))
            complaints.push_back(file.path + " includes " + include +
                                 "; host/commands/options.h has what commands need");
    return complaints;
}

Complaints CheckAbsoluteIncludes(const SourceFile& file) {
    Complaints complaints;
    for (const std::string& include : IncludesOf(file.text)) {
        const std::string_view named = Named(include);
        if (named.starts_with('/') || named.find(':') != std::string_view::npos)
            complaints.push_back(file.path + " includes " + include + " by its place on one machine");
    }
    return complaints;
}

Complaints CheckGuard(const SourceFile& file) {
    if (!IsHeader(file.path)) return {};
    const std::vector<std::string> allowed = GuardsAllowed(file.path);
    const std::string guard = GuardOf(file.text);
    if (std::find(allowed.begin(), allowed.end(), guard) != allowed.end()) return {};
    return {file.path + " has the guard '" + guard + "', not " + allowed.front()};
}

Complaints CheckGuardsDiffer(const std::vector<SourceFile>& files) {
    Complaints complaints;
    std::map<std::string, std::string> owners;
    for (const SourceFile& file : files) {
        if (!IsHeader(file.path)) continue;
        const auto [owner, isNew] = owners.try_emplace(GuardOf(file.text), file.path);
        if (!isNew) complaints.push_back(file.path + " has the guard of " + owner->second);
    }
    return complaints;
}

Complaints CheckLength(const SourceFile& file) {
    const auto lines = static_cast<std::size_t>(std::count(file.text.begin(), file.text.end(), '\n'));
    if (lines <= kMaxLines) return {};
    return {file.path + " has " + std::to_string(lines) + " lines, at most " + std::to_string(kMaxLines) +
            " are one idea"};
}

Complaints CheckUnlocked(const SourceFile& file) {
    if (!file.path.starts_with("src/") || file.path == "src/api/parental_tables.h") return {};
    if (file.text.find(".Unlocked()") == std::string::npos) return {};
    return {file.path + " reaches a guarded value without its lock"};
}

Complaints CheckThreadLocal(const SourceFile& file) {
    if (!file.path.starts_with("src/") || !ContainsWord(file.text, "thread_local")) return {};
    return {file.path + " uses thread_local"};
}

Complaints CheckByteIndexing(const SourceFile& file) {
    const bool isBound = file.path.starts_with("src/") || file.path.starts_with("host/");
    if (!isBound || file.path == "src/base/byte_reader.h") return {};
    const std::string code = WithoutComments(file.text);
    Complaints complaints;
    for (const std::string& name : BytesDeclaredIn(code))
        for (const char* const index : {"[", ".data()["}) {
            const std::string indexed = name + index;
            for (std::size_t at = code.find(indexed); at != std::string::npos; at = code.find(indexed, at + 1))
                if (at == 0 || (!IsWordPart(code[at - 1]) && code[at - 1] != '.'))
                    complaints.push_back(file.path + " indexes the bytes '" + name + "'");
        }
    return complaints;
}

Complaints CheckQuirks(const SourceFile& file, const std::vector<SourceFile>& tests) {
    static constexpr std::string_view kMark = "QUIRK:";
    Complaints complaints;
    const std::vector<std::string> lines = Split(file.text, '\n');
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (lines[i].find(kMark) == std::string::npos) continue;
        std::string comment = lines[i];
        for (std::size_t next = i + 1; next < lines.size(); ++next) {
            const std::size_t begin = lines[next].find_first_not_of(" \t");
            if (begin == std::string::npos || (lines[next][begin] != '/' && lines[next][begin] != '*')) break;
            if (lines[next].find(kMark) != std::string::npos) break;
            comment += lines[next];
        }
        const std::string test = TestNamedBy(comment);
        const std::string place = file.path + ":" + std::to_string(i + 1);
        const auto holdsTest = [&](const SourceFile& candidate) { return DefinesTest(candidate.text, test); };
        if (test.empty()) {
            complaints.push_back(place + " marks a quirk and names no test");
        } else if (std::none_of(tests.begin(), tests.end(), holdsTest)) {
            complaints.push_back(place + ": there is no test " + test);
        }
    }
    return complaints;
}

}  // namespace tarn::shape
