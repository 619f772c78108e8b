#include "host/report/report_sections.h"

#include <algorithm>
#include <fmt/format.h>

#include "host/report/event_fields.h"
#include "host/report/html_table.h"
#include "host/report/html_text.h"
#include "host/report/report_charts.h"

namespace tarn::host::report {

namespace {

std::string Section(std::string_view title, const std::string& content) {
    return fmt::format("<section>\n<h2>{}</h2>\n{}</section>\n", Html(title), content);
}

std::string Note(const std::string& text) {
    return fmt::format("<p class=\"note\">{}</p>\n", Html(text));
}

// The elements of a map, the greatest first; equal ones stay in its order.
template <class Map, class Value>
auto MostFrequent(const Map& map, Value valueOf) {
    std::vector<const typename Map::value_type*> sorted;
    for (const auto& one : map)
        if (valueOf(one.second) != 0) sorted.push_back(&one);
    std::stable_sort(sorted.begin(), sorted.end(),
                     [&](const auto* a, const auto* b) { return valueOf(a->second) > valueOf(b->second); });
    return sorted;
}

std::string LeftOutNote(std::size_t all, std::size_t shown, std::string_view what) {
    return all <= shown ? std::string() : Note(fmt::format("And {} more.", Counted(all - shown, what)));
}

std::string Tile(std::string_view kind, std::uint64_t number, std::string_view what) {
    return fmt::format("<li class=\"{}\"><b>{}</b><span>{}</span></li>\n", kind, WithCommas(number), Html(what));
}

template <class Value>
std::string SitesTable(const ReportModel& model, std::string_view title, Value valueOf) {
    const auto sorted = MostFrequent(model.sites, valueOf);
    HtmlTable table({"Host", "#Requests", "#Blocked"});
    for (std::size_t i = 0; i < std::min(sorted.size(), kMostTableRows); ++i) {
        const auto& [host, counts] = *sorted[i];
        table.Row().Link(host, host).Number(counts.All());
        table.Markup("number", WithCommas(counts.blocked) + ShareBar(counts.blocked, counts.All()));
    }
    const std::string content =
        sorted.empty() ? Note("None.") : table.Html() + LeftOutNote(sorted.size(), kMostTableRows, "host");
    return fmt::format("<section><h2>{}</h2>\n{}</section>\n", Html(title), content);
}

std::string NeverTable(const ReportInputs& inputs) {
    const std::vector<DecidingEntry>& never = *inputs.neverDecided;
    HtmlTable table({"List", "Entry", "Where"});
    for (std::size_t i = 0; i < std::min(never.size(), kMostEntries); ++i)
        table.Row().Text(never[i].list).Text(never[i].text).Text(PlaceText(never[i]));
    return Note(fmt::format("{} of {} of {} decided nothing in these events.", WithCommas(never.size()),
                            WithCommas(inputs.policyEntries) + (inputs.policyEntries == 1 ? " entry" : " entries"),
                            inputs.policy)) +
           (never.empty()
                ? std::string()
                : table.Html() + (never.size() > kMostEntries
                                      ? Note(fmt::format("And {} more.", WithCommas(never.size() - kMostEntries)))
                                      : std::string()));
}

}  // namespace

std::string TotalsSection(const ReportModel& model) {
    std::string tiles;
    const auto add = [&](std::string_view kind, std::uint64_t number, std::string_view what, bool always = false) {
        if (always || number != 0) tiles += Tile(kind, number, what);
    };
    add("", model.requests.All(), "requests", true);
    add("blocked", model.requests.blocked, "blocked", true);
    add("blocked", model.refused, "of them refused by the filter");
    add("allowed", model.requests.allowed, "allowed", true);
    add("none", model.requests.none, "without a verdict");
    add("none", model.judgedInPart, "judged in part");
    add("none", model.notJudged, "not judged");
    add("attack", model.attackFrames, "attack frames");
    add("attack", model.attacksBlocked, "of them blocked");
    add("", model.fileEvents, "file events");
    add("", model.logons, "logon events");
    add("blocked", model.logonsRefused, "of them refused");
    add("blocked", model.errors, "errors");
    add("", model.runs.captures, "captures");
    add("", model.runs.frames, "frames");
    std::string content = "<ul class=\"tiles\">\n" + tiles + "</ul>\n";
    if (model.runs.requests > model.requests.All())
        content += Note(fmt::format(
            "The runs judged {}. Their events leave out {} (--brief or --quiet): they count in no figure here, and not "
            "in what follows.",
            Counted(model.runs.requests, "request"), WithCommas(model.runs.requests - model.requests.All())));
    if (!model.reasons.empty()) {
        HtmlTable table({"Reason", "#Requests", "#Blocked"});
        for (const auto* one : MostFrequent(model.reasons, [](const VerdictCounts& counts) { return counts.All(); }))
            table.Row().Link(one->first, one->first).Number(one->second.All()).Number(one->second.blocked);
        content += "<details open><summary>By reason</summary>" + table.Html() + "</details>\n";
    }
    return Section("Totals", content);
}

std::string TimeSection(const ReportModel& model) {
    const TimeLine::Result time = model.Time();
    if (time.stretches.empty()) return {};
    return Section("Time line",
                   TimeChart(time) + (model.HasPacketTimes() ? std::string()
                                                             : Note("By the times at which the events were written.")));
}

std::string SitesSection(const ReportModel& model) {
    if (model.sites.empty()) return {};
    return "<div class=\"pair\">\n" +
           SitesTable(model, "Hosts asked for most", [](const VerdictCounts& counts) { return counts.All(); }) +
           SitesTable(model, "Hosts blocked most", [](const VerdictCounts& counts) { return counts.blocked; }) +
           "</div>\n";
}

std::string EntriesSection(const ReportModel& model, const ReportInputs& inputs) {
    const auto sorted = MostFrequent(model.entries, [](const VerdictCounts& counts) { return counts.All(); });
    HtmlTable table({"List", "Entry", "Where", "#Hits", "#Blocked"});
    for (std::size_t i = 0; i < std::min(sorted.size(), kMostEntries); ++i) {
        const auto& [entry, counts] = *sorted[i];
        table.Row().Text(entry.list).Link(entry.text, entry.text).Text(PlaceText(entry)).Number(counts.All());
        table.Number(counts.blocked);
    }
    std::string content = sorted.empty() ? Note("No event names an entry of a policy.") : table.Html();
    if (sorted.size() > kMostEntries)
        content += Note(fmt::format("And {} more.", WithCommas(sorted.size() - kMostEntries)));
    std::string section = Section("Policy entries that decided", content);
    if (inputs.neverDecided) section += Section("Policy entries that never decided", NeverTable(inputs));
    return section;
}

std::string AttacksSection(const ReportModel& model) {
    if (model.attacks.empty()) return {};
    const auto sorted = MostFrequent(model.attacks, [](const AttackCounts& counts) { return counts.frames; });
    HtmlTable table({"Attack", "Reason", "Direction", "First connections", "#Frames", "#Blocked"});
    for (std::size_t i = 0; i < std::min(sorted.size(), kMostEntries); ++i) {
        const auto& [key, counts] = *sorted[i];
        std::string flows;
        for (const auto& [flow, frames] : counts.flows) flows += (flows.empty() ? "" : "<br>") + Html(flow);
        table.Row().Text(key.name.empty() ? fmt::format("rule {}", key.rule) : key.name).Text(key.reason);
        table.Text(key.direction).Markup("place", flows).Number(counts.frames).Number(counts.blocked);
    }
    return Section("Attacks", table.Html() + LeftOutNote(sorted.size(), kMostEntries, "kind"));
}

std::string FilesSection(const ReportModel& model) {
    if (model.files.empty()) return {};
    const auto sorted = MostFrequent(model.files, [](std::uint64_t count) { return count; });
    HtmlTable table({"File", "Action", "#Events"});
    for (std::size_t i = 0; i < std::min(sorted.size(), 2 * kMostTableRows); ++i)
        table.Row()
            .Link(sorted[i]->first.file, sorted[i]->first.file)
            .Markup("word", Html(sorted[i]->first.action))
            .Number(sorted[i]->second);
    return Section("Files on shares", table.Html() + LeftOutNote(sorted.size(), 2 * kMostTableRows, "file"));
}

std::string NotExaminedSection(const ReportModel& model) {
    std::map<std::string, std::pair<std::uint64_t, std::uint64_t>> kinds;
    for (const auto& [kind, count] : model.notExamined) kinds[kind].first = count;
    for (const auto& [kind, count] : model.notExaminedEvents) kinds[kind].second = count;
    std::string content = Note("The library does not look into these, so they are neither allowed nor blocked by it.");
    if (kinds.empty()) return Section("Not examined", Note("Nothing that was told."));
    HtmlTable table({"What", "#Counted by the runs", "#Connections or captures"});
    for (const auto& [kind, counts] : kinds)
        table.Row().Link(KindWords(kind), KindWords(kind)).Number(counts.first).Number(counts.second);
    return Section("Not examined", content + table.Html());
}

std::string LatencySection(const ReportModel& model) {
    std::string content;
    std::vector<std::pair<std::string, LatencySummary>> kinds;
    for (const auto& [kind, latencies] : model.latencies) kinds.emplace_back(kind, latencies.Summary());
    if (!kinds.empty()) {
        HtmlTable table({"Event", "#Calls", "#50 %", "#90 %", "#99 %", "#99.9 %", "#Slowest"});
        for (const auto& [kind, summary] : kinds) {
            table.Row().Text(kind).Number(summary.count);
            for (const std::uint64_t value : {summary.half, summary.p90, summary.p99, summary.p999, summary.most})
                table.Markup("number", DurationText(value));
        }
        content =
            Note("How long the library took for the events in this report: so many of 100 calls took no longer.") +
            LatencyChart(kinds) + table.Html();
    }
    if (!model.runs.calls.empty()) {
        HtmlTable table({"Call", "#Calls", "#50 %", "#90 %", "#99 %", "#Slowest"});
        for (const auto& [call, times] : model.runs.calls) {
            table.Row().Text(call).Number(times.calls);
            for (const std::uint64_t value : {times.half, times.p90, times.p99, times.most})
                table.Markup("number", DurationText(value));
        }
        content += Note(model.runs.runs == 1 ? "All calls of the run, those without an event too:"
                                             : "All calls of the runs, those without an event too; of each figure the "
                                               "largest of any run:") +
                   table.Html();
    }
    return content.empty() ? content : Section("Latency of the library", content);
}

std::string InputsSection(const ReportModel& model, const ReportInputs& inputs) {
    std::string list;
    for (std::size_t i = 0; i < std::min(inputs.names.size(), kMostTableRows); ++i)
        list += fmt::format("{}{}", i == 0 ? "" : ", ", inputs.names[i]);
    if (inputs.names.size() > kMostTableRows) list += fmt::format(" and {} more", inputs.names.size() - kMostTableRows);
    std::string content =
        Note(fmt::format("{} from {}: {}", Counted(model.events, "event"), Counted(inputs.names.size(), "file"), list));
    if (inputs.repeated != 0)
        content +=
            Note(inputs.repeated == 1 ? std::string("1 event stands in more than one file and is counted once.")
                                      : fmt::format("{} events stand in more than one file and are counted once.",
                                                    WithCommas(inputs.repeated)));
    if (model.otherEvents != 0)
        content +=
            Note(fmt::format("{} of a type that this report says nothing of.", Counted(model.otherEvents, "event")));
    if (inputs.problemCount != 0) {
        content +=
            Note(fmt::format("{} in the files; the lines are left out:", Counted(inputs.problemCount, "mistake")));
        content += "<ul class=\"note\">";
        for (const std::string& problem : inputs.problems) content += fmt::format("<li>{}</li>\n", Html(problem));
        content += "</ul>\n";
        if (inputs.problemCount > inputs.problems.size())
            content += Note(fmt::format("And {} more.", WithCommas(inputs.problemCount - inputs.problems.size())));
    }
    return Section("Where this comes from", content);
}

}  // namespace tarn::host::report
