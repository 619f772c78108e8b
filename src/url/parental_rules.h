// The rules of a URL scan that ask the parental profiles: allowed sites, the schedule, blocked sites and categories.
// The profiles are the parental floor's copy of the settings; whose profile counts is decided here.
#ifndef TARN_URL_PARENTAL_RULES_H
#define TARN_URL_PARENTAL_RULES_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "url/scan_state.h"

namespace tarn::url {

Step ParentalAllowedList(ScanState& scan);
Step ParentalSchedule(ScanState& scan);
Step ParentalBlockLists(ScanState& scan);

// Whether the profile's switches let its blocked hosts be asked, and there are any.
[[nodiscard]] bool JudgesSites(const ScanContext& context, std::size_t profile);

// The verdict of a site that a profile blocks.
Step BlockParentalSite(ScanState& scan, std::string_view url, const machine::ProcessUser& user);

// The first of the considered categories that the list blocks; the malicious and the phishing category never match.
[[nodiscard]] std::optional<std::uint16_t> BlockedCategory(std::span<const std::uint16_t> considered,
                                                           std::span<const std::uint16_t> blocked);

// Blocks when a profile of the requesting user blocks one of the considered categories.
Step ParentalCategories(ScanState& scan, std::span<const std::uint16_t> considered);

// The id and the name of a category; the name stays empty when the module does not tell it.
void WriteCategory(UrlVerdict& verdict, const ScanContext& context, std::uint16_t category);

}  // namespace tarn::url

#endif
