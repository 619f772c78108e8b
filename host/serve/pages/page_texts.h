// What the pages say, in every language that they speak: one table, a row for each text.
// A new language is one more column and one more name in kLanguages. Nothing here changes; any thread may ask.
#ifndef TARN_HOST_SERVE_PAGES_PAGE_TEXTS_H
#define TARN_HOST_SERVE_PAGES_PAGE_TEXTS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace tarn::host::serve {

// As <html lang> has them. The first one is for whoever asks for none of them.
inline constexpr std::array<std::string_view, 2> kLanguages{"en", "de"};
using Language = std::size_t;  // a number in kLanguages

// By an Accept-Language header: the highest weight wins, then what stands first. A language counts with any region
// ("de-AT" asks for "de"), "*" asks for the first one, and weight 0 refuses.
Language ChooseLanguage(std::string_view acceptLanguage);

struct PageText {
    std::string_view key;
    std::array<std::string_view, kLanguages.size()> texts;
};
std::span<const PageText> PageTexts();
// Empty for a key that there is not.
std::string_view Say(std::string_view key, Language language);

// What a verdict that blocks means to whoever wanted to see the page. A reason of no meaning has words, too.
struct ReasonTexts {
    std::string_view name;
    std::string_view heading;
    std::string_view meaning;
    std::string_view remedy;  // for whoever keeps the policy
};
ReasonTexts SayReason(std::uint32_t reason, Language language);
// Of a request that has no verdict and is refused for that.
ReasonTexts SayNotJudged(Language language);

}  // namespace tarn::host::serve

#endif
