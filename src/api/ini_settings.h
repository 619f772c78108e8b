// What is read from the ini files of the install folder: the DNS-block switch, the browser exclusion list and the
// social-network reminder.
// A file that is missing gives the defaults.
#ifndef TARN_API_INI_SETTINGS_H
#define TARN_API_INI_SETTINGS_H

#include <cstdint>

#include "api/platform.h"
#include "url/browsing_protection.h"

namespace tarn::api {

// False, with the switch untouched, when the file's path cannot be built.
bool ReadDnsBlockSwitch(Platform& platform, std::uint32_t& dnsBlockSwitch);

// Empty when the file's path cannot be built.
[[nodiscard]] url::BrowserExclusions ReadBrowserExclusions(Platform& platform);

// Not due, too, when the decision ends with an error.
[[nodiscard]] bool ReadSocialReminder(Platform& platform);

}  // namespace tarn::api

#endif
