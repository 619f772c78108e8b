#include "url/request_parser.h"

#include <algorithm>
#include <string_view>

#include "base/text.h"

namespace tarn::url {
namespace {

using namespace std::string_view_literals;
using base::FindCharacter;
using base::FindTextBeforeNul;

constexpr std::size_t kNone = std::string_view::npos;

// The part of a request that is parsed.
std::string_view HeadOf(base::Bytes data) {
    return base::TextOf(data).substr(0, kMaxRequestLength);
}

// Where the request target begins; 0 for any method but the three.
std::size_t TargetStart(std::string_view text) {
    for (const std::string_view method : {"GET "sv, "POST "sv, "CONNECT "sv})
        if (text.starts_with(method)) return method.size();
    return 0;
}

std::string_view WithoutScheme(std::string_view target) {
    for (const std::string_view scheme : {"http://"sv, "ftp://"sv, "https://"sv})
        if (base::StartsWithIgnoringCase(target, scheme)) return target.substr(scheme.size());
    return target;
}

// The host of a "Host: " value: the port is cut, the brackets of an IPv6 literal stay.
std::string_view WithoutPort(std::string_view value) {
    if (base::FindEither(value, ']', ':') == value.size()) return value;
    const std::size_t bracket = FindCharacter(value, ']');
    if (bracket != value.size()) return value.substr(0, bracket + 1);
    return value.substr(0, FindCharacter(value, ':'));
}

std::string_view WithoutOuterDots(std::string_view host) {
    while (host.starts_with('.')) host.remove_prefix(1);
    while (host.ends_with('.')) host.remove_suffix(1);
    return host;
}

void StoreLower(std::string_view text, UrlText& out) {
    base::CopyLower(out.Data(), text);
    out.SetLength(text.size());
}

}  // namespace

bool ParseHttpRequest(base::Bytes request, ParsedRequest& out) {
    const std::string_view text = HeadOf(request);
    const std::size_t targetStart = TargetStart(text);
    if (targetStart == 0) return false;
    const bool isConnect = text.front() == 'C';

    std::string_view target = text.substr(targetStart);
    const std::size_t targetLength = FindTextBeforeNul(target, " HTTP/1.");
    static_assert(kNone >= base::kUrlCapacity);
    if (targetLength >= base::kUrlCapacity) return false;
    target = target.substr(0, targetLength);
    if (isConnect) target = target.substr(0, FindCharacter(target, ':'));
    target = WithoutScheme(target);

    // QUIRK: the first "Host: " anywhere counts, inside the target or another header's value too.
    // Test: HostIsSearchedFromTheStart
    constexpr std::string_view kHostHeader = "Host: ";
    const std::size_t header = FindTextBeforeNul(text, kHostHeader);
    if (header == kNone) return false;
    std::string_view value = text.substr(header + kHostHeader.size());
    const std::size_t valueLength = FindTextBeforeNul(value, "\r\n");
    if (valueLength == kNone || valueLength == 0 || valueLength >= kHostCapacity) return false;
    value = value.substr(0, valueLength);

    out.url.Assign(isConnect ? "https://" : "");
    out.url.Append(value);
    std::string_view host = WithoutPort(value);
    if (target == "/") {
        // QUIRK: a request of the root keeps the dots around its host and has an empty path.
        // Test: RootKeepsTheDotsOfTheHost
        StoreLower(host, out.host);
        out.path.Clear();
        return true;
    }

    host = WithoutOuterDots(host);
    StoreLower(host, out.host);
    if (base::StartsWithIgnoringCase(target, host)) target = target.substr(host.size());
    if (!base::NormalizeUrlPath(target, out.path)) return false;
    // The "/" that stands for the missing path of a CONNECT is no part of its URL.
    if (!(isConnect && target.empty()) && !out.url.Append(out.path.View())) return false;
    base::CopyLower(out.path.Data(), out.path.View());
    return true;
}

bool ParseFtpCommand(base::Bytes data, UrlText& matchPath, UrlText& displayPath) {
    matchPath.Clear();
    if (data.empty()) return false;
    std::string_view text = HeadOf(data);
    text = text.substr(0, FindCharacter(text, '\0'));

    std::string_view command = "RETR ";
    std::size_t at = base::FindText(text, command);
    if (at == kNone) {
        command = "CWD ";
        at = base::FindText(text, command);
    }
    if (at == kNone) {
        // QUIRK: "LIST" counts wherever it stands.  Test: ListAnywhereIsTheRoot
        if (base::FindText(text, "LIST") == kNone) return false;
        matchPath.Assign("/");
        displayPath.Assign("/");
        return true;
    }
    // QUIRK: a buffer that begins with "CWD " but holds "RETR " further on is refused.
    // Test: RetrBehindCwdIsRefused
    if (at != 0) return false;

    std::string_view argument = text.substr(command.size());
    const std::size_t lineEnd = base::FindText(argument, "\r\n");
    displayPath.Clear();
    if (lineEnd != kNone) {
        if (lineEnd == 0) return false;
        argument = argument.substr(0, lineEnd);
        if (!argument.starts_with('/')) displayPath.Append("/");
    }
    // QUIRK: without a line end no "/" is put in front.  Test: CommandWithoutLineEndIsCopiedAsItStands
    if (!displayPath.Append(argument)) return false;
    base::CopyLower(matchPath.Data(), displayPath.View());
    matchPath.SetLength(displayPath.Length());
    return true;
}

}  // namespace tarn::url
