// The files of a reference module: the policy in the module's own folder, and the state kept beside it.
// The modules use what the policy says and choose what is kept; the caller owns what it is given.
#ifndef TARN_COMPANIONS_MODULE_FILES_WIN32_H
#define TARN_COMPANIONS_MODULE_FILES_WIN32_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "policy/policy.h"

namespace tarn::policy {

// The policy of the install folder. False with the system's error for a file that cannot be read, and 13 (invalid data)
// for one with mistakes.
bool LoadPolicy(Policy& policy, std::uint32_t& error);

// Says on standard error what is wrong with the policy, if anything; nothing otherwise.
void ReportPolicyMistakes();

// A state file beside the policy. A read of a missing file gives false with error 2.
bool ReadStateFile(std::u16string_view name, std::vector<std::uint8_t>& bytes, std::uint32_t& error);
// Written under another name and renamed, so that a crash leaves the old content.
bool WriteStateFile(std::u16string_view name, const std::vector<std::uint8_t>& bytes, std::uint32_t& error);
bool AppendStateLine(std::u16string_view name, std::string_view line);
bool StateFileExists(std::u16string_view name);

}  // namespace tarn::policy

#endif
