// The reference modules of one folder read a state of the policy once: the settings reader keeps it for all of them.
#include <atomic>
#include <gmock/gmock.h>
#include <thread>

#include "tarn/companions.h"

#include "companions/module_folder_win32.h"

namespace tarn::companions {
namespace {

using testing::HasSubstr;

constexpr const char* kOn = "[features]\nbrowsing_protection = true \nagent_status = 7\n";
constexpr const char* kOff = "[features]\nbrowsing_protection = false\nagent_status = 8\n";

class SharedPolicy : public testing::Test {
 protected:
    // As start-up does; true when there is a policy.
    bool ReadSites() {
        ThreatSiteList list{};
        std::uint32_t error = 0;
        const bool isRead = folder_.Find<ReadBPSettingsFn>("setrd.dll", "ReadBPSettings")(0, &list, &error) != 0;
        folder_.Find<ReleaseBPSettingsFn>("setrd.dll", "ReleaseBPSettings")(&list);
        return isRead;
    }
    bool IsProtected() {
        std::uint8_t status = 2;
        std::uint32_t error = 0;
        EXPECT_EQ(folder_.Find<ReadStatusFn>("statrd.dll", "ReadBPStatus")(0, &status, &error), 1);
        EXPECT_LT(status, 2);
        return status == 1;
    }
    int AgentStatus() {
        std::uint8_t status = 0;
        return folder_.Find<GetYALStatusFn>("agentst.dll", "GetYALStatus")(&status) != 0 ? status : -1;
    }

    ModuleFolder folder_{{"setrd.dll", "statrd.dll", "agentst.dll"}};
};

TEST_F(SharedPolicy, IsReadOnceForAllModules) {
    folder_.SavePolicy(kOn);
    EXPECT_TRUE(ReadSites());
    folder_.SwapPolicyUnseen(kOff);  // who reads again is found out
    EXPECT_TRUE(IsProtected());
    EXPECT_EQ(AgentStatus(), 7);
    folder_.SavePolicy(kOff);
    EXPECT_FALSE(IsProtected());
    folder_.SwapPolicyUnseen(kOn);
    EXPECT_EQ(AgentStatus(), 8);
}

TEST_F(SharedPolicy, WithoutTheSettingsReaderEachModuleReadsForItself) {
    folder_.SavePolicy(kOn);
    EXPECT_TRUE(IsProtected());
    folder_.SwapPolicyUnseen(kOff);
    EXPECT_TRUE(IsProtected()) << "once";
    EXPECT_EQ(AgentStatus(), 8) << "another module has not read it before";
}

TEST_F(SharedPolicy, ASettingsReaderOfAnotherMakerIsNotAsked) {
    std::filesystem::remove(folder_.File("setrd.dll"));
    folder_.Add("isolate.dll", "setrd.dll");
    folder_.Load("setrd.dll");
    folder_.SavePolicy(kOn);
    EXPECT_TRUE(IsProtected());
}

TEST_F(SharedPolicy, NoModuleKeepsTheSettingsReaderLoaded) {
    folder_.SavePolicy(kOn);
    EXPECT_TRUE(ReadSites());
    EXPECT_TRUE(IsProtected());
    folder_.Unload("setrd.dll");
    EXPECT_TRUE(IsProtected());
    EXPECT_TRUE(ReadSites()) << "loaded again";
}

TEST_F(SharedPolicy, AFileThatLostEverythingIsNotTakenOver) {
    folder_.SavePolicy(kOn);
    EXPECT_TRUE(IsProtected());
    EXPECT_TRUE(ReadSites());
    testing::internal::CaptureStderr();
    folder_.SavePolicy("");
    EXPECT_TRUE(IsProtected());
    EXPECT_EQ(AgentStatus(), 7);
    EXPECT_THAT(testing::internal::GetCapturedStderr(), HasSubstr("sets nothing of what it set before"));
}

TEST_F(SharedPolicy, WhatIsWrongIsSaidOnceForAll) {
    folder_.SavePolicy("[features]\nagent_statu = 7\n");
    testing::internal::CaptureStderr();
    EXPECT_FALSE(ReadSites());
    EXPECT_FALSE(ReadSites());
    EXPECT_EQ(AgentStatus(), -1);
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_THAT(said, HasSubstr("tarn-policy.toml:2:1: unknown key \"agent_statu\""));
    EXPECT_EQ(said.find("unknown key"), said.rfind("unknown key"));
}

TEST_F(SharedPolicy, ManyThreadsMayAskWhileItChanges) {
    folder_.SavePolicy(kOn);
    ASSERT_TRUE(ReadSites());
    const auto readStatus = folder_.Find<ReadStatusFn>("statrd.dll", "ReadBPStatus");
    const auto agentStatus = folder_.Find<GetYALStatusFn>("agentst.dll", "GetYALStatus");
    std::atomic<bool> mayEnd = false;
    std::atomic<unsigned> wrong = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            do {
                std::uint8_t status = 2;
                std::uint8_t agent = 0;
                std::uint32_t error = 0;
                if (readStatus(0, &status, &error) != 1 || status > 1) ++wrong;
                if (agentStatus(&agent) != 1 || (agent != 7 && agent != 8)) ++wrong;
            } while (!mayEnd);
        });
    for (int i = 0; i < 20; ++i) folder_.SavePolicy(i % 2 == 0 ? kOff : kOn);
    mayEnd = true;
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0U);
}

}  // namespace
}  // namespace tarn::companions
