#include "host/report/report_rows.h"

#include <algorithm>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "host/printable_text.h"
#include "host/report/event_fields.h"
#include "host/report/html_text.h"

namespace tarn::host::report {

namespace {

using Json = nlohmann::json;

constexpr std::size_t kMostCharacters = 1200;

std::string Shown(const Json& event, const char* name) {
    return Printable(TextOf(event, name), kMostCharacters);
}

// The texts that are not empty, with separator between them.
std::string Joined(std::initializer_list<std::string> texts, std::string_view separator) {
    std::string joined;
    for (const std::string& text : texts) {
        if (text.empty()) continue;
        if (!joined.empty()) joined += separator;
        joined += text;
    }
    return joined;
}

std::string Labelled(std::string_view label, const std::string& text) {
    return text.empty() ? text : fmt::format("{}: {}", label, text);
}

void FillVerdict(const Json& event, ReportRow& row) {
    row.what = Shown(event, "url");
    if (row.what.empty()) row.what = Shown(event, "host") + Shown(event, "path");
    const bool isRefused = IsRefusedRequest(event);
    if (isRefused) row.verdict = "refused";
    row.reason = Shown(event, isRefused ? "why_refused" : "reason_text");
    const std::string judged = TextOf(event, "judged");
    row.more = Joined(
        {Shown(event, "protocol"), Labelled("rule", Shown(event, "rule_text")), Labelled("user", Shown(event, "user")),
         judged == "part"   ? "judged in part"
         : judged == "none" ? "not judged"
                            : "",
         Shown(event, "why_not_whole")},
        "; ");
    row.isFinding = isRefused || row.verdict == "blocked";
}

void FillAttack(const Json& event, ReportRow& row) {
    row.what = Shown(event, "rule_name");
    if (row.what.empty()) row.what = Shown(event, "description");
    row.reason = Shown(event, "reason_text");
    row.more = Joined({Shown(event, "direction"), Shown(event, "description"), Shown(event, "details"),
                       Labelled("blocked from now on", Shown(event, "blocked_address"))},
                      "; ");
    row.isFinding = true;
}

void FillFile(const Json& event, ReportRow& row) {
    row.what = Joined({Shown(event, "share"), Shown(event, "file")}, "\\");
    row.reason = Shown(event, "action");
}

void FillNotExamined(const Json& event, ReportRow& row) {
    row.what = KindWords(TextOf(event, "what"));
    row.more = Labelled("outer name", Shown(event, "outer_name"));
}

void FillLogon(const Json& event, ReportRow& row) {
    row.what = Joined({Shown(event, "account"), Shown(event, "event")}, ": ");
    row.reason = Shown(event, "reason_text");
    row.isFinding = row.verdict == "refused";
}

void FillPolicy(const Json& event, ReportRow& row) {
    const DecidingEntry place{
        {}, {}, TextOf(event, "file"), static_cast<std::uint32_t>(NumberOf(event, "line").value_or(0) & 0xFFFFFFFFU)};
    row.what = Joined({Shown(event, "event"), Printable(PlaceText(place), kMostCharacters), Shown(event, "text")}, " ");
}

void FillError(const Json& event, ReportRow& row) {
    row.what = Joined({Shown(event, "input"), Shown(event, "text")}, ": ");
    row.isFinding = true;
}

struct Kind {
    std::string_view type;
    std::string_view shown;
    void (*fill)(const Json& event, ReportRow& row);
};
constexpr Kind kKinds[] = {{"verdict", "request", FillVerdict}, {"attack", "attack", FillAttack},
                           {"file", "file", FillFile},          {"not_examined", "not examined", FillNotExamined},
                           {"logon", "logon", FillLogon},       {"policy", "policy", FillPolicy},
                           {"error", "error", FillError}};

std::int64_t OrUnknown(std::optional<std::uint64_t> number) {
    constexpr std::uint64_t kMostExact = std::uint64_t{1} << 53;  // that a script holds exactly
    return number && *number <= kMostExact ? static_cast<std::int64_t>(*number) : -1;
}

}  // namespace

std::optional<ReportRow> RowOf(const Json& event) {
    const std::string type = TextOf(event, "type");
    const auto* const kind =
        std::find_if(std::begin(kKinds), std::end(kKinds), [&](const Kind& one) { return one.type == type; });
    if (kind == std::end(kKinds)) return std::nullopt;
    ReportRow row;
    row.type = kind->shown;
    row.verdict = Shown(event, "verdict");
    row.flow = Printable(FlowOf(event), kMostCharacters);
    row.capture = Shown(event, "capture");
    row.frame = OrUnknown(NumberOf(event, "frame"));
    row.latency = OrUnknown(NumberOf(event, "latency_ns"));
    row.micros = PacketTimeOf(event).value_or(ParseTime(TextOf(event, "written")).value_or(-1));
    if (const auto entry = EntryOf(event))
        row.entry = Printable(Joined({entry->list, entry->text, PlaceText(*entry)}, " \u00B7 "), kMostCharacters);
    kind->fill(event, row);
    return row;
}

std::uint32_t ReportRows::NumberOfText(const std::string& text) {
    const auto [at, isNew] = numbers_.try_emplace(text, static_cast<std::uint32_t>(texts_.size()));
    if (isNew) texts_.push_back(text);
    return at->second;
}

void ReportRows::Add(const ReportRow& row) {
    ++added_;
    if ((row.isFinding ? findings_ : others_).size() >= most_) return;
    const Stored stored{row.micros,
                        row.frame,
                        row.latency,
                        NumberOfText(row.type),
                        NumberOfText(row.verdict),
                        NumberOfText(row.what),
                        NumberOfText(row.flow),
                        NumberOfText(row.reason),
                        NumberOfText(row.entry),
                        NumberOfText(row.capture),
                        NumberOfText(row.more)};
    (row.isFinding ? findings_ : others_).push_back(stored);
}

std::uint64_t ReportRows::Kept() const {
    return std::min(most_, findings_.size() + others_.size());
}

std::string ReportRows::Json() const {
    std::vector<Stored> rows = findings_;
    rows.insert(rows.end(), others_.begin(),
                others_.begin() + static_cast<std::ptrdiff_t>(static_cast<std::size_t>(Kept()) - findings_.size()));
    std::stable_sort(rows.begin(), rows.end(), [](const Stored& a, const Stored& b) { return a.micros < b.micros; });

    // Only the texts of the rows that are kept, in the order of their first use.
    std::vector<std::uint32_t> numbers(texts_.size(), 0);
    nlohmann::json texts = nlohmann::json::array({""});
    const auto column = [&](auto member) {
        std::string values;
        for (const Stored& row : rows) {
            const std::uint32_t text = row.*member;
            if (text != 0 && numbers[text] == 0) {
                numbers[text] = static_cast<std::uint32_t>(texts.size());
                texts.push_back(texts_[text]);
            }
            values += fmt::format("{}{}", values.empty() ? "" : ",", numbers[text]);
        }
        return values;
    };
    const auto plain = [&](auto member) {
        std::string values;
        for (const Stored& row : rows) values += fmt::format("{}{}", values.empty() ? "" : ",", row.*member);
        return values;
    };
    std::string columns = fmt::format("\"time\":[{}]", plain(&Stored::micros));
    const auto add = [&](std::string_view name, const std::string& values) {
        columns += fmt::format(",\n\"{}\":[{}]", name, values);
    };
    add("frame", plain(&Stored::frame));
    add("latency", plain(&Stored::latency));
    add("type", column(&Stored::type));
    add("verdict", column(&Stored::verdict));
    add("what", column(&Stored::what));
    add("flow", column(&Stored::flow));
    add("reason", column(&Stored::reason));
    add("entry", column(&Stored::entry));
    add("capture", column(&Stored::capture));
    add("more", column(&Stored::more));
    return fmt::format("{{\"texts\":{},\n\"columns\":{{{}}}}}", ScriptJson(texts), columns);
}

}  // namespace tarn::host::report
