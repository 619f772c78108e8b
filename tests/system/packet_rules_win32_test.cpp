// WSScanPacket of the built library over its lives: who stays a reported attacker, how many categories count, which
// byte of the settings is the alert byte.
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "network/frame_bytes.h"
#include "system/scan_fixture_win32.h"

namespace tarn::system_test {
namespace {

using network::FrameBytes;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t kLastKind = 8;  // of settings changes

class PacketRules : public ScanRecords {
 protected:
    PacketRules() {
        answers.idsIpsStatus.enabled = 1;
        answers.packetVerdict.action = 2;
    }
    // An inbound frame of this peer to the SMB port.
    static FrameBytes FrameOf(std::uint8_t peer) {
        network::FrameFields fields;
        fields.source = {203, 0, 113, peer};
        return network::MakeFrame(fields);
    }
    bool Blocks(const Exports& library, std::uint8_t peer) {
        const FrameBytes frame = FrameOf(peer);
        std::memset(static_cast<void*>(&packet), kCallersByte, sizeof packet);
        EXPECT_EQ(library.WSScanPacket(frame.data(), static_cast<std::uint32_t>(frame.size()), 1, 1, 0, &packet), 1);
        EXPECT_EQ(packet.reason, packet.action == TARN_PACKET_BLOCK ? 25U : 0U);
        return packet.action == TARN_PACKET_BLOCK;
    }
    bool Blocks(std::uint8_t peer) { return Blocks(tarn, peer); }
    // A further frame of an attacker that is known: blocked without its texts, and nobody is asked.
    void ExpectKnown(std::uint8_t peer) {
        NewLines();
        EXPECT_TRUE(Blocks(peer));
        EXPECT_THAT(NewLines(), IsEmpty());
        char16_t first = u'x';
        std::memcpy(&first, packet.description, sizeof first);
        EXPECT_EQ(first, u'\0');
    }

    PacketVerdict packet{};
};

TEST_F(PacketRules, AReportedAttackerStaysOneUntilTheLibraryIsUnloaded) {
    Categorise({2});
    ASSERT_TRUE(Init());
    NewLines();
    EXPECT_TRUE(Blocks(7));
    EXPECT_THAT(NewLines(), ElementsAre("SCGetURLCategories 203.0.113.7 0", "SCReleaseCategories"));
    char16_t first = u'\0';
    std::memcpy(&first, packet.description, sizeof first);
    EXPECT_EQ(first, u'B') << "its first frame is described";

    Categorise({});  // nobody is malicious any more
    ExpectKnown(7);
    for (std::uint32_t settings = 0; settings <= kLastKind; ++settings) {
        EXPECT_EQ(tarn.WSSettingsChanged(settings, 0, 0, 0), 1U) << settings;
        ExpectKnown(7);
    }
    const std::uint32_t everything = 0x10FF;
    EXPECT_EQ(tarn.WSUpdateSettingsChanged(&everything), 1);
    ExpectKnown(7);
    tarn.WSShutDown(0, 0, 0, 0);
    ExpectKnown(7);
    Deinit();
    ASSERT_TRUE(Init(TARN_START_FRESH));
    ExpectKnown(7);
    ASSERT_TRUE(Init(TARN_START_RESTART));
    ExpectKnown(7);
    NewLines();
    EXPECT_FALSE(Blocks(8));
    EXPECT_EQ(NewLines().front(), "SCGetURLCategories 203.0.113.8 0") << "another one is asked about";
}

// The library by another name is another load of it, with lists of its own.
TEST_F(PacketRules, AnotherLoadOfTheLibraryKnowsNoAttacker) {
    const std::filesystem::path copy = folder / "loaded-again.dll";
    std::filesystem::copy_file(BuiltTarn(), copy);
    for (int load = 0; load < 2; ++load) {
        const LoadedTarn again(copy);
        ASSERT_NE(again.Module(), nullptr);
        Categorise({2});
        ASSERT_EQ(again.Functions().WSInit(TARN_START_RESTART, &error), 1);
        NewLines();
        EXPECT_TRUE(Blocks(again.Functions(), 9));
        EXPECT_THAT(NewLines(), ElementsAre("SCGetURLCategories 203.0.113.9 0", "SCReleaseCategories")) << load;
        EXPECT_EQ(again.Functions().WSDeinit(&error), 1);
    }
}

TEST_F(PacketRules, TheStrictnessSaysHowManyCategoriesCount) {
    std::uint8_t peer = 20;
    const auto places = [&](std::uint8_t strictness) {
        TakeProfiles({url::ProfileShape{}});
        answers.pcSettings.strictness = strictness;
        EXPECT_TRUE(Init());
        std::string blocking;
        for (std::size_t place = 0; place < 5; ++place) {
            std::vector<std::uint16_t> categories(5, 9);
            categories[place] = 2;
            Categorise(categories);
            blocking += Blocks(++peer) ? '1' : '0';
        }
        return blocking;
    };
    EXPECT_EQ(places(0), "11111");
    EXPECT_EQ(places(1), "11000");
    EXPECT_EQ(places(2), "11100");
    EXPECT_EQ(places(3), "10000");
    EXPECT_EQ(places(4), "11111");
    EXPECT_EQ(places(255), "11111");
}

TEST_F(PacketRules, TheAlertByteIsTheThirdOfTheFlags) {
    answers.idsIpsSettings.flags = 0x11A52233;
    answers.packetVerdict = {};  // an attack
    answers.packetVerdict.reason = 31;
    ASSERT_TRUE(Init());
    const auto alert = [&] {
        const FrameBytes frame = FrameOf(7);
        std::memset(static_cast<void*>(&packet), kCallersByte, sizeof packet);
        EXPECT_EQ(tarn.WSScanPacket(frame.data(), static_cast<std::uint32_t>(frame.size()), 1, 1, 0, &packet), 1);
        EXPECT_EQ(packet.action, std::uint32_t{TARN_PACKET_BLOCK});
        EXPECT_EQ(packet.reason, 31U);
        return unsigned{packet.alertFlag};
    };
    EXPECT_EQ(alert(), 0xA5U);
    answers.idsIpsSettings.flags = 0x11002233;
    EXPECT_EQ(alert(), 0xA5U) << "nothing is read before the host says so";
    ASSERT_EQ(tarn.WSSettingsChanged(TARN_SETTINGS_IDS_SETTINGS, 0, 0, 0), 1U);
    EXPECT_EQ(alert(), 0U);
    answers.idsIpsSettings.flags = 0x00010000;
    ASSERT_EQ(tarn.WSSettingsChanged(TARN_SETTINGS_IDS_SETTINGS, 0, 0, 0), 1U);
    EXPECT_EQ(alert(), 1U);
    Categorise({2});
    EXPECT_TRUE(Blocks(7));
    EXPECT_EQ(packet.alertFlag, 1) << "an attempt on a service always alerts";
}

}  // namespace
}  // namespace tarn::system_test
