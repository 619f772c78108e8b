// tarnhost impact: both policies get a library of their own and the same traffic, and what differs is told by group.
#include <gmock/gmock.h>

#include "host/command_runs.h"
#include "host/fake_environment.h"
#include "host/temporary_file.h"

namespace tarn::host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr int kInterrupted = 130;

constexpr std::size_t kRequests = 37;  // of the capture

// Answers what the policy of the run says: the second library blocks what contains a word.
class TwoPolicies : public FakeEnvironment {
 public:
    std::unique_ptr<Judge> OpenLibrary(const LibraryOptions& options, std::string& mistake) override {
        auto lent = FakeEnvironment::OpenLibrary(options, mistake);
        if (!lent) return nullptr;
        return std::make_unique<Blocking>(library, opened.size() == 1 ? wordBefore : wordAfter);
    }

    std::string wordBefore = "nothing has this";
    std::string wordAfter = "nothing has this";

 private:
    class Blocking : public LentLibrary {
     public:
        Blocking(FakeLibrary& library, std::string word) : LentLibrary(library), word_(std::move(word)) {}
        Judgement ScanUrl(std::uint8_t kind, base::Bytes data, const Endpoint& server) override {
            const Judgement judgement = LentLibrary::ScanUrl(kind, data, server);
            const std::string text(data.begin(), data.end());
            return text.find(word_) == std::string::npos ? judgement : FakeLibrary::Malicious("Worm", "bad.example");
        }

     private:
        std::string word_;
    };
};

// The changes and their totals; not which policies were used.
std::vector<nlohmann::json> Changes(const std::string& out) {
    std::vector<nlohmann::json> kept;
    for (const nlohmann::json& line : JsonLines(out))
        if (line["type"] != "policy") kept.push_back(line);
    return kept;
}

class Impact : public testing::Test {
 protected:
    Ran Run(std::vector<std::string> options) {
        options.insert(options.begin(), {"impact", "--before", before.Path(), "--after", after.Path()});
        return RunWith(environment, options);
    }

    TwoPolicies environment;
    TemporaryFile before{"old.toml", "features.anti_phishing = true\n"};
    TemporaryFile after{"new.toml", "features.anti_phishing = false\n"};
};

TEST_F(Impact, OfTheSameVerdictsIsNothing) {
    const Ran run = Run({"--expect", "none", kCurl});
    EXPECT_EQ(run.code, kCodeOk);
    EXPECT_THAT(run.errors, IsEmpty());
    EXPECT_THAT(run.out, HasSubstr("0 of 37 verdicts would change"));
    EXPECT_THAT(environment.library.scanned, SizeIs(2 * kRequests));
    ASSERT_THAT(environment.opened, SizeIs(2));
    EXPECT_EQ(environment.opened[0].policyFile, before.Path());
    EXPECT_EQ(environment.opened[1].policyFile, after.Path());
    EXPECT_TRUE(environment.opened[0].clock && environment.opened[1].clock);
}

TEST_F(Impact, IsToldByReasonWithSamples) {
    environment.wordAfter = "/js";
    environment.wordBefore = "/with/port";
    const Ran run = Run({"--samples", "2", kCurl});
    EXPECT_EQ(run.code, kCodeOk);
    EXPECT_THAT(
        run.out,
        AllOf(HasSubstr("newly blocked:\n"), HasSubstr("1 no longer blocked:\n"),
              HasSubstr("malicious site www.lantern.example"), HasSubstr("www.lantern.example:8080/with/port?x=1&y=2"),
              HasSubstr("http_curl.pcap:14\n"), HasSubstr("1 no longer blocked, 0 by another reason")));
    environment.opened.clear();
    EXPECT_EQ(Run({"--expect", "none", kCurl}).code, kCodeFound);
}

TEST_F(Impact, AsJsonHasALineForEachChange) {
    environment.wordBefore = "/with/port";
    const auto lines = Changes(Run({"--json", kCurl}).out);
    ASSERT_THAT(lines, SizeIs(2));
    EXPECT_EQ(lines[0]["type"], "change");
    EXPECT_EQ(lines[0]["version"], 1);
    EXPECT_EQ(lines[0]["capture"], "http_curl.pcap");
    EXPECT_EQ(lines[0]["frame"], 14);
    EXPECT_EQ(lines[0]["change"], "allowed");
    EXPECT_EQ(lines[0]["before"]["verdict"], "blocked");
    EXPECT_EQ(lines[0]["before"]["reason"], 2);
    EXPECT_EQ(lines[0]["after"]["verdict"], "allowed");
    EXPECT_EQ(lines[0]["after"]["reason"], 26);
    EXPECT_EQ(lines[1]["type"], "impact");
    EXPECT_EQ(lines[1]["requests"], kRequests);
    EXPECT_EQ(lines[1]["changed"], 1);
    EXPECT_EQ(lines[1]["changed_allowed"], 1);
    ASSERT_EQ(lines[1]["groups"].size(), 1u);
    EXPECT_EQ(lines[1]["groups"][0]["count"], 1);
    EXPECT_EQ(lines[1]["groups"][0]["policy"], "before");
    EXPECT_EQ(lines[1]["groups"][0]["samples"][0]["where"], "http_curl.pcap:14");
}

TEST_F(Impact, CountsForTheEntryThatDecides) {
    const std::string site = "[[malicious_sites]]\nhost = \"bad.example\"\nthreat = \"Worm\"\n";
    before.Write(site);
    after.Write("features.browsing_protection = true\n" + site);
    environment.wordBefore = "Host: bad.example";
    environment.wordAfter = "GET /b HTTP";
    const TemporaryFile list("urls.txt", "http://bad.example/a\nhttp://bad.example/a\nhttp://bad.example/b\n");
    const Ran run = Run({"--urls", "@" + list.Path()});
    EXPECT_THAT(run.out, AllOf(HasSubstr("2 no longer blocked:\n"),
                               HasSubstr("      2  old.toml:1 malicious_sites bad.example (of the old policy)\n"),
                               HasSubstr("2 of 3 verdicts would change")));
    environment.opened.clear();
    std::swap(environment.wordBefore, environment.wordAfter);
    auto lines = JsonLines(Run({"--json", "--urls", "@" + list.Path()}).out);
    std::erase_if(lines, [](const auto& line) { return line["type"] == "policy"; });
    ASSERT_THAT(lines, SizeIs(3));
    EXPECT_EQ(lines[0]["after"]["entry"]["file"], "new.toml");
    EXPECT_EQ(lines[0]["after"]["entry"]["line"], 2);
    EXPECT_EQ(lines[2]["groups"][0]["entry"]["list"], "malicious_sites");
    EXPECT_EQ(lines[2]["groups"][0]["policy"], "after");
}

TEST_F(Impact, FindsAttacksOfOnePolicyAlone) {
    std::size_t perPass = 0;
    environment.library.onPacket = [&](std::size_t number) {
        PacketVerdict verdict = FakeLibrary::Harmless();
        if (perPass == 0 && environment.opened.size() == 2) perPass = number - 1;
        if (perPass == 0 && number == 6) {
            verdict.action = TARN_PACKET_BLOCK;
            verdict.reason = 31;
        }
        return verdict;
    };
    const Ran run = Run({kCurl});
    EXPECT_THAT(run.out, AllOf(HasSubstr("1 no longer blocked:"), HasSubstr("packet signature"),
                               HasSubstr("http_curl.pcap:6\n"), HasSubstr("frames with an attack: 1 before, 0 after")));
}

TEST_F(Impact, TakesAddressesFromAList) {
    environment.wordAfter = "Host: b.example";
    const TemporaryFile list("urls.txt", "http://a.example/\n\nhttp://b.example/x\nftp://c.example/\n");
    const Ran run = Run({"--urls", "@" + list.Path(), "--urls", "http://d.example/"});
    EXPECT_EQ(run.code, kCodeFailed);  // one cannot be judged
    EXPECT_THAT(run.errors, HasSubstr("ftp://c.example/"));
    EXPECT_THAT(run.out, AllOf(HasSubstr("1 of 3 verdicts would change"), HasSubstr("           b.example/x\n")));
}

TEST_F(Impact, RefusesWhatComesOnceAndWhatIsWrong) {
    const Ran once = Run({"-"});
    EXPECT_EQ(once.code, kCodeUsage);
    EXPECT_THAT(once.errors, HasSubstr("standard input can be read once"));
    EXPECT_EQ(Run({}).code, kCodeUsage);
    after.Write("features.nonsense = 1\n");
    const Ran wrong = Run({kCurl});
    EXPECT_EQ(wrong.code, kCodeFailed);
    EXPECT_THAT(wrong.errors, HasSubstr("new.toml:1:10: unknown key \"nonsense\""));
    EXPECT_THAT(environment.opened, IsEmpty());
    EXPECT_EQ(RunWith(environment, {"impact", kCurl}).code, kCodeUsage);
    EXPECT_EQ(RunWith(environment, {"impact", "--after", "nowhere.toml", "--before", before.Path(), kCurl}).code,
              kCodeFailed);
}

TEST_F(Impact, OfAMissingCaptureIsAFailureButTheRestIsCompared) {
    const Ran run = Run({"nowhere.pcap", kCurl});
    EXPECT_EQ(run.code, kCodeFailed);
    EXPECT_THAT(run.out, HasSubstr("0 of 37 verdicts would change"));
    const std::size_t first = run.errors.find("nowhere.pcap");
    ASSERT_NE(first, std::string::npos);
    EXPECT_EQ(run.errors.find("nowhere.pcap", first + 1), std::string::npos);  // said once
}

TEST_F(Impact, ThatIsInterruptedTellsNothing) {
    environment.interruptedAfter = kRequests + 5;
    const Ran run = Run({kCurl});
    EXPECT_EQ(run.code, kInterrupted);
    EXPECT_THAT(run.out, IsEmpty());
}

}  // namespace
}  // namespace tarn::host
