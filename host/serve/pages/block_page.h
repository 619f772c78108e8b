// The page that stands in the place of a blocked one: what was blocked, why, by which line of the policy, until when,
// and how to allow it. One HTML document that needs nothing else, no script either.
// Whatever stands in a request comes out as text, never as markup.
#ifndef TARN_HOST_SERVE_PAGES_BLOCK_PAGE_H
#define TARN_HOST_SERVE_PAGES_BLOCK_PAGE_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tarn/records.h"

#include "host/deciding_entry.h"
#include "host/judge.h"
#include "host/serve/pages/page_response.h"
#include "host/serve/pages/page_texts.h"

namespace tarn::host::serve {

struct BlockedPage {
    std::string address;   // as it was asked for: a URL, or the host alone
    bool isJudged = true;  // false: there is no verdict, and such requests are refused
    std::uint32_t reason = 0;
    std::string threat;  // empty where the reason has none, as the two below
    std::string category;
    std::string user;     // whose rules decided
    std::string details;  // why there is no verdict
    std::optional<DecidingEntry> entry;
    std::optional<std::uint32_t> minutesUntilAllowed;  // by a schedule, from now on
    bool isNeverAllowed = false;                       // by a schedule
    TarnSystemTime now{};                              // local
};

// With what the verdict itself says. entry: that decided, as far as it is known.
BlockedPage BlockedPageOf(std::string address, const Judgement& judgement, std::optional<DecidingEntry> entry,
                          const TarnSystemTime& now);

// Of what a schedule blocks: when it lets it be used again; nothing = at no time. The rest stays as it is.
void TellWhenAllowed(BlockedPage& page, std::optional<std::uint32_t> minutes);

std::string BlockPageHtml(const BlockedPage& page, Language language);
// With status 403.
PageResponse BlockPageResponse(const BlockedPage& page, std::string_view acceptLanguage);

}  // namespace tarn::host::serve

#endif
