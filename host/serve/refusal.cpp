#include "host/serve/refusal.h"

namespace tarn::host::serve {

namespace {

// Of a DNS message: one without records tells nobody a way to anything.
bool HasAnswers(base::Bytes message) {
    constexpr std::size_t kAnswerCount = 6;
    base::ByteReader reader(message);
    std::uint16_t count = 0;
    return !reader.Skip(kAnswerCount) || !reader.Be(count) || count != 0;
}

std::string_view WhyUnread(Unexamined kind) {
    switch (kind) {
        case Unexamined::kEch:
            return "a hello that may hide the name that is meant";
        case Unexamined::kHelloSplit:
            return "a hello that is not whole";
        case Unexamined::kHttp2:
            return "HTTP/2 without TLS is not judged";
        default:
            return "a protocol that is not judged";
    }
}

}  // namespace

std::optional<Unread> UnreadOf(const Asked& asked) {
    if (asked.unread || asked.protocol != &TlsProtocol()) return asked.unread;
    if (asked.isCut) return Unread{Unexamined::kHelloSplit};
    if (HidesHello(asked.data)) return Unread{Unexamined::kEch};
    return std::nullopt;
}

std::string WhyRefused(const Asked& asked, const std::optional<Unread>& unread, const JudgedRequest& request,
                       const ServeSettings& settings) {
    if (unread && !unread->whyNever.empty()) return std::string(unread->whyNever);
    if (!settings.refusesUnknown || (asked.protocol->name == "dns" && !HasAnswers(asked.data))) return {};
    if (unread) return std::string(WhyUnread(unread->kind));
    const Coverage& coverage = request.coverage;
    const bool isUnknown =
        !request.judgement.isValid || coverage.extent == Extent::kNone || coverage.why == kUnknownUser.why;
    if (!isUnknown) return {};
    return coverage.IsWhole() ? "the library gave no verdict" : std::string(coverage.why);
}

}  // namespace tarn::host::serve
