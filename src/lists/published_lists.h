// The lists that a URL scan asks, each in the read-only form that was built when the list was published.
// Reading the records they are made from is the settings' business; scans never see those.
#ifndef TARN_LISTS_PUBLISHED_LISTS_H
#define TARN_LISTS_PUBLISHED_LISTS_H

#include <vector>

#include "lists/host_table.h"
#include "lists/threat_lists.h"
#include "lists/url_lists.h"
#include "lists/user_lists.h"
#include "parental/settings_copy.h"

namespace tarn::lists {

struct PublishedLists {
    UrlList webSecurityInternal;
    UrlList browsingProtectionInternal;
    PrefixWhiteList user;
    MaliciousList malicious;
    PhishingList phishing;
};

// What scans ask of one parental profile.
struct PublishedProfile {
    HostTable sites;
    UserUrls allowed;
    UserUrls scheduleAllowed;
};

using PublishedProfiles = std::vector<PublishedProfile>;

// One published profile for each entry of the copy, in its order.
[[nodiscard]] PublishedProfiles PublishProfiles(const parental::SettingsCopy& copy);

}  // namespace tarn::lists

#endif
