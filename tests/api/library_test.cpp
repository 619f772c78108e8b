#include "api/library.h"

#include <gtest/gtest.h>
#include <memory>
#include <type_traits>

#include "api/fake_platform.h"

namespace tarn::api {
namespace {

TEST(Library, Locks_SpareCriticalSection_IsThere) {
    FakePlatform platform;
    const auto library = std::make_unique<Library>(platform);
    static_assert(std::is_same_v<decltype(library->relics.spareLock), base::CriticalSection>);
    // It was made: it can be entered and left, whatever else is held.
    library->parental.Write([&](ParentalTables&) {
        library->relics.spareLock.Enter();
        library->relics.spareLock.Leave();
    });
}

TEST(Library, NoTwoOfItsLocksAreOne) {
    FakePlatform platform;
    const auto library = std::make_unique<Library>(platform);
    smb::SmbTables& smb = library->smbTables;
    // All can be held at once; the list of blocked addresses and browsing protection take theirs in Clear.
    const int held = library->parental.Write([&](auto&) {
        return smb.smb2PendingRequests.Write([&](auto&) {
            return smb.smb2Sessions.Write([&](auto&) {
                return smb.smb1PendingRequests.Write([&](auto&) {
                    return smb.smb1Clients.Write([&](auto&) {
                        library->idsBlockedList.Clear();
                        library->browsingProtection.Clear();
                        return library->scheduleWorker.Allows().IsSet() ? 0 : 8;  // asks for its lock while it is clear
                    });
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
    EXPECT_FALSE(library->scheduleWorker.Allows().IsSet());
}

}  // namespace
}  // namespace tarn::api
