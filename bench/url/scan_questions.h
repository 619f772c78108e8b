// Requests of every kind for whole scans, made so that no list holds them, and the answers they must get.
#ifndef TARN_BENCH_URL_SCAN_QUESTIONS_H
#define TARN_BENCH_URL_SCAN_QUESTIONS_H

#include <cstdint>
#include <string>
#include <vector>

#include "url/dns_message.h"
#include "url/list_records.h"
#include "url/quiet_world.h"
#include "url/tls_hello.h"

namespace tarn::url {

inline constexpr std::size_t kScanQuestions = 1024;  // more than a branch predictor learns; each has its own bytes
inline constexpr std::uint16_t kDnsPort = 53;

enum class Judged { kToCategories, kByCategories };

struct ScanQuestions {
    std::vector<OwnedRequest> requests;
    std::uint32_t allow = TARN_ALLOW;
    std::uint32_t reason = TARN_REASON_DEFAULT;
    bool byExtension = false;  // for the browser-extension scan

    [[nodiscard]] bool Answers(const UrlVerdict& verdict) const {
        return verdict.allow == allow && verdict.reason == reason;
    }
};

// A public address that no blocked site has.
inline IpAddressRecord RemoteAddress(std::size_t number) {
    IpAddressRecord address{};
    address.bytes[0] = 203;
    address.bytes[1] = static_cast<std::uint8_t>(number >> 16);
    address.bytes[2] = static_cast<std::uint8_t>(number >> 8);
    address.bytes[3] = static_cast<std::uint8_t>(number);
    return address;
}

// make(corpus, number) gives the bytes of one request.
template <class Make>
ScanQuestions MakeQuestions(std::uint8_t kind, std::uint16_t port, Judged judged, Make make) {
    ScanQuestions questions;
    SiteCorpus corpus(30U + kind);
    const bool stop = judged == Judged::kToCategories;
    if (stop) questions.allow = TARN_STOPPED_BEFORE_CATEGORIES;
    for (std::size_t i = 0; i < kScanQuestions; ++i)
        questions.requests.emplace_back(kind, make(corpus, i), RemoteAddress(i), port, stop);
    return questions;
}

inline ScanQuestions HttpQuestions(Judged judged) {
    return MakeQuestions(TARN_KIND_HTTP, 80, judged, [](SiteCorpus& corpus, std::size_t) {
        const std::string host = corpus.UnlistedHost();
        return BrowserRequest(host, corpus.Path());
    });
}
inline ScanQuestions FtpQuestions(Judged judged) {
    return MakeQuestions(TARN_KIND_FTP, 21, judged,
                         [](SiteCorpus& corpus, std::size_t) { return "RETR " + corpus.Path() + "\r\n"; });
}
inline ScanQuestions TlsQuestions(Judged judged) {
    return MakeQuestions(TARN_KIND_TLS, 443, judged,
                         [](SiteCorpus& corpus, std::size_t) { return TlsHello(corpus.UnlistedHost()); });
}
// Hellos without a name, to addresses that the DNS answers have named.
inline ScanQuestions TlsQuestionsByAddress(Judged judged) {
    return MakeQuestions(TARN_KIND_TLS, 443, judged, [](SiteCorpus&, std::size_t) { return TlsHello(""); });
}
inline std::string DnsAnswerOf(const std::string& host, std::size_t number) {
    const IpAddressRecord first = RemoteAddress(number);
    const IpAddressRecord second = RemoteAddress(number + 0x10000);
    return DnsResponse(host, {std::string(reinterpret_cast<const char*>(first.bytes), 4),
                              std::string(reinterpret_cast<const char*>(second.bytes), 4)});
}
inline ScanQuestions DnsQuestions() {
    ScanQuestions questions = MakeQuestions(
        TARN_KIND_HTTP, kDnsPort, Judged::kByCategories,
        [](SiteCorpus& corpus, std::size_t number) { return DnsAnswerOf(corpus.UnlistedHost(), number); });
    return questions;
}
// DNS answers that fill the ring with other addresses.
inline ScanQuestions RingFillers() {
    ScanQuestions questions;
    SiteCorpus corpus(40);
    for (std::size_t i = 0; i < TARN_DNS_RING_SLOTS; ++i)
        questions.requests.emplace_back(TARN_KIND_HTTP, DnsAnswerOf(corpus.UnlistedHost(), i + 0x4000),
                                        RemoteAddress(i), kDnsPort);
    return questions;
}
inline ScanQuestions PhishingQuestions(const ListRecords& lists) {
    ScanQuestions questions = MakeQuestions(
        TARN_KIND_HTTP, 80, Judged::kToCategories,
        [&lists](SiteCorpus& corpus, std::size_t i) { return BrowserRequest(lists.PhishingHost(i), corpus.Path()); });
    questions.allow = TARN_BLOCK;
    questions.reason = TARN_REASON_PHISHING;
    return questions;
}
// URLs as a browser extension reports them: text with its NUL.
inline ScanQuestions ExtensionQuestions() {
    ScanQuestions questions =
        MakeQuestions(TARN_KIND_TLS, 443, Judged::kByCategories, [](SiteCorpus& corpus, std::size_t) {
            const std::string host = corpus.UnlistedHost();
            return "https://" + host + corpus.Path() + '\0';
        });
    questions.byExtension = true;
    return questions;
}

}  // namespace tarn::url

#endif
