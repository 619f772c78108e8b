// What tarnhost explain prints, with a library that goes by the text of the policy it is opened with.
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>

#include "host/fake_environment.h"
#include "host/policy_check.h"
#include "host/policy_file.h"
#include "host/temporary_file.h"

namespace tarn::host {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

constexpr const char* kExplainedPolicy = R"([features]
browsing_protection = true
[white_lists]
user = ["shop.example/sale"]
[[malicious_sites]]
host = "evil.example"
[[sites]]
address = "evil.example"
categories = [2]
[parental]
mode = 1
[[parental.users]]
)";

// Blocks evil.example as the policies of these tests want it blocked.
class PolicyEnvironment : public FakeEnvironment {
 public:
    std::unique_ptr<Judge> OpenLibrary(const LibraryOptions& options, std::string& mistake) override {
        const std::string text = ReadPolicyText(PolicyPath(*this, options)).value_or("");
        policies.push_back(text);
        library.answer = FakeLibrary::Allowed();
        if (isStubborn || text.find("host = \"evil.example\"") != std::string::npos)
            library.answer = FakeLibrary::Malicious("", "evil.example/x");
        else if (text.find("address = \"evil.example\"") != std::string::npos)
            library.answer.verdict = BlockedBy(TARN_REASON_MALICIOUS_CATEGORY);
        return FakeEnvironment::OpenLibrary(options, mistake);
    }
    static UrlVerdict BlockedBy(std::uint32_t reason) {
        UrlVerdict verdict{};
        verdict.allow = TARN_BLOCK;
        verdict.reason = reason;
        return verdict;
    }

    bool isStubborn = false;            // blocks whatever the policy says
    std::vector<std::string> policies;  // that it was opened with
};

class ExplainCommand : public testing::Test {
 protected:
    ExplainCommand() { environment.variables["TARN_POLICY_FILE"] = file.Path(); }

    TemporaryFile file{"policy.toml", kExplainedPolicy};
    PolicyEnvironment environment;
};

TEST_F(ExplainCommand, NamesTheStepThatDecidedAndProvesIt) {
    const Ran run = RunWith(environment, {"explain", "http://evil.example/x"});
    EXPECT_EQ(run.errors, "");
    EXPECT_EQ(run.code, 0);
    EXPECT_THAT(run.out, HasSubstr("http://evil.example/x  BLOCKED 2 malicious site\n"));
    EXPECT_THAT(run.out, HasSubstr("   2 internal white list     not listed\n"));
    EXPECT_THAT(run.out, HasSubstr("   9 malicious list          policy.toml:5  evil.example  <- decided\n"));
    EXPECT_THAT(run.out, HasSubstr("not asked: malicious list decided by policy.toml:5\n"));
    EXPECT_THAT(run.out, HasSubstr("  13 malicious category      policy.toml:7  evil.example  (would match)\n"));
    EXPECT_EQ(run.out.find("not asked"), run.out.rfind("not asked"));
    EXPECT_THAT(run.out, HasSubstr("policy.toml:7  sites  evil.example\n"));
    EXPECT_THAT(run.out, HasSubstr("  proved: without policy.toml:5 the library says: BLOCKED 1 malicious category\n"));
    EXPECT_THAT(
        run.out,
        HasSubstr("  proved: without policy.toml:5 and policy.toml:7 the library says: allowed 26 no rule decided\n"));
    EXPECT_THAT(
        run.out,
        HasSubstr("to allow it, in front of what the list user of policy.toml:4 holds:\n    \"evil.example/x\",\n"));
    ASSERT_THAT(environment.policies, SizeIs(3));
    EXPECT_EQ(environment.policies[0], kExplainedPolicy);
    EXPECT_THAT(environment.policies[1], AllOf(Not(HasSubstr("host = ")), HasSubstr("address = ")));
    EXPECT_THAT(environment.policies[2], AllOf(Not(HasSubstr("evil")), HasSubstr("mode = 1")));
}

TEST_F(ExplainCommand, TextFitsEightyColumns) {
    const Ran run = RunWith(environment, {"explain", "--columns", "80", "http://evil.example/x"});
    std::istringstream lines(run.out);
    for (std::string line; std::getline(lines, line);) EXPECT_LE(line.size(), 80u) << line;
}

TEST_F(ExplainCommand, JsonHasTheSameAsOneObject) {
    const Ran run = RunWith(environment, {"explain", "--json", "http://evil.example/x"});
    const auto lines = JsonLines(run.out);
    ASSERT_THAT(lines, SizeIs(2));  // the first names the policy
    const auto& line = lines[1];
    EXPECT_EQ(line["type"], "explain");
    EXPECT_EQ(line["version"], 1);
    EXPECT_EQ(line["verdict"], "blocked");
    EXPECT_EQ(line["reason"], 2);
    EXPECT_EQ(line["agrees"], true);
    EXPECT_EQ(line["entry"]["line"], 5);
    EXPECT_EQ(line["entry"]["list"], "malicious_sites");
    ASSERT_THAT(line["steps"], SizeIs(16));
    EXPECT_EQ(line["steps"][8]["found"], "decided");
    EXPECT_EQ(line["steps"][9]["found"], "not_asked");
    ASSERT_THAT(line["proofs"], SizeIs(2));
    EXPECT_EQ(line["proofs"][0]["state"], "proved");
    EXPECT_EQ(line["proofs"][1]["answer"]["verdict"], "allowed");
    for (const auto& one : line["proofs"][1]["without"]) EXPECT_EQ(one["file"], "policy.toml");
    EXPECT_EQ(line["remedy"]["to"], "allow");
    ASSERT_THAT(line["named"], SizeIs(2));
}

TEST_F(ExplainCommand, ALibraryThatContradictsIsNotExplainedAway) {
    environment.isStubborn = true;
    const Ran proof = RunWith(environment, {"explain", "http://evil.example/x"});
    EXPECT_EQ(proof.code, 1);
    EXPECT_THAT(proof.out, HasSubstr("NOT SO: without policy.toml:5 the library says: BLOCKED 2 malicious site"));
    EXPECT_THAT(proof.errors, HasSubstr("that may be where a managed client is installed"));
    const Ran verdict = RunWith(environment, {"explain", "http://other.example/"});
    EXPECT_EQ(verdict.code, 1);
    EXPECT_THAT(verdict.out, HasSubstr("the policy alone does not explain that"));
}

TEST_F(ExplainCommand, APrivateAddressEndsTheScan) {
    file.Write("features.browsing_protection = true\n[[malicious_sites]]\nhost = \"bad.example\"\n");
    environment.variables["TARN_POLICY_FILE"] = file.Path();
    const Ran run = RunWith(environment, {"explain", "--server", "10.0.0.5", "http://bad.example/"});
    EXPECT_EQ(run.code, 0) << run.errors;
    EXPECT_THAT(run.out, HasSubstr("private address         10.0.0.5 is a private address  <- decided\n"));
    EXPECT_THAT(run.out, HasSubstr("not asked: private address decided\n"));
    EXPECT_THAT(run.out, HasSubstr("malicious_sites  bad.example"));
    EXPECT_THAT(run.out, Not(HasSubstr("proved")));
}

TEST_F(ExplainCommand, WhatIsAllowedSaysHowToBlockIt) {
    const Ran run = RunWith(environment, {"explain", "http://www.other.example/a"});
    EXPECT_THAT(run.out, HasSubstr("no entry of the policy names it\n"));
    EXPECT_THAT(run.out, HasSubstr("to block it, at the end of policy.toml:\n    [[malicious_sites]]\n    host = "
                                   "\"other.example\"\n"));
}

TEST_F(ExplainCommand, MistakesOfUseAndWithoutAPolicy) {
    EXPECT_EQ(RunWith(environment, {"explain", "mailto:me@a.example"}).code, 2);
    EXPECT_EQ(RunWith(environment, {"explain", "--server", "x", "http://a.example/"}).code, 2);
    EXPECT_EQ(RunWith(environment, {"explain", "--extension", "http://a.example/"}).code, 2);
    environment.variables["TARN_POLICY_FILE"] = file.Path() + ".none";
    const Ran run = RunWith(environment, {"explain", "http://a.example/"});
    EXPECT_EQ(run.code, 1);
    EXPECT_THAT(run.errors, HasSubstr("there is nothing to explain by"));
}

// Blocks what a policy lists as malicious, its lists included.
class IncludingEnvironment : public FakeEnvironment {
 public:
    std::unique_ptr<Judge> OpenLibrary(const LibraryOptions& options, std::string& mistake) override {
        const auto read = ReadPolicyFile(PolicyPath(*this, options));
        EXPECT_TRUE(read && read->mistakes.empty());
        library.answer = FakeLibrary::Allowed();
        for (const policy::MaliciousSite& site : read->policy.maliciousSites)
            if (site.host == asked) library.answer = FakeLibrary::Malicious("", "x");
        const TarnSystemTime time = options.clock.value_or(TarnSystemTime{});
        clocks.push_back(std::uint16_t{time.minute});
        return FakeEnvironment::OpenLibrary(options, mistake);
    }
    [[nodiscard]] TarnSystemTime LocalTime() const override {
        TarnSystemTime now{};
        now.year = 2026;
        now.minute = minute++;
        return now;
    }

    std::string asked;
    std::vector<std::uint16_t> clocks;  // minutes that the libraries took it to be
    mutable std::uint16_t minute = 1;
};

class ExplainWithLists : public testing::Test {
 protected:
    ExplainWithLists() {
        std::filesystem::create_directories(std::filesystem::path(file.Folder()) / "lists");
        std::ofstream(file.Folder() + "/lists/a.txt") << "# ads\nads.example\nb.example\n";
        std::ofstream(file.Folder() + "/lists/b.txt") << "ads.example\n";
        environment.variables["TARN_POLICY_FILE"] = file.Path();
    }
    Ran Explain(const std::string& host, std::vector<std::string> options = {}) {
        environment.asked = host;
        options.insert(options.begin(), "explain");
        options.push_back("http://" + host + "/");
        return RunWith(environment, std::move(options));
    }

    TemporaryFile file{"p2.toml",
                       "include = [\"lists/*.txt\"]\n[features]\nbrowsing_protection = true\n"
                       "[[malicious_sites]]\nhost = \"evil.example\"\n"};
    IncludingEnvironment environment;
};

TEST_F(ExplainWithLists, ProvesAnEntryOfThePolicy) {
    const Ran run = Explain("evil.example");
    EXPECT_EQ(run.code, 0) << run.errors;
    EXPECT_THAT(run.out, HasSubstr("proved: without p2.toml:4 the library says: allowed 26 no rule decided\n"));
    EXPECT_THAT(run.out, Not(HasSubstr("not proved")));
}

TEST_F(ExplainWithLists, ProvesALineOfAListByTheNextListThatHasIt) {
    const Ran run = Explain("ads.example");
    EXPECT_EQ(run.code, 0) << run.errors;
    EXPECT_THAT(run.out, HasSubstr("not asked: malicious list decided by lists/a.txt:2\n"));
    EXPECT_THAT(run.out, HasSubstr("proved: without lists/a.txt:2 the library says: BLOCKED 2 malicious site\n"));
    EXPECT_THAT(run.out, HasSubstr("proved: without lists/a.txt:2 and lists/b.txt:1 the library says: allowed 26 no "
                                   "rule decided\n"));
}

TEST_F(ExplainWithLists, AsksEveryLibraryAtOneTime) {
    EXPECT_EQ(Explain("ads.example").code, 0);
    ASSERT_THAT(environment.clocks, SizeIs(3));
    EXPECT_THAT(environment.clocks, testing::Each(std::uint16_t{1}));  // no library went by a clock of its own
}

TEST_F(ExplainCommand, SaysWhetherAnEntryIsLookedUpOrDoesNotMatch) {
    file.Write(
        "[features]\nbrowsing_protection = true\n[[malicious_sites]]\nhost = \"www.lantern.example\"\n"
        "[[malicious_sites]]\nhost = \"lantern.example\"\nwhole_site = false\n"
        "threats = [{ name = \"T\", path = \"/js\" }]\n[[phishing_sites]]\nhost = \"lantern.example\"\n");
    const auto named = [&](const char* url) {
        std::vector<std::string> entries;
        for (const auto& event : Events(RunWith(environment, {"explain", "--json", url}), "explain"))
            for (const auto& one : event["named"])
                entries.push_back(std::to_string(one["line"].get<int>()) + " " + one["state"].get<std::string>());
        return entries;
    };
    EXPECT_THAT(named("http://lantern.example/"),
                ElementsAre("3 does_not_match", "5 does_not_match", "8 does_not_match", "9 not_looked_up"));
    // What stands for a host with "www." names no other domain below it.
    EXPECT_THAT(named("http://six.lantern.example/"),
                ElementsAre("5 does_not_match", "8 does_not_match", "9 not_looked_up"));
    const std::string text = RunWith(environment, {"explain", "http://lantern.example/"}).out;
    EXPECT_THAT(text, AllOf(HasSubstr("lantern.example/js  (does not match)\n"),
                            HasSubstr("phishing_sites  lantern.example  (not looked up)\n")));
}

}  // namespace
}  // namespace tarn::host
