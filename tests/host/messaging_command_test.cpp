// tarnhost messaging: what a browser's extension asks, byte by byte as browsers frame it, and what it is told.
#include <cstring>
#include <gmock/gmock.h>

#include "host/fake_machine.h"
#include "host/native_messages.h"
#include "host/temporary_file.h"

namespace tarn::host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

constexpr const char* kOldPolicy = "[features]\nanti_phishing = true\n";
constexpr const char* kNewPolicy = "[features]\nanti_phishing = false\n";

std::string Framed(const std::string& text) {
    const auto length = static_cast<std::uint32_t>(text.size());
    std::string framed(sizeof length, '\0');
    std::memcpy(framed.data(), &length, sizeof length);
    return framed + text;
}

std::string Ask(const std::string& url, int id = 1) {
    return Framed(Event{{"type", "judge"}, {"id", id}, {"url", url}, {"languages", "de"}}.dump());
}

// What was sent, and whether nothing else was.
std::vector<Event> Answers(const std::string& out) {
    std::vector<Event> answers;
    std::istringstream input(out);
    std::uint32_t length = 0;
    while (input.read(reinterpret_cast<char*>(&length), sizeof length)) {
        std::string text(length, '\0');
        input.read(text.data(), length);
        answers.push_back(Event::parse(text, nullptr, false));
    }
    EXPECT_EQ(input.gcount(), 0) << "the output ends within a frame";
    return answers;
}

class MessagingCommand : public testing::Test {
 protected:
    MessagingCommand() { machine_.installFolder = policy_.Folder() + "/"; }
    Ran Run(const std::vector<std::string>& chunks) {
        for (const std::string& chunk : chunks) machine_.steps.push_back({Signal::kInput, chunk, [] {}});
        return RunWith(machine_, {"messaging", "chrome-extension://abc/", "--parent-window=7"});
    }

    TemporaryFile policy_{"tarn-policy.toml", kOldPolicy};
    FakeMachine machine_;
};

TEST_F(MessagingCommand, AllowedAddress_GetsAVerdictAlone) {
    const Ran run = Run({Ask("https://shop.example/a?b=c"), ""});
    EXPECT_EQ(run.code, 0) << run.errors;
    const auto answers = Answers(run.out);
    ASSERT_THAT(answers, SizeIs(1));
    EXPECT_EQ(answers[0]["id"], 1);
    EXPECT_EQ(answers[0]["verdict"], "allowed");
    EXPECT_EQ(answers[0]["judged"], "whole");
    EXPECT_FALSE(answers[0].contains("page"));
    EXPECT_THAT(machine_.told.reportedUrls,
                ElementsAre(std::pair{std::uint8_t{TARN_KIND_TLS}, std::string("https://shop.example/a?b=c")}));
    EXPECT_THAT(machine_.opened, SizeIs(1));
}

TEST_F(MessagingCommand, BlockedAddress_GetsThePageInItsLanguage) {
    machine_.told.answer = FakeLibrary::Malicious("Trojan.Demo", "bad.example/");
    const auto answers = Answers(Run({Ask("https://bad.example/<b>"), ""}).out);
    ASSERT_THAT(answers, SizeIs(1));
    EXPECT_EQ(answers[0]["verdict"], "blocked");
    EXPECT_EQ(answers[0]["reason"], 2);
    const auto page = answers[0]["page"].get<std::string>();
    EXPECT_THAT(page, HasSubstr("Gesperrt"));
    EXPECT_THAT(page, HasSubstr("https://bad.example/&lt;b&gt;"));
}

TEST_F(MessagingCommand, NoVerdict_SaysWhatWasNotJudged) {
    machine_.told.answer = {};
    const auto answers = Answers(Run({Ask("http://shop.example/"), ""}).out);
    ASSERT_THAT(answers, SizeIs(1));
    EXPECT_EQ(answers[0]["verdict"], "none");
    EXPECT_EQ(answers[0]["judged"], "none");
    EXPECT_NE(answers[0]["why_not_whole"], "");
}

// A pipe hands over what it likes.
TEST_F(MessagingCommand, MessagesCutAnywhere_AreReadWhole) {
    const std::string both = Ask("https://a.example/", 1) + Ask("https://b.example/", 2);
    for (std::size_t cut = 1; cut < both.size(); ++cut) {
        machine_.steps.clear();
        const auto answers = Answers(Run({both.substr(0, cut), both.substr(cut), ""}).out);
        ASSERT_THAT(answers, SizeIs(2)) << cut;
        EXPECT_EQ(answers[1]["id"], 2);
        EXPECT_EQ(answers[1]["verdict"], "allowed");
    }
}

TEST_F(MessagingCommand, EndWithinAMessage_IsTold) {
    const std::string whole = Ask("https://a.example/");
    for (const std::size_t cut : {std::size_t{1}, std::size_t{3}, std::size_t{4}, whole.size() - 1}) {
        machine_.steps.clear();
        const Ran run = Run({whole.substr(0, cut), ""});
        EXPECT_EQ(run.code, 1) << cut;
        EXPECT_EQ(run.out, "");
        EXPECT_THAT(run.errors, HasSubstr("no message"));
    }
    EXPECT_TRUE(machine_.told.reportedUrls.empty());
}

TEST_F(MessagingCommand, OddMessages_AreAnsweredAndTheNextOneIsJudged) {
    for (const std::string& odd :
         {std::string("no json"), std::string("[1]"), std::string("{}"), std::string("{\"type\":7,\"url\":[]}"),
          std::string("{\"type\":\"judge\",\"id\":-1}"), std::string("{\"type\":\"judge\",\"url\":\"ftp://a/\"}"),
          std::string("{\"type\":\"judge\",\"url\":\"https://a/\\u0000b\"}"), std::string(), std::string(60000, '['),
          std::string("\xFF\xFE")}) {
        machine_.steps.clear();
        const auto answers = Answers(Run({Framed(odd) + Ask("https://a.example/", 5), ""}).out);
        ASSERT_THAT(answers, SizeIs(2)) << odd;
        EXPECT_TRUE(answers[0].contains("error")) << odd;
        EXPECT_EQ(answers[1]["id"], 5);
        EXPECT_EQ(answers[1]["verdict"], "allowed");
    }
}

TEST_F(MessagingCommand, TooLongMessage_IsReadOver) {
    const auto answers =
        Answers(Run({Framed(std::string(kMostReceived + 1, 'x')) + Ask("https://a.example/"), ""}).out);
    ASSERT_THAT(answers, SizeIs(2));
    EXPECT_THAT(answers[0]["error"].get<std::string>(), HasSubstr("too long"));
    EXPECT_EQ(answers[1]["verdict"], "allowed");
}

TEST_F(MessagingCommand, LengthThatNoBrowserSends_EndsIt) {
    const Ran run = Run({"GET / HTTP/1.1\r\n\r\n", ""});
    EXPECT_EQ(run.code, 1);
    EXPECT_EQ(run.out, "");
}

TEST_F(MessagingCommand, Hello_SaysWhoAnswers) {
    const auto answers = Answers(Run({Framed(R"({"type":"hello","id":9})"), ""}).out);
    ASSERT_THAT(answers, SizeIs(1));
    EXPECT_EQ(answers[0]["id"], 9);
    EXPECT_THAT(answers[0]["program"].get<std::string>(), HasSubstr("tarnhost "));
}

TEST_F(MessagingCommand, ChangedPolicy_IsToldToTheLibraryBeforeTheNextAnswer) {
    machine_.steps.push_back({Signal::kInput, Ask("https://a.example/", 1), [] {}});
    machine_.steps.push_back({Signal::kChanged, "", [this] { policy_.Write(kNewPolicy); }});
    const Ran run = Run({Ask("https://a.example/", 2), ""});
    EXPECT_THAT(Answers(run.out), SizeIs(2));
    EXPECT_FALSE(machine_.told.notices.empty());
    EXPECT_THAT(run.errors, HasSubstr("has changed"));
}

TEST_F(MessagingCommand, LibraryThatDoesNotStart_IsToldToTheBrowser) {
    machine_.whyNot = "tarn.dll is missing";
    const Ran run = Run({""});
    EXPECT_EQ(run.code, 1);
    const auto answers = Answers(run.out);
    ASSERT_THAT(answers, SizeIs(1));
    EXPECT_THAT(answers[0]["error"].get<std::string>(), HasSubstr("did not start"));
    EXPECT_THAT(run.errors, HasSubstr("tarn.dll is missing"));
}

TEST_F(MessagingCommand, MistakenPolicy_IsToldToTheBrowser) {
    policy_.Write("[features]\nanti_phishing = 1\n");
    const Ran run = Run({""});
    EXPECT_EQ(run.code, 1);
    ASSERT_THAT(Answers(run.out), SizeIs(1));
}

TEST_F(MessagingCommand, NoPolicyFile_IsNoHindrance) {
    machine_.installFolder = policy_.Folder() + "/nothing/";
    const auto answers = Answers(Run({Ask("https://a.example/"), ""}).out);
    ASSERT_THAT(answers, SizeIs(1));
    EXPECT_EQ(answers[0]["verdict"], "allowed");
}

TEST(NativeMessages, LongAnswer_IsNotSent) {
    std::ostringstream out;
    EXPECT_FALSE(SendMessage({{"page", std::string(kMostSent, 'x')}}, out));
    EXPECT_EQ(out.str(), "");
}

}  // namespace
}  // namespace tarn::host
