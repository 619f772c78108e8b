// The tests of a policy: what their file may say, and what of a verdict has to fit.
#include <gmock/gmock.h>

#include "tarn/records.h"

#include "host/expectations/case_file.h"
#include "host/expectations/side_by_side.h"

namespace tarn::host {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

std::vector<std::string> MistakesOf(const std::string& text) {
    std::vector<std::string> told;
    for (const policy::Mistake& mistake : ParseCases(text).mistakes)
        told.push_back(std::to_string(mistake.line) + ":" + std::to_string(mistake.column) + " " + mistake.text);
    return told;
}

Finding Blocked() {
    return {"blocked", 2, "malicious site", DecidingEntry{"malicious_sites", "bad.example", "p.toml", 12}, ""};
}

TEST(CaseFile, HasEachWayToAsk) {
    const CaseFile file = ParseCases(R"(
policy = "p.toml"
together = true
[[case]]
name = "the shop"
url = "http://shop.example/"
server = "192.0.2.1"
at = "21:30"
expect = "blocked"
reason = 5
[[case]]
extension = "https://shop.example/basket"
account = "anna"
reason = "Malicious Site"
[[case]]
request = { text = "GET / HTTP/1.1\r\nHost: a\r\n\r\n", server = "192.0.2.2", port = 8080 }
entry = "p.toml:3"
[[case]]
request = { hex = "00 01", port = 53, datagram = true }
expect = "none"
[[case]]
frame = { capture = "x.pcap", frame = 12, inbound = false }
expect = "allowed"
[[case]]
frame = { hex = """ff
  01""" }
expect = "none"
[[case]]
logon = { account = "anna", event = "disconnect", ticks = 61 }
expect = "refused"
)");
    ASSERT_THAT(file.mistakes, IsEmpty());
    EXPECT_EQ(file.policy, "p.toml");
    EXPECT_TRUE(file.isTogether);
    ASSERT_THAT(file.cases, SizeIs(7));
    EXPECT_EQ(file.cases[0].name, "the shop");
    EXPECT_EQ(file.cases[0].line, 4u);
    EXPECT_EQ(file.cases[0].server, "192.0.2.1");
    EXPECT_EQ(file.cases[0].at, "21:30");
    EXPECT_EQ(file.cases[0].expected.verdict, "blocked");
    EXPECT_EQ(file.cases[0].expected.reason, 5u);
    EXPECT_EQ(file.cases[1].kind, CaseKind::kExtension);
    EXPECT_EQ(file.cases[1].name, "https://shop.example/basket");
    EXPECT_EQ(file.cases[1].account, "anna");
    EXPECT_EQ(file.cases[1].expected.reasonText, "Malicious Site");
    EXPECT_EQ(file.cases[2].kind, CaseKind::kRequest);
    EXPECT_EQ(file.cases[2].bytes.size(), 27u);
    EXPECT_EQ(file.cases[2].port, 8080);
    EXPECT_EQ(file.cases[2].expected.entry, "p.toml:3");
    EXPECT_THAT(file.cases[3].bytes, ElementsAre(0, 1));
    EXPECT_TRUE(file.cases[3].isDatagram);
    EXPECT_EQ(file.cases[4].kind, CaseKind::kFrame);
    EXPECT_EQ(file.cases[4].frame, 12u);
    EXPECT_FALSE(file.cases[4].isInbound);
    EXPECT_EQ(file.cases[4].name, "frame 12 of x.pcap");
    EXPECT_THAT(file.cases[5].bytes, ElementsAre(0xFF, 1));
    EXPECT_EQ(file.cases[6].account, "anna");
    EXPECT_EQ(file.cases[6].event, std::uint32_t{TARN_EVENT_DISCONNECT});
    EXPECT_EQ(file.cases[6].ticks, 61u);
    EXPECT_EQ(file.cases[6].name, "disconnect of anna");
}

TEST(CaseFile, SaysWhatIsWrongWhere) {
    EXPECT_THAT(MistakesOf(""), ElementsAre(HasSubstr("there is no case")));
    EXPECT_THAT(MistakesOf("[[case]]\nurl = \"a\"\nexpects = \"blocked\"\nexpect = \"blocked\""),
                ElementsAre(AllOf(HasSubstr("3:1 "), HasSubstr("did you mean \"expect\""))));
    EXPECT_THAT(MistakesOf("[[case]]\nurl = \"a\"\nextension = \"b\"\nexpect = \"none\""),
                ElementsAre(AllOf(HasSubstr("1:1 "), HasSubstr("this one for 2"))));
    EXPECT_THAT(MistakesOf("[[case]]\nexpect = \"none\""), ElementsAre(HasSubstr("this one for 0")));
    EXPECT_THAT(MistakesOf("[[case]]\nurl = \"a\""), ElementsAre(HasSubstr("expects nothing")));
    EXPECT_THAT(MistakesOf("[[case]]\nurl = \"a\"\nexpect = \"refused\""),
                ElementsAre(AllOf(HasSubstr("3:10 "), HasSubstr("blocked, allowed or none"))));
    EXPECT_THAT(MistakesOf("[[case]]\nlogon = {}\nexpect = \"blocked\""),
                ElementsAre(HasSubstr("refused, allowed or none")));
    EXPECT_THAT(MistakesOf("[[case]]\nurl = \"a\"\nreason = \"because\""),
                ElementsAre(AllOf(HasSubstr("3:10 "), HasSubstr("reason is no reason"))));
    EXPECT_THAT(MistakesOf("[[case]]\nurl = \"a\"\nreason = -1"), ElementsAre(HasSubstr("reason is no reason")));
    EXPECT_THAT(MistakesOf("[[case]]\nurl = \"a\"\nat = \"soon\"\nexpect = \"none\""),
                ElementsAre(AllOf(HasSubstr("3:6 "), HasSubstr("a local time"))));
    EXPECT_THAT(MistakesOf("[[case]]\nrequest = { hex = \"f\" }\nexpect = \"none\""),
                ElementsAre(HasSubstr("no run of byte pairs")));
    EXPECT_THAT(MistakesOf("[[case]]\nrequest = {}\nexpect = \"none\""), ElementsAre(HasSubstr("text or hex")));
    EXPECT_THAT(MistakesOf("[[case]]\nframe = { capture = \"x\" }\nexpect = \"none\""),
                ElementsAre(HasSubstr("frame is missing")));
    EXPECT_THAT(MistakesOf("[[case]]\nlogon = { event = \"lunch\" }\nexpect = \"none\""),
                ElementsAre(HasSubstr("logon, tick, disconnect")));
    EXPECT_THAT(MistakesOf("[[case]]\nurl = \"a\"\nserver = \"here\"\nexpect = \"none\""),
                ElementsAre(HasSubstr("an address")));
    EXPECT_THAT(MistakesOf("[[case]\n"), SizeIs(1));
}

TEST(Compare, TakesOnlyWhatIsExpected) {
    EXPECT_TRUE(AreSame(Compare({"blocked", {}, "", ""}, Blocked())));
    EXPECT_FALSE(AreSame(Compare({"allowed", {}, "", ""}, Blocked())));
    EXPECT_TRUE(AreSame(Compare({"", 2, "", ""}, Blocked())));
    EXPECT_FALSE(AreSame(Compare({"blocked", 7, "", ""}, Blocked())));
    EXPECT_TRUE(AreSame(Compare({"", {}, "MALICIOUS site", ""}, Blocked())));
    EXPECT_FALSE(AreSame(Compare({"", {}, "phishing site", ""}, Blocked())));
    EXPECT_FALSE(AreSame(Compare({"", 2, "", ""}, Finding{"none", {}, "", {}, ""})));
}

TEST(Compare, KnowsAnEntryByItsPlaceListOrText) {
    for (const char* entry : {"p.toml:12", "malicious_sites", "bad.example", "malicious_sites/bad.example"})
        EXPECT_TRUE(AreSame(Compare({"", {}, "", entry}, Blocked()))) << entry;
    for (const char* entry : {"p.toml:1", "p.toml:123", "phishing_sites", "bad.exampl", "phishing_sites/bad.example"})
        EXPECT_FALSE(AreSame(Compare({"", {}, "", entry}, Blocked()))) << entry;
    Finding unknown = Blocked();
    unknown.entry.reset();
    EXPECT_FALSE(AreSame(Compare({"", {}, "", "p.toml:12"}, unknown)));
}

TEST(SideBySide, MarksADifferenceAndFitsInto80) {
    const std::string text = SideBySide({{"verdict", "allowed", "blocked", false},
                                         {"reason", "2", "2", true},
                                         {"entry", "short", std::string(60, 'x') + " and the end of it", false}},
                                        0);
    EXPECT_THAT(text, AllOf(HasSubstr("  ! verdict allowed"), HasSubstr("| blocked\n"), HasSubstr("    reason  2 "),
                            HasSubstr("! entry   short")));
    std::istringstream lines(text);
    std::size_t count = 0;
    for (std::string line; std::getline(lines, line); ++count) EXPECT_LE(line.size(), 80u) << line;
    EXPECT_GE(count, 6u);  // the long entry goes on below
    EXPECT_THAT(text, HasSubstr("of it\n"));
}

TEST(SideBySide, CountsCharactersAndBreaksNone) {
    const std::string text =
        SideBySide({{"x", "a", "\xC3\xBC\xC3\xBC\xC3\xBC\xC3\xBC\xC3\xBC\xC3\xBC\xC3\xBC\xC3\xBC\xC3\xBC", true}}, 20);
    EXPECT_THAT(text, HasSubstr("| \xC3\xBC\xC3\xBC\xC3\xBC\xC3\xBC\xC3\xBC\xC3\xBC\xC3\xBC\xC3\xBC\n"));
    EXPECT_THAT(SideBySide({{"x", "a\x1b[1m", "b", false}}, 80), HasSubstr("a\\x1b[1m"));
}

}  // namespace
}  // namespace tarn::host
