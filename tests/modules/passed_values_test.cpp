// The three values of the host on their way to the first module call of a settings change.
#include <gtest/gtest.h>
#include <vector>

#include "fakes/fake_modules.h"
#include "modules/module_calls.h"

namespace tarn::modules {
namespace {

using Values = std::vector<std::uint64_t>;
Values seen;  // by the last function called

// What modules of a host's own making look like: they take the three values behind their own arguments.
std::uint8_t ReadStatus(std::uint64_t, std::uint8_t* out, std::uint32_t*, std::uint64_t a, std::uint64_t b,
                        std::uint64_t c) {
    seen = {a, b, c};
    *out = 1;
    return 1;
}
std::uint8_t ReadIdsIpsStatus(std::uint64_t, IdsIpsStatus* out, std::uint32_t*, std::uint64_t a, std::uint64_t b,
                              std::uint64_t c) {
    seen = {a, b, c};
    out->enabled = 1;
    return 1;
}
std::uint8_t ReadIdsIpsSettings(std::uint64_t, IdsIpsSettings* out, std::uint32_t*, std::uint64_t a, std::uint64_t b,
                                std::uint64_t c) {
    seen = {a, b, c};
    out->flags = 1;
    return 1;
}
std::uint8_t ReadParental(std::uint64_t, PcSettingsRecord*, std::uint32_t*, std::uint64_t a, std::uint64_t b,
                          std::uint64_t c) {
    seen = {a, b, c};
    return 1;
}
std::uint8_t WriteSessions(std::uint64_t, const PcSystemControlRecord*, std::uint32_t*, std::uint64_t a,
                           std::uint64_t b, std::uint64_t c) {
    seen = {a, b, c};
    return 1;
}
std::uint8_t WriteAnswers(std::uint64_t, const DnsCacheRecord*, std::uint32_t*, std::uint64_t a, std::uint64_t b,
                          std::uint64_t c) {
    seen = {a, b, c};
    return 1;
}
void ReleaseList(UrlListRecord*, std::uint64_t a, std::uint64_t b, std::uint64_t c) {
    seen = {a, b, c};
}
void EndWithError(std::uint32_t*, std::uint64_t a, std::uint64_t b, std::uint64_t c) {
    seen = {a, b, c};
}
void EndWithoutArguments(std::uint64_t a, std::uint64_t b, std::uint64_t c) {
    seen = {a, b, c};
}

// Such a function in the slot of one that declares its own arguments alone.
template <class Declared, class Function>
Declared As(Function* function) {
    return reinterpret_cast<Declared>(reinterpret_cast<void (*)()>(function));
}

constexpr std::uint64_t kA = 0xFFFFFFFFFFFFFFFF;
constexpr std::uint64_t kB = 2;
constexpr std::uint64_t kC = 0x8000000000000000;

// Puts other numbers where a call finds arguments that it is not given.
ReadStatusFn volatile overwriteArguments = As<ReadStatusFn>(&ReadStatus);
void OverwriteArguments() {
    using Extended =
        std::uint8_t (*)(std::uint64_t, std::uint8_t*, std::uint32_t*, std::uint64_t, std::uint64_t, std::uint64_t);
    std::uint8_t out = 0;
    reinterpret_cast<Extended>(reinterpret_cast<void (*)()>(overwriteArguments))(0, &out, nullptr, 7, 8, 9);
}

// Whether the next call gets the values.
bool StillWait(ModuleCalls& calls) {
    OverwriteArguments();
    std::uint8_t out = 0;
    calls.Call(As<ReadStatusFn>(&ReadStatus), 0, &out, &calls.Error());
    return seen == Values{kA, kB, kC};
}

int plainCalls = 0;
std::uint8_t Plain(std::uint64_t reserved, std::uint8_t* out, std::uint32_t* error) {
    ++plainCalls;
    *out = static_cast<std::uint8_t>(reserved + 5);
    *error = 6;
    return 1;
}

class PassedValuesTest : public testing::Test {
 protected:
    fakes::FakeModules fake;
    Companions companions;
    std::uint32_t error = 0;
};

TEST_F(PassedValuesTest, OnlyTheFirstCallGetsThem) {
    ModuleCalls calls(companions, fake, error, PassedValues{kA, kB, kC});
    std::uint8_t out = 0;
    EXPECT_EQ(calls.Call(As<ReadStatusFn>(&ReadStatus), 0, &out, &error), 1);
    EXPECT_EQ(seen, (Values{kA, kB, kC}));
    EXPECT_FALSE(StillWait(calls));
    plainCalls = 0;
    EXPECT_EQ(calls.Call(static_cast<ReadStatusFn>(&Plain), 0, &out, &error), 1);
    EXPECT_EQ(plainCalls, 1);
    EXPECT_EQ(out, 5);
}

TEST_F(PassedValuesTest, WithoutThemACallIsPlain) {
    ModuleCalls calls(companions, fake, error);
    std::uint8_t out = 0;
    plainCalls = 0;
    EXPECT_EQ(calls.Call(static_cast<ReadStatusFn>(&Plain), 1, &out, &error), 1);
    EXPECT_EQ(plainCalls, 1);
    EXPECT_EQ(out, 6);
    EXPECT_EQ(error, 6U);
    EXPECT_FALSE(StillWait(calls));
}

TEST_F(PassedValuesTest, AFunctionThatTakesFewerIsNotDisturbed) {
    ModuleCalls calls(companions, fake, error, PassedValues{kA, kB, kC});
    std::uint8_t out = 0;
    EXPECT_EQ(calls.Call(static_cast<ReadStatusFn>(&Plain), 0, &out, &error), 1);
    EXPECT_EQ(out, 5);
    EXPECT_EQ(error, 6U);
    EXPECT_FALSE(StillWait(calls)) << "they count as handed on";
}

// Each call of the six modules may be the first that a settings change makes.
class FirstCalls : public testing::Test {
 protected:
    FirstCalls() {
        companions.statusReader =
            StatusReader{.ReadBPStatus = As<ReadStatusFn>(&ReadStatus),
                         .ReadIDSIPSStatus = As<ReadIDSIPSStatusFn>(&ReadIdsIpsStatus),
                         .ReadPCSettings = As<ReadPCSettingsFn>(&ReadParental),
                         .ReadAPStatus = As<ReadStatusFn>(&ReadStatus),
                         .ReleaseBPUserWhiteList = As<ReleaseWhiteListFn>(&ReleaseList),
                         .ReadWebSecCloudStatus = As<ReadStatusFn>(&ReadStatus),
                         .WriteDNSCacheSettings = As<WriteDNSCacheSettingsFn>(&WriteAnswers),
                         .ReadIDSIPSSettings = As<ReadIDSIPSSettingsFn>(&ReadIdsIpsSettings),
                         .WritePCSystemControlSettings = As<WritePCSystemControlSettingsFn>(&WriteSessions)};
        companions.settingsReader = SettingsReader{.ReleaseWSInternalWhiteList = As<ReleaseWhiteListFn>(&ReleaseList)};
        companions.categorisation = Categorisation{.SCDeinit = As<SCDeinitFn>(&EndWithError)};
        companions.httpsInspection = HttpsInspection{.DeIntializeSSL = As<DeIntializeSSLFn>(&EndWithoutArguments)};
    }

    template <class Use>
    void ExpectPassed(const char* what, Use&& use) {
        seen.clear();
        ModuleCalls calls(companions, fake, error, PassedValues{kA, kB, kC});
        use(calls);
        EXPECT_EQ(seen, (Values{kA, kB, kC})) << what;
        EXPECT_FALSE(StillWait(calls)) << what;
    }

    fakes::FakeModules fake;
    Companions companions;
    std::uint32_t error = 0;
};

TEST_F(FirstCalls, PassTheValues) {
    std::uint8_t status = 0;
    std::uint32_t flags = 0;
    UrlListRecord list{};
    ExpectPassed("ReadBPStatus", [&](ModuleCalls& calls) { EXPECT_TRUE(calls.ReadBPStatus(status)); });
    ExpectPassed("ReadAPStatus", [&](ModuleCalls& calls) { EXPECT_TRUE(calls.ReadAPStatus(status)); });
    ExpectPassed("ReadIDSIPSStatus", [&](ModuleCalls& calls) { EXPECT_TRUE(calls.ReadIDSIPSStatus(status)); });
    ExpectPassed("ReadIDSIPSSettings",
                 [&](ModuleCalls& calls) { EXPECT_TRUE(calls.ReadIDSIPSSettings(flags, status)); });
    ExpectPassed("ReadPCSettings", [&](ModuleCalls& calls) {
        EXPECT_TRUE(calls.ReadPCSettings([](const PcSettingsRecord&) { return true; }));
    });
    ExpectPassed("WritePCSystemControlSettings",
                 [&](ModuleCalls& calls) { EXPECT_TRUE(calls.WritePCSystemControlSettings({})); });
    ExpectPassed("WriteDNSCacheSettings", [&](ModuleCalls& calls) { EXPECT_TRUE(calls.WriteDNSCacheSettings({})); });
    ExpectPassed("ReleaseBPUserWhiteList", [&](ModuleCalls& calls) { calls.ReleaseBPUserWhiteList(list); });
    ExpectPassed("ReleaseWSInternalWhiteList", [&](ModuleCalls& calls) { calls.ReleaseWSInternalWhiteList(list); });
    ExpectPassed("ReadWebSecCloudStatus", [&](ModuleCalls& calls) { calls.ReadWebSecCloudStatus(status); });
    ExpectPassed("DeIntializeSSL", [&](ModuleCalls& calls) { calls.Unload<HttpsInspection>(); });
    ExpectPassed("SCDeinit", [&](ModuleCalls& calls) { calls.Unload<Categorisation>(); });
}

TEST_F(FirstCalls, ACallThatIsSkippedKeepsTheValues) {
    companions.statusReader = {};
    companions.httpsInspection = {};
    ModuleCalls calls(companions, fake, error, PassedValues{kA, kB, kC});
    std::uint8_t status = 0;
    EXPECT_FALSE(calls.ReadBPStatus(status));
    calls.Unload<HttpsInspection>();
    seen.clear();
    calls.Unload<Categorisation>();
    EXPECT_EQ(seen, (Values{kA, kB, kC})) << "the next call that is made takes them";
    EXPECT_FALSE(StillWait(calls));
}

}  // namespace
}  // namespace tarn::modules
