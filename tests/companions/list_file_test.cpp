// What the lines of a list file say, in each of the formats.
#include "policy/list_file.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <string>
#include <vector>

namespace tarn::policy {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Heard : public ListSink {
 public:
    void Take(const ListEntry& entry) override {
        said.push_back(fmt::format("{} {}{}{}", entry.line, entry.isException ? "@@" : "",
                                   entry.coversDomains ? "*." : "", entry.text));
    }
    void Remark(ListRemark remark, std::uint32_t line) override {
        said.push_back(fmt::format("{} remark {}", line, static_cast<int>(remark)));
    }
    std::vector<std::string> said;
};

std::vector<std::string> Read(std::string_view text, ListFormat format = ListFormat::kAuto, bool takesPaths = false) {
    Heard heard;
    ParseList(text, format, takesPaths, heard);
    return heard.said;
}

std::string Remark(int line, ListRemark remark) {
    return fmt::format("{} remark {}", line, static_cast<int>(remark));
}

TEST(ListFile, ADomainALine) {
    EXPECT_THAT(Read("\xEF\xBB\xBF# mine\r\n\r\na.example\r\n  B.Example.  # why\n! no\nc.example"),
                ElementsAre("3 a.example", "4 B.Example", "6 c.example"));
    EXPECT_THAT(Read(".a.example\n*.b.example\n"), ElementsAre("1 *.a.example", "2 *.b.example"));
    EXPECT_THAT(Read(""), IsEmpty());
    EXPECT_THAT(Read("localhost\n198.51.100.7\na.example/\n"), ElementsAre("2 198.51.100.7", "3 a.example"));
}

TEST(ListFile, WhatIsNoDomainIsRemarked) {
    EXPECT_THAT(Read("a b\nhttp://a.example/\n-\xC3\xBC.example\na..example\n" + std::string(254, 'a') +
                         "\na.example/path\na.example:80\nb,example\n",
                     ListFormat::kDomains),
                ElementsAre(Remark(1, ListRemark::kNoHost), Remark(2, ListRemark::kNoHost),
                            Remark(3, ListRemark::kInternational), Remark(4, ListRemark::kNoHost),
                            Remark(5, ListRemark::kNoHost), Remark(6, ListRemark::kPath),
                            Remark(7, ListRemark::kNoHost), Remark(8, ListRemark::kNoHost)));
}

TEST(ListFile, APathIsAnEntryWhereTheListTakesPaths) {
    EXPECT_THAT(Read("a.example/x/y\na.example/x y\n", ListFormat::kDomains, true),
                ElementsAre("1 a.example/x/y", Remark(2, ListRemark::kPath)));
}

TEST(ListFile, AHostsFile) {
    EXPECT_THAT(Read("127.0.0.1 localhost\n::1\tlocalhost ip6-localhost ip6-loopback\n255.255.255.255 broadcasthost\n"
                     "0.0.0.0 a.example\tb.example # both\n:: c.example\n192.0.2.7 nas.example also.example\n"
                     "d.example\n0.0.0.0 bad_\xC3\xBC\n"),
                ElementsAre("4 a.example", "4 b.example", "5 c.example", Remark(6, ListRemark::kMapping), "7 d.example",
                            Remark(8, ListRemark::kInternational)));
}

TEST(ListFile, ADomainListWithAnAddressIsNoHostsFile) {
    EXPECT_THAT(Read("0.0.0.0 a.example\n", ListFormat::kDomains), ElementsAre(Remark(1, ListRemark::kNoHost)));
}

TEST(ListFile, AdblockHostRules) {
    EXPECT_THAT(Read("[Adblock Plus 2.0]\n! Title: x\n||a.example^\n@@||b.example^\n||c.example^$important\n"
                     "0.0.0.0 d.example\n# remark\n||e.example.^\n"),
                ElementsAre("3 *.a.example", "4 @@*.b.example", "5 *.c.example", "6 d.example", "8 *.e.example"));
}

TEST(ListFile, WhatElseAdblockSaysIsRemarked) {
    EXPECT_THAT(
        Read("||a.example^$third-party\n||a.example/x^\na.example\n|https://a.example^\n/ad[0-9]/\n"
             "a.example##.banner\na.example#@#.banner\n||a*.example^\n||a.example\n!#include x.txt\n"
             "@@||a.example^$document\n/ad/$script\n||\xC3\xBC.example^\n||^\n"),
        ElementsAre(Remark(1, ListRemark::kCondition), Remark(2, ListRemark::kPath), Remark(3, ListRemark::kPattern),
                    Remark(4, ListRemark::kPattern), Remark(5, ListRemark::kRegex), Remark(6, ListRemark::kPageRule),
                    Remark(7, ListRemark::kPageRule), Remark(8, ListRemark::kPattern), Remark(9, ListRemark::kPattern),
                    Remark(10, ListRemark::kDirective), Remark(11, ListRemark::kCondition),
                    Remark(12, ListRemark::kRegex), Remark(13, ListRemark::kInternational),
                    Remark(14, ListRemark::kNoHost)));
}

// A host before "##" is where a rule about pages holds; to block it would be another thing.
TEST(ListFile, ARuleAboutPagesIsNoHostWithAComment) {
    EXPECT_THAT(Read("a.example##.banner\nb.example\n"),
                ElementsAre(Remark(1, ListRemark::kPageRule), Remark(2, ListRemark::kPattern)));
    EXPECT_THAT(Read("a.example##.banner\nb.example ## both\nc.example#one\n", ListFormat::kDomains),
                ElementsAre(Remark(1, ListRemark::kPageRule), "2 b.example", "3 c.example"));
}

TEST(ListFile, TextsStandAsTheyAre) {
    EXPECT_THAT(Read("# no\n *.example/img/*.scr \n/Drop/\n", ListFormat::kTexts),
                ElementsAre("2 *.example/img/*.scr", "3 /Drop/"));
}

TEST(ListFile, EveryBeginningOfAListIsRead) {
    const std::string whole =
        "\xEF\xBB\xBF! x\n||a.example^$all\n@@||b.example^\n0.0.0.0 c.example#d\n*.e/f\n##g\n/h/\n";
    for (const ListFormat format : {ListFormat::kAuto, ListFormat::kDomains, ListFormat::kHosts, ListFormat::kAdblock})
        for (std::size_t length = 0; length <= whole.size(); ++length) {
            const std::vector<char> exact(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
            Heard heard;
            ParseList({exact.data(), exact.size()}, format, true, heard);
            EXPECT_LE(heard.said.size(), 7U);
        }
}

}  // namespace
}  // namespace tarn::policy
