#include "host/report/report_charts.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

#include "host/report/html_text.h"

namespace tarn::host::report {

namespace {

constexpr double kHeight = 150;
constexpr double kStep = 10;  // width of a stretch with the gap behind it
constexpr double kBar = 8;

std::string Rectangle(std::string_view kind, double x, double y, double width, double height) {
    if (height <= 0 || width <= 0) return {};
    return fmt::format("<rect class=\"{}\" x=\"{:.4g}\" y=\"{:.4g}\" width=\"{:.4g}\" height=\"{:.4g}\"/>", kind, x, y,
                       width, height);
}

std::string Key(std::string_view kind, std::string_view words) {
    return fmt::format("<li><svg viewBox=\"0 0 1 1\" aria-hidden=\"true\">{}</svg>{}</li>", Rectangle(kind, 0, 0, 1, 1),
                       words);
}

// One bar, from below: what is blocked stands on the ground, so that it can be compared.
std::string StackOf(const Stretch& stretch, double x, double perRequest) {
    std::string bar;
    double ground = kHeight;
    const auto put = [&](std::string_view kind, std::uint64_t count) {
        if (count == 0) return;
        const double height = std::max(static_cast<double>(count) * perRequest, 1.0);  // one request is to be seen
        ground -= height;
        bar += Rectangle(kind, x, ground, kBar, height);
    };
    put("blocked", stretch.blocked);
    put("none", stretch.none);
    put("allowed", stretch.allowed);
    return bar;
}

std::string TableOf(const TimeLine::Result& time) {
    std::string rows;
    for (const Stretch& one : time.stretches) {
        if (one.Requests() + one.attacks == 0) continue;
        rows += fmt::format(
            "<tr><th scope=\"row\">{}</th><td class=\"number\">{}</td><td class=\"number\">{}</td>"
            "<td class=\"number\">{}</td><td class=\"number\">{}</td></tr>\n",
            MomentText(one.begin), WithCommas(one.blocked), WithCommas(one.allowed), WithCommas(one.none),
            WithCommas(one.attacks));
    }
    return fmt::format(
        "<details><summary>The same as a table</summary><table><thead><tr><th scope=\"col\">From (UTC)</th>"
        "<th scope=\"col\" class=\"number\">Blocked</th><th scope=\"col\" class=\"number\">Allowed</th>"
        "<th scope=\"col\" class=\"number\">None</th><th scope=\"col\" class=\"number\">Attacks</th></tr></thead>"
        "<tbody>{}</tbody></table></details>",
        rows);
}

}  // namespace

std::string TimeChart(const TimeLine::Result& time) {
    std::uint64_t most = 1;
    std::uint64_t mostAttacks = 0;
    const Stretch* peak = &time.stretches.front();
    for (const Stretch& one : time.stretches) {
        if (one.Requests() > peak->Requests()) peak = &one;
        most = std::max(most, one.Requests());
        mostAttacks = std::max(mostAttacks, one.attacks);
    }
    const double width = kStep * static_cast<double>(time.stretches.size());
    std::string bars;
    std::string strip;
    for (const double share : {0.0, 0.5, 1.0}) {
        const double y = std::clamp(kHeight * share, 0.5, kHeight - 0.5);
        bars += fmt::format("<line class=\"grid\" x1=\"0\" x2=\"{:.4g}\" y1=\"{:.4g}\" y2=\"{:.4g}\"/>", width, y, y);
    }
    for (std::size_t i = 0; i < time.stretches.size(); ++i) {
        const double x = kStep * static_cast<double>(i) + (kStep - kBar) / 2;
        bars += StackOf(time.stretches[i], x, (kHeight - 3) / static_cast<double>(most));
        if (time.stretches[i].attacks != 0) strip += Rectangle("attack", x, 0, kBar, 10);
    }
    const std::string label =
        fmt::format("Requests over time, {} a bar, from {} on. Most of them, {}, from {} on; {} of these were blocked.",
                    StretchText(time.width), MomentText(time.stretches.front().begin), WithCommas(peak->Requests()),
                    MomentText(peak->begin), WithCommas(peak->blocked));
    std::string chart = "<figure><ul class=\"legend\">" + Key("blocked", "blocked") + Key("allowed", "allowed") +
                        Key("none", "no verdict") + (mostAttacks == 0 ? "" : Key("attack", "attacks (strip below)")) +
                        "</ul>";
    chart += fmt::format("<div class=\"top\">{} in {}</div>", Counted(most, "request"), StretchText(time.width));
    chart += fmt::format(
        "<svg class=\"chart\" role=\"img\" aria-label=\"{}\" viewBox=\"0 0 {:.4g} {:.4g}\" "
        "preserveAspectRatio=\"none\">{}</svg>",
        Html(label), width, kHeight, bars);
    if (mostAttacks != 0)
        chart += fmt::format(
            "<svg class=\"chart strip\" role=\"img\" aria-label=\"Stretches with attacks\" viewBox=\"0 0 {:.4g} 10\" "
            "preserveAspectRatio=\"none\">{}</svg>",
            width, strip);
    chart +=
        fmt::format("<div class=\"axis\"><span>{}</span><span>{}</span></div>",
                    MomentText(time.stretches.front().begin), MomentText(time.stretches.back().begin + time.width));
    return chart + TableOf(time) + "</figure>\n";
}

std::string LatencyChart(const std::vector<std::pair<std::string, LatencySummary>>& kinds) {
    std::uint64_t least = ~std::uint64_t{0};
    std::uint64_t most = 1;
    for (const auto& [kind, summary] : kinds) {
        least = std::min(least, std::max<std::uint64_t>(summary.half, 1));
        most = std::max(most, summary.most);
    }
    const double from = std::floor(std::log10(static_cast<double>(least)));
    double to = std::max(std::ceil(std::log10(static_cast<double>(most))), from + 1);
    // At most five words fit below it on a phone: then every second power has one, the first and the last too.
    const int step = to - from > 4 ? 2 : 1;
    if (std::fmod(to - from, step) != 0) to += 1;
    const int powers = static_cast<int>(to - from);
    const auto at = [&](std::uint64_t value) {
        return 1000 * (std::log10(static_cast<double>(std::max<std::uint64_t>(value, 1))) - from) / (to - from);
    };
    std::string rows;
    for (const auto& [kind, summary] : kinds) {
        std::string marks;
        for (int line = 0; line <= powers; ++line) {
            const double x = std::clamp(1000.0 * line / powers, 1.0, 999.0);
            marks += fmt::format("<line class=\"grid\" x1=\"{:.4g}\" x2=\"{:.4g}\" y1=\"0\" y2=\"26\"/>", x, x);
        }
        marks += Rectangle("spread", at(summary.half), 9, at(summary.p99) - at(summary.half), 8);
        marks += Rectangle("typical", std::clamp(at(summary.half) - 3, 0.0, 994.0), 5, 6, 16);
        marks += Rectangle("most", std::clamp(at(summary.most) - 2, 0.0, 996.0), 5, 4, 16);
        const std::string label =
            fmt::format("{}: half of the calls took {} or less, 99 of 100 {}, the slowest {}", kind,
                        DurationText(summary.half), DurationText(summary.p99), DurationText(summary.most));
        rows += fmt::format(
            "<span>{}</span><svg class=\"range\" role=\"img\" aria-label=\"{}\" viewBox=\"0 0 1000 26\" "
            "preserveAspectRatio=\"none\">{}</svg>\n",
            Html(kind), Html(label), marks);
    }
    std::string axis;
    for (int power = 0; power <= powers; power += step) {
        const auto time = static_cast<std::uint64_t>(std::llround(std::pow(10, from + power)));
        axis += fmt::format("<span>{}</span>", DurationText(time));
    }
    return fmt::format(
        "<figure><ul class=\"legend\">{}{}{}</ul><div class=\"latency\">{}<div "
        "class=\"axis\">{}</div></div></figure>\n",
        Key("typical", "half of the calls took no longer"), Key("spread", "up to 99 of 100"),
        Key("most", "the slowest"), rows, axis);
}

std::string ShareBar(std::uint64_t blocked, std::uint64_t whole) {
    if (whole == 0) return {};
    const double width = 1000 * static_cast<double>(blocked) / static_cast<double>(whole);
    return fmt::format(
        "<svg class=\"bar\" aria-hidden=\"true\" viewBox=\"0 0 1000 4\" preserveAspectRatio=\"none\">{}{}</svg>",
        Rectangle("blocked", 0, 0, width, 4), Rectangle("allowed", width, 0, 1000 - width, 4));
}

}  // namespace tarn::host::report
