// The packet scan's first half: connections of malicious addresses to the guarded services.
#include <gmock/gmock.h>

#include "network/packet_fixture.h"

namespace tarn::network {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::u16string_view kBruteForceText = u"Bruteforce attack by Malicious IP detected";

// Stores a text and its NUL at the front of a packed field, and nothing behind.
void Put(void* field, std::u16string_view text) {
    const std::u16string terminated = std::u16string(text) + u'\0';
    std::memcpy(field, terminated.data(), terminated.size() * sizeof(char16_t));
}

TEST_F(PacketScan, WithoutAFrameNothingIsWritten) {
    const FrameBytes frame = MakeFrame({});
    std::memset(&verdict, kUntouched, sizeof verdict);
    const PacketScanContext context{companions, settings, strictness, attackers};
    EXPECT_FALSE(ScanPacket(context, nullptr, 60, ruleId, inbound, verdict));
    EXPECT_FALSE(ScanPacket(context, frame.data(), 0, ruleId, inbound, verdict));
    EXPECT_TRUE(VerdictIs(Expected([](PacketVerdict&) {})));
    EXPECT_THAT(script.journal, IsEmpty());
}

TEST_F(PacketScan, WithTheFeatureOffOnlyTheActionIsWritten) {
    settings.idsIpsStatus = 0;
    EXPECT_TRUE(Scan(To(445)));
    EXPECT_TRUE(VerdictIs(Expected([](PacketVerdict& expected) { expected.action = 1; })));
    EXPECT_THAT(script.journal, IsEmpty());
    settings.idsIpsStatus = 0xFF;
    EXPECT_TRUE(Scan(To(445)));
    EXPECT_THAT(Verdict(), BlocksPacket(TARN_PACKET_REASON_SMB));
}

TEST_F(PacketScan, EachGuardedServiceHasItsReason) {
    struct Case {
        std::uint16_t port;
        std::uint32_t reason;
        int isRemoteDesktop;
    };
    for (const Case& one :
         {Case{3389, 23, 1}, Case{1433, 27, 0}, Case{1434, 27, 0}, Case{445, 25, 0}, Case{3306, 28, 0}}) {
        ReportedAttackerList& list = attackers;
        FrameFields fields = To(one.port);
        fields.source[3] = static_cast<std::uint8_t>(one.port % 251);
        EXPECT_FALSE(list.Contains(AddressRecord(fields.source)));
        EXPECT_TRUE(Scan(fields));
        EXPECT_EQ(verdict.action, 4U) << one.port;
        EXPECT_EQ(verdict.reason, one.reason) << one.port;
        EXPECT_EQ(verdict.isRemoteDesktop, one.isRemoteDesktop) << one.port;
        EXPECT_EQ(verdict.localPort, one.port);
        EXPECT_TRUE(list.Contains(AddressRecord(fields.source)));
    }
}

TEST_F(PacketScan, ABruteForceVerdictByteForByte) {
    EXPECT_TRUE(Scan(To(3389)));
    const PacketVerdict expected = Expected([](PacketVerdict& fields) {
        fields.action = 4;
        fields.reason = 23;
        fields.ruleId = 7;
        fields.alertFlag = 1;
        fields.filled = 1;
        fields.isRemoteDesktop = 1;
        fields.remotePort = 50123;
        fields.localPort = 3389;
        std::memcpy(&fields.localAddress, kThisMachine.data(), 4);
        std::memcpy(&fields.remoteAddress, kPeer.data(), 4);
        std::memcpy(fields.sourceMac, FrameFields{}.sourceMac.data(), 6);
        Put(fields.ruleName, u"Seven");
        Put(fields.description, u"Seven description");
        Put(fields.description, kBruteForceText);
        Put(fields.details, u"Seven details");
    });
    EXPECT_TRUE(VerdictIs(expected));
    EXPECT_THAT(script.journal, ElementsAre("categories 203.0.113.7 mode 0", "release"))
        << "the signatures are not asked";
}

TEST_F(PacketScan, WithoutItsRuleABruteForceVerdictHasOnlyTheDescription) {
    ruleId = 8;
    EXPECT_TRUE(Scan(To(1433)));
    EXPECT_THAT(Verdict(), BlocksPacket(TARN_PACKET_REASON_SQL_SERVER));
    EXPECT_EQ(verdict.ruleId, 0xCCCC);
    EXPECT_EQ(TextOf(verdict.description), kBruteForceText);
    const PacketVerdict untouched = Expected([](PacketVerdict&) {});
    EXPECT_EQ(std::memcmp(verdict.ruleName, untouched.ruleName, sizeof verdict.ruleName), 0);
    EXPECT_EQ(std::memcmp(verdict.details, untouched.details, sizeof verdict.details), 0);
}

TEST_F(PacketScan, AnExcludedRuleStillBlocksABruteForceAttempt) {
    ruleId = 9;
    EXPECT_TRUE(Scan(To(445)));
    EXPECT_THAT(Verdict(), BlocksPacket(TARN_PACKET_REASON_SMB));
    EXPECT_EQ(verdict.ruleId, 9);
    EXPECT_EQ(TextOf(verdict.ruleName), u"Nine");
    EXPECT_EQ(TextOf(verdict.details), u"Nine details");
}

TEST_F(PacketScan, OutboundFramesSwapTheEndsButNotTheMac) {
    inbound = 0;
    FrameFields fields;
    fields.source = kThisMachine;
    fields.destination = kPeer;
    fields.sourcePort = 3306;
    fields.destinationPort = 61000;
    EXPECT_TRUE(Scan(fields));
    EXPECT_THAT(Verdict(), BlocksPacket(TARN_PACKET_REASON_MYSQL));
    EXPECT_EQ(verdict.localPort, 3306);
    EXPECT_EQ(verdict.remotePort, 61000);
    EXPECT_EQ(std::memcmp(&verdict.remoteAddress, kPeer.data(), 4), 0);
    EXPECT_EQ(std::memcmp(&verdict.localAddress, kThisMachine.data(), 4), 0);
    EXPECT_EQ(std::memcmp(verdict.sourceMac, fields.sourceMac.data(), 6), 0);
    EXPECT_THAT(script.journal, ElementsAre("categories 203.0.113.7 mode 0", "release"));
}

TEST_F(PacketScan, TheServiceIsThisMachines) {
    FrameFields fields;
    fields.sourcePort = 445;
    fields.destinationPort = 50000;
    EXPECT_TRUE(Scan(fields));
    EXPECT_TRUE(AskedSignaturesOnly()) << "the remote end's port 445 is not guarded";
    inbound = 0;
    EXPECT_TRUE(Scan(To(445)));
    EXPECT_TRUE(AskedSignaturesOnly());
    inbound = 0x80;
    EXPECT_TRUE(Scan(To(445)));
    EXPECT_EQ(verdict.action, 4U) << "any value but 0 is inbound";
}

TEST_F(PacketScan, OtherFramesGoStraightToTheSignatures) {
    FrameFields ipv6 = To(445);
    ipv6.etherType = 0x86DD;
    FrameFields swapped = To(445);
    swapped.etherType = 0x0008;
    FrameFields udp = To(445);
    udp.protocol = 17;
    for (const FrameFields& fields :
         {ipv6, swapped, udp, To(80), To(444), To(446), To(3388), To(1435), To(0x0D3D ^ 0xFFFF)}) {
        EXPECT_TRUE(Scan(fields));
        EXPECT_TRUE(AskedSignaturesOnly()) << fields.destinationPort;
        EXPECT_TRUE(handedOn);
    }
}

TEST_F(PacketScan, PortsStandBehindTheOptions) {
    for (std::uint8_t words = 5; words <= 15; ++words) {
        FrameFields fields = To(1434);
        fields.headerWords = words;
        fields.source[3] = words;
        EXPECT_TRUE(Scan(fields));
        EXPECT_THAT(Verdict(), BlocksPacket(TARN_PACKET_REASON_SQL_SERVER)) << int{words};
        EXPECT_EQ(verdict.remotePort, 50123);
    }
}

TEST_F(PacketScan, TheIhlIsTakenAsItStands) {
    FrameFields fields;
    fields.version = 15;
    fields.headerWords = 0;
    FrameBytes bytes = MakeFrame(fields);
    bytes[16] = 445 >> 8;  // the destination port of a TCP header at byte 14
    bytes[17] = 445 & 0xFF;
    EXPECT_TRUE(ScanFirst(bytes, bytes.size()));
    EXPECT_THAT(Verdict(), BlocksPacket(TARN_PACKET_REASON_SMB));
    EXPECT_EQ(verdict.remotePort, 0xF0EE);
}

TEST_F(PacketScan, StrictnessSaysHowManyCategoriesCount) {
    struct Case {
        std::uint8_t strictness;
        std::vector<std::uint16_t> categories;
        bool malicious;
    };
    const std::vector<Case> cases = {
        {3, {5, 2}, false},
        {1, {5, 2}, true},
        {1, {5, 6, 2}, false},
        {2, {5, 6, 2}, true},
        {2, {5, 6, 7, 2}, false},
        {3, {2, 5}, true},
        {0, {5, 6, 7, 8, 2}, true},
        {4, {5, 6, 7, 8, 2}, true},
        {255, {5, 6, 7, 2}, true},
        {0, {5, 6, 7, 8}, false},
        {1, {2}, true},
        {0, {0x0200}, false},
    };
    std::uint8_t last = 1;
    for (const Case& one : cases) {
        strictness = one.strictness;
        script.categories = one.categories;
        FrameFields fields = To(445);
        fields.source[3] = ++last;
        EXPECT_TRUE(Scan(fields));
        EXPECT_EQ(verdict.action, one.malicious ? 4U : 1U) << int{one.strictness} << " case " << int{last};
        EXPECT_EQ(attackers.Contains(AddressRecord(fields.source)), one.malicious);
        EXPECT_EQ(script.journal.size(), one.malicious ? 2U : 3U);
        EXPECT_EQ(script.journal[1], "release");
    }
}

TEST_F(PacketScan, AnAddressThatIsNotMaliciousGoesOnToTheSignatures) {
    script.categories = {5};
    EXPECT_TRUE(Scan(To(445)));
    EXPECT_THAT(script.journal,
                ElementsAre("categories 203.0.113.7 mode 0", "release", "signatures length 54 rule 7 inbound 1"));
    EXPECT_TRUE(VerdictIs(Expected([](PacketVerdict& expected) {
        expected.action = 1;
        expected.reason = 0;
    })));
}

TEST_F(PacketScan, AFailedCategoryQueryGoesOnToTheSignatures) {
    script.categoriesAnswer = false;
    EXPECT_TRUE(Scan(To(445)));
    EXPECT_THAT(script.journal,
                ElementsAre("categories 203.0.113.7 mode 0", "release", "signatures length 54 rule 7 inbound 1"))
        << "an array is released also when the query failed";
    script.categoriesAnswer = true;
    script.arrayReturned = false;
    EXPECT_TRUE(Scan(To(445)));
    EXPECT_THAT(script.journal, ElementsAre("categories 203.0.113.7 mode 0", "signatures length 54 rule 7 inbound 1"));
    companions.categorisation = {};
    EXPECT_TRUE(Scan(To(445)));
    EXPECT_TRUE(AskedSignaturesOnly());
    EXPECT_FALSE(attackers.Contains(AddressRecord(kPeer)));
}

TEST_F(PacketScan, AKnownAttackerIsBlockedWithoutTextsOrQuery) {
    EXPECT_TRUE(Scan(To(445)));
    EXPECT_TRUE(Scan(To(3389)));
    EXPECT_THAT(Verdict(), BlocksPacket(TARN_PACKET_REASON_REMOTE_DESKTOP));
    EXPECT_EQ(verdict.ruleId, 7);
    EXPECT_EQ(verdict.filled, 1);
    EXPECT_EQ(TextOf(verdict.ruleName), u"");
    EXPECT_EQ(TextOf(verdict.description), u"");
    EXPECT_EQ(TextOf(verdict.details), u"");
    EXPECT_THAT(script.journal, IsEmpty());
    companions.categorisation = {};
    EXPECT_TRUE(Scan(To(445)));
    EXPECT_THAT(Verdict(), BlocksPacket(TARN_PACKET_REASON_SMB)) << "known also without the categorisation module";
}

TEST_F(PacketScan, EmptiedTextsKeepTheirSecondHalf) {
    IdsRule rule{};
    rule.id = 7;
    std::memset(rule.name, 0x41, sizeof rule.name);
    std::memset(rule.description, 0x42, sizeof rule.description);
    std::memset(rule.details, 0x43, sizeof rule.details);
    ASSERT_TRUE(SetRules(settings.idsRules, {rule}));
    attackers.Add(AddressRecord(kPeer));
    EXPECT_TRUE(Scan(To(445)));
    const PacketVerdict expected = Expected([&](PacketVerdict& fields) {
        std::memcpy(&fields, &verdict, offsetof(PacketVerdict, ruleName));
        const std::u16string name(49, u'\x4141');
        const std::u16string description(149, u'\x4242');
        const std::u16string details(399, u'\x4343');
        Put(fields.ruleName, name);
        Put(fields.description, description);
        Put(fields.description, kBruteForceText);
        Put(fields.details, details);
        auto* const bytes = reinterpret_cast<std::uint8_t*>(&fields);
        std::fill_n(bytes + 31, 50, std::uint8_t{0});
        std::fill_n(bytes + 131, 150, std::uint8_t{0});
        std::fill_n(bytes + 431, 400, std::uint8_t{0});
    });
    EXPECT_TRUE(VerdictIs(expected));
    EXPECT_EQ(TextOf(verdict.details), u"");
}

TEST_F(PacketScan, TheFiveThousandAndFirstAttackerIsAddedToAnEmptyList) {
    const auto scanFrom = [&](std::uint32_t number) {
        FrameFields fields = To(445);
        std::copy_n(NumberedAddress(number).bytes, 4, fields.source.begin());
        EXPECT_TRUE(Scan(fields));
        EXPECT_EQ(verdict.action, 4U);
        return !script.journal.empty();  // whether the categories were asked
    };
    for (std::uint32_t i = 0; i < 5000; ++i) ASSERT_TRUE(scanFrom(0x0A000000 + i));
    EXPECT_FALSE(scanFrom(0x0A000000));
    EXPECT_FALSE(scanFrom(0x0A000000 + 4999));
    EXPECT_TRUE(scanFrom(0x0B000000));
    EXPECT_FALSE(scanFrom(0x0B000000));
    EXPECT_TRUE(scanFrom(0x0A000000)) << "earlier attackers are asked afresh";
    EXPECT_TRUE(scanFrom(0x0A000000 + 4999));
}

TEST_F(PacketScan, EveryTruncationGoesToTheSignatures) {
    for (const std::uint8_t words : {std::uint8_t{5}, std::uint8_t{8}, std::uint8_t{15}}) {
        FrameFields fields = To(445);
        fields.headerWords = words;
        fields.source[3] = words;
        fields.payload = 3;
        const FrameBytes bytes = MakeFrame(fields);
        const std::size_t needed = 14U + words * 4U + 4U;  // up to the ports
        for (std::size_t length = 1; length < needed; ++length) {
            EXPECT_TRUE(ScanFirst(bytes, length));
            EXPECT_TRUE(AskedSignaturesOnly()) << length;
            EXPECT_TRUE(handedOn);
            EXPECT_EQ(script.journal[0], "signatures length " + std::to_string(length) + " rule 7 inbound 1");
        }
        for (std::size_t length = needed; length <= bytes.size(); ++length) {
            EXPECT_TRUE(ScanFirst(bytes, length));
            EXPECT_THAT(Verdict(), BlocksPacket(TARN_PACKET_REASON_SMB)) << length;
        }
    }
}

TEST_F(PacketScan, ACrookedIhlNeverLeavesTheFrame) {
    for (std::uint8_t words = 0; words < 16; ++words) {
        FrameFields fields;
        fields.headerWords = 5;
        FrameBytes bytes = MakeFrame(fields);
        bytes[14] = static_cast<std::uint8_t>(0x40 | words);
        for (std::size_t length = 1; length <= bytes.size(); ++length) {
            EXPECT_TRUE(ScanFirst(bytes, length));
            EXPECT_EQ(verdict.action, words == 5 && length >= 38 ? 4U : 1U) << int{words} << " " << length;
        }
    }
}

}  // namespace
}  // namespace tarn::network
