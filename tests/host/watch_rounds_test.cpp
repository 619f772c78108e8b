// What tarnhost watch says of captures that it judges again: what changed, what is left out, and the totals.
#include <fstream>
#include <gmock/gmock.h>
#include <iterator>

#include "host/command_runs.h"
#include "host/fake_machine.h"
#include "host/temporary_file.h"

namespace tarn::host {
namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

constexpr const char* kFirstPolicy = "[features]\nanti_phishing = true\n";
constexpr const char* kSecondPolicy = "[features]\nanti_phishing = false\n";

std::size_t CountOf(const std::string& text, const std::string& part) {
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
    return count;
}

// Judges one request otherwise from the second round on.
class TurningLibrary : public LentToldLibrary {
 public:
    explicit TurningLibrary(ToldLibrary& library) : LentToldLibrary(library), told_(library) {}
    Judgement ScanUrl(std::uint8_t kind, base::Bytes data, const Endpoint& server) override {
        Judgement judgement = LentToldLibrary::ScanUrl(kind, data, server);
        if (told_.scanned.size() == 37 + 3) judgement = FakeLibrary::Malicious("Worm", "lantern.example/");
        return judgement;
    }

 private:
    ToldLibrary& told_;
};

class Machine : public FakeMachine {
 public:
    std::unique_ptr<Judge> OpenLibrary(const LibraryOptions&, std::string&) override {
        return std::make_unique<TurningLibrary>(told);
    }
};

class WatchRounds : public testing::Test {
 protected:
    WatchRounds() { machine_.installFolder = policy_.Folder() + "/"; }
    // Two rounds, with a change between them.
    std::string TwoRounds(std::vector<std::string> arguments) {
        std::ifstream input(kCurl, std::ios::binary);
        const std::string capture{std::istreambuf_iterator<char>(input), {}};
        const std::size_t looks = capture.size() / 4096 + 2;  // one for each piece and one for the end
        for (std::size_t i = 0; i < looks; ++i) machine_.steps.push_back({Signal::kNone, "", [] {}});
        machine_.steps.push_back({Signal::kChanged, "", [this] { policy_.Write(kSecondPolicy); }});
        arguments.insert(arguments.begin(), "watch");
        arguments.push_back(kCurl);
        return RunWith(machine_, std::move(arguments)).out;
    }

    Machine machine_;
    TemporaryFile policy_{"tarn-policy.toml", kFirstPolicy};
};

TEST_F(WatchRounds, ShowsOnlyWhatChangedAndCountsTheRest) {
    const std::string out = TwoRounds({});
    ASSERT_THAT(machine_.told.scanned, SizeIs(74));
    EXPECT_EQ(CountOf(out.substr(0, out.find("has changed")), "  allowed   "), 37u);
    EXPECT_THAT(out, ContainsRegex("BLOCKED +2 malicious site +Worm: lantern.example/  .was allowed.\n"));
    EXPECT_THAT(out, HasSubstr("  36 are as in the round before and left out\n"));
    const std::string second = out.substr(out.find("has changed"));
    EXPECT_EQ(CountOf(second, "  allowed   "), 0u);
}

TEST_F(WatchRounds, SaysHowManyChangedAndByWhat) {
    const std::string out = TwoRounds({});
    EXPECT_THAT(out, HasSubstr("  1 verdict changed:\n      1  BLOCKED by malicious site\n"));
    EXPECT_EQ(CountOf(out, " changed:\n"), 1u);  // not of the first round
}

// A row that comes or goes is no reason to show those that follow it.
TEST_F(WatchRounds, AnAttackThatComesChangesNothingElse) {
    std::size_t perRound = 0;
    machine_.told.onPacket = [&](std::size_t number) {
        PacketVerdict verdict = FakeLibrary::Harmless();
        if (perRound == 0 && machine_.told.scanned.size() >= 37 && !machine_.told.notices.empty())
            perRound = number - 1;
        if (perRound != 0 && number == perRound + 6) {
            verdict.action = TARN_PACKET_BLOCK;
            verdict.reason = 31;
        }
        return verdict;
    };
    const std::string out = TwoRounds({});
    EXPECT_THAT(out, AllOf(HasSubstr("  2 verdicts changed:\n"), HasSubstr("      1  BLOCKED by packet signature\n"),
                           HasSubstr("36 are as in the round before")));
}

TEST_F(WatchRounds, WhatIsLeftOutIsSaidBeforeTheChangeThatFollows) {
    const std::string out = TwoRounds({"--brief"});
    const std::size_t leftOut = out.find("37 requests that no rule decided are left out");
    ASSERT_NE(leftOut, std::string::npos);
    EXPECT_LT(leftOut, out.find("has changed"));
    EXPECT_EQ(CountOf(out, "that no rule decided are left out"), 1u);
    EXPECT_THAT(out, ContainsRegex("Worm: lantern.example/  .was allowed.\n"));
}

TEST_F(WatchRounds, TheTotalsSayWhatWasJudgedUnderEachPolicy) {
    EXPECT_THAT(TwoRounds({}), HasSubstr("74 requests: 73 allowed, 1 blocked\n"
                                         "     37  under the first policy: 37 allowed, 0 blocked\n"
                                         "     37  under that of change 1: 36 allowed, 1 blocked\n"));
    machine_.told.scanned.clear();
    policy_.Write(kFirstPolicy);
    const auto summary = JsonLines(TwoRounds({"--json"})).back();
    ASSERT_THAT(summary["policies"], SizeIs(2));
    EXPECT_EQ(summary["policies"][0]["blocked"], 0);
    EXPECT_EQ(summary["policies"][1]["blocked"], 1);
    EXPECT_EQ(summary["policies"][1]["requests"], 37);
}

TEST_F(WatchRounds, OnePolicyHasNoTotalsOfItsOwn) {
    const Ran run = RunWith(machine_, {"watch", "--once", kCurl});
    EXPECT_THAT(run.out, AllOf(HasSubstr("37 requests: "), Not(HasSubstr("under the first policy"))));
}

TEST_F(WatchRounds, JsonHasEveryVerdictOfEveryRound) {
    EXPECT_EQ(CountOf(TwoRounds({"--json"}), "\"type\":\"verdict\""), 74u);
}

TEST_F(WatchRounds, ARowOfTheSameVerdictSaysByWhatItWas) {
    machine_.told.answer = FakeLibrary::Malicious("Old", "lantern.example/");
    machine_.told.answer.verdict.reason = TARN_REASON_PHISHING;
    EXPECT_THAT(TwoRounds({}),
                ContainsRegex("BLOCKED +2 malicious site +Worm: lantern.example/  .was by phishing site.\n"));
}

TEST_F(WatchRounds, JsonSaysWhatChanged) {
    for (const char* option : {"--verbose", "--brief"}) {
        policy_.Write(kFirstPolicy);
        machine_.told.scanned.clear();
        std::vector<nlohmann::json> changes;
        for (const auto& line : JsonLines(TwoRounds({"--json", option})))
            if (line["type"] == "change") changes.push_back(line);
        ASSERT_THAT(changes, SizeIs(1)) << option;
        EXPECT_EQ(changes[0]["of"], "request");
        EXPECT_EQ(changes[0]["change"], "blocked");
        EXPECT_EQ(changes[0]["before"]["verdict"], "allowed");
        EXPECT_EQ(changes[0]["before"]["reason"], 26);
        EXPECT_EQ(changes[0]["after"]["verdict"], "blocked");
        EXPECT_EQ(changes[0]["after"]["reason"], 2);
        EXPECT_TRUE(changes[0].contains("host"));
        EXPECT_TRUE(changes[0].contains("frame"));
    }
}

}  // namespace
}  // namespace tarn::host
