// Browsing protection's action against this program itself: with odd URLs, and behind WSShutDown.
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "system/rules_fixture_win32.h"

namespace tarn::system_test {
namespace {

using testing::Contains;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using url::ProfileShape;

class ActionRules : public RulesFixture {
 protected:
    // Every page falls into the malicious category.
    void MakeEveryPageMalicious() {
        TakeProfiles({ProfileShape{}});
        answers.bpStatus = 1;
        Categorise({2});
    }
    // The host and path of the page as the quarantine module got it as a UTF-16 text; the action counts anew each time.
    std::u16string QuarantinedUrl(const std::string& host, const std::string& target) {
        tarn.WSShutDown(0, 0, 0, 0);
        answers.quarantinedUrl[0] = u'\xFFFF';
        EXPECT_TRUE(Visit(host, target));
        EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS_CATEGORY));
        return answers.quarantinedUrl[0] == u'\xFFFF' ? u"(not asked)" : std::u16string(answers.quarantinedUrl);
    }
    Lines Actions() {
        NewLines();
        EXPECT_TRUE(Visit("bad.example", "/x"));
        EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS));
        return NewLines();
    }
};

std::u16string SystemsWideForm(const std::string& text) {
    wchar_t wide[2048] = L"";
    EXPECT_GT(MultiByteToWideChar(CP_ACP, 0, text.c_str(), -1, wide, 2048), 0);
    const std::wstring units = wide;
    return {units.begin(), units.end()};
}

// ---- The URL ----

TEST_F(ActionRules, TheUrlIsConvertedAsTheSystemDoes) {
    MakeEveryPageMalicious();
    ASSERT_TRUE(Init(TARN_START_RESTART));
    for (const std::string path : {"/caf\xC3\xA9", "/\xE9t\xE9", "/plain"})
        EXPECT_EQ(QuarantinedUrl("bad.example", path), SystemsWideForm("bad.example" + path)) << path;
}

TEST_F(ActionRules, TheLongestUrlFits) {
    MakeEveryPageMalicious();
    ASSERT_TRUE(Init(TARN_START_RESTART));
    const std::string host = "bad.example";
    for (const std::size_t length : {1022U, 1023U}) {
        const std::string path = "/" + std::string(length - host.size() - 1, 'p');
        const std::string expected = host + path;
        EXPECT_EQ(QuarantinedUrl(host, path), std::u16string(expected.begin(), expected.end()));
    }
}

// ---- What WSShutDown clears ----

TEST_F(ActionRules, AShutDownForgetsTheProgramsThatWereActedOn) {
    MakeMalicious("bad.example", "Worm");
    ASSERT_TRUE(Init(TARN_START_RESTART));
    EXPECT_THAT(Actions(), SizeIs(4));
    EXPECT_THAT(Actions(), IsEmpty());
    tarn.WSShutDown(0, 0, 0, 0);
    EXPECT_THAT(Actions(), SizeIs(4));
}

TEST_F(ActionRules, AShutDownForgetsTheExclusionList) {
    MakeMalicious("bad.example", "Worm");
    ExcludeThisProgram();
    ASSERT_TRUE(Init(TARN_START_RESTART));
    EXPECT_THAT(Actions(), IsEmpty());
    tarn.WSShutDown(0, 0, 0, 0);
    EXPECT_THAT(Actions(), Contains(StartsWith("ZRQuarantineFile")));
}

}  // namespace
}  // namespace tarn::system_test
