// Text for the page. Whatever stands in an event comes out as text, never as markup.
#ifndef TARN_HOST_REPORT_HTML_TEXT_H
#define TARN_HOST_REPORT_HTML_TEXT_H

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

namespace tarn::host::report {

// For an element's text and for an attribute in double quotes: printable, & < > " ' as references.
std::string Html(std::string_view text);
// JSON in which no "<" stands, so that it cannot end its script element.
std::string ScriptJson(const nlohmann::json& value);

// "1,234,567"
std::string WithCommas(std::uint64_t number);
// "1,234 frames", "1 frame"
std::string Counted(std::uint64_t number, std::string_view what);
// "850 ns", "12.3 µs"
std::string DurationText(std::uint64_t nanoseconds);
// "5 minutes", of a stretch of time in microseconds.
std::string StretchText(std::int64_t micros);
// "2026-03-07 21:30:05" (UTC), of microseconds since 1970; with milliseconds if they are asked for.
std::string MomentText(std::int64_t micros, bool withMilliseconds = false);

// What "smb_encrypted" and the like mean; a kind that is not known stays, printable.
std::string KindWords(std::string_view kind);

}  // namespace tarn::host::report

#endif
