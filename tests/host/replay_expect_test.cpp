// replay --expect: what an earlier run found, held against this one.
#include <algorithm>
#include <fstream>
#include <gmock/gmock.h>
#include <iterator>

#include "host/command_runs.h"
#include "host/expectations/expected_lines.h"
#include "host/expectations/side_by_side.h"
#include "host/fake_environment.h"
#include "host/file_bytes.h"
#include "host/temporary_file.h"

namespace tarn::host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

Ran Replay(FakeEnvironment& environment, const std::string& expected, std::vector<std::string> options = {}) {
    const TemporaryFile file("expected.jsonl", expected);
    options.insert(options.begin(), {"replay", "--expect", file.Path(), kCurl});
    return RunWith(environment, options);
}

std::string WholeRun() {
    FakeEnvironment environment;
    return RunWith(environment, {"replay", "--json", kCurl}).out;
}

// The first verdicts of a run.
std::string Verdicts(std::size_t count, const std::string& text) {
    std::istringstream input(text);
    std::string kept;
    for (std::string line; count != 0 && std::getline(input, line);) {
        if (line.find("\"type\":\"verdict\"") == std::string::npos) continue;
        kept += line + "\n";
        --count;
    }
    return kept;
}

TEST(ReplayExpect, SaysOnlyTheTotalsWhenNothingDiffers) {
    FakeEnvironment environment;
    const Ran run = Replay(environment, WholeRun());
    EXPECT_EQ(run.code, kCodeOk);
    EXPECT_THAT(run.errors, IsEmpty());
    EXPECT_EQ(run.out, "37 expected: 37 as expected, 0 different, 0 missing; 0 that nobody expects\n");
}

TEST(ReplayExpect, ShowsWhatDiffersSideBySide) {
    FakeEnvironment environment;
    environment.library.answer = FakeLibrary::Malicious("Worm", "bad.example");
    const Ran run = Replay(environment, WholeRun());
    EXPECT_EQ(run.code, kCodeFound);
    EXPECT_THAT(run.out, AllOf(HasSubstr("DIFFERENT  http_curl.pcap:4  verdict  (expected.jsonl:"),
                               HasSubstr("! verdict"), HasSubstr("Worm: bad.example"), HasSubstr("/with/port?x=1&y=2"),
                               HasSubstr("37 expected: 0 as expected, 37 different, 0 missing")));
}

TEST(ReplayExpect, TakesShorterLinesAndTheTypesThatTheyHave) {
    const auto attackInFrame6 = [](std::size_t number) {
        PacketVerdict verdict = FakeLibrary::Harmless();
        if (number == 6) verdict.action = TARN_PACKET_BLOCK;
        return verdict;
    };
    FakeEnvironment environment;
    environment.library.onPacket = attackInFrame6;
    const Ran run = Replay(environment,
                           "{\"frame\": 4, \"reason\": 26}\n\n{\"frame\": 14, \"reason\": 7, \"protocol\": "
                           "\"http\"}\n{\"capture\": \"other.pcap\", \"frame\": 20, \"reason\": 26}\n");
    EXPECT_EQ(run.code, kCodeFound);
    EXPECT_THAT(run.out, AllOf(HasSubstr("DIFFERENT  http_curl.pcap:14"), HasSubstr("! reason"),
                               Not(HasSubstr("MISSING")), Not(HasSubstr("EXTRA")), Not(HasSubstr("attack")),
                               HasSubstr("2 expected: 1 as expected, 1 different, 0 missing; 0 that nobody expects"),
                               HasSubstr("1 capture of expected.jsonl was not replayed; 1 expected line of it is not"),
                               HasSubstr("35 found that expected.jsonl does not list and that were not compared\n")));
    // A run that was whole had no attack, so this one is new.
    FakeEnvironment again;  // its frames are counted from one again
    again.library.onPacket = attackInFrame6;
    const Ran whole = Replay(again, "{\"frame\": 4, \"reason\": 26}\n{\"type\": \"stats\"}\n");
    EXPECT_THAT(whole.out, AllOf(HasSubstr("EXTRA  http_curl.pcap:6  attack"), HasSubstr("37 that nobody expects")));
}

TEST(ReplayExpect, FindsWhatIsMissingAndWhatIsNew) {
    const std::string all = WholeRun();
    FakeEnvironment environment;
    const Ran fewer = Replay(environment, Verdicts(20, all) + "{\"type\":\"stats\"}\n", {"--json"});
    EXPECT_EQ(fewer.code, kCodeFound);
    const auto lines = JsonLines(fewer.out);
    const auto first =
        std::find_if(lines.begin(), lines.end(), [](const auto& line) { return line["type"] != "policy"; });
    ASSERT_NE(first, lines.end());
    EXPECT_EQ((*first)["type"], "difference");
    EXPECT_EQ((*first)["difference"], "extra");
    EXPECT_EQ(lines.back()["type"], "differences");
    EXPECT_GT(lines.back()["extra"], 10);
    EXPECT_EQ(lines.back()["different"], 0);
    const Ran more = Replay(environment, all + Verdicts(1, all));
    EXPECT_THAT(more.out, AllOf(HasSubstr("MISSING  http_curl.pcap:4  verdict"), HasSubstr("1 missing; 0 that")));
}

TEST(ReplayExpect, WritesAResultForEachCapture) {
    FakeEnvironment environment;
    const TemporaryFile junit("out.xml", "");
    EXPECT_EQ(Replay(environment, "{\"frame\": 4, \"reason\": 7}\n", {"--junit", junit.Path()}).code, kCodeFound);
    std::ifstream input(junit.Path());
    const std::string xml{std::istreambuf_iterator<char>(input), {}};
    EXPECT_THAT(xml, AllOf(HasSubstr("tests=\"1\" failures=\"1\" errors=\"0\""), HasSubstr("name=\"http_curl.pcap\""),
                           HasSubstr("1 of 1 differ")));
}

TEST(ReplayExpect, WritesAnErrorForEachInputThatFailed) {
    const std::string all = WholeRun();
    const std::string whole = Whole(kCurl);
    const TemporaryFile cut("http_curl.pcap", whole.substr(0, whole.size() - 7));
    const TemporaryFile expected("expected.jsonl", all);
    const TemporaryFile junit("out.xml", "");
    const auto errorsOf = [&](const std::vector<std::string>& captures) {
        FakeEnvironment environment;
        std::vector<std::string> words{"replay", "--expect", expected.Path(), "--junit", junit.Path()};
        words.insert(words.end(), captures.begin(), captures.end());
        EXPECT_EQ(RunWith(environment, words).code, kCodeFailed);
        return Whole(junit.Path());
    };
    EXPECT_THAT(errorsOf({cut.Path()}), AllOf(HasSubstr("errors=\"1\""), HasSubstr("<error message=")));
    EXPECT_THAT(errorsOf({kCurl, "nowhere.pcap"}),
                AllOf(HasSubstr("tests=\"2\" failures=\"0\" errors=\"1\""), HasSubstr("name=\"nowhere.pcap\"")));
    FakeEnvironment away;
    away.whyNot = "the library is away";
    EXPECT_EQ(RunWith(away, {"replay", "--expect", expected.Path(), "--junit", junit.Path(), kCurl}).code, kCodeFailed);
    EXPECT_THAT(Whole(junit.Path()), AllOf(HasSubstr("errors=\"1\""), HasSubstr("the library is away")));
}

TEST(ReplayExpect, ComparesTheCapturesThatWereReplayedAlone) {
    const std::string all = WholeRun();
    std::string of52 = all;
    for (std::size_t at = 0; (at = of52.find("http_curl.pcap", at)) != std::string::npos; at += 5)
        of52.replace(at, 14, "other.pcap");
    FakeEnvironment environment;
    const Ran run = Replay(environment, all + of52);
    EXPECT_EQ(run.code, kCodeOk) << run.out;
    EXPECT_EQ(run.out,
              "37 expected: 37 as expected, 0 different, 0 missing; 0 that nobody expects\n1 capture of expected.jsonl "
              "was not replayed; 37 expected lines of it are not compared\n");
    const Ran json = Replay(environment, all + of52, {"--json"});
    EXPECT_EQ(JsonLines(json.out).back()["captures_not_replayed"], 1);
    // Of a capture that is not in the file one line is enough.
    const Ran unknown = Replay(environment, of52);
    EXPECT_EQ(unknown.code, kCodeFound);
    EXPECT_THAT(unknown.out,
                AllOf(HasSubstr("EXTRA  http_curl.pcap: 37 lines, and expected.jsonl has none of this capture\n"),
                      Not(HasSubstr("http_curl.pcap:4"))));
    const Ran nothing = Replay(environment, Verdicts(3, of52));
    EXPECT_EQ(nothing.code, kCodeFailed);
    EXPECT_THAT(nothing.errors, HasSubstr("nothing was compared, because none of its captures was replayed"));
}

TEST(ReplayExpect, KnowsWhatABriefRunLeftOut) {
    FakeEnvironment brief;
    const Ran before = RunWith(brief, {"replay", "--json", "--brief", kCurl});
    ASSERT_THAT(Events(before, "verdict"), IsEmpty());
    FakeEnvironment environment;
    const Ran same = Replay(environment, before.out);
    EXPECT_EQ(same.code, kCodeOk) << same.out;
    EXPECT_THAT(same.out,
                HasSubstr("37 found that expected.jsonl does not list and that were not compared: its run left "
                          "out 37, as --brief and --quiet do\n"));
    environment.library.answer = FakeLibrary::Malicious("Worm", "bad.example");
    const Ran blocked = Replay(environment, before.out);  // such a verdict would have been listed
    EXPECT_EQ(blocked.code, kCodeFound);
    EXPECT_THAT(blocked.out, HasSubstr("37 that nobody expects"));
}

TEST(SideBySide, CutsLongTextsBehindWhatIsTheSame) {
    const std::string same(3000, 'a');
    const std::string both = SideBySide({{"path", same + "left", same + "right", false}}, 80);
    EXPECT_THAT(both, AllOf(HasSubstr("...aaaa"), HasSubstr("aleft"), HasSubstr("| ...a"), HasSubstr("aright")));
    EXPECT_LT(std::count(both.begin(), both.end(), '\n'), 7);
    const std::string alone = SideBySide({{"path", "", same, false}}, 80);
    EXPECT_LT(std::count(alone.begin(), alone.end(), '\n'), 7);
}

TEST(ReplayExpect, RefusesAFileThatSaysNothing) {
    FakeEnvironment environment;
    EXPECT_THAT(Replay(environment, "").errors, HasSubstr("it holds nothing that is expected"));
    EXPECT_THAT(Replay(environment, "{\"frame\": 4}\nno json\n").errors, HasSubstr("line 2 is no JSON object"));
    EXPECT_THAT(Replay(environment, "{\"verdict\": \"allowed\"}\n").errors, HasSubstr("line 1 has no \"frame\""));
    EXPECT_EQ(Replay(environment, "").code, kCodeFailed);
    EXPECT_EQ(RunWith(environment, {"replay", "--expect", "nowhere.jsonl", kCurl}).code, kCodeFailed);
    EXPECT_EQ(RunWith(environment, {"replay", "--junit", "x.xml", kCurl}).code, kCodeUsage);
    EXPECT_EQ(Replay(environment, "{\"frame\": 4}\n", {"--exit-verdict"}).code, kCodeUsage);
    EXPECT_THAT(environment.opened, IsEmpty());
    const std::string all = WholeRun();
    const TemporaryFile expected("expected.jsonl", all);
    EXPECT_EQ(RunWith(environment, {"replay", "--expect", expected.Path(), kCurl, "nowhere.pcap"}).code, kCodeFailed);
}

TEST(ExpectedLines, KnowAnEntryWhereverItMoved) {
    ExpectedLines lines;
    std::istringstream input(
        "{\"frame\":1,\"entry\":{\"list\":\"l\",\"text\":\"t\",\"file\":\"p.toml\",\"line\":3}}\n"
        "{\"frame\":2,\"entry\":{\"list\":\"l\",\"text\":\"t\",\"file\":\"p.toml\",\"line\":3}}\n"
        "{\"frame\":3,\"entry\":\"p.toml:9\"}\n{\"frame\":4,\"entry\":\"l/other\"}\n");
    std::string mistake;
    ASSERT_TRUE(lines.Read(input, mistake)) << mistake;
    std::vector<Comparison> compared;
    const ExpectedLine* expected = nullptr;
    const auto take = [&](int frame, const char* text, int line) {
        const ExpectedLines::Object found{
            {"type", "verdict"},
            {"capture", "x"},
            {"frame", static_cast<unsigned>(frame)},
            {"entry", {{"list", "l"}, {"text", text}, {"file", "p.toml"}, {"line", static_cast<unsigned>(line)}}}};
        return lines.Take(found, compared, expected);
    };
    EXPECT_EQ(take(1, "t", 9), LineMatch::kSame);
    EXPECT_EQ(take(2, "u", 3), LineMatch::kDifferent);
    EXPECT_EQ(take(3, "u", 9), LineMatch::kSame);
    EXPECT_EQ(take(4, "t", 9), LineMatch::kDifferent);
    EXPECT_EQ(take(4, "t", 9), LineMatch::kExtra);
    EXPECT_EQ(take(5, "t", 9), LineMatch::kExtra);
    EXPECT_THAT(lines.Missing(), IsEmpty());
}

}  // namespace
}  // namespace tarn::host
