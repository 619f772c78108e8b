// What the report is made of: times, stretches, latencies, entries that never decided, rows that are kept.
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "host/report/event_fields.h"
#include "host/report/html_text.h"
#include "host/report/latencies.h"
#include "host/report/policy_entries.h"
#include "host/report/repeated_lines.h"
#include "host/report/report_page.h"
#include "host/report/report_rows.h"
#include "host/report/time_line.h"
#include "policy/policy_reader.h"

namespace tarn::host::report {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

using Json = nlohmann::json;

constexpr std::int64_t kSecond = 1000000;

TEST(EventTime, IsReadToTheMicrosecond) {
    EXPECT_EQ(ParseTime("1970-01-01T00:00:00Z"), 0);
    EXPECT_EQ(ParseTime("2026-03-07T21:30:05.25Z"), 1772919005250000);
    EXPECT_EQ(ParseTime("2026-03-07T21:30:05.123456789Z"), 1772919005123456);
    EXPECT_EQ(ParseTime("2024-02-29T00:00:00Z"), 1709164800000000);
}

TEST(EventTime, OfAnotherFormIsNone) {
    for (const char* text : {"", "2026-03-07", "2026-02-29T00:00:00Z", "2026-03-07T24:00:00Z", "2026-03-07T21:30:05",
                             "2026-03-07T21:30:05.Z", "2026-03-07T21:30:05+02:00", "1969-12-31T23:59:59Z", "x"})
        EXPECT_EQ(ParseTime(text), std::nullopt) << text;
}

TEST(EventFields, OfAnotherKindAreEmpty) {
    const Json event{{"host", 7}, {"frame", -1}, {"latency_ns", "7"}, {"flow", "x"}, {"entry", {1}}};
    EXPECT_EQ(TextOf(event, "host"), "");
    EXPECT_EQ(NumberOf(event, "frame"), std::nullopt);
    EXPECT_EQ(NumberOf(event, "latency_ns"), std::nullopt);
    EXPECT_EQ(FlowOf(event), "");
    EXPECT_EQ(EntryOf(event), std::nullopt);
}

TEST(EventFields, AFlowHasItsPortsAndBracketsAroundIpv6) {
    const Json event{
        {"flow", {{"client", "2001:db8::1"}, {"client_port", 40000}, {"server", "192.0.2.1"}, {"server_port", 80}}}};
    EXPECT_EQ(FlowOf(event), "[2001:db8::1]:40000 \u2192 192.0.2.1:80");
    EXPECT_EQ(FlowOf(Json{{"flow", {{"server", "192.0.2.1"}}}}), "? \u2192 192.0.2.1");
}

std::vector<std::uint64_t> RequestsOf(const TimeLine::Result& result) {
    std::vector<std::uint64_t> counts;
    for (const Stretch& one : result.stretches) counts.push_back(one.Requests());
    return counts;
}

TEST(TimeLine, HasTheEmptyStretchesToo) {
    TimeLine line;
    line.Add(0, Mark::kBlocked);
    line.Add(3 * 60 * kSecond, Mark::kAllowed);
    line.Add(3 * 60 * kSecond + 1, Mark::kAttack);
    const TimeLine::Result result = line.Stretches();
    EXPECT_EQ(result.width, 5 * kSecond);
    ASSERT_EQ(result.stretches.size(), 37U);
    EXPECT_EQ(result.stretches.front().blocked, 1U);
    EXPECT_EQ(result.stretches[1].Requests(), 0U);
    EXPECT_EQ(result.stretches.back().allowed, 1U);
    EXPECT_EQ(result.stretches.back().attacks, 1U);
}

TEST(TimeLine, OfManyTimesLosesNone) {
    TimeLine line;
    constexpr std::int64_t kCount = 20000;  // more than are kept apart
    for (std::int64_t i = 0; i < kCount; ++i) line.Add(i * 7919 * kSecond, Mark::kAllowed);
    const TimeLine::Result result = line.Stretches();
    EXPECT_LE(result.stretches.size(), 72U);
    EXPECT_GE(result.stretches.size(), 5U);
    std::uint64_t sum = 0;
    for (const std::uint64_t count : RequestsOf(result)) sum += count;
    EXPECT_EQ(sum, static_cast<std::uint64_t>(kCount));
}

TEST(TimeLine, OfEveryYearThatATimeCanHaveIsShort) {
    TimeLine line;
    line.Add(*ParseTime("1970-01-01T00:00:00Z"), Mark::kNone);
    line.Add(*ParseTime("9999-12-31T23:59:59Z"), Mark::kNone);
    EXPECT_LE(line.Stretches().stretches.size(), 72U);
    EXPECT_THAT(TimeLine().Stretches().stretches, IsEmpty());
}

TEST(Latencies, ArePercentilesByTheNearestRank) {
    Latencies latencies;
    for (std::uint64_t i = 1000; i >= 1; --i) latencies.Add(i);
    const LatencySummary summary = latencies.Summary();
    EXPECT_EQ(summary.count, 1000U);
    EXPECT_EQ(summary.half, 500U);
    EXPECT_EQ(summary.p90, 900U);
    EXPECT_EQ(summary.p99, 990U);
    EXPECT_EQ(summary.p999, 999U);
    EXPECT_EQ(summary.most, 1000U);
    Latencies one;
    one.Add(7);
    EXPECT_EQ(one.Summary().half, 7U);
    EXPECT_EQ(one.Summary().p999, 7U);
}

// The published vector of SipHash-2-4: key 00 to 0f, text 00 to 0e.
TEST(KeyedHash, GivesThePublishedValue) {
    std::string text;
    for (char c = 0; c < 15; ++c) text += c;
    EXPECT_EQ(KeyedHash({0x0706050403020100U, 0x0f0e0d0c0b0a0908U}, text), 0xa129ca6149be45e5U);
}

TEST(RepeatedLines, AreThoseOfAnotherFile) {
    RepeatedLines lines;
    lines.BeginFile();
    EXPECT_FALSE(lines.IsRepeated("one"));
    EXPECT_FALSE(lines.IsRepeated("one"));
    lines.BeginFile();
    EXPECT_TRUE(lines.IsRepeated("one"));
    EXPECT_FALSE(lines.IsRepeated("two"));
    EXPECT_TRUE(CanRepeat(Json{{"type", "verdict"}, {"frame", 3}}));
    EXPECT_TRUE(CanRepeat(Json{{"type", "stats"}}));
    EXPECT_FALSE(CanRepeat(Json{{"type", "verdict"}}));
}

constexpr const char* kReportedPolicy =
    "malicious_patterns = [\"/evil*\"]\n"
    "[white_lists]\n"
    "user = [\"a.example\", \"b.example\"]\n"
    "[[malicious_sites]]\n"
    "host = \"bad.example\"\n"
    "threat = \"Worm\"\n"
    "[[malicious_sites]]\n"
    "host = \"half.example\"\n"
    "whole_site = false\n"
    "threats = [{ name = \"One\", path = \"/one\" }]\n"
    "[[phishing_sites]]\n"
    "host = \"fish.example\"\n";

std::vector<std::string> TextsOf(const std::vector<DecidingEntry>& entries) {
    std::vector<std::string> texts;
    for (const DecidingEntry& entry : entries) texts.push_back(entry.text);
    return texts;
}

TEST(PolicyEntries, AreThoseThatCanDecide) {
    const policy::ReadPolicy read = policy::ParsePolicy(kReportedPolicy);
    ASSERT_THAT(read.mistakes, IsEmpty());
    EXPECT_THAT(TextsOf(EntriesOf(read.policy)),
                ElementsAre("a.example", "b.example", "bad.example", "half.example/one", "fish.example", "/evil*"));
}

TEST(PolicyEntries, NeverDecidedIsWhatNoEventNames) {
    const std::vector<DecidingEntry> all = EntriesOf(policy::ParsePolicy(kReportedPolicy).policy);
    const std::vector<DecidingEntry> decided{{"white_lists.user", "b.example", "p.toml", 3},
                                             {"malicious_sites.threats", "bad.example", "p.toml", 4},
                                             {"phishing_sites", "fish.example", "p.toml", 99}};
    EXPECT_THAT(TextsOf(NeverDecided(all, decided)), ElementsAre("a.example", "half.example/one", "/evil*"));
    EXPECT_EQ(NeverDecided(all, {}).size(), all.size());
    // The same text in another list is another entry.
    EXPECT_EQ(NeverDecided(all, {{"phishing_sites", "a.example", "p.toml", 3}}).size(), all.size());
}

TEST(PolicyEntries, OfOneTextAreToldApartByTheLine) {
    const std::vector<DecidingEntry> all{{"list", "same", "p.toml", 3}, {"list", "same", "p.toml", 9}};
    EXPECT_THAT(NeverDecided(all, {{"list", "same", "p.toml", 9}}), ElementsAre(all[0]));
    EXPECT_THAT(NeverDecided(all, {{"list", "same", "p.toml", 50}}), IsEmpty());  // the policy was edited meanwhile
}

ReportRow RowAt(std::int64_t micros, const char* what, bool isFinding) {
    ReportRow row;
    row.micros = micros;
    row.type = "request";
    row.what = what;
    row.isFinding = isFinding;
    return row;
}

TEST(ReportRows, KeepFindingsFirstAndStandInTheOrderOfTime) {
    ReportRows rows(3);
    rows.Add(RowAt(50, "late", false));
    rows.Add(RowAt(10, "early", false));
    rows.Add(RowAt(40, "blocked", true));
    rows.Add(RowAt(5, "too many", false));
    rows.Add(RowAt(1, "blocked too", true));
    EXPECT_EQ(rows.Kept(), 3U);
    EXPECT_EQ(rows.LeftOut(), 2U);
    const Json data = Json::parse(rows.Json());
    EXPECT_EQ(data["columns"]["time"], Json({1, 40, 50}));
    EXPECT_EQ(data["columns"]["what"], Json({2, 3, 4}));
    EXPECT_EQ(data["texts"], Json({"", "request", "blocked too", "blocked", "late"}));
}

TEST(HtmlText, HasNoMarkupOfItsOwn) {
    EXPECT_EQ(Html("<b a=\"1\" c='2'>&"), "&lt;b a=&quot;1&quot; c=&#39;2&#39;&gt;&amp;");
    EXPECT_THAT(Html("\u202Egnp\x01"), Not(HasSubstr("\u202E")));
    EXPECT_EQ(ScriptJson(Json("</script>")), "\"\\u003c/script>\"");
    EXPECT_EQ(Json::parse(ScriptJson(Json("<!--"))), "<!--");
}

TEST(HtmlText, WritesNumbersAndTimesForPeople) {
    EXPECT_EQ(WithCommas(0), "0");
    EXPECT_EQ(WithCommas(999), "999");
    EXPECT_EQ(WithCommas(1234567), "1,234,567");
    EXPECT_EQ(DurationText(999), "999 ns");
    EXPECT_EQ(DurationText(12345), "12.3 \u00B5s");
    EXPECT_EQ(StretchText(300 * kSecond), "5 minutes");
    EXPECT_EQ(StretchText(1000), "1 millisecond");
    EXPECT_EQ(MomentText(0), "1970-01-01 00:00:00");
    EXPECT_EQ(MomentText(1772919005250000), "2026-03-07 21:30:05");
}

TEST(ReportPage, FillsATemplateOnce) {
    EXPECT_EQ(FillTemplate("a{{x}}b{{y}}c{{z}}", {{"x", "{{y}}"}, {"y", "2"}}), "a{{y}}b2c");
    EXPECT_EQ(FillTemplate("a{{x", {{"x", "1"}}), "a{{x");
}

TEST(ReportPage, WritesAHashAsBrowsersWantIt) {
    // Of the empty text.
    EXPECT_EQ(ScriptHash("e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"),
              "sha256-47DEQpj8HBSa+/TImW+5JCeuQeRkm5NMpJWZG3hSuFU=");
}

}  // namespace
}  // namespace tarn::host::report
