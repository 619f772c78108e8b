// What each export does before anything else: null arguments, zero lengths, preset verdicts.
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "system/system_fixture_win32.h"

namespace tarn::system_test {
namespace {

class ExportsContract : public SystemFixture {};

TEST_F(ExportsContract, ScanUrlRefusesNullsAndEmptyData) {
    std::uint8_t data[] = {'G', 0};
    ScanRequest request{};
    request.kind = TARN_KIND_HTTP;
    EXPECT_EQ(tarn.WSScanUrl(nullptr, &verdict, &prompt), 0);
    EXPECT_EQ(tarn.WSScanUrl(&request, &verdict, &prompt), 0) << "null data";
    request.data = data;
    EXPECT_EQ(tarn.WSScanUrl(&request, &verdict, &prompt), 0) << "no length";
    request.dataLength = 1;
    data[1] = 'E';
    std::memset(&verdict, 0xCD, sizeof verdict);
    EXPECT_EQ(tarn.WSScanUrl(&request, nullptr, &prompt), 0);
    EXPECT_EQ(tarn.WSScanUrl(&request, &verdict, nullptr), 0);
    EXPECT_EQ(verdict.allow, 0xCDCDCDCDU) << "nothing is written";
    EXPECT_EQ(data[1], 'E');
    EXPECT_EQ(tarn.WSScanUrl(&request, &verdict, &prompt), 1);
    EXPECT_EQ(data[1], 0);
}

TEST_F(ExportsContract, WebExtScanUrlRefusesNullsAndLetsOtherKindsPass) {
    std::uint8_t url[] = "http://a.example/";
    ScanRequest request{};
    request.data = url;
    request.kind = TARN_KIND_HTTP;
    EXPECT_EQ(tarn.WSWebExtScanUrl(nullptr, &verdict, &prompt), 0);
    EXPECT_EQ(tarn.WSWebExtScanUrl(&request, nullptr, &prompt), 0);
    EXPECT_EQ(tarn.WSWebExtScanUrl(&request, &verdict, nullptr), 0);
    EXPECT_EQ(tarn.WSWebExtScanUrl(&request, &verdict, &prompt), 1);
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    request.data = nullptr;
    EXPECT_EQ(tarn.WSWebExtScanUrl(&request, &verdict, &prompt), 1) << "the text of another kind is not asked";
    request.kind = TARN_KIND_TLS;
    EXPECT_EQ(tarn.WSWebExtScanUrl(&request, &verdict, &prompt), 0);
}

TEST_F(ExportsContract, ScanPacketRefusesNullsAndPresetsAllow) {
    std::uint8_t frame[60] = {};
    PacketVerdict packet;
    std::memset(&packet, 0xCD, sizeof packet);
    EXPECT_EQ(tarn.WSScanPacket(nullptr, 60, 1, 1, 0, &packet), 0);
    EXPECT_EQ(tarn.WSScanPacket(frame, 0, 1, 1, 0, &packet), 0);
    EXPECT_EQ(tarn.WSScanPacket(frame, 60, 1, 1, 0, nullptr), 0);
    EXPECT_EQ(packet.action, 0xCDCDCDCDU);
    EXPECT_EQ(tarn.WSScanPacket(frame, 60, 1, 1, 0, &packet), 1);
    EXPECT_EQ(packet.action, 1U);
    EXPECT_EQ(packet.reason, 0xCDCDCDCDU);
}

TEST_F(ExportsContract, ScanSmbPacketRefusesNulls) {
    const std::uint8_t frame[60] = {};
    SmbScanResult result;
    std::memset(&result, 0xCD, sizeof result);
    EXPECT_EQ(tarn.WSScanSMBPacket(nullptr, 60, 0, &result), 0);
    EXPECT_EQ(tarn.WSScanSMBPacket(frame, 0, 0, &result), 0);
    EXPECT_EQ(tarn.WSScanSMBPacket(frame, 60, 0, nullptr), 0);
    EXPECT_EQ(result.resultKind, 0xCDCDCDCDU);
    tarn.WSScanSMBPacket(frame, 60, 0, &result);
    EXPECT_EQ(result.resultKind, 1U);
}

TEST_F(ExportsContract, LogonCheckRefusesNullsAndPresetsItsVerdict) {
    LogonEvent event{};
    event.sessionId = 12;
    LogonVerdict logon;
    std::memset(&logon, 0xCD, sizeof logon);
    EXPECT_EQ(tarn.WSScanLogonEventForPCCTRL(nullptr, &logon), 0);
    EXPECT_EQ(tarn.WSScanLogonEventForPCCTRL(&event, nullptr), 0);
    EXPECT_EQ(logon.action, 0xCDCDCDCDU);
    EXPECT_EQ(tarn.WSScanLogonEventForPCCTRL(&event, &logon), 0) << "an invalid identifier";
    EXPECT_EQ(logon.action, 1U);
    EXPECT_EQ(logon.reason, TARN_REASON_PARENTAL_CONTROL);
    EXPECT_EQ(logon.sessionId, 12U);
    EXPECT_EQ(logon.reserved8, 0xCD);
}

TEST_F(ExportsContract, TheOthersRefuseNulls) {
    EXPECT_EQ(tarn.WSUpdateSettingsChanged(nullptr), 0);
    EXPECT_EQ(tarn.WSAddURLToIDSBlockedList(nullptr), 0);
    EXPECT_EQ(tarn.WSDropConnection(nullptr), 0);
    EXPECT_EQ(tarn.WSGetUrlScanFeatureStatus(nullptr), 0);
    EXPECT_EQ(tarn.WSInit(TARN_START_FRESH, nullptr), 0);
    std::uint8_t udp[60] = {};
    udp[14] = 0x45;
    udp[23] = 17;
    EXPECT_EQ(tarn.WSDropConnection(udp), 0);
}

TEST_F(ExportsContract, AKindAboveEightChangesNothing) {
    ASSERT_TRUE(Init());
    NewLines();
    EXPECT_EQ(tarn.WSSettingsChanged(9, 1, 2, 3), 0U);
    EXPECT_EQ(tarn.WSSettingsChanged(0xFFFFFFFF, 1, 2, 3), 0U);
    EXPECT_THAT(NewLines(), testing::IsEmpty());
}

}  // namespace
}  // namespace tarn::system_test
