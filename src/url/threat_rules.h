// The rules of a URL scan that ask lists of dangerous sites: malicious sites, phishing sites.
// What a list hit means for the process that asked is browsing protection's business.
#ifndef TARN_URL_THREAT_RULES_H
#define TARN_URL_THREAT_RULES_H

#include "url/scan_state.h"

namespace tarn::url {

// Fails when the host has more than 255 characters behind its "www.".
Step MaliciousSite(ScanState& scan);
Step PhishingSite(ScanState& scan);

}  // namespace tarn::url

#endif
