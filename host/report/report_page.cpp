#include "host/report/report_page.h"

#include <array>
#include <fmt/format.h>

#include "host/report/html_text.h"
#include "host/report/page_parts.h"
#include "host/report/report_sections.h"

namespace tarn::host::report {

namespace {

constexpr std::string_view kTitle = "Report of what was judged";

int DigitOf(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : 0;
}

// Nothing may be fetched, and only the style and the script of this page are used.
std::string SecurityPolicy() {
    return fmt::format("default-src 'none'; style-src '{}'; script-src '{}'; base-uri 'none'; form-action 'none'",
                       ScriptHash(kPageStyleSha256), ScriptHash(kPageScriptSha256));
}

std::string Lead(const ReportModel& model) {
    if (!model.first || !model.last) return Counted(model.events, "event");
    return fmt::format("{}, from {} to {} UTC", Counted(model.events, "event"), MomentText(*model.first),
                       MomentText(*model.last));
}

std::string RowsNote(const ReportModel& model) {
    const ReportRows& rows = model.rows;
    if (rows.Kept() == 0) return "There is no event to show.";
    if (rows.LeftOut() == 0) return fmt::format("All {}.", Counted(rows.Kept(), "event"));
    return fmt::format(
        "{} of {}: what was blocked, refused or found comes first, and {} are left out. The totals above count all.",
        WithCommas(rows.Kept()), Counted(rows.Kept() + rows.LeftOut(), "event"), WithCommas(rows.LeftOut()));
}

}  // namespace

std::string FillTemplate(std::string_view page, const std::vector<std::pair<std::string_view, std::string>>& parts) {
    std::string out;
    while (!page.empty()) {
        const std::size_t begin = page.find("{{");
        const std::size_t end = begin == std::string_view::npos ? begin : page.find("}}", begin);
        if (end == std::string_view::npos) break;
        const std::string_view name = page.substr(begin + 2, end - begin - 2);
        out += page.substr(0, begin);
        for (const auto& [key, text] : parts)
            if (key == name) out += text;
        page.remove_prefix(end + 2);
    }
    return out += page;
}

std::string ScriptHash(std::string_view hexadecimal) {
    constexpr std::string_view kLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out = "sha256-";
    std::uint32_t bits = 0;
    int count = 0;
    for (const char digit : hexadecimal) {
        bits = bits << 4 | static_cast<std::uint32_t>(DigitOf(digit));
        count += 4;
        if (count < 6) continue;
        count -= 6;
        out += kLetters[bits >> count & 63];
    }
    if (count != 0) out += kLetters[bits << (6 - count) & 63];
    while ((out.size() - 7) % 4 != 0) out += '=';
    return out;
}

std::string ReportPage(const ReportModel& model, const ReportInputs& inputs) {
    const std::string sections = TotalsSection(model) + TimeSection(model) + SitesSection(model) +
                                 EntriesSection(model, inputs) + AttacksSection(model) + FilesSection(model) +
                                 NotExaminedSection(model) + LatencySection(model) + InputsSection(model, inputs);
    return FillTemplate(kPageTemplate, {{"csp", SecurityPolicy()},
                                        {"title", Html(kTitle)},
                                        {"style", kPageStyle},
                                        {"lead", Html(Lead(model))},
                                        {"sections", sections},
                                        {"rowsNote", Html(RowsNote(model))},
                                        {"footer", "Made by tarnhost " TARN_VERSION ". All times are UTC."},
                                        {"data", model.rows.Json()},
                                        {"script", kPageScript}});
}

}  // namespace tarn::host::report
