// What the rules of one URL scan share: the request, its working texts, the verdict they fill.
// Lives on the stack of one scan; the context, the request and the two records outlive it.
#ifndef TARN_URL_SCAN_STATE_H
#define TARN_URL_SCAN_STATE_H

#include <cstdint>
#include <string_view>

#include "tarn/records.h"

#include "lists/label_hashes.h"
#include "url/request_parser.h"
#include "url/scan_context.h"

namespace tarn::url {

// What a rule says: ask the next one, or end the scan with a valid verdict (true) or without one (false).
enum class Step { kContinue, kDone, kFailed };

struct ScanState {
    ScanState(const ScanContext& scanContext, const ScanRequest& scanRequest, UrlVerdict& scanVerdict,
              PromptBytes& scanPrompt)
        : context(scanContext), request(scanRequest), verdict(scanVerdict), prompt(scanPrompt) {}

    const ScanContext& context;
    const ScanRequest& request;
    UrlVerdict& verdict;
    PromptBytes& prompt;

    ParsedRequest parsed;         // host, path and display URL
    UrlText hostAndPath;          // host followed by path: what every white list is asked with
    UrlText addressText;          // the remote address as text, for kind 3 and for requests without a host
    lists::HostKeys hostKeys;     // of parsed.host
    lists::HostKeys addressKeys;  // of addressText, when it is one of kind 3
    std::string_view endedBy;     // the name of the rule that ended the scan; a literal
};

// The verdict of a rule that decided, with the prompt bytes of its feature.
inline Step Decide(ScanState& scan, std::uint32_t allow, std::uint32_t reason, const PromptBytes& prompt) {
    scan.verdict.allow = allow;
    scan.verdict.reason = reason;
    scan.prompt = prompt;
    return Step::kDone;
}
// The block of a feature that has no prompt bytes.
inline Step Block(ScanState& scan, std::uint32_t reason) {
    scan.verdict.allow = TARN_BLOCK;
    scan.verdict.reason = reason;
    return Step::kDone;
}

// Texts longer than their field are cut; all are terminated.
void WriteUserName(UrlVerdict& verdict, const machine::ProcessUser& user);
void WriteUrl(UrlVerdict& verdict, std::string_view url);
void WriteThreatName(UrlVerdict& verdict, std::string_view name);
void WriteThreatUrl(UrlVerdict& verdict, std::string_view url);

}  // namespace tarn::url

#endif
