// Judges the first bytes of a connection: the ordered pipeline of rules from the white lists to the categories.
// Any number of threads may scan at once. Allocates only to act against a program.
#ifndef TARN_URL_URL_SCAN_H
#define TARN_URL_URL_SCAN_H

#include <span>
#include <string_view>

#include "tarn/records.h"

#include "url/rules.h"
#include "url/scan_context.h"

namespace tarn::url {

// The two tables of the scan, in order: what prepares it, and what judges.
std::span<const Rule> UrlPreparation();
std::span<const Rule> UrlRules();

// True when the verdict is valid, also for every allowed connection; false for an empty request, a text that does not
// fit and a failed module call. Writes a NUL at data[dataLength] and blanks over NULs in what is parsed as HTTP or FTP.
// endedBy becomes the name of the step or rule that ended the scan, empty when none did.
bool ScanUrl(const ScanContext& context, const ScanRequest& request, UrlVerdict& verdict, PromptBytes& prompt,
             std::string_view* endedBy = nullptr);

}  // namespace tarn::url

#endif
