#include "host/explain/asked_address.h"

#include <algorithm>
#include <fmt/format.h>

#include "base/text.h"
#include "base/url_path.h"

namespace tarn::host {

namespace {

constexpr std::size_t kMaxUrl = base::UrlText::kMaxLength;
constexpr std::size_t kMaxHost = base::HostText::kMaxLength;

// The text of an address: IPv6 as eight groups of four digits.
std::string AddressTextOf(const IpAddress& address) {
    if (!address.isIpv6) return FormatIpAddress(address);
    std::string text;
    for (std::size_t i = 0; i < address.bytes.size(); i += 2)
        text += fmt::format("{}{:02x}{:02x}", i == 0 ? "" : ":", address.bytes[i], address.bytes[i + 1]);
    return text;
}

std::string_view WithoutPort(std::string_view value) {
    if (const std::size_t bracket = value.find(']'); bracket != std::string_view::npos)
        return value.substr(0, bracket + 1);
    return value.substr(0, value.find(':'));
}

std::string_view WithoutOuterDots(std::string_view host) {
    while (host.starts_with('.')) host.remove_prefix(1);
    while (host.ends_with('.')) host.remove_suffix(1);
    return host;
}

void Refuse(AskedAddress& asked, const char* why) {
    asked.host.clear();
    asked.path.clear();
    asked.url.clear();
    asked.whyNot = why;
}

void TakeHttp(const RequestView& view, AskedAddress& asked) {
    const std::string_view value = view.host;
    std::string_view target = view.path;
    if (target.size() > kMaxUrl) return Refuse(asked, "request target longer than 1,023 characters");
    if (value.empty()) return Refuse(asked, "no \"Host: \" line");
    if (value.size() > kMaxHost) return Refuse(asked, "host longer than 259 characters");
    asked.url = value;
    std::string_view host = WithoutPort(value);
    if (target == "/") {
        asked.host = base::Lowered(host);
        return;
    }
    host = WithoutOuterDots(host);
    asked.host = base::Lowered(host);
    if (base::StartsWithIgnoringCase(target, host)) target.remove_prefix(host.size());
    base::UrlText path;
    if (!base::NormalizeUrlPath(target, path) || asked.url.size() + path.Length() > kMaxUrl)
        return Refuse(asked, "host and path longer than 1,023 characters");
    asked.url += path.View();
    asked.path = base::Lowered(path.View());
}

}  // namespace

AskedAddress AskedOf(const JudgedRequest& request) {
    AskedAddress asked;
    asked.kind = request.protocol->kind;
    asked.server = request.server.address;
    if (asked.kind == TARN_KIND_TLS) {
        // Of a capture it is the name in the hello; a single address has a port, too, or is no name at all.
        std::string_view host = request.view.host;
        if (!request.origin) {
            host = WithoutPort(host);
            if (host.starts_with('[') || ParseIpAddress(host)) host = {};
        }
        asked.host = base::Lowered(host);
        asked.addressText = AddressTextOf(asked.server);
        asked.hasNoVerdict = asked.host.empty();
        if (asked.host.empty()) asked.whyNot = "the hello names no server";
        asked.url = "https://" + asked.host;
    } else {
        TakeHttp(request.view, asked);
    }
    asked.hostAndPath = asked.host + asked.path;
    if (asked.hostAndPath.size() > kMaxUrl) {
        Refuse(asked, "host and path longer than 1,023 characters");
        asked.hasNoVerdict = true;
    }
    return asked;
}

AskedAddress AskedOfReported(std::string_view url) {
    AskedAddress asked;
    asked.kind = TARN_KIND_TLS;
    asked.isReported = true;
    url = url.substr(0, url.find('\0'));
    const std::size_t scheme = url.find("://");
    if (url.size() > kMaxUrl || scheme == std::string_view::npos) {
        Refuse(asked, url.size() > kMaxUrl ? "longer than 1,023 characters" : "no scheme");
        asked.hasNoVerdict = true;
        return asked;
    }
    asked.url = url;
    const std::string_view rest = url.substr(scheme + 3);
    const std::size_t slash = std::min(rest.find('/'), rest.size());
    asked.host = rest.substr(0, slash);
    asked.path = rest.substr(std::min(slash + 1, rest.size()));
    asked.hostAndPath = asked.path.empty() ? asked.host : asked.host + "/" + asked.path;
    return asked;
}

AskedAddress AskedOfText(std::string_view text, const AskedAddress& like) {
    AskedAddress asked = like;
    asked.url = text;
    if (const std::size_t scheme = text.find("://"); scheme != std::string_view::npos) text.remove_prefix(scheme + 3);
    const std::size_t slash = std::min(text.find('/'), text.size());
    asked.host = base::Lowered(WithoutPort(text.substr(0, slash)));
    asked.path = base::Lowered(text.substr(slash));
    asked.hostAndPath = asked.host + asked.path;
    asked.whyNot.clear();
    asked.hasNoVerdict = false;
    return asked;
}

}  // namespace tarn::host
