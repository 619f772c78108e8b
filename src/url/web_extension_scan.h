// Judges a complete URL that a browser extension reports, inside the browser's own process.
// Shares lists, profiles and categories with the connection scan, but never acts against a process. Any number of
// threads may scan at once. Allocates nothing.
#ifndef TARN_URL_WEB_EXTENSION_SCAN_H
#define TARN_URL_WEB_EXTENSION_SCAN_H

#include <span>
#include <string_view>

#include "tarn/records.h"

#include "url/rules.h"
#include "url/scan_context.h"

namespace tarn::url {

// The steps and rules in order.
std::span<const Rule> WebExtensionRules();

// Reads the URL text and the kind of the request alone; only kind 3 is judged. False when the verdict is not valid:
// no URL, no parental settings, no categorisation. endedBy becomes the name of the rule that ended the scan, empty when
// none did.
bool ScanWebExtensionUrl(const ScanContext& context, const ScanRequest& request, UrlVerdict& verdict,
                         PromptBytes& prompt, std::string_view* endedBy = nullptr);

}  // namespace tarn::url

#endif
