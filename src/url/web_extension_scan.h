// Judges a complete URL that a browser extension reports, inside the browser's own process.
// It shares lists, profiles and categories with the connection scan, but never acts against a process.
#ifndef TARN_URL_WEB_EXTENSION_SCAN_H
#define TARN_URL_WEB_EXTENSION_SCAN_H

#include "tarn/records.h"

#include "url/scan_context.h"

namespace tarn::url {

// Reads the URL text and the kind of the request alone; only kind 3 is judged. False when the verdict is not valid:
// no URL, no parental settings, no categorisation.
bool ScanWebExtensionUrl(const ScanContext& context, const ScanRequest& request, UrlVerdict& verdict,
                         PromptBytes& prompt);

}  // namespace tarn::url

#endif
