// All lists that a URL scan asks, and those of one parental profile.
// The library owns them and changes them in settings calls, which never run beside scans; scans only read them.
#ifndef TARN_LISTS_PUBLISHED_LISTS_H
#define TARN_LISTS_PUBLISHED_LISTS_H

#include <type_traits>
#include <vector>

#include "lists/allowed_sites.h"
#include "lists/blocked_sites.h"
#include "lists/threat_lists.h"
#include "lists/white_lists.h"
#include "parental/settings_copy.h"

namespace tarn::lists {

struct PublishedLists {
    InternalWhiteList webSecurityInternal;
    InternalWhiteList browsingProtectionInternal;
    UserWhiteList user;
    MaliciousList malicious;
    PhishingList phishing;

    void Clear() noexcept { *this = {}; }
};
static_assert(std::is_nothrow_default_constructible_v<PublishedLists>);
static_assert(std::is_nothrow_move_assignable_v<PublishedLists>);

// What scans ask of one parental profile.
struct PublishedProfile {
    BlockedSites sites;
    AllowedSites allowed;
    AllowedSites scheduleAllowed;
};

using PublishedProfiles = std::vector<PublishedProfile>;
static_assert(std::is_nothrow_move_assignable_v<PublishedProfiles>);

// One published profile for each entry of the copy, in its order.
[[nodiscard]] PublishedProfiles PublishProfiles(const parental::SettingsCopy& copy);

}  // namespace tarn::lists

#endif
