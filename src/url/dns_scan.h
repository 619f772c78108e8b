// A DNS response on its way to a client: its answer goes into the ring, its site may be blocked by the parental tables.
// The URL rules never see DNS traffic; what a TLS hello without a name takes from the ring is the request rules'.
#ifndef TARN_URL_DNS_SCAN_H
#define TARN_URL_DNS_SCAN_H

#include "url/scan_state.h"

namespace tarn::url {

// Ends every scan of remote port 53: fails when the message does not parse, or when a site is to be blocked and the
// requesting user cannot be found.
Step DnsMessage(ScanState& scan);

}  // namespace tarn::url

#endif
