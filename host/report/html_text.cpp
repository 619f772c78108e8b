#include "host/report/html_text.h"

#include <algorithm>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <utility>

#include "host/printable_text.h"

namespace tarn::host::report {

namespace {

constexpr std::size_t kMostCharacters = 1200;

constexpr std::pair<std::string_view, std::string_view> kKinds[] = {
    {"smb_encrypted", "encrypted SMB"},
    {"smb_compressed", "compressed SMB"},
    {"quic", "QUIC"},
    {"ech", "encrypted ClientHello"},
    {"http2", "HTTP/2 without TLS"},
    {"vlan", "VLAN tag"},
    {"ipv6", "IPv6"},
    {"fragment", "fragment of an IP packet"},
    {"cut", "cut by a snapshot length"},
    {"hello_split", "ClientHello in several parts"},
    {"pppoe", "PPPoE"},
    {"damaged", "damaged frame"},
    {"other_datagram", "datagram, neither QUIC nor DNS"},
    {"other_frame", "frame, neither TCP nor UDP"},
    {"unknown_protocol", "protocol that no scan knows"},
};

}  // namespace

std::string Html(std::string_view text) {
    std::string out;
    for (const char c : Printable(text, kMostCharacters)) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            case '\'':
                out += "&#39;";
                break;
            default:
                out += c;
        }
    }
    return out;
}

std::string ScriptJson(const nlohmann::json& value) {
    const std::string json = value.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
    std::string out;
    out.reserve(json.size());
    for (const char c : json) {
        if (c == '<')
            out += "\\u003c";
        else
            out += c;
    }
    return out;
}

std::string WithCommas(std::uint64_t number) {
    std::string text = fmt::format("{}", number);
    for (std::size_t at = text.size(); at > 3; at -= 3) text.insert(at - 3, ",");
    return text;
}

std::string Counted(std::uint64_t number, std::string_view what) {
    return fmt::format("{} {}{}", WithCommas(number), what, number == 1 ? "" : "s");
}

std::string DurationText(std::uint64_t nanoseconds) {
    const auto value = static_cast<double>(nanoseconds);
    if (nanoseconds < 1000) return fmt::format("{} ns", nanoseconds);
    if (nanoseconds < 1000000) return fmt::format("{:.3g} \u00B5s", value / 1e3);
    if (nanoseconds < 1000000000) return fmt::format("{:.3g} ms", value / 1e6);
    return fmt::format("{:.3g} s", value / 1e9);
}

std::string StretchText(std::int64_t micros) {
    constexpr std::pair<std::int64_t, std::string_view> kUnits[] = {
        {86400000000, "day"}, {3600000000, "hour"}, {60000000, "minute"}, {1000000, "second"}};
    for (const auto& [unit, name] : kUnits)
        if (micros >= unit) return Counted(static_cast<std::uint64_t>(micros / unit), name);
    return Counted(static_cast<std::uint64_t>(std::max<std::int64_t>(micros, 0) / 1000), "millisecond");
}

std::string MomentText(std::int64_t micros, bool withMilliseconds) {
    if (micros < 0) return {};
    // The next nanosecond, because 0 stands for an unknown time.
    std::string text = FormatTime(static_cast<std::uint64_t>(micros) * 1000 + 1).substr(0, withMilliseconds ? 23 : 19);
    if (const std::size_t at = text.find('T'); at != std::string::npos) text[at] = ' ';
    return text;
}

std::string KindWords(std::string_view kind) {
    for (const auto& [name, words] : kKinds)
        if (name == kind) return std::string(words);
    return Printable(kind, kMostCharacters);
}

}  // namespace tarn::host::report
