// How verdicts look on terminals of several widths, in colour and without, and what --quiet leaves.
#include <algorithm>
#include <gmock/gmock.h>
#include <regex>

#include "host/command_runs.h"
#include "host/fake_environment.h"
#include "host/fitted_output.h"

namespace tarn::host {
namespace {

using testing::AllOf;
using testing::ContainsRegex;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

std::string WithoutColours(const std::string& text) {
    return std::regex_replace(text, std::regex("\x1b\\[[0-9]*m"), "");
}

// Of one line, in characters.
std::size_t WidthOf(const std::string& line) {
    const std::string plain = WithoutColours(line);
    return static_cast<std::size_t>(std::count_if(
        plain.begin(), plain.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

std::size_t WidestLine(const std::string& text) {
    std::size_t widest = 0;
    for (const std::string& line : LinesOf(text)) widest = std::max(widest, WidthOf(line));
    return widest;
}

// ---- Lines ----

TEST(FitLine, LeavesWhatFitsAndGoesOnBelowTheLastColumn) {
    EXPECT_EQ(FitLine("one two", 7), "one two");
    EXPECT_EQ(FitLine("one two", 0), "one two");
    EXPECT_EQ(FitLine("one two three", 8), "one two\nthree");
    EXPECT_EQ(FitLine("  7  requests not judged", 15), "  7  requests\n     not judged");
    EXPECT_EQ(FitLine("  an address of it", 11), "  an\n  address\n  of it");
}

TEST(FitLine, CutsAWordThatIsLongerThanTheLine) {
    EXPECT_EQ(FitLine("abcdefghij", 4), "abcd\nefgh\nij");
    EXPECT_EQ(FitLine("  abcdefgh", 6), "  abcd\n  efgh");
}

TEST(FitLine, CountsCharactersAndNotBytes) {
    EXPECT_EQ(FitLine("\xc3\xa4\xc3\xb6\xc3\xbc \xc3\xa4", 5), "\xc3\xa4\xc3\xb6\xc3\xbc \xc3\xa4");
    EXPECT_EQ(FitLine("\xc3\xa4\xc3\xb6\xc3\xbc", 2), "\xc3\xa4\xc3\xb6\n\xc3\xbc");
}

TEST(FitLine, NeverBreaksOrLosesAnEscapeSequence) {
    const std::string line = "one \x1b[31mBLOCKED   \x1b[0m two";
    for (std::size_t columns = 1; columns < 20; ++columns) {
        const std::string fitted = FitLine(line, columns);
        EXPECT_THAT(fitted, AllOf(HasSubstr("\x1b[31m"), HasSubstr("\x1b[0m"))) << columns;
        for (const std::string& one : LinesOf(fitted)) EXPECT_LE(WidthOf(one), columns) << fitted;
    }
}

TEST(FittedOutput, FitsLinesThatComeInPieces) {
    std::ostringstream target;
    FittedOutput fitted(target, 8);
    std::ostream out(&fitted);
    out << "one t"
        << "wo thr" << 'e' << "e\nfour\n"
        << "five si" << std::flush;
    EXPECT_EQ(target.str(), "one two\nthree\nfour\nfive si");
}

TEST(FittedOutput, TellsWhenTheTargetFails) {
    std::ostringstream target;
    FittedOutput fitted(target, 8);
    std::ostream out(&fitted);
    target.setstate(std::ios::badbit);
    out << "one\n";
    EXPECT_FALSE(out);
}

// ---- Verdicts ----

class Terminal : public testing::Test {
 protected:
    Terminal() {
        environment_.isTerminal = true;
        environment_.columns = 80;
        environment_.library.answer = FakeLibrary::Malicious("Trojan.Long.Name", "shop.example/with/a/long/path");
    }
    std::string Out(std::vector<std::string> arguments) { return RunWith(environment_, std::move(arguments)).out; }

    FakeEnvironment environment_;
};

TEST_F(Terminal, EveryLineFitsItsWidth) {
    for (const std::size_t columns : {40u, 80u, 100u, 149u, 150u, 200u}) {
        environment_.columns = columns;
        for (const std::string& capture : {kCurl, kMixed}) {
            const std::string out = Out({"replay", "--verbose", capture});
            EXPECT_GT(LinesOf(out).size(), 20u);
            EXPECT_LT(WidestLine(out), columns) << capture;
            EXPECT_THAT(out, HasSubstr("\x1b[31mBLOCKED   \x1b[0m"));
            for (const std::string& line : LinesOf(out))
                EXPECT_LT(line.size(), columns) << "with its colours: " << line;
        }
        EXPECT_LT(WidestLine(Out({"url", "http://" + std::string(100, 'a') + ".example/x"})), columns);
        EXPECT_LT(WidestLine(Out({"watch", "--help"})), columns);
    }
}

TEST_F(Terminal, ANarrowOneHasTwoLinesForAVerdict) {
    const auto lines = LinesOf(WithoutColours(Out({"url", "http://shop.example/basket"})));
    ASSERT_GE(lines.size(), 2u);
    EXPECT_EQ(lines[0], "BLOCKED     shop.example/basket");
    EXPECT_EQ(lines[1], "             2 malicious site: Trojan.Long.Name: shop.example/with/a/long/path");
}

TEST_F(Terminal, TheWidthMayBeToldAndAPipeHasOneLine) {
    environment_.variables["COLUMNS"] = "60";
    EXPECT_LT(WidestLine(Out({"replay", kCurl})), 60u);
    EXPECT_GT(WidestLine(Out({"replay", "--columns", "79", kCurl})), 60u);
    EXPECT_GT(WidestLine(Out({"replay", "--columns", "0", kCurl})), 100u);
    environment_.isTerminal = false;
    const std::string piped = Out({"replay", kCurl});
    EXPECT_GT(WidestLine(piped), 100u);
    std::size_t verdicts = 0;
    for (const std::string& line : LinesOf(piped)) verdicts += line.find("BLOCKED     ") != std::string::npos ? 1 : 0;
    EXPECT_EQ(verdicts, 37u);
    EXPECT_LE(WidestLine(Out({"replay", "--columns", "80", kCurl})), 80u);
}

TEST_F(Terminal, JsonIsOneLineForAnObject) {
    EXPECT_THAT(JsonLines(Out({"url", "--json", "http://shop.example/basket"})),
                AllOf(SizeIs(2), Each(Not(nlohmann::json(nullptr)))));
}

TEST_F(Terminal, ColoursFollowTheOptionThenNoColorThenTheTerminal) {
    const std::string kRed = "\x1b[31m";
    const auto out = [&](const char* colour) { return Out({"url", "--color", colour, "http://shop.example/"}); };
    EXPECT_THAT(out("auto"), HasSubstr(kRed));
    EXPECT_THAT(out("never"), Not(HasSubstr("\x1b")));
    environment_.variables["NO_COLOR"] = "1";
    EXPECT_THAT(out("auto"), Not(HasSubstr("\x1b")));
    EXPECT_THAT(out("always"), HasSubstr(kRed));
    environment_.variables.clear();
    environment_.isTerminal = false;
    EXPECT_THAT(out("auto"), Not(HasSubstr("\x1b")));
    EXPECT_THAT(out("always"), HasSubstr(kRed));
    EXPECT_THAT(Out({"url", "--json", "--color", "always", "http://shop.example/"}), Not(HasSubstr("\x1b")));
    EXPECT_EQ(RunWith(environment_, {"url", "--color", "red", "http://shop.example/"}).code, 2);
}

// ---- Rows ----

PacketVerdict Attack(const char16_t* rule) {
    PacketVerdict verdict{};
    verdict.action = TARN_PACKET_BLOCK;
    verdict.reason = 21;
    std::memcpy(static_cast<void*>(&verdict.ruleName), rule,
                std::char_traits<char16_t>::length(rule) * sizeof(char16_t));
    return verdict;
}

TEST(Rows, TheDateStandsOnceAndTheTimeInEachRow) {
    FakeEnvironment environment;
    const std::string out = RunWith(environment, {"replay", kCurl, kCurl}).out;
    const auto lines = LinesOf(out);
    const auto dates = std::count_if(lines.begin(), lines.end(), [](const std::string& line) {
        return std::regex_match(line, std::regex("20[0-9]{2}-[0-9]{2}-[0-9]{2}"));
    });
    EXPECT_EQ(dates, 2);  // one for each capture
    EXPECT_THAT(out, ContainsRegex("\n20..-..-..\ntime .UTC.  "));
}

TEST(Rows, EachKindHasHeadingsOfItsOwn) {
    FakeEnvironment environment;
    environment.library.onPacket = [](std::size_t number) {
        return number == 14 ? Attack(u"Exploit.Old") : FakeLibrary::Harmless();
    };
    const std::string out = RunWith(environment, {"replay", kCurl}).out;
    EXPECT_THAT(out, ContainsRegex("time .UTC. +client +host +path +verdict +reason\n"));
    EXPECT_THAT(out, ContainsRegex("time .UTC. +remote +packet +rule +verdict +attack\n.+packet, local port"));
}

// Rows of two kinds take turns: each capture names the columns of each kind once.
TEST(Rows, EachKindHasItsHeadingsOnceInACapture) {
    FakeEnvironment environment;
    environment.library.onPacket = [](std::size_t number) {
        const bool isAttack = number == 14 || number == 200;
        return isAttack ? Attack(number == 14 ? u"Exploit.Old" : u"Exploit.New") : FakeLibrary::Harmless();
    };
    const auto lines = LinesOf(RunWith(environment, {"replay", "--verbose", kCurl}).out);
    const auto count = [&](std::string_view word) {
        return std::count_if(lines.begin(), lines.end(), [&](const std::string& line) {
            return line.starts_with("time (UTC)") && line.find(word) != std::string::npos;
        });
    };
    EXPECT_EQ(count(" host "), 1);
    EXPECT_EQ(count(" remote "), 1);
    EXPECT_THAT(lines, Contains(HasSubstr("Exploit.New")));
}

TEST(Rows, TheTextBehindTheLongestReasonStandsInItsColumn) {
    FakeEnvironment environment;
    environment.library.answer = FakeLibrary::Malicious("Short", "a.example/");
    const std::string shortOne = LinesOf(RunWith(environment, {"url", "http://a.example/"}).out).at(0);
    environment.library.answer = FakeLibrary::Allowed();
    environment.library.answer.verdict.allow = TARN_BLOCK;
    environment.library.answer.verdict.reason = TARN_REASON_PARENTAL_CATEGORY;
    const std::string longOne = LinesOf(RunWith(environment, {"url", "http://a.example/"}).out).at(0);
    ASSERT_NE(shortOne.find("Short"), std::string::npos);
    EXPECT_EQ(shortOne.find("Short"), longOne.find("category 0"));
}

TEST(Rows, FurtherFramesOfAnAttackedConnectionAreCounted) {
    FakeEnvironment environment;
    environment.library.onPacket = [](std::size_t) { return Attack(u"Exploit.Old"); };
    const std::string out = RunWith(environment, {"replay", kCurl}).out;
    EXPECT_THAT(out, HasSubstr("\n    349  of them not listed: one line per connection and attack"));
    const std::string verbose = RunWith(environment, {"replay", "--verbose", kCurl}).out;
    EXPECT_THAT(verbose, Not(HasSubstr("not listed")));
}

// ---- --quiet ----

TEST(Quiet, SaysTheTotalsAloneWhenNothingWasBlocked) {
    FakeEnvironment environment;
    const std::string out = RunWith(environment, {"replay", "--quiet", kCurl}).out;
    EXPECT_THAT(out, AllOf(HasSubstr("37 requests: 37 allowed, 0 blocked"), HasSubstr("frames, ")));
    EXPECT_THAT(out, AllOf(Not(HasSubstr("time (UTC)")), Not(HasSubstr("http_curl.pcap")),
                           Not(HasSubstr("counts as this machine"))));
    const auto json = JsonLines(RunWith(environment, {"replay", "--quiet", "--json", kCurl}).out);
    ASSERT_THAT(json, SizeIs(1));
    EXPECT_EQ(json[0]["type"], "stats");
}

TEST(Quiet, ShowsWhatWasBlockedOrFoundBelowItsCapture) {
    FakeEnvironment environment;
    environment.library.onPacket = [](std::size_t number) {
        return number == 14 ? Attack(u"Exploit.Old") : FakeLibrary::Harmless();
    };
    const std::string out = RunWith(environment, {"replay", "--quiet", kCurl}).out;
    EXPECT_THAT(out, AllOf(HasSubstr("http_curl.pcap\n"), HasSubstr("Exploit.Old"), HasSubstr("counts as this machine"),
                           Not(HasSubstr("no rule decided  "))));
    environment.library.answer = FakeLibrary::Malicious("X", "a.example/");
    EXPECT_THAT(RunWith(environment, {"url", "--quiet", "http://a.example/"}).out, HasSubstr("BLOCKED"));
}

}  // namespace
}  // namespace tarn::host
