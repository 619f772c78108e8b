// An install folder of its own with tarnhost, tarn.dll, the reference companions and their policy, and runs in it.
// What tarnhost prints is judged by the tests.
#ifndef TARN_TESTS_HOST_INSTALL_COPY_WIN32_H
#define TARN_TESTS_HOST_INSTALL_COPY_WIN32_H

#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

namespace tarn::host {

inline constexpr const char* kPolicy = "tarn-policy.toml";

struct ProgramRun {
    unsigned long exitCode = 0;
    std::string out;
    std::string errors;

    // The lines of the output, each a JSON object; a line that is none fails the test.
    [[nodiscard]] std::vector<nlohmann::json> Json() const;
    // Those of one type.
    [[nodiscard]] std::vector<nlohmann::json> Events(const char* type) const;
};

class InstallCopy {
 public:
    // The built programs are links, and one that another process has loaded cannot be removed: without names those that
    // are left out from the start.
    explicit InstallCopy(const std::set<std::string>& without = {});
    ~InstallCopy();
    InstallCopy(const InstallCopy&) = delete;
    InstallCopy& operator=(const InstallCopy&) = delete;

    // tarnhost with these arguments; it is waited for.
    [[nodiscard]] ProgramRun Run(const std::vector<std::string>& arguments) const;

    // The same with its output going to a file or device that stands there already; what comes out is not read.
    [[nodiscard]] ProgramRun RunInto(const std::wstring& output, const std::vector<std::string>& arguments) const;

    void Write(const std::string& name, const std::string& text) const;
    [[nodiscard]] std::string Read(const std::string& name) const;
    void Remove(const std::string& name) const;
    [[nodiscard]] const std::filesystem::path& Folder() const { return folder_; }
    // In the folder, as an argument.
    [[nodiscard]] std::string Path(const std::string& name) const;
    [[nodiscard]] std::filesystem::path File(const std::string& name) const { return folder_ / name; }

 private:
    // Closes the handle of the output.
    [[nodiscard]] ProgramRun RunWith(void* out, const std::vector<std::string>& arguments) const;

    std::filesystem::path folder_;
};

// In quotes; no argument of these tests holds one itself or ends in a backslash.
std::wstring CommandLine(const std::filesystem::path& program, const std::vector<std::string>& arguments);

// Of a bundled capture or what belongs to one.
std::string CapturePath(const std::string& name);

}  // namespace tarn::host

#endif
