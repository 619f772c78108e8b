// What the status page is told of verdicts and of the policy, by any thread.
#include "host/serve/pages/status_feed.h"

#include <atomic>
#include <gmock/gmock.h>
#include <string>
#include <thread>
#include <vector>

namespace tarn::host::serve {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;

Event Verdict(const std::string& verdict, const std::string& host, std::uint32_t reason = 2) {
    Event event = BeginEvent("verdict");
    event["verdict"] = verdict;
    event["host"] = host;
    event["reason"] = reason;
    event["reason_text"] = "malicious site";
    return event;
}

Event Policy(const std::string& what, const std::string& text = "") {
    Event event = BeginEvent("policy");
    event["event"] = what;
    event["file"] = "tarn-policy.toml";
    event["line"] = 3;
    event["text"] = text;
    return event;
}

TEST(StatusFeed, Verdicts_AreCountedByKindReasonAndSite) {
    StatusFeed feed;
    for (int i = 0; i < 3; ++i) feed.Add(Verdict("blocked", "bad.example"));
    feed.Add(Verdict("blocked", "other.example", 6));
    feed.Add(Verdict("allowed", "good.example", 26));
    feed.Add(Verdict("none", "odd.example", 26));
    feed.Add(BeginEvent("stats"));
    const Event state = feed.State();
    EXPECT_EQ(state["blocked"], 4);
    EXPECT_EQ(state["allowed"], 1);
    EXPECT_EQ(state["none"], 1);
    ASSERT_EQ(state["reasons"].size(), 2U);
    EXPECT_EQ(state["reasons"][0]["count"], 3);
    EXPECT_EQ(state["reasons"][1]["reason"], 6);
    ASSERT_EQ(state["sites"].size(), 2U);
    EXPECT_EQ(state["sites"][0]["host"], "bad.example");
    EXPECT_EQ(state["sites"][0]["count"], 3);
}

TEST(StatusFeed, Refused_AreCountedApartFromAllowedOnes) {
    StatusFeed feed;
    for (const char* verdict : {"allowed", "none", "blocked", "allowed"}) {
        Event event = Verdict(verdict, "odd.example");
        event["passed"] = false;
        feed.Add(event);
    }
    Event passed = Verdict("none", "odd.example");
    passed["passed"] = true;
    feed.Add(passed);
    const Event state = feed.State();
    EXPECT_EQ(state["refused"], 3);
    EXPECT_EQ(state["blocked"], 1);
    EXPECT_EQ(state["allowed"], 0);
    EXPECT_EQ(state["none"], 1);
}

TEST(StatusFeed, Sites_AreCountedWithoutTheirPorts) {
    const auto sites = [&](const std::vector<std::string>& hosts) {
        StatusFeed counting;
        for (const std::string& host : hosts) counting.Add(Verdict("blocked", host));
        std::string text;
        const Event state = counting.State();
        for (const Event& site : state["sites"])
            text += site["host"].get<std::string>() + '=' + std::to_string(site["count"].get<int>()) + ' ';
        return text;
    };
    EXPECT_EQ(sites({"bad.example", "bad.example:8080", "bad.example:"}), "bad.example=3 ");
    EXPECT_EQ(sites({"[2001:db8::1]:443", "[2001:db8::1]"}), "[2001:db8::1]=2 ");
    EXPECT_EQ(sites({"2001:db8::1", "2001:db8::2"}), "2001:db8::1=1 2001:db8::2=1 ");
    EXPECT_EQ(sites({"192.0.2.1:80", "192.0.2.1"}), "192.0.2.1=2 ");
    EXPECT_EQ(sites({"odd:name", ":80", "[::80"}), ":80=1 [::80=1 odd:name=1 ");
}

TEST(StatusFeed, WhatIsNotExamined_IsShownAndCountsAsNoVerdict) {
    StatusFeed feed;
    const auto reader = feed.Open([] {});
    Event event = BeginEvent("not_examined");
    event["what"] = "ech";
    feed.Add(event);
    feed.Add(BeginEvent("stats"));
    const std::string told = reader->Take();
    EXPECT_THAT(told, HasSubstr("event: not_examined\ndata: {\"type\":\"not_examined\""));
    EXPECT_THAT(told, Not(HasSubstr("stats")));
    EXPECT_EQ(feed.State()["none"], 0);
}

TEST(StatusFeed, ManySites_LeaveTheFrequentOnes) {
    StatusFeed feed;
    for (int i = 0; i < 50; ++i) feed.Add(Verdict("blocked", "often.example"));
    for (std::size_t i = 0; i < 3 * StatusFeed::kMostSites; ++i)
        feed.Add(Verdict("blocked", "once" + std::to_string(i) + ".example"));
    const Event state = feed.State();
    EXPECT_EQ(state["sites"].size(), StatusFeed::kShownSites);
    EXPECT_EQ(state["sites"][0]["host"], "often.example");
}

TEST(StatusFeed, PolicyWithMistakes_IsToldUntilAGoodOneComes) {
    StatusFeed feed;
    feed.Add(Policy("used"));
    feed.Add(Policy("warning", "never matches"));
    EXPECT_EQ(feed.State()["policy"]["file"], "tarn-policy.toml");
    EXPECT_EQ(feed.State()["policy"]["warnings"].size(), 1U);
    for (int again = 0; again < 2; ++again) {
        feed.Add(Policy("mistake", "one"));
        feed.Add(Policy("mistake", "two"));
        Event kept = Policy("kept", "has two mistakes");
        kept["why"] = "mistakes";
        feed.Add(kept);
        EXPECT_EQ(feed.State()["policy"]["kept"], true);
        EXPECT_EQ(feed.State()["policy"]["text"], "has two mistakes");
        EXPECT_EQ(feed.State()["policy"]["mistakes"].size(), 2U) << again;
    }
    feed.Add(Policy("changed"));
    EXPECT_EQ(feed.State()["policy"]["kept"], false);
    EXPECT_TRUE(feed.State()["policy"]["mistakes"].empty());
    EXPECT_TRUE(feed.State()["policy"]["warnings"].empty());
}

TEST(StatusFeed, ChangedServeTable_IsToldToCountLater) {
    StatusFeed feed;
    Event changed = Policy("changed");
    changed["changes"] = Event::array();
    changed["changes"].push_back({{"key", "features.anti_phishing"}});
    feed.Add(changed);
    EXPECT_FALSE(feed.State()["policy"].contains("at_restart"));
    changed["changes"].push_back({{"key", "serve.unknown"}, {"at_restart", true}});
    feed.Add(changed);
    feed.Add(Policy("changed"));
    EXPECT_EQ(feed.State()["policy"]["at_restart"], true) << "until it starts again";
}

std::size_t CountOf(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
    return count;
}

TEST(StatusFeed, Reader_IsWokenOnceAndTakesWhatCame) {
    StatusFeed feed;
    feed.Add(Verdict("allowed", "before.example"));
    int woken = 0;
    const auto reader = feed.Open([&woken] { ++woken; });
    ASSERT_TRUE(reader);
    const std::string first = reader->Take();
    EXPECT_THAT(first, HasSubstr("event: verdict\ndata: {"));
    EXPECT_THAT(first, HasSubstr("before.example"));
    EXPECT_EQ(woken, 0);
    feed.Add(Verdict("allowed", "one.example"));
    feed.Add(Verdict("allowed", "two.example"));
    EXPECT_EQ(woken, 1);
    const std::string next = reader->Take();
    EXPECT_THAT(next, Not(HasSubstr("before.example")));
    EXPECT_EQ(CountOf(next, "event: verdict"), 2U);
    EXPECT_EQ(reader->Take(), "");
    feed.Add(Verdict("allowed", "three.example"));
    EXPECT_EQ(woken, 2);
}

TEST(StatusFeed, SlowReader_MissesSomeAndIsToldHowMany) {
    StatusFeed feed;
    const auto reader = feed.Open([] {});
    reader->Take();
    for (std::size_t i = 0; i < StatusFeed::kKeptEvents + 30; ++i) feed.Add(Verdict("allowed", "x.example"));
    const std::string taken = reader->Take();
    EXPECT_THAT(taken, HasSubstr("event: skipped\ndata: 30\n\n"));
    EXPECT_EQ(CountOf(taken, "event: verdict"), StatusFeed::kKeptEvents);
}

TEST(StatusFeed, TextsOfAnyLength_StayBounded) {
    StatusFeed feed;
    const auto reader = feed.Open([] {});
    Event event = Verdict("blocked", std::string(1000000, 'x'));
    event["entry"] = {{"text", std::string(1000000, 'y')}};
    for (int i = 0; i < 3; ++i) feed.Add(event);
    EXPECT_LT(reader->Take().size(), 8 * StatusFeed::kLongestText);
    EXPECT_LT(feed.State().dump().size(), 2 * StatusFeed::kLongestText);
}

TEST(StatusFeed, BytesThatAreNoUtf8_DoNotEndTheStream) {
    StatusFeed feed;
    const auto reader = feed.Open([] {});
    feed.Add(Verdict("blocked", "\xFF\xFE\ndata: x"));
    EXPECT_EQ(CountOf(reader->Take(), "\n"), 3U);
}

TEST(StatusFeed, TooManyReaders_GetNone) {
    StatusFeed feed;
    std::vector<std::shared_ptr<StatusReader>> readers;
    for (std::size_t i = 0; i < StatusFeed::kMostReaders; ++i) {
        readers.push_back(feed.Open([] {}));
        ASSERT_TRUE(readers.back());
    }
    EXPECT_FALSE(feed.Open([] {}));
    readers.pop_back();
    EXPECT_TRUE(feed.Open([] {}));
}

TEST(StatusFeed, ManyThreads_LoseNothing) {
    StatusFeed feed;
    std::atomic<int> woken{0};
    const auto reader = feed.Open([&woken] { ++woken; });
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([&feed] {
            for (int i = 0; i < 200; ++i) feed.Add(Verdict("blocked", "bad.example"));
        });
    for (int i = 0; i < 50; ++i) {
        reader->Take();
        static_cast<void>(feed.State());
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(feed.State()["blocked"], 800);
    EXPECT_LE(woken, 50);
}

}  // namespace
}  // namespace tarn::host::serve
