#include "host/named_inputs.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <iterator>
#include <map>
#include <set>

#include "base/text.h"
#include "host/file_path.h"
#include "host/folder_link.h"
#include "host/printable_text.h"

namespace tarn::host {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view kCaptureEndings[] = {".pcap", ".pcapng", ".cap", ".pcap.gz", ".pcapng.gz", ".cap.gz"};

bool IsList(const std::string& name) {
    return name.size() > 1 && name.front() == '@';
}

bool IsCaptureName(std::string name) {
    base::LowerAscii(name.data(), name.size());
    return std::any_of(std::begin(kCaptureEndings), std::end(kCaptureEndings),
                       [&](std::string_view ending) { return name.ends_with(ending); });
}

// False when use has ended it.
bool ForEachLine(std::istream& input, const std::function<bool(const std::string&)>& use) {
    for (std::string line; std::getline(input, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (!line.empty() && !use(line)) return false;
    }
    return true;
}

std::string CannotRead(std::string_view name, std::string_view what) {
    return fmt::format("{}: {}", Printable(name), what);
}

bool OpenList(const std::string& named, std::ifstream& file, std::string& mistake) {
    const fs::path path = ToPath(named.substr(1));
    std::error_code ignored;
    file.open(path, std::ios::binary);
    if (file && !fs::is_directory(path, ignored)) return true;
    mistake = CannotRead(named, "the list cannot be opened; is the path right, and may you read the file?");
    return false;
}

// What is below a folder. One that cannot be read is named, and the others go on; links to folders are not followed.
struct FoundCaptures {
    std::vector<std::string> names;
    std::vector<NamedInput> unreadable;

    void Search(const fs::path& folder) {
        std::error_code error;
        std::vector<fs::path> folders;
        for (fs::directory_iterator at(folder, error), end; !error && at != end; at.increment(error)) {
            std::error_code ignored;
            if (!fs::is_directory(at->path(), ignored)) {
                if (IsCaptureName(FromPath(at->path().filename()))) names.push_back(FromPath(at->path()));
            } else if (!IsLink(at->path())) {
                folders.push_back(at->path());
            }
        }
        const std::string name = FromPath(folder);
        if (error)
            unreadable.push_back(
                {name, CannotRead(name, "this folder cannot be read and is passed over; may you read it?")});
        for (const fs::path& one : folders) Search(one);
    }
};

// The same on every system.
std::string Slashed(const fs::path& path) {
    const std::u8string utf8 = path.generic_u8string();
    return {utf8.begin(), utf8.end()};
}

void AddFolder(const std::string& folder, std::vector<NamedInput>& inputs) {
    FoundCaptures found;
    found.Search(ToPath(folder));
    std::sort(found.names.begin(), found.names.end());
    for (const std::string& name : found.names)
        inputs.push_back({name, {}, Slashed(ToPath(name).lexically_relative(ToPath(folder)))});
    inputs.insert(inputs.end(), found.unreadable.begin(), found.unreadable.end());
    if (found.names.empty() && found.unreadable.empty())
        inputs.push_back({folder, CannotRead(folder,
                                             "there is no capture in this folder (*.pcap, *.pcapng or *.cap, also "
                                             "with .gz behind)")});
}

void AddNamed(const std::string& name, std::vector<NamedInput>& inputs) {
    std::error_code ignored;
    if (name != kStandardInput && fs::is_directory(ToPath(name), ignored))
        AddFolder(name, inputs);
    else if (name == kStandardInput)
        inputs.push_back({name, {}, "standard input"});
    else
        inputs.push_back({name, {}, Slashed(ToPath(name).filename())});
}

// Different files are never called the same.
void TellApart(std::vector<NamedInput>& inputs) {
    std::map<std::string, std::set<std::string>> named;
    for (const NamedInput& input : inputs)
        if (input.mistake.empty()) named[input.shown].insert(input.name);
    for (NamedInput& input : inputs)
        if (input.mistake.empty() && named[input.shown].size() > 1) input.shown = Slashed(ToPath(input.name));
}

}  // namespace

std::vector<NamedInput> ListCaptures(const std::vector<std::string>& named) {
    std::vector<NamedInput> inputs;
    for (const std::string& name : named) {
        if (!IsList(name)) {
            AddNamed(name, inputs);
            continue;
        }
        std::ifstream list;
        std::string mistake;
        if (!OpenList(name, list, mistake)) {
            inputs.push_back({name, mistake});
            continue;
        }
        ForEachLine(list, [&](const std::string& line) {
            AddNamed(line, inputs);
            return true;
        });
    }
    TellApart(inputs);
    return inputs;
}

bool OpenCaptureFile(const std::string& name, CaptureFile& file, std::string& mistake) {
    file.stream.rdbuf()->pubsetbuf(file.block.data(), static_cast<std::streamsize>(file.block.size()));
    file.stream.open(ToPath(name), std::ios::binary);
    if (file.stream) return true;
    mistake = CannotRead(name, "cannot be opened; is the path right, and may you read the file?");
    return false;
}

void ForEachText(const std::vector<std::string>& named, StandardInput& input,
                 const std::function<bool(const std::string&)>& use,
                 const std::function<void(const std::string&)>& complain) {
    for (const std::string& name : named) {
        std::string mistake;
        if (name == kStandardInput) {
            std::istream* const lines = input.Open(mistake);
            if (lines == nullptr)
                complain(mistake);
            else if (!ForEachLine(*lines, use))
                return;
            continue;
        }
        if (!IsList(name)) {
            if (!use(name)) return;
            continue;
        }
        std::ifstream list;
        if (!OpenList(name, list, mistake))
            complain(mistake);
        else if (!ForEachLine(list, use))
            return;
    }
}

}  // namespace tarn::host
