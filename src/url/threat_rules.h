// The rules of a URL scan that ask who knows dangerous sites: the malicious and the phishing list, the list of
// condemned addresses, HTTPS inspection. What happens to the program that asked is browsing protection's business.
#ifndef TARN_URL_THREAT_RULES_H
#define TARN_URL_THREAT_RULES_H

#include "url/scan_state.h"

namespace tarn::url {

// Fails when the host has more than 255 characters, a leading "www." included.
Step MaliciousSite(ScanState& scan);
Step PhishingSite(ScanState& scan);
Step IdsBlockedSite(ScanState& scan);
// Fails when the inspection blocks and the requesting user cannot be found.
Step HttpsInspection(ScanState& scan);

// Blocks with a reason of browsing protection, then acts against the program that asked. A failing action of whatever
// kind leaves the verdict as it is.
Step BlockAndAct(ScanState& scan, std::uint32_t reason);

}  // namespace tarn::url

#endif
