#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <vector>

#include "shape/pe_image.h"

namespace tarn::shape {
namespace {

using testing::Contains;
using testing::Gt;
using testing::SizeIs;

// The built tarn.dll.
struct TheLibrary : testing::Test {
    void SetUp() override {
        const std::vector<std::uint8_t> file = ReadFileBytes(TARN_DLL);
        ASSERT_THAT(file, SizeIs(Gt(0U))) << TARN_DLL;
        const auto parsed = ParsePeImage(file);
        ASSERT_TRUE(parsed.has_value()) << TARN_DLL;
        image = *parsed;
    }

    PeImage image;
};

TEST_F(TheLibrary, ExportsTheThirteenNamesAndNothingElse) {
    EXPECT_THAT(image.exportedNames,
                testing::UnorderedElementsAre(
                    "WSInit", "WSDeinit", "WSShutDown", "WSSettingsChanged", "WSUpdateSettingsChanged", "WSScanUrl",
                    "WSWebExtScanUrl", "WSGetUrlScanFeatureStatus", "WSScanPacket", "WSDropConnection",
                    "WSAddURLToIDSBlockedList", "WSScanLogonEventForPCCTRL", "WSScanSMBPacket"));
    EXPECT_EQ(image.exportedAddresses, 13U) << "something is exported without a name";
}

TEST_F(TheLibrary, SaysItsVersion) {
    EXPECT_THAT(image.resourceTypes, Contains(kVersionResource));
}

}  // namespace
}  // namespace tarn::shape
