// Where the reference modules keep their state, and that no crash and no damage spoils it.
#include <cstring>
#include <fstream>
#include <gmock/gmock.h>

#include "tarn/companions.h"

#include "companions/module_folder_win32.h"

namespace tarn::companions {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

constexpr const char* kSessions = "tarn-sessions.bin";
constexpr const char* kUserList = "[white_lists]\nuser = [\"shop.example\"]\n";

class StateFiles : public testing::Test {
 protected:
    bool Save(std::uint8_t mark) {
        SavedSessionRecord session{};
        session.sid[0] = mark;
        PcSystemControlRecord record{1, &session};
        return folder_.Find<WritePCSystemControlSettingsFn>("statrd.dll", "WritePCSystemControlSettings")(0, &record,
                                                                                                          &error_) != 0;
    }
    // The mark of the saved session; -1 without one.
    int Saved() {
        PcSystemControlRecord record{};
        if (folder_.Find<ReadPCSystemControlSettingsFn>("statrd.dll", "ReadPCSystemControlSettings")(0, &record,
                                                                                                     &error_) == 0)
            return -1;
        const int mark = record.count == 1 ? record.records[0].sid[0] : -1;
        folder_.Find<ReleasePCSystemControlSettingsFn>("statrd.dll", "ReleasePCSystemControlSettings")(&record);
        return mark;
    }
    std::uint32_t UserListSize() {
        UrlListRecord list{};
        EXPECT_EQ(folder_.Find<ReadWhiteListFn>("statrd.dll", "ReadBPUserWhiteList")(0, &list, &error_), 1);
        const std::uint32_t count = list.count;
        folder_.Find<ReleaseWhiteListFn>("statrd.dll", "ReleaseBPUserWhiteList")(&list);
        return count;
    }
    std::set<std::string> NamesBesideTheModules() const {
        std::set<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder_.File("")))
            names.insert(entry.path().filename().string());
        return names;
    }

    ModuleFolder folder_{{"statrd.dll", "isolate.dll", "sitecls.dll"}};
    std::uint32_t error_ = 0;
};

TEST_F(StateFiles, StandInTheNamedFolderWhichIsMade) {
    EXPECT_EQ(Saved(), -1);
    EXPECT_EQ(error_, 2U) << "no file";
    ASSERT_TRUE(Save(9));
    EXPECT_EQ(Saved(), 9);
    EXPECT_TRUE(fs::exists(folder_.State(kSessions)));
}

TEST_F(StateFiles, OfEveryKindStandNowhereElse) {
    const auto before = NamesBesideTheModules();
    folder_.SavePolicy(kUserList);
    ASSERT_TRUE(Save(9));
    DnsCacheRecord answers{};
    EXPECT_EQ(folder_.Find<WriteDNSCacheSettingsFn>("statrd.dll", "WriteDNSCacheSettings")(0, &answers, &error_), 1);
    EXPECT_EQ(folder_.Find<ResetBPUserWhitelistFn>("statrd.dll", "ResetBPUserWhitelist")(0, &error_), 1);
    EXPECT_EQ(folder_.Find<SCSaveCacheFileFn>("sitecls.dll", "SCSaveCacheFile")(0, 0, 0, 0), 1);
    const auto request = std::make_unique<QuarantineRequest>();
    EXPECT_EQ(folder_.Find<ZRQuarantineFileFn>("isolate.dll", "ZRQuarantineFile")(u"C:\\a.exe", 0, request.get(), 0, 0,
                                                                                  0, nullptr, nullptr),
              1);
    auto expected = before;
    expected.insert({"state", "tarn-policy.toml"});
    EXPECT_EQ(NamesBesideTheModules(), expected);
    for (const char* file : {kSessions, "tarn-dns-cache.bin", "tarn-user-list-reset.bin", "tarn-category-cache.bin",
                             "tarn-quarantine.log"})
        EXPECT_TRUE(fs::exists(folder_.State(file))) << file;
}

TEST_F(StateFiles, WithoutANamedFolderStandInTheMachinesOne) {
    wchar_t before[MAX_PATH] = {};
    ASSERT_NE(GetEnvironmentVariableW(L"ProgramData", before, MAX_PATH), 0U);
    const fs::path data = folder_.File("data");
    fs::create_directory(data);
    SetEnvironmentVariableW(L"TARN_STATE_FOLDER", nullptr);
    SetEnvironmentVariableW(L"ProgramData", data.c_str());
    EXPECT_TRUE(Save(9));
    EXPECT_EQ(Saved(), 9);
    EXPECT_TRUE(fs::exists(data / "tarn" / kSessions));
    SetEnvironmentVariableW(L"ProgramData", before);
}

TEST_F(StateFiles, BesideTheModulesAreNotRead) {
    ASSERT_TRUE(Save(9));
    fs::rename(folder_.State(kSessions), folder_.File(kSessions));
    EXPECT_EQ(Saved(), -1);
}

TEST_F(StateFiles, AWriteThatFailsLeavesTheOldContent) {
    ASSERT_TRUE(Save(9));
    fs::create_directory(folder_.State("tarn-sessions.bin.new"));
    EXPECT_FALSE(Save(10));
    EXPECT_NE(error_, 0U);
    EXPECT_EQ(Saved(), 9);
}

TEST_F(StateFiles, AFolderThatCannotBeMadeIsAnError) {
    SetEnvironmentVariableW(L"TARN_STATE_FOLDER", folder_.File("missing/state").c_str());
    EXPECT_FALSE(Save(9));
    EXPECT_EQ(error_, std::uint32_t{ERROR_PATH_NOT_FOUND});
}

TEST_F(StateFiles, ADamagedOneIsNotUsedAndSaid) {
    folder_.SavePolicy(kUserList);
    ASSERT_TRUE(Save(9));
    std::ofstream(folder_.State(kSessions), std::ios::binary | std::ios::app) << 'x';
    std::ofstream(folder_.State("tarn-user-list-reset.bin"), std::ios::binary) << "12345";
    testing::internal::CaptureStderr();
    EXPECT_EQ(Saved(), -1);
    EXPECT_EQ(UserListSize(), 1U);
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_THAT(said, HasSubstr("tarn-sessions.bin in the state folder is damaged and is not used\n"));
    EXPECT_THAT(said, HasSubstr("tarn-user-list-reset.bin in the state folder is damaged and is not used\n"));
}

TEST_F(StateFiles, AResetOfTheUsersListHoldsUntilTheListChanges) {
    folder_.SavePolicy(kUserList);
    EXPECT_EQ(UserListSize(), 1U);
    EXPECT_EQ(folder_.Find<ResetBPUserWhitelistFn>("statrd.dll", "ResetBPUserWhitelist")(0, &error_), 1);
    EXPECT_EQ(UserListSize(), 0U);
    folder_.SavePolicy("[white_lists]\nuser = [\"shop.example\", \"more.example\"]\n");
    EXPECT_EQ(UserListSize(), 2U);
}

}  // namespace
}  // namespace tarn::companions
