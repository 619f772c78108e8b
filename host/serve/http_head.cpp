#include "host/serve/http_head.h"

#include <algorithm>
#include <fmt/format.h>
#include <set>

#include "base/text.h"
#include "host/ports.h"
#include "policy/values.h"

namespace tarn::host::serve {

namespace {

std::string_view View(boost::beast::string_view text) {
    return {text.data(), text.size()};
}

// What concerns one connection alone (RFC 9110, 7.6.1). Transfer-Encoding is set anew for the body that is sent.
bool IsHopByHop(http::field name) {
    switch (name) {
        case http::field::connection:
        case http::field::proxy_connection:
        case http::field::keep_alive:
        case http::field::proxy_authorization:
        case http::field::proxy_authenticate:
        case http::field::te:
        case http::field::trailer:
        case http::field::transfer_encoding:
        case http::field::upgrade:
        case http::field::http2_settings:
            return true;
        default:
            return false;
    }
}

// The fields that "Connection" names.
template <class Head>
std::set<std::string> NamedByConnection(const Head& head) {
    std::set<std::string> names;
    for (const auto& field : head)
        if (field.name() == http::field::connection)
            for (const auto& token : http::token_list(field.value())) names.insert(policy::LowerCase(View(token)));
    return names;
}

template <class Head>
void AddEndToEnd(const Head& head, bool withoutHost, std::string& text) {
    const std::set<std::string> named = NamedByConnection(head);
    for (const auto& field : head) {
        if (IsHopByHop(field.name()) || (withoutHost && field.name() == http::field::host)) continue;
        // Without its length a body would not end where it does.
        if (field.name() != http::field::content_length && field.name() != http::field::host &&
            named.contains(policy::LowerCase(View(field.name_string()))))
            continue;
        text += fmt::format("{}: {}\r\n", View(field.name_string()), View(field.value()));
    }
}

// Taken apart: "http://host:port" and the rest, which begins with "/".
bool TakeAuthority(std::string_view& text, std::string_view& authority) {
    constexpr std::string_view kScheme = "http://";
    if (!base::StartsWithIgnoringCase(text, kScheme)) return false;
    text.remove_prefix(kScheme.size());
    const std::size_t end = std::min(text.find_first_of("/?#"), text.size());
    authority = text.substr(0, end);
    if (const std::size_t at = authority.rfind('@'); at != std::string_view::npos) authority.remove_prefix(at + 1);
    text.remove_prefix(end);
    return true;
}

PlannedRequest Mistake(std::string_view what) {
    PlannedRequest plan;
    plan.mistake = what;
    return plan;
}

// As it stands in "Host".
std::string HostText(const Target& target) {
    const std::string text = target.Text();
    return target.port == kHttpPort ? text.substr(0, text.rfind(':')) : text;
}

Target WithoutDots(const Target& target) {
    return {std::string(WithoutOuterDots(target.host)), target.port};
}

template <class Head>
bool HasPlainTransferEncoding(const Head& head, bool isChunked) {
    const std::size_t count = head.count(http::field::transfer_encoding);
    if (count == 0) return !isChunked;
    return count == 1 && isChunked && head.version() == 11 && head.count(http::field::content_length) == 0 &&
           boost::beast::iequals(head[http::field::transfer_encoding], "chunked");
}

// Exactly one protocol is asked for, and it is the one.
template <class Head>
bool NamesWebSocket(const Head& head) {
    return head.count(http::field::upgrade) == 1 && boost::beast::iequals(head[http::field::upgrade], "websocket");
}

constexpr std::size_t kMostJudged = 1022;  // of host and path together

std::string StandIn(std::string_view path, const std::string& host) {
    return fmt::format("GET {} HTTP/1.1\r\nHost: {}\r\n\r\n",
                       path == "*" ? "/" : path.substr(0, kMostJudged - std::min(kMostJudged, host.size())), host);
}

}  // namespace

std::string ConnectHead(const Target& target) {
    const std::string text = WithoutDots(target).Text();
    return fmt::format("CONNECT {} HTTP/1.1\r\nHost: {}\r\n\r\n", text, text);
}

bool HasPlainFraming(const RequestHead& head, bool isChunked) {
    return HasPlainTransferEncoding(head, isChunked);
}

bool HasPlainFraming(const ResponseHead& head, bool isChunked) {
    return HasPlainTransferEncoding(head, isChunked);
}

bool IsWebSocket(const ResponseHead& answer) {
    return NamesWebSocket(answer);
}

bool AsksForScript(const RequestHead& request) {
    return request.target() == "/proxy.pac" &&
           (request.method() == http::verb::get || request.method() == http::verb::head);
}

std::string_view LanguagesOf(const RequestHead& request) {
    return View(request[http::field::accept_language]);
}

bool IsIdempotent(http::verb method) {
    switch (method) {
        case http::verb::get:
        case http::verb::head:
        case http::verb::options:
        case http::verb::trace:
        case http::verb::put:
        case http::verb::delete_:
            return true;
        default:
            return false;
    }
}

PlannedRequest PlanRequest(const RequestHead& request, const std::optional<Target>& fixed, bool isChunked) {
    PlannedRequest plan;
    std::string_view text = View(request.target());
    plan.isConnect = request.method() == http::verb::connect;
    plan.isChunked = isChunked;
    if (request.count(http::field::host) > 1) return Mistake("it names several hosts");
    if (!HasPlainFraming(request, isChunked)) return Mistake("where its body ends is not clear");
    if (plan.isConnect) {
        const auto target = ParseTarget(text, 0);
        if (!target || fixed) return Mistake("CONNECT wants a host and a port, of a proxy");
        plan.target = *target;
        plan.head = ConnectHead(plan.target);
        return plan;
    }
    std::string_view authority;
    std::optional<Target> named;  // by the request itself
    if (TakeAuthority(text, authority)) {
        named = ParseTarget(authority, kHttpPort);
        if (!named) return Mistake("its address names no host that can be asked");
    } else if (!fixed) {
        return Mistake("a proxy is asked with a whole http:// address; set this address up as the browser's proxy");
    } else if (const bool isServer = text == "*" && request.method() == http::verb::options;
               !text.starts_with('/') && !isServer) {
        return Mistake("a server is asked with a path");
    } else if (const std::string_view host = View(request[http::field::host]); !host.empty()) {
        named = ParseTarget(host, kHttpPort);
        if (!named) return Mistake("its \"Host\" names no host that can be asked");
    } else {
        named = fixed;
    }
    plan.target = fixed ? *fixed : *named;
    if (text.empty() && request.method() == http::verb::options) text = "*";
    // What stands behind "#" is for the client alone.
    text = text.substr(0, text.find('#'));
    const std::string path = text == "*" || text.starts_with('/') ? std::string(text) : "/" + std::string(text);
    plan.isUpgrade = request.method() == http::verb::get && NamesWebSocket(request) &&
                     NamedByConnection(request).contains("upgrade");

    const std::string line =
        fmt::format("{} {} HTTP/1.{}\r\n", View(request.method_string()), path, request.version() % 10);
    std::string rest;
    AddEndToEnd(request, true, rest);
    if (isChunked) rest += "Transfer-Encoding: chunked\r\n";
    if (plan.isUpgrade) rest += "Connection: Upgrade\r\nUpgrade: websocket\r\n";
    rest += "\r\n";
    const std::string host = HostText(*named);
    const std::string judgedHost = HostText(WithoutDots(*named));
    plan.head = fmt::format("{}Host: {}\r\n{}", line, host, rest);
    if (judgedHost != host) plan.judgedHead = fmt::format("{}Host: {}\r\n{}", line, judgedHost, rest);
    plan.standIn = StandIn(path, judgedHost);
    plan.isStandInCut = path.size() + judgedHost.size() > kMostJudged;
    if (!IsSameName(named->host, plan.target.host))
        plan.standInByTarget = StandIn(path, HostText(WithoutDots(plan.target)));
    return plan;
}

std::string AnswerHead(const ResponseHead& answer, bool isChunked, bool isLast, unsigned clientVersion) {
    std::string head =
        fmt::format("HTTP/1.{} {} {}\r\n", clientVersion % 10, answer.result_int(), View(answer.reason()));
    AddEndToEnd(answer, false, head);
    if (isChunked) head += "Transfer-Encoding: chunked\r\n";
    if (answer.result() == http::status::switching_protocols)
        head += "Connection: Upgrade\r\nUpgrade: websocket\r\n";
    else if (isLast)
        head += "Connection: close\r\n";
    else if (clientVersion == 10)
        head += "Connection: keep-alive\r\n";
    return head + "\r\n";
}

std::string OwnAnswer(unsigned status, std::string_view type, std::string_view body, bool isLast, bool isHead) {
    return fmt::format(
        "HTTP/1.1 {} {}\r\nContent-Type: {}\r\nContent-Length: {}\r\nCache-Control: no-store\r\n"
        "Content-Security-Policy: default-src 'none'; style-src 'unsafe-inline'; img-src data:\r\n"
        "X-Content-Type-Options: nosniff\r\nReferrer-Policy: no-referrer\r\nVary: Accept-Language\r\n{}\r\n{}",
        status, View(http::obsolete_reason(static_cast<http::status>(status))), type, body.size(),
        isLast ? "Connection: close\r\n" : "", isHead ? std::string_view() : body);
}

}  // namespace tarn::host::serve
