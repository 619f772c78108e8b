#include "host/report/html_table.h"

#include <fmt/format.h>

#include "host/report/html_text.h"

namespace tarn::host::report {

HtmlTable::HtmlTable(std::initializer_list<std::string_view> headings) {
    for (std::string_view heading : headings) {
        const bool isOfNumbers = heading.starts_with('#');
        if (isOfNumbers) heading.remove_prefix(1);
        headings_.push_back(report::Html(heading));
        head_ +=
            fmt::format("<th scope=\"col\"{}>{}</th>", isOfNumbers ? " class=\"number\"" : "", report::Html(heading));
    }
}

void HtmlTable::Cell(std::string_view attributes, const std::string& content) {
    const std::string heading = next_ < headings_.size() ? headings_[next_] : std::string();
    ++next_;
    rows_ += fmt::format("<td{} data-label=\"{}\"><span>{}</span></td>", attributes, heading, content);
}

HtmlTable& HtmlTable::Text(std::string_view text) {
    Cell("", report::Html(text));
    return *this;
}

HtmlTable& HtmlTable::Link(std::string_view text, std::string_view find) {
    Cell(fmt::format(" data-find=\"{}\"", report::Html(find)), report::Html(text));
    return *this;
}

HtmlTable& HtmlTable::Number(std::uint64_t number) {
    return Markup("number", WithCommas(number));
}

HtmlTable& HtmlTable::Markup(std::string_view kind, const std::string& html) {
    Cell(fmt::format(" class=\"{}\"", kind), html);
    return *this;
}

std::string HtmlTable::Html() const {
    constexpr std::size_t kMostBesideEachOther = 3;  // on a phone
    return fmt::format("<table{}><thead><tr>{}</tr></thead>\n<tbody>{}</tr></tbody></table>\n",
                       headings_.size() > kMostBesideEachOther ? " class=\"stack\"" : "", head_, rows_);
}

}  // namespace tarn::host::report
