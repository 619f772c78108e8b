// What a reference module keeps between two runs: files in the state folder, which is never that of the programs.
// The caller owns what it is given. One module writes a file, on one thread at a time.
#ifndef TARN_COMPANIONS_STATE_FILES_WIN32_H
#define TARN_COMPANIONS_STATE_FILES_WIN32_H

#include <cstdint>
#include <string_view>
#include <vector>

namespace tarn::policy {

// The folder that TARN_STATE_FOLDER names, else %ProgramData%\tarn. A write makes a missing folder.

// A read of a missing file gives false with error 2.
bool ReadStateFile(std::u16string_view name, std::vector<std::uint8_t>& bytes, std::uint32_t& error);
// Written whole or not at all: under another name and renamed.
bool WriteStateFile(std::u16string_view name, const std::vector<std::uint8_t>& bytes, std::uint32_t& error);
bool AppendStateLine(std::u16string_view name, std::string_view line);
// Says on standard error that a file of the state folder is damaged and not used.
void ReportDamage(std::u16string_view name);

}  // namespace tarn::policy

#endif
