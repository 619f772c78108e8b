#include "modules/pass_through.h"

#include <gtest/gtest.h>
#include <tuple>
#include <vector>

#include "modules/companion_loader.h"
#include "modules/fake_modules.h"
#include "modules/settings.h"

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

int plainCalls = 0;
std::uint8_t Plain(std::uint64_t reserved, std::uint8_t* out, std::uint32_t* error) {
    ++plainCalls;
    *out = static_cast<std::uint8_t>(reserved + 5);
    *error = 6;
    return 1;
}

constexpr std::uint64_t kA = 0xFFFFFFFFFFFFFFFF;
constexpr std::uint64_t kB = 2;
constexpr std::uint64_t kC = 0x8000000000000000;

TEST(PassThrough, OnlyTheFirstCallGetsTheValues) {
    PassThrough passed(kA, kB, kC);
    std::uint8_t out = 0;
    std::uint32_t error = 0;
    EXPECT_TRUE(passed.Pending());
    EXPECT_EQ(CallPassing(&passed, As<ReadStatusFn>(&ReadStatus), 0, &out, &error), 1);
    EXPECT_EQ(seen, (Values{kA, kB, kC}));
    EXPECT_FALSE(passed.Pending());
    plainCalls = 0;
    EXPECT_EQ(CallPassing(&passed, static_cast<ReadStatusFn>(&Plain), 0, &out, &error), 1);
    EXPECT_EQ(plainCalls, 1);
    EXPECT_EQ(out, 5);
}

TEST(PassThrough, WithoutOneTheCallIsPlain) {
    std::uint8_t out = 0;
    std::uint32_t error = 0;
    plainCalls = 0;
    EXPECT_EQ(CallPassing(nullptr, static_cast<ReadStatusFn>(&Plain), 1, &out, &error), 1);
    EXPECT_EQ(plainCalls, 1);
    EXPECT_EQ(out, 6);
    EXPECT_EQ(error, 6U);
}

TEST(PassThrough, AFunctionThatTakesFewerIsNotDisturbed) {
    PassThrough passed(kA, kB, kC);
    std::uint8_t out = 0;
    std::uint32_t error = 0;
    EXPECT_EQ(CallPassing(&passed, static_cast<ReadStatusFn>(&Plain), 0, &out, &error), 1);
    EXPECT_EQ(out, 5);
    EXPECT_EQ(error, 6U);
    EXPECT_FALSE(passed.Pending()) << "they count as handed on";
}

// The calls that may be the first of a settings change.
class FirstCalls : public testing::Test {
 protected:
    FirstCalls() {
        base::PathBuffer folder;
        fake.InstallFolder(folder);
        EXPECT_TRUE(LoadAll(companions, fake, error));
        StatusReader& status = companions.statusReader.functions;
        status.ReadBPStatus = status.ReadAPStatus = As<ReadStatusFn>(&ReadStatus);
        status.ReadIDSIPSStatus = As<ReadIDSIPSStatusFn>(&ReadIdsIpsStatus);
        status.ReadIDSIPSSettings = As<ReadIDSIPSSettingsFn>(&ReadIdsIpsSettings);
        status.ReadPCSettings = As<ReadPCSettingsFn>(&ReadParental);
        status.WritePCSystemControlSettings = As<WritePCSystemControlSettingsFn>(&WriteSessions);
        status.ReleaseBPUserWhiteList = As<ReleaseWhiteListFn>(&ReleaseList);
        companions.settingsReader.functions.ReleaseWSInternalWhiteList = As<ReleaseWhiteListFn>(&ReleaseList);
        companions.categorisation.functions.SCDeinit = As<SCDeinitFn>(&EndWithError);
        companions.httpsInspection.functions.DeIntializeSSL = As<DeIntializeSSLFn>(&EndWithoutArguments);
    }
    ~FirstCalls() override { UnloadPacketSignatures(companions, fake, error); }

    template <class Call>
    void ExpectPassed(const char* what, Call&& call) {
        seen.clear();
        PassThrough passed(kA, kB, kC);
        call(&passed);
        EXPECT_EQ(seen, (Values{kA, kB, kC})) << what;
        EXPECT_FALSE(passed.Pending()) << what;
    }

    FakeModules fake;
    Companions companions;
    std::uint32_t error = 0;
};

TEST_F(FirstCalls, PassTheValues) {
    std::uint8_t status = 0;
    std::uint32_t flags = 0;
    UrlListRecord list{};
    const PcSystemControlRecord sessions{};
    ExpectPassed("ReadBPStatus", [&](PassThrough* p) { EXPECT_TRUE(ReadBPStatus(companions, status, error, p)); });
    ExpectPassed("ReadAPStatus", [&](PassThrough* p) { EXPECT_TRUE(ReadAPStatus(companions, status, error, p)); });
    ExpectPassed("ReadIDSIPSStatus",
                 [&](PassThrough* p) { EXPECT_TRUE(ReadIDSIPSStatus(companions, status, error, p)); });
    ExpectPassed("ReadIDSIPSSettings",
                 [&](PassThrough* p) { EXPECT_TRUE(ReadIDSIPSSettings(companions, flags, status, error, p)); });
    ExpectPassed("ReadPCSettings", [&](PassThrough* p) {
        EXPECT_TRUE(ReadPCSettings(
            companions, error, [](const PcSettingsRecord&) { return true; }, p));
    });
    ExpectPassed("WritePCSystemControlSettings",
                 [&](PassThrough* p) { EXPECT_TRUE(WritePCSystemControlSettings(companions, sessions, error, p)); });
    ExpectPassed("ReleaseBPUserWhiteList", [&](PassThrough* p) { ReleaseBPUserWhiteList(companions, list, p); });
    ExpectPassed("ReleaseWSInternalWhiteList",
                 [&](PassThrough* p) { ReleaseWSInternalWhiteList(companions, list, p); });
    ExpectPassed("DeIntializeSSL", [&](PassThrough* p) { UnloadHttpsInspection(companions, fake, p); });
    ExpectPassed("SCDeinit", [&](PassThrough* p) { UnloadCategorisation(companions, fake, error, p); });
}

TEST_F(FirstCalls, ACallThatIsSkippedKeepsTheValues) {
    companions.statusReader.loaded = false;
    companions.httpsInspection.loaded = false;
    PassThrough passed(kA, kB, kC);
    std::uint8_t status = 0;
    EXPECT_FALSE(ReadBPStatus(companions, status, error, &passed));
    UnloadHttpsInspection(companions, fake, &passed);
    EXPECT_TRUE(passed.Pending());
    UnloadCategorisation(companions, fake, error, &passed);
    EXPECT_FALSE(passed.Pending()) << "the next call that is made takes them";
}

}  // namespace
}  // namespace tarn::modules
