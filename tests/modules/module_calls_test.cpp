#include "modules/module_calls.h"

#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>
#include <utility>

#include "fakes/fake_modules.h"
#include "modules/settings_state.h"

namespace tarn::modules {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ModuleCallsTest : public testing::Test {
 protected:
    ModuleCallsTest() {
        base::PathBuffer folder;
        fake.InstallFolder(folder);
        EXPECT_TRUE(calls.Load<SettingsReader>(folder));
        EXPECT_TRUE(calls.Load<StatusReader>(folder));
        fake.Take();
    }

    void ForgetModules() { companions.settingsReader = {}, companions.statusReader = {}; }
    // Loaded, and nothing is bound.
    void ForgetFunctions() { companions.settingsReader = SettingsReader{}, companions.statusReader = StatusReader{}; }

    // The read gives what expected says; without its module, without its function and when the call fails it gives
    // false and leaves zeros. prepare makes the output look used.
    template <class Out, class Read>
    void ExpectRead(const std::string& name, Out used, const std::function<void(const Out&)>& expectGiven,
                    const std::function<void(const Out&)>& expectZero, Read&& read) {
        SCOPED_TRACE(name);
        Out out = used;
        EXPECT_TRUE(read(out));
        EXPECT_EQ(fake.Take().front(), name);
        expectGiven(out);

        fake.failing = {name};
        out = used;
        EXPECT_FALSE(read(out));
        EXPECT_THAT(fake.Take(), ElementsAre(name)) << "no release after a failed read";
        EXPECT_EQ(error, 1234U) << "the module's error";
        expectZero(out);
        fake.failing = {};
        error = 0;

        Companions kept = std::exchange(companions, {});
        out = used;
        EXPECT_FALSE(read(out));
        expectZero(out);
        ForgetFunctions();
        out = used;
        EXPECT_FALSE(read(out));
        expectZero(out);
        companions = std::move(kept);
        EXPECT_THAT(fake.Take(), IsEmpty());
    }

    fakes::FakeModules fake;
    Companions companions;
    std::uint32_t error = 0;
    ModuleCalls calls{companions, fake, error};
};

UrlListRecord UrlList(std::uint32_t count) {
    UrlListRecord record{};
    record.count = count;
    record.entries = reinterpret_cast<decltype(record.entries)>(std::uintptr_t{0x1000} * count);
    return record;
}

TEST_F(ModuleCallsTest, Statuses) {
    const std::function<void(const std::uint8_t&)> isFive = [](const std::uint8_t& s) { EXPECT_EQ(s, 5); };
    const std::function<void(const std::uint8_t&)> isZero = [](const std::uint8_t& s) { EXPECT_EQ(s, 0); };
    fake.Give("ReadBPStatus", std::uint8_t{5});
    fake.Give("ReadAPStatus", std::uint8_t{5});
    fake.Give("ReadIDSIPSStatus", IdsIpsStatus{5, {6, 7}});
    ExpectRead<std::uint8_t>("ReadBPStatus", 99, isFive, isZero,
                             [&](std::uint8_t& status) { return calls.ReadBPStatus(status); });
    ExpectRead<std::uint8_t>("ReadAPStatus", 99, isFive, isZero,
                             [&](std::uint8_t& status) { return calls.ReadAPStatus(status); });
    ExpectRead<std::uint8_t>("ReadIDSIPSStatus", 99, isFive, isZero,
                             [&](std::uint8_t& status) { return calls.ReadIDSIPSStatus(status); });
}

TEST_F(ModuleCallsTest, PromptStatuses) {
    const auto expect = [](int report, int prompt) -> std::function<void(const PromptBytes&)> {
        return [=](const PromptBytes& bytes) {
            EXPECT_EQ(bytes.report, report);
            EXPECT_EQ(bytes.prompt, prompt);
        };
    };
    fake.Give("ReadBPReportPromptStatus", PromptBytes{1, 2});
    fake.Give("ReadAPReportPromptStatus", PromptBytes{3, 4});
    ExpectRead<PromptBytes>("ReadBPReportPromptStatus", {9, 9}, expect(1, 2), expect(0, 0),
                            [&](PromptBytes& bytes) { return calls.ReadBPReportPromptStatus(bytes); });
    ExpectRead<PromptBytes>("ReadAPReportPromptStatus", {9, 9}, expect(3, 4), expect(0, 0),
                            [&](PromptBytes& bytes) { return calls.ReadAPReportPromptStatus(bytes); });
}

TEST_F(ModuleCallsTest, CloudStatusKeepsItsPresetWhenItCannotBeRead) {
    const auto read = [&] {
        std::uint8_t status = 99;
        calls.ReadWebSecCloudStatus(status);
        return status;
    };
    fake.Give("ReadWebSecCloudStatus", std::uint8_t{0});
    EXPECT_EQ(read(), 0);
    fake.Give("ReadWebSecCloudStatus", std::uint8_t{3});
    EXPECT_EQ(read(), 3);
    fake.failing = {"ReadWebSecCloudStatus"};
    EXPECT_EQ(read(), 1);
    ForgetModules();
    EXPECT_EQ(read(), 1);
    ForgetFunctions();
    EXPECT_EQ(read(), 1);
}

TEST_F(ModuleCallsTest, IdsIpsSettingsAreReleasedAtOnce) {
    struct Kept {
        std::uint32_t flags;
        std::uint8_t extra;
    };
    IdsIpsSettings given{};
    given.flags = 0x00AB1234;
    given.extra = 0x77;
    fake.Give("ReadIDSIPSSettings", given);
    ExpectRead<Kept>(
        "ReadIDSIPSSettings", {1, 1},
        [](const Kept& kept) {
            EXPECT_EQ(kept.flags, 0x00AB1234U);
            EXPECT_EQ(kept.extra, 0x77);
        },
        [](const Kept& kept) {
            EXPECT_EQ(kept.flags, 0U);
            EXPECT_EQ(kept.extra, 0);
        },
        [&](Kept& kept) { return calls.ReadIDSIPSSettings(kept.flags, kept.extra); });
    std::uint32_t flags = 0;
    std::uint8_t extra = 0;
    EXPECT_TRUE(calls.ReadIDSIPSSettings(flags, extra));
    EXPECT_THAT(fake.Take(), ElementsAre("ReadIDSIPSSettings", "ReleaseIDSIPSSettings"));
    EXPECT_EQ(fake.released["ReleaseIDSIPSSettings"].size(), 91U);
    EXPECT_EQ(fake.released["ReleaseIDSIPSSettings"][2], 0xAB) << "the record as it was read";
}

TEST_F(ModuleCallsTest, ManagementServerAddress) {
    std::array<char16_t, 260> used;
    used.fill(u'z');
    using Address = std::array<char16_t, 260>;
    const auto read = [&](Address& address) { return calls.ReadEPSServerIP(address); };
    Address address = used;
    EXPECT_TRUE(read(address));
    EXPECT_EQ(base::FieldText(address), u"192.0.2.77");
    EXPECT_THAT(fake.Take(), ElementsAre("ReadEPSServerIP 260"));
    fake.failing = {"ReadEPSServerIP"};
    address = used;
    EXPECT_FALSE(read(address));
    EXPECT_EQ(address, Address{}) << "nothing of what the module wrote stays";
    ForgetFunctions();
    address = used;
    EXPECT_FALSE(read(address));
    EXPECT_EQ(address, Address{});
}

TEST_F(ModuleCallsTest, ResetOfTheUserWhiteList) {
    EXPECT_TRUE(calls.ResetBPUserWhitelist());
    EXPECT_THAT(fake.Take(), ElementsAre("ResetBPUserWhitelist"));
    fake.failing = {"ResetBPUserWhitelist"};
    EXPECT_FALSE(calls.ResetBPUserWhitelist());
    ForgetModules();
    fake.Take();
    EXPECT_FALSE(calls.ResetBPUserWhitelist());
    EXPECT_THAT(fake.Take(), IsEmpty());
}

TEST_F(ModuleCallsTest, ParentalRecord_IsNotReleased) {
    PcSettingsRecord given{};
    given.mode = 3;
    fake.Give("ReadPCSettings", given);
    ExpectRead<std::uint8_t>(
        "ReadPCSettings", 99, [](const std::uint8_t& mode) { EXPECT_EQ(mode, 3); },
        [](const std::uint8_t& mode) { EXPECT_EQ(mode, 0); },
        [&](std::uint8_t& mode) { return calls.ReadPCModeUnreleased(mode); });
    std::uint8_t mode = 0;
    EXPECT_TRUE(calls.ReadPCModeUnreleased(mode));
    EXPECT_THAT(fake.Take(), ElementsAre("ReadPCSettings"));
    EXPECT_EQ(fake.released.count("ReleasePCSettings"), 0U);
}

TEST_F(ModuleCallsTest, WhiteLists) {
    const std::function<void(const UrlListRecord&)> isGiven = [](const UrlListRecord& list) {
        EXPECT_EQ(list.count, 4U);
        EXPECT_NE(list.entries, nullptr);
    };
    const std::function<void(const UrlListRecord&)> isZero = [](const UrlListRecord& list) {
        EXPECT_EQ(list.count, 0U);
        EXPECT_EQ(list.entries, nullptr);
    };
    for (const char* read : {"ReadBPUserWhiteList", "ReadBPInternalWhiteList", "ReadWSInternalWhiteList"})
        fake.Give(read, UrlList(4));
    ExpectRead<UrlListRecord>("ReadBPUserWhiteList", UrlList(9), isGiven, isZero,
                              [&](UrlListRecord& list) { return calls.ReadBPUserWhiteList(list); });
    ExpectRead<UrlListRecord>("ReadBPInternalWhiteList", UrlList(9), isGiven, isZero,
                              [&](UrlListRecord& list) { return calls.ReadBPInternalWhiteList(list); });
    ExpectRead<UrlListRecord>("ReadWSInternalWhiteList", UrlList(9), isGiven, isZero,
                              [&](UrlListRecord& list) { return calls.ReadWSInternalWhiteList(list); });
}

TEST_F(ModuleCallsTest, ThreatSites) {
    ThreatSiteList given{};
    given.count = 6;
    given.entries = reinterpret_cast<ThreatSiteEntry*>(std::uintptr_t{0x6000});
    fake.Give("ReadBPSettings", given);
    ExpectRead<ThreatSiteList>(
        "ReadBPSettings", given, [](const ThreatSiteList& list) { EXPECT_EQ(list.count, 6U); },
        [](const ThreatSiteList& list) {
            EXPECT_EQ(list.count, 0U);
            EXPECT_EQ(list.entries, nullptr);
        },
        [&](ThreatSiteList& list) { return calls.ReadBPSettings(list); });
}

TEST_F(ModuleCallsTest, AReleaseHandsTheRecordBackAndForgetsIt) {
    ThreatSiteList threats{};
    threats.count = 6;
    calls.ReleaseBPSettings(threats);
    EXPECT_EQ(fake.released["ReleaseBPSettings"][0], 6);
    EXPECT_EQ(threats.count, 0U);
    UrlListRecord user = UrlList(2);
    calls.ReleaseBPUserWhiteList(user);
    EXPECT_EQ(fake.released["ReleaseBPUserWhiteList"][0], 2);
    EXPECT_EQ(user.count, 0U);
    EXPECT_EQ(user.entries, nullptr);
    UrlListRecord internal = UrlList(3);
    calls.ReleaseWSInternalWhiteList(internal);
    EXPECT_EQ(fake.released["ReleaseWSInternalWhiteList"][0], 3);
    EXPECT_EQ(internal.entries, nullptr);
}

TEST_F(ModuleCallsTest, AReleaseIsCalledForAnEmptyRecordToo) {
    ThreatSiteList threats{};
    UrlListRecord list{};
    IdsRuleTable rules;
    calls.ReleaseBPSettings(threats);
    calls.ReleaseBPUserWhiteList(list);
    calls.ReleaseWSInternalWhiteList(list);
    calls.ReleaseIDSSettings(rules);
    EXPECT_THAT(fake.journal, ElementsAre("ReleaseBPSettings", "ReleaseBPUserWhiteList", "ReleaseWSInternalWhiteList",
                                          "ReleaseIDSSettings"));
}

TEST_F(ModuleCallsTest, WithoutItsModuleAReleaseOnlyForgets) {
    ForgetModules();
    fake.Take();
    ThreatSiteList threats{};
    threats.count = 6;
    calls.ReleaseBPSettings(threats);
    EXPECT_EQ(threats.count, 0U);
    UrlListRecord list = UrlList(2);
    calls.ReleaseWSInternalWhiteList(list);
    EXPECT_EQ(list.count, 0U);
    EXPECT_THAT(fake.journal, IsEmpty());
}

// A read whose record is used at once.
template <class Record, class Read>
void ExpectUsedAndReleased(fakes::FakeModules& fake, Companions& companions, const std::string& name, Read&& read) {
    SCOPED_TRACE(name);
    const std::string release = "Release" + name.substr(4);
    int uses = 0;
    const auto use = [&](bool result) {
        return [&uses, &fake, &name, result](const Record&) {
            ++uses;
            EXPECT_EQ(fake.journal.back(), name) << "used before it is released";
            return result;
        };
    };
    fake.Take();
    EXPECT_TRUE(read(use(true)));
    EXPECT_THAT(fake.Take(), ElementsAre(name, release));
    EXPECT_FALSE(read(use(false)));
    EXPECT_THAT(fake.Take(), ElementsAre(name, release)) << "also when the use fails";
    const auto raising = [](const Record&) -> bool { throw std::runtime_error("use"); };
    EXPECT_THROW(read(raising), std::runtime_error);
    EXPECT_THAT(fake.Take(), ElementsAre(name, release)) << "also when the use raises an error";
    EXPECT_EQ(uses, 2);

    fake.failing = {name};
    EXPECT_FALSE(read(use(true)));
    EXPECT_THAT(fake.Take(), ElementsAre(name));
    fake.failing = {};
    Companions kept = std::exchange(companions, {});
    EXPECT_FALSE(read(use(true)));
    companions.settingsReader = SettingsReader{};
    companions.statusReader = StatusReader{};
    EXPECT_FALSE(read(use(true)));
    companions = std::move(kept);
    EXPECT_THAT(fake.Take(), IsEmpty());
    EXPECT_EQ(uses, 2) << "nothing is used that was not read";
}

TEST_F(ModuleCallsTest, RecordsUsedAtOnce) {
    ExpectUsedAndReleased<PhishingSiteList>(fake, companions, "ReadAPSettings",
                                            [&](auto use) { return calls.ReadAPSettings(use); });
    ExpectUsedAndReleased<PcSettingsRecord>(fake, companions, "ReadPCSettings",
                                            [&](auto use) { return calls.ReadPCSettings(use); });
    ExpectUsedAndReleased<PcSystemControlRecord>(fake, companions, "ReadPCSystemControlSettings",
                                                 [&](auto use) { return calls.ReadPCSystemControlSettings(use); });
    ExpectUsedAndReleased<DnsCacheRecord>(fake, companions, "ReadDNSCacheSettings",
                                          [&](auto use) { return calls.ReadDNSCacheSettings(use); });
}

TEST_F(ModuleCallsTest, Writes) {
    DnsCacheRecord dns{};
    dns.count = 3000;
    PcSystemControlRecord sessions{};
    sessions.count = 2;
    EXPECT_TRUE(calls.WriteDNSCacheSettings(dns));
    EXPECT_TRUE(calls.WritePCSystemControlSettings(sessions));
    EXPECT_THAT(fake.Take(), ElementsAre("WriteDNSCacheSettings 3000", "WritePCSystemControlSettings 2"));
    fake.failing = {"WriteDNSCacheSettings", "WritePCSystemControlSettings"};
    EXPECT_FALSE(calls.WriteDNSCacheSettings(dns));
    EXPECT_FALSE(calls.WritePCSystemControlSettings(sessions));
    ForgetFunctions();
    fake.Take();
    EXPECT_FALSE(calls.WriteDNSCacheSettings(dns));
    EXPECT_FALSE(calls.WritePCSystemControlSettings(sessions));
    EXPECT_THAT(fake.Take(), IsEmpty());
}

TEST(SettingsState, StartsWithEverythingOff) {
    const SettingsState state;
    EXPECT_EQ(state.bpStatus + state.apStatus + state.idsIpsStatus + state.agentStatus, 0);
    EXPECT_EQ(state.bpPrompt.report + state.bpPrompt.prompt + state.apPrompt.report + state.apPrompt.prompt, 0);
    EXPECT_EQ(state.idsIpsFlags, 0U);
    EXPECT_EQ(state.idsIpsExtra, 0);
    EXPECT_EQ(state.bpSettings.count, 0U);
    EXPECT_EQ(state.bpUserWhiteList.count, 0U);
    EXPECT_EQ(state.bpInternalWhiteList.count, 0U);
    EXPECT_EQ(state.wsInternalWhiteList.count, 0U);
    EXPECT_EQ(state.idsRules.Record().ruleCount, 0U);
}

}  // namespace
}  // namespace tarn::modules
