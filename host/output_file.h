// Files that a command writes: whole or not at all, and never over one that it reads.
#ifndef TARN_HOST_OUTPUT_FILE_H
#define TARN_HOST_OUTPUT_FILE_H

#include <string>
#include <string_view>
#include <vector>

namespace tarn::host {

// Writes beside the file and renames, so that what stands there stays until the new text is whole. A pipe or device is
// written to itself. False when that cannot be done.
bool WriteWholeFile(const std::string& file, std::string_view text);

// "--junit out.xml: cannot be written; …"
std::string CannotWrite(std::string_view option, std::string_view file);

// Whether one of the names is this file, however it is spelled.
bool IsOneOf(const std::string& file, const std::vector<std::string>& names);

}  // namespace tarn::host

#endif
