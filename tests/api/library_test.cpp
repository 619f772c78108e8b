#include "api/library.h"

#include <gtest/gtest.h>
#include <memory>
#include <type_traits>

#include "api/fake_platform.h"
#include "api/lifecycle.h"

namespace tarn::api {
namespace {

TEST(Library, Locks_SpareCriticalSection_IsThere) {
    FakePlatform platform;
    const auto library = std::make_unique<Library>(platform);
    static_assert(std::is_same_v<decltype(library->spare), base::CriticalSection>);
    // It was made: it can be entered and left, whatever else is held.
    const base::WriteHold hold(library->parentalLock);
    library->spare.Enter();
    library->spare.Leave();
}

TEST(Library, NoTwoOfItsLocksAreOne) {
    FakePlatform platform;
    const auto library = std::make_unique<Library>(platform);
    smb::SmbTables& smb = library->smbTables;
    const base::WriteHold hold(library->parentalLock);
    // Six more that can all be held at once; the two below have no door but their owners'.
    const int held = smb.smb2PendingRequests.Write([&](auto&) {
        return smb.smb2Sessions.Write([&](auto&) {
            return smb.smb1PendingRequests.Write([&](auto&) {
                return smb.smb1Clients.Write([&](auto&) {
                    library->idsBlockedList.Clear();
                    library->browsingProtection.Clear();
                    return library->scheduleWorker.Allows().Read([](bool) { return 8; });
                });
            });
        });
    });
    EXPECT_EQ(held, 8);
}

TEST(Library, StartsNotReadyWithEverythingOff) {
    FakePlatform platform;
    const auto library = std::make_unique<Library>(platform);
    EXPECT_FALSE(library->ready);
    EXPECT_EQ(library->settings.bpStatus, 0);
    EXPECT_EQ(library->settings.apStatus, 0);
    EXPECT_EQ(library->settings.idsIpsStatus, 0);
    EXPECT_EQ(library->settings.idsRules.Record().ruleCount, 0U);
    EXPECT_EQ(library->dnsBlockSwitch, 0U);
    EXPECT_FALSE(library->scheduleWorker.Allows().Read([](bool allows) { return allows; }));
}

TEST(Library, AFailedStartClearsTheExclusionList) {
    FakePlatform platform;
    platform.integers[u"C:\\suite\\browskip.ini [BROWSER_EXCLUSION_LIST] COUNT"] = 1;
    platform.texts[u"C:\\suite\\browskip.ini [BROWSER_EXCLUSION_LIST] NAMES"] = u"browser.exe";
    const auto library = std::make_unique<Library>(platform);
    std::uint32_t error = 0;
    EXPECT_FALSE(Start(*library, 1, error)) << "no module loads here";
    EXPECT_FALSE(library->ready);
    Stop(*library, error);
    EXPECT_FALSE(library->scheduleWorker.IsRunning());
}

}  // namespace
}  // namespace tarn::api
