#include "smb/file_event.h"

#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "smb/smb1_message.h"
#include "smb/smb2_message.h"
#include "smb/smb_monitor.h"

namespace tarn::smb {
namespace {

struct Report : testing::Test {
    Report() { std::memset(&result, kFilling, sizeof result); }

    bool Make(SmbProtocol protocol, std::uint16_t command, std::uint32_t action, std::u16string_view share = u"share",
              std::u16string_view file = u"file") {
        std::memset(&result, kFilling, sizeof result);
        ByteList body(16, 0xEE);
        PutLe(body, protocol == SmbProtocol::kSmb2 ? 4 : 8, action, 4);
        return SmbReportFileEvent({endpoint, protocol, command, body}, share, file, result);
    }
    [[nodiscard]] bool IsUntouched() const {
        SmbScanResult untouched;
        std::memset(&untouched, kFilling, sizeof untouched);
        return std::memcmp(&result, &untouched, sizeof result) == 0;
    }

    const SmbEndpointRecord endpoint{0, 0, 0x0A0200C0, 0x1F0200C0, 1};
    SmbScanResult result;
};

TEST_F(Report, OnlyTheCreateOfItsVersion) {
    EXPECT_TRUE(Make(SmbProtocol::kSmb2, 0xA2, 2));
    EXPECT_TRUE(IsUntouched());
    EXPECT_TRUE(Make(SmbProtocol::kSmb1, 5, 2));
    EXPECT_TRUE(IsUntouched());
    EXPECT_TRUE(Make(SmbProtocol::kSmb2, 3, 2));
    EXPECT_TRUE(IsUntouched());
    EXPECT_TRUE(Make(SmbProtocol::kSmb2, 5, 2));
    EXPECT_FALSE(IsUntouched());
    EXPECT_TRUE(Make(SmbProtocol::kSmb1, 0xA2, 2));
    EXPECT_FALSE(IsUntouched());
}

TEST_F(Report, OpenedIsNoEvent) {
    EXPECT_TRUE(Make(SmbProtocol::kSmb2, 5, 1));
    EXPECT_TRUE(IsUntouched());
    EXPECT_TRUE(Make(SmbProtocol::kSmb1, 0xA2, 1));
    EXPECT_TRUE(IsUntouched());
}

TEST_F(Report, CreatedAndOverwrittenFillTheRecord) {
    for (const auto& [protocol, command] :
         {std::pair<SmbProtocol, std::uint16_t>{SmbProtocol::kSmb2, kSmb2Create}, {SmbProtocol::kSmb1, kSmb1NtCreate}})
        for (const std::uint32_t action : {2U, 3U, 4U, 5U}) {
            EXPECT_TRUE(Make(protocol, command, action));
            EXPECT_EQ(result.createAction, action == 2 ? 1 : 2) << action;
            EXPECT_EQ(result.resultKind, 7U);
            EXPECT_EQ(result.eventClass, 16U);
            EXPECT_EQ(result.sourceAddress, endpoint.sourceAddress);
            EXPECT_EQ(result.destinationAddress, endpoint.destinationAddress);
            EXPECT_EQ(TextOf(&result.sharePath), u"share");
            EXPECT_EQ(TextOf(&result.fileName), u"file");
        }
}

TEST_F(Report, AnotherOutcomeIsReportedWithTheActionUntouched) {
    for (const std::uint32_t action : {0U, 6U, 0x102U, 0x10002U, 0xFFFFFFFFU}) {
        EXPECT_TRUE(Make(SmbProtocol::kSmb2, 5, action));
        EXPECT_EQ(result.resultKind, 7U) << action;
        EXPECT_EQ(result.createAction, kActionUntouched);
    }
}

TEST_F(Report, ATextOf259UnitsFits) {
    const std::u16string longest(259, u't');
    EXPECT_TRUE(Make(SmbProtocol::kSmb2, 5, 2, longest, longest));
    EXPECT_EQ(TextOf(&result.sharePath), longest);
    EXPECT_EQ(TextOf(&result.fileName), longest);
}

TEST_F(Report, ACutPathLeavesTheNameUnwritten) {
    EXPECT_FALSE(Make(SmbProtocol::kSmb2, 5, 2, std::u16string(260, u'p')));
    EXPECT_EQ(TextOf(&result.sharePath), std::u16string(259, u'p'));
    EXPECT_EQ(result.resultKind, 7U);
    EXPECT_EQ(TextOf(&result.fileName), std::u16string(259, 0x5A5A));
}

TEST_F(Report, ACutNameIsAFailure) {
    EXPECT_FALSE(Make(SmbProtocol::kSmb1, 0xA2, 2, u"share", std::u16string(300, u'n')));
    EXPECT_EQ(TextOf(&result.sharePath), u"share");
    EXPECT_EQ(TextOf(&result.fileName), std::u16string(259, u'n'));
    EXPECT_EQ(result.createAction, TARN_SMB_CREATED);
}

TEST_F(Report, ABodyWithoutItsOutcomeIsNoEvent) {
    const ByteList body(11);
    EXPECT_FALSE(SmbReportFileEvent({endpoint, SmbProtocol::kSmb1, 0xA2, body}, u"", u"", result));
    EXPECT_FALSE(SmbReportFileEvent({endpoint, SmbProtocol::kSmb2, 5, base::Bytes(body).first(7)}, u"", u"", result));
    EXPECT_TRUE(IsUntouched());
}

}  // namespace
}  // namespace tarn::smb
