// The packet scan's second half: what becomes of the packet-signature module's answer, and many scans at once.
#include <atomic>
#include <gmock/gmock.h>
#include <thread>

#include "network/packet_fixture.h"

namespace tarn::network {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

void Put(void* field, std::u16string_view text) {
    const std::u16string terminated = std::u16string(text) + u'\0';
    std::memcpy(field, terminated.data(), terminated.size() * sizeof(char16_t));
}

TEST_F(PacketScan, TheModuleGetsTheCallersFrameAndVerdict) {
    ruleId = 0xFFFE;
    inbound = 0x42;
    FrameFields fields = To(80);
    fields.payload = 11;
    EXPECT_TRUE(Scan(fields));
    EXPECT_THAT(script.journal, ElementsAre("signatures length 65 rule 65534 inbound 66"));
    EXPECT_TRUE(handedOn);
    EXPECT_EQ(script.actionOnEntry, 1U);
}

TEST_F(PacketScan, AnActionOfTwoComesBackAsOne) {
    script.signatureAction = 2;
    script.signatureReason = 77;
    EXPECT_TRUE(Scan(To(80)));
    EXPECT_TRUE(VerdictIs(Expected([](PacketVerdict& expected) {
        expected.action = 1;
        expected.reason = 77;
    })));
}

TEST_F(PacketScan, AnyOtherActionStandsAsTheModuleLeftIt) {
    for (const std::uint32_t action : {1U, 3U, 4U, 0x00000100U, 0xFFFFFFFFU}) {
        script.signatureAction = action;
        script.signatureReason = 4;
        EXPECT_TRUE(Scan(To(80)));
        EXPECT_TRUE(VerdictIs(Expected([&](PacketVerdict& expected) {
            expected.action = action;
            expected.reason = 4;
        })));
    }
}

TEST_F(PacketScan, AFailedSignatureScanLeavesTheRecord) {
    script.signatureAnswer = false;
    for (const std::uint32_t action : {0U, 2U, 9U}) {
        script.signatureAction = action;
        script.signatureReason = 5;
        EXPECT_TRUE(Scan(To(80)));
        EXPECT_TRUE(VerdictIs(Expected([&](PacketVerdict& expected) {
            expected.action = action;
            expected.reason = 5;
        })));
    }
}

TEST_F(PacketScan, WithoutTheModuleTheFrameIsAllowed) {
    const PacketVerdict allowed = Expected([](PacketVerdict& expected) { expected.action = 1; });
    companions.packetSignatures = {};
    EXPECT_TRUE(Scan(To(80)));
    EXPECT_TRUE(VerdictIs(allowed));
    EXPECT_THAT(script.journal, IsEmpty());
    companions.packetSignatures = modules::PacketSignatures{.PKSScanPacket = nullptr};
    EXPECT_TRUE(Scan(To(80)));
    EXPECT_TRUE(VerdictIs(allowed));
}

TEST_F(PacketScan, AnAttackVerdictByteForByte) {
    script.signatureAction = 0;
    script.signatureReason = 31;
    EXPECT_TRUE(Scan(To(80)));
    EXPECT_TRUE(VerdictIs(Expected([](PacketVerdict& fields) {
        fields.action = 4;
        fields.reason = 31;
        fields.ruleId = 7;
        fields.alertFlag = 0xAB;  // the third byte of the leading flag word
        fields.filled = 1;
        Put(fields.ruleName, u"Seven");
        Put(fields.description, u"Seven description");
        Put(fields.details, u"Seven details");
    })));
}

TEST_F(PacketScan, AnAttackWithoutItsRuleHasNoTexts) {
    script.signatureAction = 0;
    script.signatureReason = 31;
    const PacketVerdict bare = Expected([](PacketVerdict& fields) {
        fields.action = 4;
        fields.reason = 31;
        fields.alertFlag = 0xAB;
        fields.filled = 1;
    });
    ruleId = 8;
    EXPECT_TRUE(Scan(To(80)));
    EXPECT_TRUE(VerdictIs(bare));
    ruleId = 7;
    settings.idsRules.Clear();
    EXPECT_TRUE(Scan(To(80)));
    EXPECT_TRUE(VerdictIs(bare));
}

TEST_F(PacketScan, AnExcludedRuleAllowsAnAttack) {
    script.signatureAction = 0;
    script.signatureReason = 31;
    ruleId = 9;
    EXPECT_TRUE(Scan(To(80)));
    EXPECT_TRUE(VerdictIs(Expected([](PacketVerdict& fields) {
        fields.action = 1;
        fields.reason = 20;
        fields.ruleId = 9;
        fields.alertFlag = 0xAB;
        fields.filled = 1;
        Put(fields.ruleName, u"Nine");
        Put(fields.description, u"Nine description");
        Put(fields.details, u"Nine details");
    })));
}

TEST_F(PacketScan, AReasonOfFourWithholdsTheTexts) {
    script.signatureAction = 0;
    script.signatureReason = 4;
    const auto emptied = [](std::uint32_t action, std::uint32_t reason, std::uint16_t id, std::u16string_view name) {
        return [=](PacketVerdict& fields) {
            fields.action = action;
            fields.reason = reason;
            fields.ruleId = id;
            fields.alertFlag = 0xAB;
            fields.filled = 1;
            Put(fields.ruleName, name);
            Put(fields.description, std::u16string(name) + u" description");
            Put(fields.details, std::u16string(name) + u" details");
            auto* const bytes = reinterpret_cast<std::uint8_t*>(&fields);
            std::fill_n(bytes + 31, 50, std::uint8_t{0});
            std::fill_n(bytes + 131, 150, std::uint8_t{0});
            std::fill_n(bytes + 431, 400, std::uint8_t{0});
        };
    };
    EXPECT_TRUE(Scan(To(80)));
    EXPECT_TRUE(VerdictIs(Expected(emptied(4, 4, 7, u"Seven"))));
    ruleId = 9;
    EXPECT_TRUE(Scan(To(80)));
    EXPECT_TRUE(VerdictIs(Expected(emptied(1, 20, 9, u"Nine")))) << "the reason counts as the module left it";
}

TEST_F(PacketScan, AReasonOfTwentyFromTheModuleWithholdsNothing) {
    script.signatureAction = 0;
    script.signatureReason = 20;
    EXPECT_TRUE(Scan(To(80)));
    EXPECT_THAT(Verdict(), BlocksPacket(TARN_PACKET_REASON_RULE_EXCLUDED));
    EXPECT_EQ(TextOf(verdict.ruleName), u"Seven");
}

// Stateless modules: every address is malicious, every frame clean.
std::uint8_t TARN_CALL AlwaysMalicious(const char*, std::uint16_t** categories, std::uint16_t* count, std::uint32_t) {
    static std::uint16_t malicious = 2;
    *categories = &malicious;
    *count = 1;
    return 1;
}
std::uint8_t TARN_CALL KeepStatic(std::uint16_t*) {
    return 1;
}
std::uint8_t TARN_CALL AlwaysClean(const std::uint8_t*, std::uint32_t, std::uint16_t, std::uint8_t,
                                   PacketVerdict* verdict) {
    verdict->action = 2;
    return 1;
}

TEST_F(PacketScan, ManyThreadsScanAtOnce) {
    companions.categorisation =
        modules::Categorisation{.SCGetURLCategories = AlwaysMalicious, .SCReleaseCategories = KeepStatic};
    companions.packetSignatures = modules::PacketSignatures{.PKSScanPacket = AlwaysClean};
    const PacketScanContext context{companions, settings, strictness, attackers};
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (std::uint8_t thread = 0; thread < 4; ++thread)
        threads.emplace_back([&context, &wrong, thread] {
            for (int i = 0; i < 2000; ++i) {
                FrameFields fields;
                fields.source = {198, 51, static_cast<std::uint8_t>(thread / 2), static_cast<std::uint8_t>(i % 256)};
                fields.destinationPort = i % 2 == 0 ? 3389 : 80;
                const FrameBytes bytes = MakeFrame(fields);
                PacketVerdict own{};
                const bool scanned =
                    ScanPacket(context, bytes.data(), static_cast<std::uint32_t>(bytes.size()), 7, 1, own);
                const std::uint32_t expected = i % 2 == 0 ? 4U : 1U;
                if (!scanned || own.action != expected) ++wrong;
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_TRUE(attackers.Contains(AddressRecord({198, 51, 1, 254})));
    EXPECT_FALSE(attackers.Contains(AddressRecord({198, 51, 1, 255}))) << "its frames went to no guarded port";
}

}  // namespace
}  // namespace tarn::network
