// The page in the place of a blocked one: what it says in both languages, and that nothing of a request is markup.
#include "host/serve/pages/block_page.h"

#include <cstring>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <set>
#include <string>

#include "host/explain/week_times.h"
#include "host/serve/pages/page_files.h"
#include "host/serve/pages/page_texts.h"
#include "host/serve/pages/status_page.h"
#include "host/unexamined.h"

namespace tarn::host::serve {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

constexpr Language kEnglish = 0;
constexpr Language kGerman = 1;

TarnSystemTime Saturday() {
    TarnSystemTime time{};
    time.year = 2026;
    time.month = 3;
    time.day = 7;
    time.dayOfWeek = 6;
    time.hour = 21;
    time.minute = 5;
    return time;
}

BlockedPage MaliciousPage() {
    Judgement judgement;
    judgement.isValid = true;
    judgement.verdict.allow = TARN_BLOCK;
    judgement.verdict.reason = TARN_REASON_MALICIOUS;
    std::strncpy(judgement.verdict.text.threat.name, "Trojan.Demo", 49);
    return BlockedPageOf("http://bad.example/setup?a=1&b=2", judgement,
                         DecidingEntry{"malicious_sites.threats", "bad.example/setup", "tarn-policy.toml", 42},
                         Saturday());
}

TEST(BlockPage, MaliciousSite_SaysAllThatIsKnown) {
    const std::string page = BlockPageHtml(MaliciousPage(), kEnglish);
    for (const char* part :
         {"<html lang=\"en\">", "<title>Blocked: bad.example</title>", "This site is known to be malicious",
          "http://bad.example/setup?a=1&amp;b=2", "<dt>Reason</dt><dd>malicious site</dd>",
          "<dt>Threat</dt><dd>Trojan.Demo</dd>", "<code>bad.example/setup</code>", "malicious_sites.threats",
          "tarn-policy.toml, line 42", "2026-03-07 21:05", "[white_lists]", "not from the site"})
        EXPECT_THAT(page, HasSubstr(part));
    EXPECT_THAT(page, Not(HasSubstr("{{")));
    EXPECT_THAT(page, Not(HasSubstr("Category</dt>")));
    EXPECT_THAT(page, Not(HasSubstr("Allowed again")));
}

TEST(BlockPage, German_SaysTheSameInGerman) {
    const std::string page = BlockPageHtml(MaliciousPage(), kGerman);
    for (const char* part : {"<html lang=\"de\">", "<title>Gesperrt: bad.example</title>", "als schädlich bekannt",
                             "<dd>schädliche Website</dd>", "tarn-policy.toml, Zeile 42"})
        EXPECT_THAT(page, HasSubstr(part));
    EXPECT_THAT(page, Not(HasSubstr("Reason")));
}

TEST(BlockPage, HostileTexts_StandAsTextAlone) {
    for (const char* evil : {"<script>alert(1)</script>", "\"><img src=x onerror=alert(1)>", "</title><svg/onload=x>",
                             "{{style}}", "'-alert(1)-'", "</style><b>"}) {
        BlockedPage page = MaliciousPage();
        page.address = std::string("http://x.example/") + evil;
        page.threat = page.category = page.user = evil;
        page.entry = DecidingEntry{evil, evil, evil, 1};
        const std::string html = BlockPageHtml(page, kEnglish);
        for (const char* markup : {"<script", "<img", "<svg/", "<b>", "</title><svg", "\"><img"})
            EXPECT_THAT(html, Not(HasSubstr(markup))) << evil;
        EXPECT_EQ(html.find("</style>"), html.rfind("</style>")) << evil;
    }
}

TEST(BlockPage, TextThatCannotBeSeen_IsShown) {
    BlockedPage page = MaliciousPage();
    page.address = "http://x.example/\xE2\x80\xAEgnp.exe\x07";
    const std::string html = BlockPageHtml(page, kEnglish);
    EXPECT_THAT(html, Not(HasSubstr("\xE2\x80\xAE")));
    EXPECT_THAT(html, Not(HasSubstr("\x07")));
    EXPECT_THAT(html, HasSubstr("gnp.exe"));
}

TEST(BlockPage, LongAddress_IsCut) {
    BlockedPage page = MaliciousPage();
    const std::size_t usual = BlockPageHtml(page, kEnglish).size();
    page.address = "http://bad.example/" + std::string(100000, 'x');
    EXPECT_LT(BlockPageHtml(page, kEnglish).size(), usual + 500);
}

TEST(BlockPage, EachReason_HasItsOwnWords) {
    std::set<std::string_view> headings;
    for (const std::uint32_t reason : {0, 1, 2, 5, 6, 7, 15, 22}) {
        for (const Language language : {kEnglish, kGerman}) {
            const ReasonTexts texts = SayReason(reason, language);
            for (const std::string_view text : {texts.name, texts.heading, texts.meaning, texts.remedy})
                EXPECT_FALSE(text.empty()) << reason;
            EXPECT_TRUE(headings.insert(texts.heading).second) << texts.heading;
        }
    }
    EXPECT_FALSE(SayReason(99, kGerman).heading.empty());
}

TEST(BlockPage, NoVerdict_SaysSo) {
    const BlockedPage page = BlockedPageOf("bad.example", {}, std::nullopt, Saturday());
    const std::string html = BlockPageHtml(page, kEnglish);
    EXPECT_THAT(html, HasSubstr("could not judge"));
    EXPECT_THAT(html, HasSubstr("unknown = &quot;pass&quot;"));
}

TEST(BlockPage, Schedule_SaysWhenItIsAllowedAgain) {
    BlockedPage page = MaliciousPage();
    page.reason = TARN_REASON_SCHEDULE;
    page.minutesUntilAllowed = 30;
    EXPECT_THAT(BlockPageHtml(page, kEnglish), HasSubstr("<dd>today at 21:35</dd>"));
    page.minutesUntilAllowed = 12 * 60;
    EXPECT_THAT(BlockPageHtml(page, kEnglish), HasSubstr("<dd>tomorrow at 09:05</dd>"));
    EXPECT_THAT(BlockPageHtml(page, kGerman), HasSubstr("<dd>morgen um 09:05 Uhr</dd>"));
    page.minutesUntilAllowed = 2 * 24 * 60 + 55;
    EXPECT_THAT(BlockPageHtml(page, kEnglish), HasSubstr("<dd>Monday at 22:00</dd>"));
    page.minutesUntilAllowed.reset();
    page.isNeverAllowed = true;
    EXPECT_THAT(BlockPageHtml(page, kGerman), HasSubstr("zu keiner Zeit der Woche"));
}

TEST(BlockPage, Response_IsA403ThatNobodyKeeps) {
    const PageResponse response = BlockPageResponse(MaliciousPage(), "de-AT,de;q=0.9,en;q=0.5");
    EXPECT_EQ(response.status, 403);
    EXPECT_EQ(response.Field("Content-Type"), "text/html; charset=utf-8");
    EXPECT_EQ(response.Field("Content-Language"), "de");
    EXPECT_EQ(response.Field("Cache-Control"), "no-store");
    EXPECT_THAT(std::string(response.Field("Content-Security-Policy")), HasSubstr("default-src 'none'"));
    EXPECT_THAT(response.body, HasSubstr("Gesperrt"));
}

struct LanguageCase {
    const char* accept;
    const char* language;
};
TEST(PageTexts, AcceptLanguage_ChoosesByWeight) {
    constexpr LanguageCase kCases[] = {
        {"", "en"},
        {"de", "de"},
        {"DE-ch", "de"},
        {"fr-FR,fr;q=0.9,de;q=0.8,en;q=0.7", "de"},
        {"en;q=0.8,de;q=0.9", "de"},
        {"de;q=0.5,en;q=0.5", "de"},
        {"de;q=0", "en"},
        {"de;q=0,*", "en"},
        {"*;q=0.1,de;q=0.2", "de"},
        {"de;q=1.000", "de"},
        {"de;q=2", "en"},
        {"de;q=0.x", "en"},
        {"de ; q=0.3 , en ; q=0.2", "de"},
        {"den", "en"},
        {"fr,it;q=0.2", "en"},
        {",,;;q=,=", "en"},
    };
    for (const LanguageCase& one : kCases)
        EXPECT_EQ(kLanguages.at(ChooseLanguage(one.accept)), one.language) << one.accept;
}

TEST(PageTexts, EachText_StandsInEachLanguageOnce) {
    std::set<std::string_view> keys;
    for (const PageText& text : PageTexts()) {
        EXPECT_TRUE(keys.insert(text.key).second) << text.key;
        for (const std::string_view said : text.texts) EXPECT_FALSE(said.empty()) << text.key;
    }
    EXPECT_TRUE(Say("no.such.text", kEnglish).empty());
}

// A text that a page or its script names and the table lacks would be an empty place.
TEST(PageTexts, EachNameInAPage_IsInTheTable) {
    for (const char* file : {kStatusTemplate.text, kStatusScript.text}) {
        const std::string_view page = file;
        std::size_t found = 0;
        for (std::size_t at = page.find("status."); at != std::string_view::npos; at = page.find("status.", at + 1)) {
            const std::size_t end =
                page.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ", at + 7);
            const std::string_view key = page.substr(at, end - at);
            if (key == "status." || page.substr(end).starts_with(".${")) continue;  // the script appends the rest
            ++found;
            EXPECT_FALSE(Say(key, kEnglish).empty()) << key;
        }
        EXPECT_GT(found, 5U);
    }
}

TEST(PageTexts, WhatServeDoesNotExamine_HasAText) {
    for (const Unexamined kind :
         {Unexamined::kHelloSplit, Unexamined::kEch, Unexamined::kHttp2, Unexamined::kUnknownProtocol})
        EXPECT_FALSE(Say(fmt::format("status.unexamined.{}", UnexaminedName(kind)), kGerman).empty());
}

TEST(StatusPage, Response_IsWholeAndGuarded) {
    const PageResponse response = StatusPageResponse("de");
    EXPECT_EQ(response.status, 200);
    EXPECT_THAT(response.body, Not(HasSubstr("{{")));
    EXPECT_THAT(response.body, HasSubstr("<h1>Was der Filter tut</h1>"));
    EXPECT_THAT(response.body, HasSubstr("\"reason.2\":\"schädliche Website\""));
    const std::string guard(response.Field("Content-Security-Policy"));
    EXPECT_THAT(guard, HasSubstr("script-src 'sha256-"));
    EXPECT_THAT(guard, Not(HasSubstr("unsafe")));
    EXPECT_THAT(guard, HasSubstr("frame-ancestors 'none'"));
}

// By asking each minute.
std::optional<std::uint32_t> WalkedMinutes(const policy::ParentalUser& user, TarnSystemTime now) {
    for (std::uint32_t minutes = 0; minutes < 7 * 24 * 60; ++minutes) {
        if (IsAllowedTime(user, now)) return minutes;
        if (++now.minute < 60) continue;
        now.minute = 0;
        if (++now.hour < 24) continue;
        now.hour = 0;
        now.dayOfWeek = static_cast<std::uint16_t>((now.dayOfWeek + 1) % 7);
    }
    return std::nullopt;
}

TEST(WeekTimes, MinutesUntilAllowed_AreThoseOfAWalk) {
    std::uint32_t seed = 20260307;
    const auto random = [&seed](std::uint32_t below) {
        seed = seed * 1664525 + 1013904223;
        return (seed >> 8) % below;
    };
    bool sawNever = false;
    bool sawWait = false;
    for (int round = 0; round < 60; ++round) {
        policy::ParentalUser user;
        for (std::uint32_t range = random(4); range > 0; --range) {
            const std::uint32_t start = random(24 * 60);
            const std::uint32_t end = std::min(start + random(400), 24U * 60 - 1);
            TimeRange one{};
            one.startHour = static_cast<std::uint8_t>(start / 60);
            one.startMinute = static_cast<std::uint8_t>(start % 60);
            one.endHour = static_cast<std::uint8_t>(end / 60);
            one.endMinute = static_cast<std::uint8_t>(end % 60);
            user.times.at(random(7)).push_back(one);
        }
        TarnSystemTime now{};
        now.dayOfWeek = static_cast<std::uint16_t>(random(7));
        now.hour = static_cast<std::uint16_t>(random(24));
        now.minute = static_cast<std::uint16_t>(random(60));
        const auto minutes = MinutesUntilAllowed(user, now);
        EXPECT_EQ(minutes, WalkedMinutes(user, now)) << round;
        sawNever |= !minutes;
        sawWait |= minutes && *minutes > 0;
    }
    EXPECT_TRUE(sawNever && sawWait);
}

TEST(WeekTimes, MinutesUntilAllowed_CountOverMidnightAndTheWeeksEnd) {
    policy::ParentalUser user;
    user.times[1] = {{8, 0, 12, 30}, {18, 0, 20, 0}};  // Monday
    user.times[6] = {{9, 0, 23, 59}};
    const auto at = [](std::uint16_t day, std::uint16_t hour) {
        TarnSystemTime time{};
        time.dayOfWeek = day;
        time.hour = hour;
        return time;
    };
    EXPECT_EQ(MinutesUntilAllowed(user, at(1, 9)), 0U);
    EXPECT_EQ(MinutesUntilAllowed(user, at(1, 13)), 5U * 60);
    EXPECT_EQ(MinutesUntilAllowed(user, at(0, 23)), 9U * 60);
    EXPECT_EQ(MinutesUntilAllowed(user, at(1, 21)), (4 * 24 + 12) * 60U);
    EXPECT_EQ(MinutesUntilAllowed({}, at(1, 21)), std::nullopt);
}

}  // namespace
}  // namespace tarn::host::serve
