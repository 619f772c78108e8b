#include "host/serve/target.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>

#include "base/text.h"
#include "host/serve/addresses.h"

namespace tarn::host::serve {

namespace {

constexpr std::size_t kMostHost = 255;

// The last label says whether it is meant as an address: "2130706433", "0x7f.1", "127.1".
bool IsNumber(std::string_view host) {
    host = WithoutOuterDots(host);
    if (const std::size_t dot = host.rfind('.'); dot != std::string_view::npos) host.remove_prefix(dot + 1);
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    if (!host.empty() && std::all_of(host.begin(), host.end(), isDigit)) return true;
    return base::StartsWithIgnoringCase(host, "0x") && std::all_of(host.begin() + 2, host.end(), [&](char c) {
               return isDigit(c) || (base::ToLowerAscii(c) >= 'a' && base::ToLowerAscii(c) <= 'f');
           });
}

}  // namespace

std::string Target::Text() const {
    return host.find(':') == std::string::npos ? fmt::format("{}:{}", host, port) : fmt::format("[{}]:{}", host, port);
}

std::optional<Target> ParseTarget(std::string_view text, std::uint16_t port) {
    Target target{{}, port};
    std::string_view rest;
    if (text.starts_with('[')) {
        const std::size_t end = text.find(']');
        if (end == std::string_view::npos) return std::nullopt;
        target.host = text.substr(1, end - 1);
        rest = text.substr(end + 1);
        const auto address = ParseIpAddress(target.host);
        if (!address || !address->isIpv6) return std::nullopt;
        target.host = FormatIpAddress(Unmapped(*address));
    } else {
        const std::size_t colon = std::min(text.find(':'), text.size());
        target.host = text.substr(0, colon);
        rest = text.substr(colon);
    }
    // Letters beyond ASCII are looked up by another name than the one that is judged; clients send xn--... instead.
    const bool isHarmless = std::all_of(target.host.begin(), target.host.end(), [](char c) {
        return c > ' ' && c < 0x7F && std::string_view("/?#@\\\"<>").find(c) == std::string_view::npos;
    });
    if (target.host.empty() || target.host.size() > kMostHost || !isHarmless) return std::nullopt;
    if (IsNumber(target.host) && !ParseIpAddress(target.host)) return std::nullopt;
    if (!rest.empty() && rest != ":") {
        const char* const end = rest.data() + rest.size();
        const auto [stop, error] = std::from_chars(rest.data() + 1, end, target.port);
        if (rest.front() != ':' || error != std::errc{} || stop != end) return std::nullopt;
    }
    if (target.port == 0) return std::nullopt;
    return target;
}

std::string_view WithoutOuterDots(std::string_view host) {
    while (host.starts_with('.')) host.remove_prefix(1);
    while (host.ends_with('.')) host.remove_suffix(1);
    return host;
}

bool IsSameName(std::string_view one, std::string_view other) {
    one = WithoutOuterDots(one);
    other = WithoutOuterDots(other);
    return one.size() == other.size() && base::StartsWithIgnoringCase(one, other);
}

}  // namespace tarn::host::serve
