#include "api/library.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <memory>
#include <type_traits>

namespace tarn::api {
namespace {

// A library that was only just made asks its platform nothing.
class SilentPlatform final : public Platform {
 public:
    modules::ModuleSystem& Modules() override {
        ADD_FAILURE() << "no module is asked for";
        std::abort();
    }
    std::uint32_t ReadIniInteger(const base::PathBuffer&, const char16_t*, const char16_t*, std::uint32_t) override {
        ADD_FAILURE() << "no file is read";
        return 0;
    }
};

template <class... Members>
constexpr int kLocksAmong = (0 + ... + (std::is_same_v<Members, base::ReaderWriterLock> ? 1 : 0));
template <class... Members>
constexpr int kSectionsAmong = (0 + ... + (std::is_same_v<Members, base::CriticalSection> ? 1 : 0));

TEST(Library, Locks_SpareCriticalSection_IsThere) {
    SilentPlatform platform;
    const auto library = std::make_unique<Library>(platform);
    // Ten members, no more and no fewer: the decomposition would not compile otherwise.
    auto& [l1, l2, l3, l4, l5, l6, l7, l8, s1, s2] = library->locks;
    EXPECT_EQ((kLocksAmong<decltype(l1), decltype(l2), decltype(l3), decltype(l4), decltype(l5), decltype(l6),
                           decltype(l7), decltype(l8), decltype(s1), decltype(s2)>),
              8);
    EXPECT_EQ((kSectionsAmong<decltype(l1), decltype(l2), decltype(l3), decltype(l4), decltype(l5), decltype(l6),
                              decltype(l7), decltype(l8), decltype(s1), decltype(s2)>),
              2);
    EXPECT_EQ(&s2, &library->locks.spare);
    // It was made: it can be entered and left.
    library->locks.spare.Enter();
    library->locks.spare.Leave();
}

TEST(Library, NoTwoOfItsLocksAreOne) {
    SilentPlatform platform;
    const auto library = std::make_unique<Library>(platform);
    Locks& locks = library->locks;
    base::ReaderWriterLock* all[] = {&locks.idsBlockedList, &locks.parentalControl, &locks.browsingProtection,
                                     &locks.smb1Requests,   &locks.smb1Trees,       &locks.smb2Requests,
                                     &locks.smb2Trees,      &locks.schedule};
    // Each can be taken for writing while all the others are.
    for (base::ReaderWriterLock* lock : all) lock->AcquireForWriting();
    for (base::ReaderWriterLock* lock : all) lock->Release();
    for (base::ReaderWriterLock* lock : all) {
        lock->AcquireForReading();
        lock->Release();
    }
}

TEST(Library, StartsNotReadyWithEverythingOff) {
    SilentPlatform platform;
    const auto library = std::make_unique<Library>(platform);
    EXPECT_FALSE(library->ready);
    EXPECT_FALSE(library->companions.settingsReader.loaded || library->companions.statusReader.loaded ||
                 library->companions.categorisation.loaded || library->companions.packetSignatures.loaded ||
                 library->companions.httpsInspection.loaded || library->companions.urlPatterns.loaded);
    EXPECT_EQ(library->settings.bpStatus, 0);
    EXPECT_EQ(library->settings.apStatus, 0);
    EXPECT_EQ(library->settings.idsIpsStatus, 0);
    EXPECT_EQ(library->settings.idsRules.Record().ruleCount, 0U);
    EXPECT_EQ(library->dnsBlockSwitch, 0U);
}

}  // namespace
}  // namespace tarn::api
