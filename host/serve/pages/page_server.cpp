#include "host/serve/pages/page_server.h"

#include <algorithm>
#include <fmt/format.h>
#include <optional>

#include "base/text.h"
#include "host/serve/pages/proxy_pac.h"
#include "host/serve/pages/status_page.h"

namespace tarn::host::serve {

namespace {

constexpr std::size_t kLongestUrl = 8192;
constexpr std::string_view kExplainPath = "/api/explain";

std::string_view PathOf(std::string_view target) {
    return target.substr(0, target.find('?'));
}

PageResponse Text(int status, std::string_view text) {
    return MakeResponse(status, "text/plain; charset=utf-8", std::string(text) + '\n');
}

PageResponse Json(int status, const Event& event) {
    PageResponse response =
        MakeResponse(status, "application/json", event.dump(-1, ' ', false, Event::error_handler_t::replace) + '\n');
    response.fields.emplace_back("Cross-Origin-Resource-Policy", "same-origin");
    return response;
}

int DigitOf(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

// Of a query; nothing for a percent sign without its two digits, and for a NUL.
std::optional<std::string> Decoded(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        char c = text[i] == '+' ? ' ' : text[i];
        if (c == '%') {
            if (i + 2 >= text.size()) return std::nullopt;
            const int high = DigitOf(text[i + 1]);
            const int low = DigitOf(text[i + 2]);
            if (high < 0 || low < 0) return std::nullopt;
            c = static_cast<char>(high << 4 | low);
            i += 2;
        }
        if (c == '\0') return std::nullopt;
        out += c;
    }
    return out;
}

// The first value of that name; nothing when there is none.
std::optional<std::string> QueryValue(std::string_view query, std::string_view name) {
    while (!query.empty()) {
        const std::size_t end = std::min(query.find('&'), query.size());
        const std::string_view one = query.substr(0, end);
        query.remove_prefix(std::min(end + 1, query.size()));
        if (one.size() > name.size() && one.starts_with(name) && one[name.size()] == '=')
            return Decoded(one.substr(name.size() + 1));
    }
    return std::nullopt;
}

}  // namespace

std::vector<std::string> OwnNames(const std::string& address, std::uint16_t port) {
    const bool isIpv6 = address.find(':') != std::string::npos;
    std::vector<std::string> names{isIpv6 ? fmt::format("[{}]:{}", address, port)
                                          : fmt::format("{}:{}", address, port)};
    if (address == "::1" || address.starts_with("127.")) names.push_back(fmt::format("localhost:{}", port));
    constexpr std::string_view kImplied = ":80";  // a browser leaves it out
    for (std::size_t i = 0, count = names.size(); port == 80 && i < count; ++i)
        names.push_back(names[i].substr(0, names[i].size() - kImplied.size()));
    return names;
}

bool TakesLong(const PageRequest& request) {
    return PathOf(request.target) == kExplainPath;
}

bool PageServer::IsOwn(std::string_view host) const {
    return std::any_of(addresses_.own.begin(), addresses_.own.end(),
                       [&](const std::string& own) { return base::EqualIgnoringCase(host, own); });
}

// A browser names the page that a request comes from: another page may lead here, but reads nothing.
bool PageServer::IsForeign(const PageRequest& request) const {
    if (!request.origin.empty()) {
        constexpr std::string_view kScheme = "http://";
        if (!request.origin.starts_with(kScheme) || !IsOwn(request.origin.substr(kScheme.size()))) return true;
    }
    const bool isData = request.target.starts_with("/api/");
    return isData && (request.fetchSite == "cross-site" || request.fetchSite == "same-site");
}

PageResponse PageServer::Answer(const PageRequest& request) const {
    if (!IsOwn(request.host) || IsForeign(request))
        return Text(403, fmt::format("This address answers to its own name alone: open http://{}/",
                                     addresses_.own.empty() ? "" : addresses_.own.front()));
    if (request.method != "GET" && request.method != "HEAD") {
        PageResponse response = Text(405, "Only GET and HEAD are answered: nothing can be changed here.");
        response.fields.emplace_back("Allow", "GET, HEAD");
        return response;
    }
    const std::size_t mark = std::min(request.target.find('?'), request.target.size());
    const std::string_view path = PathOf(request.target);
    const std::string_view query = request.target.substr(std::min(mark + 1, request.target.size()));
    if (path == "/") return StatusPageResponse(request.acceptLanguage);
    if (path == "/proxy.pac") {
        if (addresses_.proxy.empty()) return Text(404, "There is no proxy to be set up: [serve] proxy is off.");
        return MakeResponse(200, "application/x-ns-proxy-autoconfig", ProxyPac(addresses_.proxy));
    }
    if (path == "/api/state") {
        Event state = feed_.State();
        if (sources_.counters) state.update(sources_.counters());
        return Json(200, state);
    }
    if (path == "/api/events") {
        PageResponse response = MakeResponse(200, "text/event-stream", "retry: 2000\n\n");
        response.isEventStream = true;
        return response;
    }
    if (path == kExplainPath) {
        const std::optional<std::string> url = QueryValue(query, "url");
        if (!url || url->empty() || url->size() > kLongestUrl)
            return Json(400, {{"error", "An address is wanted, such as https://shop.example/"}});
        return Json(200,
                    sources_.explain ? sources_.explain(*url) : Event{{"error", "Nothing can be explained here."}});
    }
    return Text(404, "There is no such page; the status page is at /");
}

}  // namespace tarn::host::serve
