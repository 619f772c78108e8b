// The social-network reminder from a real ini file in the install folder. No export shows it, so the reader is called
// as the settings load calls it; the library starts whatever the file holds.
#include <ctime>
#include <gtest/gtest.h>

#include "api/ini_settings.h"
#include "machine/machine_win32.h"
#include "system/system_fixture_win32.h"

namespace tarn::system_test {
namespace {

constexpr std::int64_t kDay = 86400;

class SocialReminderFile : public SystemFixture {
 protected:
    bool IsDue() { return api::ReadSocialReminder(platform_); }
    bool IsDueWith(const std::string& like, const std::string& online = "0") {
        WriteFile("socialset.ini", "[FACEBOOK]\r\nFBOnlineHandle=" + online + "\r\nFBLike=" + like + "\r\n");
        return IsDue();
    }
    bool IsDueAfter(std::int64_t seconds) { return IsDueWith(std::to_string(std::time(nullptr) - seconds)); }

 private:
    machine::WindowsMachine platform_;
};

TEST_F(SocialReminderFile, WithoutALikeItIsDue) {
    EXPECT_TRUE(IsDue()) << "no file";
    EXPECT_TRUE(IsDueWith(""));
    WriteFile("socialset.ini", std::string("[FACEBOOK]\r\n"));
    EXPECT_TRUE(IsDue());
    RemoveInstallPath();
    EXPECT_FALSE(IsDue()) << "the file's path cannot be built";
}

TEST_F(SocialReminderFile, HandledOnlineItIsNeverDue) {
    EXPECT_FALSE(IsDueWith("", "1"));
    EXPECT_FALSE(IsDueWith("1000000", "1"));
    EXPECT_TRUE(IsDueWith("1000000", "2"));
}

TEST_F(SocialReminderFile, ItIsDueFifteenDaysAfterTheLastLike) {
    EXPECT_FALSE(IsDueAfter(14 * kDay + 23 * 3600));
    EXPECT_TRUE(IsDueAfter(15 * kDay));
    EXPECT_FALSE(IsDueAfter(-15 * kDay));
    EXPECT_TRUE(IsDueWith("1000000"));
}

TEST_F(SocialReminderFile, OddLikes) {
    for (const char* like : {"0", "-5", "like", "99999999999999999999"}) EXPECT_FALSE(IsDueWith(like)) << like;
    EXPECT_FALSE(IsDueWith(std::string(258, '1'))) << "no time at all";
    EXPECT_TRUE(IsDueWith(std::string(259, '1'))) << "fills the buffer: as if it were missing";
}

TEST_F(SocialReminderFile, TheLibraryStartsWhateverItHolds) {
    for (const char* like : {"", "0", "67768036191694799", "9223372036854775807"}) {
        WriteFile("socialset.ini", "[FACEBOOK]\r\nFBLike=" + std::string(like) + "\r\n");
        EXPECT_TRUE(Init()) << like;
    }
}

}  // namespace
}  // namespace tarn::system_test
