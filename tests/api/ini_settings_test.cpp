#include "api/ini_settings.h"

#include <gtest/gtest.h>

#include "api/fake_platform.h"

namespace tarn::api {
namespace {

const std::u16string kExclusions = u"C:\\suite\\browskip.ini [BROWSER_EXCLUSION_LIST] ";
const std::u16string kSocial = u"C:\\suite\\socialset.ini [FACEBOOK] ";

TEST(IniSettings, TheDnsSwitchIsZeroWithoutItsFile) {
    FakePlatform platform;
    std::uint32_t value = 9;
    EXPECT_TRUE(ReadDnsBlockSwitch(platform, value));
    EXPECT_EQ(value, 0U);
    platform.integers[u"C:\\suite\\dnsblock.ini [WEB_SECURITY] BLOCK_URL_IN_DNS"] = 3;
    EXPECT_TRUE(ReadDnsBlockSwitch(platform, value));
    EXPECT_EQ(value, 3U);
    platform.modules.hasFolder = false;
    EXPECT_FALSE(ReadDnsBlockSwitch(platform, value));
    EXPECT_EQ(value, 3U);
}

TEST(IniSettings, ExclusionsNeedACountAndNames) {
    FakePlatform platform;
    EXPECT_TRUE(ReadBrowserExclusions(platform).empty());
    platform.texts[kExclusions + u"NAMES"] = u"One.exe|two.exe|three.exe";
    EXPECT_TRUE(ReadBrowserExclusions(platform).empty()) << "no COUNT";
    platform.integers[kExclusions + u"COUNT"] = 2;
    EXPECT_EQ(ReadBrowserExclusions(platform), (url::BrowserExclusions{u"one.exe", u"two.exe"}));
    platform.modules.hasFolder = false;
    EXPECT_TRUE(ReadBrowserExclusions(platform).empty());
}

TEST(IniSettings, NamesAreReadUpTo2047Characters) {
    FakePlatform platform;
    std::u16string names;
    while (names.size() < 2040) names += u"n|";
    platform.texts[kExclusions + u"NAMES"] = names + u"0123456789";
    platform.integers[kExclusions + u"COUNT"] = 5000;
    EXPECT_EQ(ReadBrowserExclusions(platform).back(), u"0123456");
}

// 259 characters fit with their NUL; one more does not.
std::u16string FolderFor(std::u16string_view file, std::size_t pathLength) {
    return u"C:\\" + std::u16string(pathLength - file.size() - 4, u'd') + u"\\";
}

TEST(IniSettings, ThePathOfTheDnsSwitchEndsAt259Characters) {
    FakePlatform platform;
    std::uint32_t value = 9;
    platform.modules.folderText = FolderFor(u"dnsblock.ini", 260);
    EXPECT_FALSE(ReadDnsBlockSwitch(platform, value));
    EXPECT_EQ(value, 9U);
    platform.modules.folderText = FolderFor(u"dnsblock.ini", 259);
    platform.integers[platform.modules.folderText + u"dnsblock.ini [WEB_SECURITY] BLOCK_URL_IN_DNS"] = 3;
    EXPECT_TRUE(ReadDnsBlockSwitch(platform, value));
    EXPECT_EQ(value, 3U);
}

TEST(IniSettings, ThePathOfTheExclusionListEndsAt259Characters) {
    for (const std::size_t length : {259U, 260U}) {
        FakePlatform platform;
        platform.modules.folderText = FolderFor(u"browskip.ini", length);
        const std::u16string cut = (platform.modules.folderText + u"browskip.ini").substr(0, 259);
        platform.integers[cut + u" [BROWSER_EXCLUSION_LIST] COUNT"] = 1;
        platform.texts[cut + u" [BROWSER_EXCLUSION_LIST] NAMES"] = u"one.exe";
        EXPECT_EQ(ReadBrowserExclusions(platform).size(), length == 259 ? 1U : 0U) << length;
    }
}

class SocialReminder : public testing::Test {
 protected:
    void LikedAt(std::int64_t secondsAgo) {
        const std::int64_t now = platform.clock.ToSeconds(platform.clock.Now()).value();
        const std::string text = std::to_string(now - secondsAgo);
        platform.texts[kSocial + u"FBLike"] = std::u16string(text.begin(), text.end());
    }
    static constexpr std::int64_t kDay = 86400;
    FakePlatform platform;
};

TEST_F(SocialReminder, IsDueWithoutALikeUnlessHandledOnline) {
    EXPECT_TRUE(ReadSocialReminder(platform));
    platform.integers[kSocial + u"FBOnlineHandle"] = 1;
    EXPECT_FALSE(ReadSocialReminder(platform));
    platform.integers[kSocial + u"FBOnlineHandle"] = 2;
    EXPECT_TRUE(ReadSocialReminder(platform));
    platform.modules.hasFolder = false;
    EXPECT_FALSE(ReadSocialReminder(platform)) << "the file's path cannot be built";
}

TEST_F(SocialReminder, ThePathOfItsFileEndsAt259Characters) {
    platform.modules.folderText = FolderFor(u"socialset.ini", 259);
    EXPECT_TRUE(ReadSocialReminder(platform));
    platform.modules.folderText = FolderFor(u"socialset.ini", 260);
    EXPECT_FALSE(ReadSocialReminder(platform));
}

TEST_F(SocialReminder, IsDueFifteenDaysAfterTheLastLike) {
    LikedAt(15 * kDay - 3600);
    EXPECT_FALSE(ReadSocialReminder(platform));
    LikedAt(15 * kDay);
    EXPECT_TRUE(ReadSocialReminder(platform));
    LikedAt(-30 * kDay);
    EXPECT_FALSE(ReadSocialReminder(platform));
}

TEST_F(SocialReminder, OddLikesAreNotDueAndOverlongOnesCountAsMissing) {
    for (const char16_t* text : {u"0", u"-5", u"like", u"99999999999999999999"}) {
        platform.texts[kSocial + u"FBLike"] = text;
        EXPECT_FALSE(ReadSocialReminder(platform)) << std::string(text, text + std::u16string(text).size());
    }
    platform.texts[kSocial + u"FBLike"] = std::u16string(259, u'1');
    EXPECT_TRUE(ReadSocialReminder(platform));
}

}  // namespace
}  // namespace tarn::api
