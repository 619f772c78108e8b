// Files of the project that tests read. One source alone knows the project's folder, so that a compiler cache serves
// clones in other folders, too.
#ifndef TARN_TESTS_SUPPORT_PROJECT_FILES_H
#define TARN_TESTS_SUPPORT_PROJECT_FILES_H

#include <string>
#include <string_view>

namespace tarn {

// name: from the project's folder, "companions/tarn-policy.toml".
std::string ProjectFile(std::string_view name);

inline std::string CaptureFileOf(std::string_view name) {
    return ProjectFile("tests/captures/") + std::string(name);
}
inline std::string DefaultPolicyFile() {
    return ProjectFile("companions/tarn-policy.toml");
}

}  // namespace tarn

#endif
