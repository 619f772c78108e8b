#include "host/registered_folder.h"

#include <fmt/format.h>

#include "host/printable_text.h"

namespace tarn::host {

namespace {

constexpr std::string_view kKey = R"(HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\App Paths\CoreScan.exe)";

}  // namespace

std::string RegisteredFolderMistake(std::string_view folder) {
    if (folder.empty() || folder.ends_with('\\') || folder.ends_with('/')) return {};
    // In quotes a last backslash has to be written twice.
    return fmt::format(
        "the registered install folder, {0}, has no backslash at its end, so that the library looks for "
        "{0}setrd.dll; as an administrator register it anew: reg add \"{1}\" /v Path /d \"{0}\\\\\" /f  or name "
        "another folder with --install-folder",
        Printable(folder), kKey);
}

}  // namespace tarn::host
