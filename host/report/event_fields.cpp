#include "host/report/event_fields.h"

#include <charconv>
#include <chrono>
#include <fmt/format.h>
#include <limits>
#include <nlohmann/json.hpp>

namespace tarn::host::report {

namespace {

using Json = nlohmann::json;

// Takes count digits from the front of text.
bool TakeDigits(std::string_view& text, std::size_t count, int& number) {
    if (text.size() < count) return false;
    number = 0;
    for (std::size_t i = 0; i < count; ++i) {
        if (text[i] < '0' || text[i] > '9') return false;
        number = number * 10 + (text[i] - '0');
    }
    text.remove_prefix(count);
    return true;
}

bool TakeOne(std::string_view& text, std::string_view allowed) {
    if (text.empty() || allowed.find(text.front()) == std::string_view::npos) return false;
    text.remove_prefix(1);
    return true;
}

// ".25" as 250,000; digits behind the sixth do not count.
bool TakeFraction(std::string_view& text, int& micros) {
    micros = 0;
    if (!TakeOne(text, ".")) return true;
    int worth = 100000;
    std::size_t digits = 0;
    for (; !text.empty() && text.front() >= '0' && text.front() <= '9'; ++digits, worth /= 10) {
        micros += (text.front() - '0') * worth;
        text.remove_prefix(1);
    }
    return digits != 0;
}

const Json* Find(const Json& event, const char* name) {
    if (!event.is_object()) return nullptr;
    const auto found = event.find(name);
    return found == event.end() ? nullptr : &*found;
}

std::string EndText(const Json& flow, const char* address, const char* port) {
    std::string text = TextOf(flow, address);
    if (text.empty()) return text;
    if (text.find(':') != std::string::npos) text = fmt::format("[{}]", text);
    if (const auto number = NumberOf(flow, port)) text += fmt::format(":{}", *number);
    return text;
}

}  // namespace

std::string TextOf(const Json& event, const char* name) {
    const Json* const value = Find(event, name);
    return value != nullptr && value->is_string() ? value->get<std::string>() : std::string();
}

std::optional<std::uint64_t> NumberOf(const Json& event, const char* name) {
    const Json* const value = Find(event, name);
    if (value == nullptr || !value->is_number_integer()) return std::nullopt;
    if (!value->is_number_unsigned() && value->get<std::int64_t>() < 0) return std::nullopt;
    return value->get<std::uint64_t>();
}

bool IsRefusedRequest(const Json& event) {
    const Json* const passed = Find(event, "passed");
    return TextOf(event, "verdict") != "blocked" && passed != nullptr && passed->is_boolean() && !passed->get<bool>();
}

std::optional<std::int64_t> ParseTime(std::string_view text) {
    int year = 0;
    int month = 0;
    int day = 0;
    int hour = 0;
    int minute = 0;
    int second = 0;
    int micros = 0;
    const bool hasForm = TakeDigits(text, 4, year) && TakeOne(text, "-") && TakeDigits(text, 2, month) &&
                         TakeOne(text, "-") && TakeDigits(text, 2, day) && TakeOne(text, "Tt ") &&
                         TakeDigits(text, 2, hour) && TakeOne(text, ":") && TakeDigits(text, 2, minute) &&
                         TakeOne(text, ":") && TakeDigits(text, 2, second) && TakeFraction(text, micros);
    if (!hasForm || (text != "Z" && text != "z" && text != "+00:00")) return std::nullopt;
    const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(static_cast<unsigned>(month)),
                                           std::chrono::day(static_cast<unsigned>(day))};
    if (!date.ok() || year < 1970 || hour > 23 || minute > 59 || second > 60) return std::nullopt;
    const std::int64_t days = std::chrono::sys_days(date).time_since_epoch().count();
    return (((days * 24 + hour) * 60 + minute) * 60 + second) * 1000000 + micros;
}

std::optional<std::int64_t> PacketTimeOf(const Json& event) {
    return ParseTime(TextOf(event, "time"));
}

std::string FlowOf(const Json& event) {
    const Json* const flow = Find(event, "flow");
    if (flow == nullptr || !flow->is_object()) return {};
    const std::string client = EndText(*flow, "client", "client_port");
    const std::string server = EndText(*flow, "server", "server_port");
    if (client.empty() && server.empty()) return {};
    return fmt::format("{} \u2192 {}", client.empty() ? "?" : client, server.empty() ? "?" : server);
}

std::optional<DecidingEntry> EntryOf(const Json& event) {
    const Json* const entry = Find(event, "entry");
    if (entry == nullptr || !entry->is_object()) return std::nullopt;
    DecidingEntry found{TextOf(*entry, "list"), TextOf(*entry, "text"), TextOf(*entry, "file"), 0};
    if (found.list.empty()) return std::nullopt;
    const std::uint64_t line = NumberOf(*entry, "line").value_or(0);
    if (line <= std::numeric_limits<std::uint32_t>::max()) found.line = static_cast<std::uint32_t>(line);
    return found;
}

std::string PlaceText(const DecidingEntry& entry) {
    return entry.line == 0 ? entry.file : fmt::format("{}:{}", entry.file, entry.line);
}

}  // namespace tarn::host::report
