#include "report_checks.h"

#include <nlohmann/json.hpp>
#include <string>

#include "base/text.h"
#include "host/report/event_reader.h"
#include "host/report/report_model.h"
#include "host/report/report_page.h"
#include "target.h"

namespace tarn::fuzz {
namespace {

// RFC 3629: no byte beyond a character's form, no surrogates, nothing above U+10FFFF, the shortest form.
bool IsUtf8(std::string_view text) {
    for (std::size_t at = 0; at < text.size();) {
        const auto byte = [&](std::size_t behind) {
            return at + behind < text.size() ? static_cast<unsigned char>(text[at + behind]) : 0U;
        };
        const unsigned first = byte(0);
        const std::size_t more = first < 0x80 ? 0 : first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : 1;
        if (more != 0 && (first < 0xC2 || first > 0xF4)) return false;
        for (std::size_t i = 1; i <= more; ++i)
            if ((byte(i) & 0xC0) != 0x80) return false;
        if ((first == 0xE0 && byte(1) < 0xA0) || (first == 0xED && byte(1) > 0x9F) ||
            (first == 0xF0 && byte(1) < 0x90) || (first == 0xF4 && byte(1) > 0x8F))
            return false;
        at += more + 1;
    }
    return true;
}

std::size_t CountOf(std::string_view text, std::string_view wanted) {
    std::size_t count = 0;
    for (std::size_t at = text.find(wanted); at != text.npos; at = text.find(wanted, at + 1)) ++count;
    return count;
}

// The page of a report without events.
const std::string& EmptyPage() {
    static const std::string kPage = host::report::ReportPage(host::report::ReportModel(), {});
    return kPage;
}

}  // namespace

void RequireHarmless(std::string_view text) {
    for (const char c : text)
        Require(static_cast<unsigned char>(c) >= 0x20 || c == '\n', "no control character reaches a terminal");
    Require(text.find('\x7F') == text.npos, "no control character reaches a terminal");
    Require(IsUtf8(text), "what is printed is UTF-8");
}

std::size_t RequireEvents(std::string_view lines) {
    std::size_t count = 0;
    std::string type;
    Require(lines.ends_with('\n'), "the last event ends with its line");
    while (!lines.empty()) {
        const std::size_t end = lines.find('\n');
        const nlohmann::json event = nlohmann::json::parse(lines.substr(0, end), nullptr, false);
        Require(event.is_object() && event.contains("type") && event["type"].is_string(), "every line is an event");
        Require(event.value("version", 0) == 1 && event.contains("written"), "every event says when and what it is");
        type = event["type"];
        lines.remove_prefix(end + 1);
        ++count;
    }
    Require(type == "stats", "the totals come last");
    return count;
}

void RequireReport(std::istream& events, std::optional<std::size_t> count) {
    std::size_t complaints = 0;
    host::report::ReportModel model(64);
    host::report::ReportInputs inputs;
    inputs.names = {"<events>.jsonl"};
    host::report::EventReader reader(events, "<events>.jsonl", [&](const std::string& text) {
        RequireHarmless(text);
        inputs.problems.push_back(text);
        ++complaints;
    });
    std::size_t read = 0;
    while (const auto event = reader.Next()) {
        Require(event->is_object() && !reader.Line().empty(), "an event is an object of its line");
        model.Add(*event);
        ++read;
    }
    inputs.problemCount = complaints;
    if (count) Require(read == *count && complaints == 0, "every event is read");
    Require(model.events + model.otherEvents >= read, "every event counts");

    const std::string page = host::report::ReportPage(model, inputs);
    for (const std::string_view tag :
         {"<script", "</script", "<style", "<img", "<iframe", "<a ", "<!--", "javascript:"})
        Require(CountOf(page, tag) == CountOf(EmptyPage(), tag), "nothing of an event is markup in the page");
    Require(IsUtf8(page), "the page is UTF-8");
}

}  // namespace tarn::fuzz
