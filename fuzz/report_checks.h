// What holds for everything that the host tool prints, whatever came from the wire.
// Each ends the process when it does not hold.
#ifndef TARN_FUZZ_REPORT_CHECKS_H
#define TARN_FUZZ_REPORT_CHECKS_H

#include <cstddef>
#include <istream>
#include <optional>
#include <string_view>

namespace tarn::fuzz {

// Text for a terminal: UTF-8 without control characters, line feeds apart.
void RequireHarmless(std::string_view text);

// Lines of JSON, each an event with its type; the last one has the totals. How many there are.
std::size_t RequireEvents(std::string_view lines);

// Reads events and makes the page of them: nothing of an event is markup in it. count: how many events there are, each
// of them read without a complaint; nothing when that is not known.
void RequireReport(std::istream& events, std::optional<std::size_t> count);

}  // namespace tarn::fuzz

#endif
