// Judges the first bytes of a connection: the ordered pipeline of rules from the white lists to the categories.
// Each rule lives in a file of its own; the table in url_scan.cpp is the order.
#ifndef TARN_URL_URL_SCAN_H
#define TARN_URL_URL_SCAN_H

#include "tarn/records.h"

#include "url/scan_context.h"

namespace tarn::url {

// True when the verdict is valid, also for every allowed connection; false for an empty request, a text that does not
// fit and a failed module call. Writes a NUL at data[dataLength] and, except for TLS, blanks over NULs in the data.
// Allocates nothing.
bool ScanUrl(const ScanContext& context, const ScanRequest& request, UrlVerdict& verdict, PromptBytes& prompt);

}  // namespace tarn::url

#endif
