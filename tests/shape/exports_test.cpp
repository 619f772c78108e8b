#include <cstdint>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <vector>

#include "shape/pe_image.h"

namespace tarn::shape {
namespace {

using testing::Contains;
using testing::Each;
using testing::Gt;
using testing::SizeIs;

// The built tarn.dll.
struct TheLibrary : testing::Test {
    void SetUp() override {
        std::ifstream stream(TARN_DLL, std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), {}};
        const std::vector<std::uint8_t> file(bytes.begin(), bytes.end());
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

TEST_F(TheLibrary, ImportsSystemLibrariesOnly) {
    EXPECT_THAT(image.importedModules, Contains("kernel32.dll"));
    EXPECT_THAT(image.importedModules,
                Each(testing::AnyOf("kernel32.dll", "advapi32.dll", "ws2_32.dll", "iphlpapi.dll", "wtsapi32.dll",
                                    "shlwapi.dll", "user32.dll", "msvcrt.dll", "ntdll.dll")));
    EXPECT_FALSE(image.delaysImports);
}

TEST_F(TheLibrary, IsAHardened64BitDll) {
    EXPECT_EQ(image.machine, kMachineAmd64);
    EXPECT_TRUE(image.characteristics & kIsDll);
    EXPECT_TRUE(image.dllCharacteristics & kDynamicBase);
    EXPECT_TRUE(image.dllCharacteristics & kNxCompatible);
    EXPECT_TRUE(image.dllCharacteristics & kHighEntropyVa);
}

TEST_F(TheLibrary, SaysItsVersion) {
    EXPECT_THAT(image.resourceTypes, Contains(kVersionResource));
}

TEST_F(TheLibrary, IsBuiltWithoutATimeStamp) {
    EXPECT_EQ(image.timeStamp, 0U);
}

}  // namespace
}  // namespace tarn::shape
