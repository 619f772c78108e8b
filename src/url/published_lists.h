// The lists that a URL scan asks, each in the read-only form that was built when the list was published.
// Reading the records they are made from is the settings' business; scans never see those.
#ifndef TARN_URL_PUBLISHED_LISTS_H
#define TARN_URL_PUBLISHED_LISTS_H

#include "url/threat_lists.h"
#include "url/url_lists.h"

namespace tarn::url {

struct PublishedLists {
    UrlList webSecurityInternal;
    UrlList browsingProtectionInternal;
    PrefixWhiteList user;
    MaliciousList malicious;
    PhishingList phishing;
};

}  // namespace tarn::url

#endif
