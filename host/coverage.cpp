#include "host/coverage.h"

#include <algorithm>

#include "base/text.h"
#include "base/url_path.h"
#include "host/request_view.h"

namespace tarn::host {

namespace {

using namespace std::string_view_literals;

constexpr std::size_t kMaxHead = 2047;     // bytes of a request that are looked at
constexpr std::size_t kMaxListHost = 255;  // of the hosts in the threat lists

constexpr Coverage kWhole{};
constexpr Coverage kGap{Extent::kPart, "part of the request is missing in the capture"};
constexpr Coverage kMethod{Extent::kNone, "only GET, POST and CONNECT requests are judged"};
constexpr Coverage kNoVersion{Extent::kNone, "no HTTP/1 request line"};
constexpr Coverage kLongTarget{Extent::kNone, "request target longer than 1,023 characters"};
constexpr Coverage kNoHost{Extent::kNone, "no \"Host: \" line in the first 2,047 bytes"};
constexpr Coverage kLongHost{Extent::kNone, "host longer than 259 characters"};
constexpr Coverage kLongListHost{Extent::kPart, "host longer than 255 characters: threat lists not asked"};
constexpr Coverage kLongUrl{Extent::kNone, "host and path longer than 1,023 characters"};
constexpr Coverage kIpv6Host{Extent::kPart, "IPv6 address as host: categories not asked"};
constexpr Coverage kPrivate{Extent::kPart, "private address: threat lists and categories not asked"};
constexpr Coverage kNoName{Extent::kPart, "hello without a server name: judged if a saved DNS answer names it"};
constexpr Coverage kBrokenHello{Extent::kPart, "hello that is not whole: judged if a saved DNS answer names it"};
constexpr Coverage kHiddenHello{Extent::kPart,
                                "hello that may hide the name that is meant (ECH): the outer one is judged"};
constexpr Coverage kFtpCommand{Extent::kNone, "of FTP commands only RETR, CWD and LIST are judged"};
constexpr Coverage kNoDnsAnswer{Extent::kNone, "no DNS answer that can be read"};
constexpr Coverage kLongReported{Extent::kNone, "longer than 1,023 characters"};
constexpr Coverage kNotSecure{Extent::kNone, "of reported addresses only https:// is judged"};
constexpr Coverage kUnreadable{Extent::kNone, "the library could not judge it"};

std::string_view AsText(base::Bytes data) {
    return {reinterpret_cast<const char*>(data.data()), data.size()};
}

std::string_view Before(std::string_view text, std::string_view mark) {
    return text.substr(0, text.find(mark));
}

bool IsDecided(const Judgement& judgement) {
    return judgement.isValid &&
           (judgement.verdict.allow != TARN_ALLOW || judgement.verdict.reason != TARN_REASON_DEFAULT);
}

// The path of a request target, as lists hold it.
std::size_t PathLength(std::string_view target) {
    if (const std::size_t scheme = target.find("://"); scheme < target.find_first_of("/?#")) {
        target.remove_prefix(scheme + 3);
        target.remove_prefix(std::min(target.find_first_of("/?#"), target.size()));
    }
    base::UrlText path;
    return base::NormalizeUrlPath(target, path) ? path.Length() : base::UrlText::kMaxLength + 1;
}

Coverage OfHttp(base::Bytes data, const Judgement& judgement) {
    const std::string_view head = AsText(data).substr(0, kMaxHead);
    const std::string_view methods[] = {"GET "sv, "POST "sv, "CONNECT "sv};
    const auto method = std::find_if(std::begin(methods), std::end(methods),
                                     [&](std::string_view one) { return head.starts_with(one); });
    if (method == std::end(methods)) return kMethod;
    const std::string_view rest = head.substr(method->size());
    const std::string_view target = Before(rest, " HTTP/1.");
    if (target.size() > base::UrlText::kMaxLength) return kLongTarget;
    if (target.size() == rest.size()) return kNoVersion;
    const std::size_t hostLine = head.find("Host: ");
    const std::string_view value = hostLine == head.npos ? ""sv : head.substr(hostLine + 6);
    const std::string_view host = Before(value, "\r\n");
    if (host.empty() || host.size() == value.size()) return kNoHost;
    if (host.size() > base::HostText::kMaxLength) return kLongHost;
    if (target != "/" && host.size() + PathLength(target) > base::UrlText::kMaxLength) return kLongUrl;
    if (!judgement.isValid && host.size() > kMaxListHost) return kLongListHost;
    if (!judgement.isValid && host.front() == '[') return kIpv6Host;
    return kWhole;
}

// From the record header to the extensions, by lengths that stay inside the hello.
Coverage OfHello(base::Bytes data) {
    base::ByteReader reader(data);
    std::uint8_t length = 0;
    std::uint16_t longLength = 0;
    base::Bytes extensions;
    constexpr std::size_t kUpToSessionId = 5 + 4 + 2 + 32;
    constexpr std::uint8_t kMaxShort = 127;  // of the session id and of the compression methods
    if (!reader.Skip(kUpToSessionId) || !reader.Be(length) || length > kMaxShort || !reader.Skip(length) ||
        !reader.Be(longLength) || !reader.Skip(longLength) || !reader.Be(length) || length > kMaxShort ||
        !reader.Skip(length) || !reader.Be(longLength) || !reader.Take(longLength, extensions))
        return kBrokenHello;
    const std::string host = ViewTlsHello(data).host;
    if (host.empty()) return kNoName;
    if (host.size() > base::HostText::kMaxLength) return kLongHost;
    return HidesHello(data) ? kHiddenHello : kWhole;
}

Coverage OfFtp(base::Bytes data) {
    const std::string_view text = AsText(data);
    for (const std::string_view command : {"RETR "sv, "CWD "sv, "LIST"sv})
        if (text.find(command) != std::string_view::npos) return kWhole;
    return kFtpCommand;
}

Coverage OfBytes(const Protocol& protocol, base::Bytes data, const Judgement& judgement) {
    if (protocol.name == "dns") return judgement.isValid ? kWhole : kNoDnsAnswer;
    if (protocol.name == "tls") return OfHello(data);
    return protocol.name == "ftp" ? OfFtp(data) : OfHttp(data, judgement);
}

}  // namespace

Coverage CoverageOf(const Protocol& protocol, base::Bytes data, const Endpoint& server, const Judgement& judgement,
                    bool hasGap) {
    if (IsDecided(judgement)) return kWhole;
    const Coverage coverage = OfBytes(protocol, data, judgement);
    if (!judgement.isValid) return coverage.IsWhole() ? kUnreadable : Coverage{Extent::kNone, coverage.why};
    if (!coverage.IsWhole()) return coverage;
    if (protocol.name != "dns" && IsPrivateServer(server.address)) return kPrivate;
    return hasGap ? kGap : kWhole;
}

Coverage CoverageOfReported(std::uint8_t kind, std::string_view url, const Judgement& judgement) {
    if (IsDecided(judgement)) return kWhole;
    if (kind != TARN_KIND_TLS) return kNotSecure;
    if (url.size() > base::UrlText::kMaxLength) return kLongReported;
    const std::string_view host = url.substr(std::min(url.find("://") + 3, url.size()));
    if (!judgement.isValid) return host.starts_with('[') ? kIpv6Host : kUnreadable;
    return kWhole;
}

bool IsPrivateServer(const IpAddress& address) {
    struct Range {
        std::uint32_t first;
        std::uint32_t end;
    };
    constexpr Range kRanges[] = {
        {0x0A000001, 0x0AFFFFFF}, {0xAC100001, 0xAC1FFFFF}, {0xC0A80001, 0xC0A8FFFF}, {0xA9FE0001, 0xA9FEFFFF}};
    if (address.isIpv6) return address.bytes[0] == 0xFD;
    std::uint32_t number = 0;
    base::ByteReader reader(address.bytes);
    return reader.Be(number) && std::any_of(std::begin(kRanges), std::end(kRanges), [&](const Range& range) {
               return number >= range.first && number < range.end;
           });
}

std::string_view ExtentWord(Extent extent) {
    switch (extent) {
        case Extent::kWhole:
            return "whole";
        case Extent::kPart:
            return "part";
        case Extent::kNone:
            break;
    }
    return "none";
}

}  // namespace tarn::host
