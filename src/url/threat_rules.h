// The rules of a URL scan that ask who knows dangerous sites: the malicious and the phishing list, the list of
// condemned addresses, HTTPS inspection. What happens to the program that asked is browsing protection's business.
#ifndef TARN_URL_THREAT_RULES_H
#define TARN_URL_THREAT_RULES_H

#include "url/scan_state.h"

namespace tarn::url {

// Fails when the host has more than 255 characters behind its "www.".
Step MaliciousSite(ScanState& scan);
Step PhishingSite(ScanState& scan);
Step IdsBlockedSite(ScanState& scan);
// Fails when the inspection blocks and the requesting user cannot be found.
Step HttpsInspection(ScanState& scan);

// Browsing protection's action against the program that asked for what is being blocked.
void ActAgainstProgram(ScanState& scan);

}  // namespace tarn::url

#endif
