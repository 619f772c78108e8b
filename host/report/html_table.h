// A table of the page, row by row.
#ifndef TARN_HOST_REPORT_HTML_TABLE_H
#define TARN_HOST_REPORT_HTML_TABLE_H

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::host::report {

class HtmlTable {
 public:
    // A heading that begins with "#" is one of numbers.
    explicit HtmlTable(std::initializer_list<std::string_view> headings);

    HtmlTable& Row() {
        rows_ += rows_.empty() ? "<tr>" : "</tr>\n<tr>";
        next_ = 0;
        return *this;
    }
    HtmlTable& Text(std::string_view text);
    // With script it leads to the events in which find stands.
    HtmlTable& Link(std::string_view text, std::string_view find);
    HtmlTable& Number(std::uint64_t number);
    HtmlTable& Markup(std::string_view kind, const std::string& html);
    [[nodiscard]] std::string Html() const;

 private:
    // "<td ...>" of the next cell; narrow screens show its heading in front of it.
    void Cell(std::string_view attributes, const std::string& content);

    std::vector<std::string> headings_;
    std::size_t next_ = 0;
    std::string head_;
    std::string rows_;
};

}  // namespace tarn::host::report

#endif
