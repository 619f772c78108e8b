#include "host/serve/pages/block_page.h"

#include <fmt/format.h>
#include <string_view>
#include <utility>

#include "host/printable_text.h"
#include "host/report/html_text.h"
#include "host/report/report_page.h"
#include "host/serve/pages/page_files.h"
#include "host/verdict_words.h"

namespace tarn::host::serve {

namespace {

using report::Html;

constexpr std::size_t kShownAddress = 400;  // bytes; more says nothing
constexpr std::uint32_t kMinutesPerDay = 24 * 60;

std::string Replaced(std::string_view text, std::string_view name, std::string_view value) {
    const std::size_t at = text.find(name);
    if (at == std::string_view::npos) return std::string(text);
    return std::string(text.substr(0, at)).append(value).append(text.substr(at + name.size()));
}

// The host of a URL, for the title.
std::string_view HostOf(std::string_view address) {
    const std::size_t scheme = address.find("://");
    if (scheme != std::string_view::npos) address.remove_prefix(scheme + 3);
    return address.substr(0, address.find_first_of("/?#"));
}

std::string Cut(std::string_view text) {
    return text.size() <= kShownAddress ? Html(text) : Html(text.substr(0, kShownAddress)) + " …";
}

std::string WhenAllowed(const BlockedPage& page, Language language) {
    if (!page.minutesUntilAllowed) return std::string(Say("blocked.againNever", language));
    const std::uint32_t minute = page.now.hour * 60U + page.now.minute + *page.minutesUntilAllowed;
    const std::uint32_t days = minute / kMinutesPerDay;
    const std::string day = days == 0   ? "day.today"
                            : days == 1 ? "day.tomorrow"
                                        : fmt::format("day.{}", (page.now.dayOfWeek + days) % 7);
    const std::string time = fmt::format("{:02}:{:02}", minute % kMinutesPerDay / 60, minute % 60);
    return Replaced(Replaced(Say("day.at", language), "{day}", Say(day, language)), "{time}", time);
}

std::string Facts(const BlockedPage& page, std::string_view reason, Language language) {
    std::string facts;
    const auto add = [&](std::string_view key, const std::string& html) {
        facts += fmt::format("<dt>{}</dt><dd>{}</dd>\n", Html(Say(key, language)), html);
    };
    add("blocked.reason", Html(reason));
    if (!page.threat.empty()) add("blocked.threat", Html(page.threat));
    if (!page.category.empty()) add("blocked.category", Html(page.category));
    if (!page.user.empty()) add("blocked.user", Html(page.user));
    if (!page.details.empty()) add("blocked.details", Html(page.details));
    if (page.entry) {
        add("blocked.entry", fmt::format("<code>{}</code>", Cut(page.entry->text)));
        add("blocked.list", fmt::format("<code>{}</code>", Html(page.entry->list)));
        const std::string line = Replaced(Say("blocked.line", language), "{line}", std::to_string(page.entry->line));
        add("blocked.place", Html(Replaced(line, "{file}", page.entry->file)));
    }
    if (page.minutesUntilAllowed || page.isNeverAllowed) add("blocked.again", Html(WhenAllowed(page, language)));
    add("blocked.time", fmt::format("{:04}-{:02}-{:02} {:02}:{:02}", +page.now.year, +page.now.month, +page.now.day,
                                    +page.now.hour, +page.now.minute));
    return facts;
}

std::string SecurityPolicy() {
    return fmt::format("default-src 'none'; style-src '{}'; base-uri 'none'; form-action 'none'",
                       report::ScriptHash(kBlockStyle.sha256));
}

}  // namespace

BlockedPage BlockedPageOf(std::string address, const Judgement& judgement, std::optional<DecidingEntry> entry,
                          const TarnSystemTime& now) {
    BlockedPage page;
    page.address = std::move(address);
    page.isJudged = judgement.isValid;
    page.entry = std::move(entry);
    page.now = now;
    if (!judgement.isValid) return page;
    const UrlVerdict& verdict = judgement.verdict;
    page.reason = verdict.reason;
    page.user = RuleUser(verdict);
    page.threat = ThreatName(verdict);
    page.category = CategoryName(verdict);
    return page;
}

void TellWhenAllowed(BlockedPage& page, std::optional<std::uint32_t> minutes) {
    page.minutesUntilAllowed = minutes;
    page.isNeverAllowed = page.isJudged && page.reason == TARN_REASON_SCHEDULE && !minutes;
}

std::string BlockPageHtml(const BlockedPage& page, Language language) {
    const ReasonTexts texts = page.isJudged ? SayReason(page.reason, language) : SayNotJudged(language);
    const auto say = [language](std::string_view key) { return Html(Say(key, language)); };
    return report::FillTemplate(kBlockTemplate.text,
                                {{"lang", std::string(kLanguages.at(language))},
                                 {"csp", SecurityPolicy()},
                                 {"title", fmt::format("{}: {}", say("blocked.title"), Cut(HostOf(page.address)))},
                                 {"style", kBlockStyle.text},
                                 {"mark", say("blocked.title")},
                                 {"heading", Html(texts.heading)},
                                 {"lead", say("blocked.lead")},
                                 {"meaning", Html(texts.meaning)},
                                 {"whatTitle", say("blocked.what")},
                                 {"address", Cut(page.address)},
                                 {"whyTitle", say("blocked.why")},
                                 {"facts", Facts(page, texts.name, language)},
                                 {"allowTitle", say("blocked.allow")},
                                 {"allowLead", say("blocked.allowLead")},
                                 {"remedy", Html(texts.remedy)},
                                 {"allowMore", say("blocked.allowMore")},
                                 {"footer", say("blocked.footer")}});
}

PageResponse BlockPageResponse(const BlockedPage& page, std::string_view acceptLanguage) {
    const Language language = ChooseLanguage(acceptLanguage);
    PageResponse response = MakeResponse(403, "text/html; charset=utf-8", BlockPageHtml(page, language));
    response.fields.emplace_back("Content-Language", kLanguages.at(language));
    response.fields.emplace_back("Vary", "Accept-Language");
    response.fields.emplace_back("Content-Security-Policy", SecurityPolicy());
    return response;
}

}  // namespace tarn::host::serve
