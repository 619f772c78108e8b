// What is read from the ini files of the install folder: the DNS-block switch, the browser exclusion list and the
// social-network reminder.
// A file that is missing gives the defaults. Files are read in the thread of the caller; nothing is kept.
#ifndef TARN_API_INI_SETTINGS_H
#define TARN_API_INI_SETTINGS_H

#include <cstdint>

#include "machine/machine.h"
#include "url/browsing_protection.h"

namespace tarn::api {

// False, with the switch untouched, when the file's path cannot be built.
bool ReadDnsBlockSwitch(machine::Machine& machine, std::uint32_t& dnsBlockSwitch);

// Empty when the file's path cannot be built.
[[nodiscard]] url::BrowserExclusions ReadBrowserExclusions(machine::Machine& machine);

// An error counts as not due.
[[nodiscard]] bool ReadSocialReminder(machine::Machine& machine);

}  // namespace tarn::api

#endif
