// The list of reported attackers lives as long as the library stays loaded.
#include <gtest/gtest.h>
#include <memory>

#include "api/fake_platform.h"
#include "api/library.h"
#include "api/lifecycle.h"

namespace tarn::api {
namespace {

TEST(Library, ReportedAttackersOutliveStopAndStart) {
    FakePlatform platform;
    const auto library = std::make_unique<Library>(platform);
    const IpAddressRecord attacker{.family = TARN_FAMILY_IPV4, .bytes = {198, 51, 100, 7}};
    library->packetScan.reportedAttackers.Add(attacker);
    std::uint32_t error = 0;
    Stop(*library, error);
    EXPECT_TRUE(library->packetScan.reportedAttackers.Contains(attacker)) << "after an end";
    for (const bool restart : {false, true}) {
        EXPECT_FALSE(Start(*library, restart ? 1 : 0, error)) << "no module loads here";
        EXPECT_TRUE(library->packetScan.reportedAttackers.Contains(attacker)) << "after a start and its undoing";
    }
    SaveForShutDown(*library, 0, 0, 0, 0);
    EXPECT_TRUE(library->packetScan.reportedAttackers.Contains(attacker)) << "after the lighter end";
}

}  // namespace
}  // namespace tarn::api
