// Ethernet frames: the view, the packet scan, the SMB monitor.
#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <string>

#include "base/bounded_text.h"
#include "network/ethernet_frame.h"
#include "network/packet_scan.h"
#include "smb/frame_dispatch.h"
#include "targets.h"

namespace tarn::fuzz {
namespace {

// ---- Packet scan ----

// What the scripted modules answer follows from what they are asked, so that two scans of a frame agree.
int unreleasedLists = 0;

std::uint8_t TARN_CALL CategoriesOfAddress(const char* text, std::uint16_t** categories, std::uint16_t* count,
                                           std::uint32_t) {
    const std::size_t length = std::strlen(text);
    *count = static_cast<std::uint16_t>(length % 4);
    *categories = new std::uint16_t[4]{1, 7, 2, 5};
    ++unreleasedLists;
    return length % 5 == 0 ? 0 : 1;
}

std::uint8_t TARN_CALL ReleaseCategories(std::uint16_t* categories) {
    delete[] categories;
    --unreleasedLists;
    return 1;
}

std::uint8_t TARN_CALL ScanForSignature(const std::uint8_t* frame, std::uint32_t length, std::uint16_t, std::uint8_t,
                                        PacketVerdict* verdict) {
    std::uint8_t sum = 0;
    for (std::uint32_t i = 0; i < length; ++i) sum = static_cast<std::uint8_t>(sum + frame[i]);
    verdict->action = sum % 3;  // 0 = an attack
    verdict->reason = sum % 8;
    return sum % 7 == 0 ? 0 : 1;
}

struct PacketWorld {
    PacketWorld() {
        settings.idsIpsStatus = 1;
        settings.idsIpsFlags = 0x00010000;
        companions.categorisation = modules::Categorisation{.SCGetURLCategories = CategoriesOfAddress,
                                                            .SCReleaseCategories = ReleaseCategories};
        companions.packetSignatures = modules::PacketSignatures{.PKSScanPacket = ScanForSignature};
        std::array<IdsRule, 2> rules{};
        for (IdsRule& rule : rules) std::memset(&rule.name, 'x', sizeof rule.name + sizeof rule.description);
        rules[0].id = 7;
        rules[1].id = 9;
        rules[1].excluded = 1;
        IdsSettingsRecord record{};
        record.ruleCount = rules.size();
        record.rules = rules.data();
        Require(settings.idsRules.CopySelected(record, 0), "the rules are copied");
    }
    modules::Companions companions;
    modules::SettingsState settings;
};

bool ScanOnce(const PacketWorld& world, network::ReportedAttackerList& attackers, Bytes frame, Bytes choice,
              PacketVerdict& verdict) {
    std::memset(&verdict, 0xCC, sizeof verdict);
    const bool result = network::ScanPacket({world.companions, world.settings, choice[0], attackers}, frame.data(),
                                            static_cast<std::uint32_t>(frame.size()), choice[1], choice[2], verdict);
    Require(unreleasedLists == 0, "every category list is released");
    return result;
}

// ---- SMB ----

std::size_t SizeOfTables(smb::SmbTables& tables) {
    constexpr auto kTreesOf = [](const auto& owners) {
        std::size_t count = 0;
        for (const auto& [key, trees] : owners) {
            count += trees.empty() ? 1 : 0;
            for (const auto& [treeKey, tree] : trees) {
                count += 1 + tree.files.size();
                Require(tree.sharePath.size() < base::kPathCapacity, "a share path fits the report");
                for (const std::u16string& file : tree.files)
                    Require(file.size() < base::kPathCapacity, "a file name fits the report");
            }
        }
        return count;
    };
    constexpr auto kSize = [](const auto& table) { return table.size(); };
    return tables.smb2PendingRequests.Write(kSize) + tables.smb1PendingRequests.Write(kSize) +
           tables.smb2Sessions.Write(kTreesOf) + tables.smb1Clients.Write(kTreesOf);
}

void RequireSmbResult(bool isValid, const SmbScanResult& result) {
    Require(result.resultKind == TARN_SMB_NOTHING || result.resultKind == TARN_SMB_FILE_EVENT, "the kind is known");
    if (result.resultKind != TARN_SMB_FILE_EVENT) return;
    Require(isValid, "an event is reported with success");
    Require(IsTerminated<char16_t>(&result.sharePath, sizeof result.sharePath) &&
                IsTerminated<char16_t>(&result.fileName, sizeof result.fileName),
            "the texts of an event are terminated");
    Require(result.createAction <= 2, "an event says created or overwritten, or leaves the action");
    Require(result.eventClass == TARN_SMB_FILE_EVENT_CLASS, "an event is of the class for files");
}

}  // namespace

void EthernetFrames(Bytes input) {
    const network::EthernetFrame frame(input);
    const auto at = [&](std::size_t offset) {
        return static_cast<std::uint16_t>(input[offset] << 8 | input[offset + 1]);
    };
    Require(frame.SourceMac().has_value() == (input.size() >= 12), "the MAC address is there with its last byte");
    Require(frame.EtherType().has_value() == (input.size() >= 14), "the type is there with its last byte");
    if (frame.EtherType()) Require(*frame.EtherType() == at(12), "the type is read in network order");
    const auto ipv4 = frame.Ipv4();
    Require(ipv4.has_value() == (input.size() >= 34), "the header is there with its last address");
    Require(!frame.From(input.size() + 1) && frame.From(input.size())->empty(), "nothing is read past the end");
    if (!ipv4) return;
    Require(ipv4->length == (input[14] & 15U) * 4U && ipv4->protocol == input[23],
            "the header is read where it stands");
    const std::size_t tcp = network::kEthernetHeader + ipv4->length;
    const auto ports = frame.Ports(*ipv4);
    Require(ports.has_value() == (input.size() >= tcp + 4), "the ports are there with their last byte");
    if (ports) Require(ports->source == at(tcp) && ports->destination == at(tcp + 2), "the ports are in network order");
    const auto tcpLength = frame.TcpHeaderLength(*ipv4);
    Require(tcpLength.has_value() == (input.size() > tcp + 12), "the data offset is there with its byte");
    if (tcpLength) Require(*tcpLength <= 60, "a TCP header has at most 60 bytes");
}

void PacketScan(Bytes input) {
    static const PacketWorld kWorld;
    Pieces pieces(input);
    const std::array choice{pieces.Byte(), pieces.Byte(), pieces.Byte()};
    const ExactBlock frame(pieces.Rest());
    const auto attackers = std::make_unique<network::ReportedAttackerList>();
    PacketVerdict verdict;
    const bool isValid = ScanOnce(kWorld, *attackers, frame.View(), choice, verdict);
    Require(isValid == !frame.View().empty(), "every frame gets a verdict");
    if (!isValid) return;

    const bool byPackets = verdict.filled == 1;
    if (byPackets) {
        Require(verdict.action == TARN_PACKET_BLOCK || verdict.action == TARN_PACKET_ALLOW, "the action is known");
        Require(verdict.alertFlag <= 1, "the alert flag is one of its two");
    }
    PacketVerdict fresh;
    ScanOnce(kWorld, *std::make_unique<network::ReportedAttackerList>(), frame.View(), choice, fresh);
    Require(std::memcmp(&verdict, &fresh, sizeof verdict) == 0, "a frame is judged alike twice");
    PacketVerdict later;
    ScanOnce(kWorld, *attackers, frame.View(), choice, later);
    Require(later.action == verdict.action && later.reason == verdict.reason, "an attacker stays an attacker");
}

// Frames of one or more conversations: a direction byte, then the length of the frame, then the frame.
void SmbFrames(Bytes input) {
    smb::SmbTables tables;
    smb::SmbTables second;
    Pieces pieces(input);
    std::size_t frames = 0;
    while (!pieces.AtEnd()) {
        const std::uint8_t direction = pieces.Byte();
        const ExactBlock frame(pieces.Piece());
        ++frames;
        SmbScanResult result;
        SmbScanResult again;
        std::memset(&result, 0, sizeof result);
        std::memset(&again, 0, sizeof again);
        const bool isValid = smb::ScanSmbFrame(frame.View(), direction, tables, result);
        Require(smb::ScanSmbFrame(frame.View(), direction, second, again) == isValid, "frames are scanned alike twice");
        Require(std::memcmp(&result, &again, sizeof result) == 0, "frames are reported alike twice");
        if (frame.View().empty())
            Require(!isValid && result.resultKind == 0, "an empty frame writes nothing");
        else
            RequireSmbResult(isValid, result);
    }
    Require(SizeOfTables(tables) <= 2 * frames, "a frame adds at most one tree and one file");
    smb::Smb1TablesClear(tables);
    smb::Smb2TablesClear(tables);
    Require(SizeOfTables(tables) == 0, "the tables are emptied");
}

}  // namespace tarn::fuzz
