// The first rules of a URL scan: what kind of data it is, its host and path, and the addresses that are never judged.
// The parsers themselves know nothing of rules.
#ifndef TARN_URL_REQUEST_RULES_H
#define TARN_URL_REQUEST_RULES_H

#include "url/scan_state.h"

namespace tarn::url {

Step EndOnUnknownKind(ScanState& scan);
// A failed parse is no failure: the scan goes on with empty strings.
Step ParseRequest(ScanState& scan);
Step HostFromAddress(ScanState& scan);
// Fails when the two together do not fit 1023 characters.
Step ComposeHostAndPath(ScanState& scan);
Step InternalWhiteList(ScanState& scan);
Step ManagementServer(ScanState& scan);
// From here on the display URL of a TLS connection names its scheme.
Step VideoSharingException(ScanState& scan);
Step PrivateAddress(ScanState& scan);

}  // namespace tarn::url

#endif
