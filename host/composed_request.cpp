#include "host/composed_request.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>

#include "base/text.h"

namespace tarn::host {

namespace {

constexpr IpAddress kAnyServer{false, {192, 0, 2, 1}};  // reserved for documentation (RFC 5737), so it is public
constexpr std::size_t kLongestHost = 255;
constexpr std::size_t kLongestUrl = 8192;  // the library reads less

struct UrlParts {
    bool isSecure = false;
    std::string host;  // as the Host header has it: an IPv6 address in brackets
    std::uint16_t port = 0;
    bool isUsualPort = true;
    std::string target;
    std::optional<IpAddress> address;
};

// "mailto" of "mailto:me@a.example": a word of letters with no port behind its colon. Empty for a host.
std::string_view SchemeWithoutHost(std::string_view url) {
    const auto isLetter = [](char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); };
    const std::string_view word = url.substr(0, url.find(':'));
    if (word.empty() || word.size() == url.size() || !std::all_of(word.begin(), word.end(), isLetter)) return {};
    const std::string_view behind = url.substr(word.size() + 1);
    const bool isPort = behind.find_first_not_of("0123456789") >= std::min(behind.find_first_of("/?#"), behind.size());
    return isPort ? std::string_view() : word;
}

std::string_view CutScheme(std::string_view& url) {
    const std::size_t end = url.find("://");
    if (end == std::string_view::npos || end > url.find_first_of("/?#")) {
        const std::string_view scheme = SchemeWithoutHost(url);
        return scheme.empty() ? "http" : scheme;
    }
    const std::string_view scheme = url.substr(0, end);
    url.remove_prefix(end + 3);
    return scheme;
}

// The path without "." and ".." (RFC 3986, 5.2.4).
std::string RemoveDotSegments(std::string_view path) {
    std::vector<std::string_view> kept;
    bool endsInFolder = false;
    path.remove_prefix(1);
    while (true) {
        const std::size_t end = path.find('/');
        const std::string_view segment = path.substr(0, end);
        endsInFolder = segment == "." || segment == "..";
        if (segment == ".." && !kept.empty()) kept.pop_back();
        if (!endsInFolder) kept.push_back(segment);
        if (end == std::string_view::npos) break;
        path.remove_prefix(end + 1);
    }
    std::string result;
    for (const std::string_view segment : kept) result.append("/").append(segment);
    if (endsInFolder || result.empty()) result += '/';
    return result;
}

// Percent-encodes what may not stand in a request line.
std::string Encode(std::string_view text) {
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        const bool mayStand = byte > 0x20 && byte < 0x7F && c != '"' && c != '<' && c != '>';
        result += mayStand ? std::string(1, c) : fmt::format("%{:02X}", byte);
    }
    return result;
}

bool IsAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

bool ParseAuthority(std::string_view authority, UrlParts& parts, std::string& mistake, const HostToAscii& toAscii) {
    if (const std::size_t user = authority.rfind('@'); user != std::string_view::npos)
        authority.remove_prefix(user + 1);
    std::size_t hostEnd = authority.find(':');
    if (!authority.empty() && authority.front() == '[') {
        const std::size_t bracket = authority.find(']');
        if (bracket != std::string_view::npos) parts.address = ParseIpAddress(authority.substr(1, bracket - 1));
        if (!parts.address || !parts.address->isIpv6) {
            mistake = "what stands in [ ] is no IPv6 address";
            return false;
        }
        hostEnd = bracket + 1 == authority.size() ? std::string_view::npos : bracket + 1;
    }
    parts.host = authority.substr(0, hostEnd);
    if (toAscii && !IsAscii(parts.host)) parts.host = toAscii(parts.host).value_or(parts.host);
    base::LowerAscii(parts.host.data(), parts.host.size());
    if (!parts.address) parts.address = ParseIpAddress(parts.host);
    const bool isHostFine = std::all_of(parts.host.begin(), parts.host.end(), [](char c) {
        return c > 0x20 && c < 0x7F && std::string_view("\"<>\\^`{|}").find(c) == std::string_view::npos;
    });
    if (parts.host.empty())
        mistake = "it names no host";
    else if (parts.host.size() > kLongestHost)
        mistake =
            fmt::format("its host has {} characters, and at most {} are possible", parts.host.size(), kLongestHost);
    else if (!isHostFine)
        mistake = "its host has characters that no host has; write an international name in its xn-- form";
    if (!mistake.empty()) return false;

    parts.port = parts.isSecure ? 443 : 80;
    if (hostEnd == std::string_view::npos || hostEnd + 1 == authority.size()) return true;
    const std::string_view port = authority.substr(hostEnd + 1);
    const std::uint16_t usual = parts.port;
    const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), parts.port);
    if (authority[hostEnd] != ':' || error != std::errc{} || end != port.data() + port.size() || parts.port == 0) {
        mistake = "its port is no number from 1 to 65535";
        return false;
    }
    parts.isUsualPort = parts.port == usual;
    return true;
}

bool ParseUrl(std::string_view url, UrlParts& parts, std::string& mistake, const HostToAscii& toAscii) {
    if (url.size() > kLongestUrl) {
        mistake = fmt::format("it has {} characters, and at most {} are judged", url.size(), kLongestUrl);
        return false;
    }
    const std::string_view scheme = CutScheme(url);
    parts.isSecure = base::EqualIgnoringCase(scheme, "https");
    if (!parts.isSecure && !base::EqualIgnoringCase(scheme, "http")) {
        mistake = fmt::format("its scheme is \"{}\", and http:// and https:// are judged", scheme);
        return false;
    }
    const std::size_t authorityEnd = std::min(url.find_first_of("/?#"), url.size());
    if (!ParseAuthority(url.substr(0, authorityEnd), parts, mistake, toAscii)) return false;

    std::string_view target = url.substr(authorityEnd);
    target = target.substr(0, target.find('#'));
    const std::size_t query = std::min(target.find('?'), target.size());
    const std::string_view path = target.substr(0, query);
    parts.target = Encode(path.empty() ? "/" : RemoveDotSegments(path)) + Encode(target.substr(query));
    return true;
}

void PutNumber(std::vector<std::uint8_t>& out, std::size_t number, int bytes) {
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8)
        out.push_back(static_cast<std::uint8_t>((number >> shift) & 0xFF));
}

// Appends content behind its length, which takes that many bytes.
void PutBlock(std::vector<std::uint8_t>& out, const std::vector<std::uint8_t>& content, int lengthBytes) {
    PutNumber(out, content.size(), lengthBytes);
    out.insert(out.end(), content.begin(), content.end());
}

void PutExtension(std::vector<std::uint8_t>& out, std::uint16_t type, const std::vector<std::uint8_t>& content) {
    PutNumber(out, type, 2);
    PutBlock(out, content, 2);
}

// Bytes in the place of random ones: nobody answers this hello, and equal input is to give equal output.
std::vector<std::uint8_t> Filler(std::size_t count, std::uint8_t first) {
    std::vector<std::uint8_t> bytes(count);
    for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<std::uint8_t>(first + i * 7);
    return bytes;
}

}  // namespace

std::optional<ComposedRequest> ComposeRequest(std::string_view url, std::string& mistake, const HostToAscii& toAscii) {
    mistake.clear();
    UrlParts parts;
    if (!ParseUrl(url, parts, mistake, toAscii)) return std::nullopt;
    ComposedRequest request;
    request.isServerKnown = parts.address.has_value();
    request.server = {parts.address.value_or(kAnyServer), parts.port};
    const std::string authority = parts.isUsualPort ? parts.host : fmt::format("{}:{}", parts.host, parts.port);
    request.view = {authority, parts.target};
    if (parts.isSecure) {
        request.protocol = &TlsProtocol();
        // An address is no server name (RFC 6066, section 3), and the target travels encrypted.
        request.view.path.clear();
        request.data = ComposeClientHello(parts.address ? std::string_view() : std::string_view(parts.host));
        return request;
    }
    request.protocol = &HttpProtocol();
    const std::string text = fmt::format(
        "GET {} HTTP/1.1\r\nHost: {}\r\nConnection: keep-alive\r\nUser-Agent: Mozilla/5.0 (tarnhost)\r\nAccept: "
        "text/html,*/*;q=0.8\r\nAccept-Encoding: gzip, deflate\r\n\r\n",
        parts.target, authority);
    request.data.assign(text.begin(), text.end());
    return request;
}

std::vector<std::uint8_t> ComposeClientHello(std::string_view serverName) {
    enum : std::uint16_t {
        kServerName = 0,
        kSupportedGroups = 10,
        kSignatureAlgorithms = 13,
        kSupportedVersions = 43,
        kKeyShare = 51
    };
    std::vector<std::uint8_t> extensions;
    if (!serverName.empty()) {
        std::vector<std::uint8_t> entry{0};  // a host name
        PutBlock(entry, {serverName.begin(), serverName.end()}, 2);
        std::vector<std::uint8_t> list;
        PutBlock(list, entry, 2);
        PutExtension(extensions, kServerName, list);
    }
    PutExtension(extensions, kSupportedGroups, {0, 4, 0x00, 0x1D, 0x00, 0x17});                  // x25519, secp256r1
    PutExtension(extensions, kSignatureAlgorithms, {0, 6, 0x04, 0x03, 0x08, 0x04, 0x04, 0x01});  // ECDSA, PSS, PKCS#1
    PutExtension(extensions, kSupportedVersions, {4, 0x03, 0x04, 0x03, 0x03});                   // TLS 1.3, TLS 1.2
    std::vector<std::uint8_t> share{0x00, 0x1D};
    PutBlock(share, Filler(32, 9), 2);
    std::vector<std::uint8_t> shares;
    PutBlock(shares, share, 2);
    PutExtension(extensions, kKeyShare, shares);

    std::vector<std::uint8_t> hello{0x03, 0x03};  // TLS 1.2; supported_versions says the rest
    const std::vector<std::uint8_t> random = Filler(32, 101);
    hello.insert(hello.end(), random.begin(), random.end());
    PutBlock(hello, Filler(32, 53), 1);  // session id, as middle boxes want it
    PutBlock(hello, {0x13, 0x01, 0x13, 0x02, 0x13, 0x03, 0xC0, 0x2B, 0xC0, 0x2F}, 2);  // cipher suites
    PutBlock(hello, {0}, 1);                                                           // no compression
    PutBlock(hello, extensions, 2);

    std::vector<std::uint8_t> handshake{1};  // ClientHello
    PutBlock(handshake, hello, 3);
    std::vector<std::uint8_t> record{22, 0x03, 0x01};  // handshake; the version that old middle boxes expect
    PutBlock(record, handshake, 2);
    return record;
}

}  // namespace tarn::host
