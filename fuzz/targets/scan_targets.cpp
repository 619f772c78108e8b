// The two whole scans over the default policy.
#include <cstring>

#include "scan_world.h"
#include "targets.h"
#include "url/url_scan.h"
#include "url/web_extension_scan.h"

namespace tarn::fuzz {
namespace {

bool SameOutcome(const ScanOutcome& a, const ScanOutcome& b) {
    return a.isValid == b.isValid && std::memcmp(&a.verdict, &b.verdict, sizeof a.verdict) == 0 &&
           std::memcmp(&a.prompt, &b.prompt, sizeof a.prompt) == 0;
}

// The data is as it was, except that a NUL may have become a blank; behind it stands a NUL.
void RequireData(Bytes before, ExactBlock& after, bool isTls) {
    for (std::size_t i = 0; i < before.size(); ++i)
        Require(after.Data()[i] == before[i] || (!isTls && before[i] == 0 && after.Data()[i] == ' '),
                "the data stays as it is");
    Require(before.empty() || after.Data()[before.size()] == 0, "a NUL stands behind the data");
}

}  // namespace

void UrlScan(Bytes input) {
    Pieces pieces(input);
    const ScanChoice choice(pieces);
    const Bytes data = pieces.Rest();
    ScanWorld& world = ScanWorld::Instance();
    world.Reset(choice);
    ExactBlock first(data, 1);
    const ScanOutcome outcome = world.Run(url::ScanUrl, choice, first);
    RequireOutcome(outcome);
    RequireData(data, first, choice.kind == TARN_KIND_TLS);
    Require(!data.empty() || !outcome.isValid, "without data there is no verdict");

    world.Reset(choice);
    ExactBlock second(data, 1);
    Require(SameOutcome(outcome, world.Run(url::ScanUrl, choice, second)), "a request is judged alike twice");
}

// The URL is a text that ends with its NUL; what the extension hands over has no length.
void ExtensionScan(Bytes input) {
    Pieces pieces(input);
    ScanChoice choice(pieces);
    if (choice.kind != TARN_KIND_HTTP) choice.kind = TARN_KIND_TLS;
    const Bytes data = pieces.Rest();
    ByteList text(data.begin(), data.end());
    text.push_back(0);
    ScanWorld& world = ScanWorld::Instance();
    world.Reset(choice);
    ExactBlock first(text);
    const ScanOutcome outcome = world.Run(url::ScanWebExtensionUrl, choice, first);
    RequireOutcome(outcome);
    Require(std::memcmp(first.Data(), text.data(), text.size()) == 0, "the URL stays as it is");
    world.Reset(choice);
    Require(SameOutcome(outcome, world.Run(url::ScanWebExtensionUrl, choice, first)), "a URL is judged alike twice");
}

}  // namespace tarn::fuzz
