// Whole scans of one captured frame to port 445, with modules that answer at once, so that the library's own part is
// what is measured. Their bare calls are the peer.
#include <benchmark/benchmark.h>
#include <cstring>
#include <fstream>
#include <memory>
#include <vector>

#include "host/capture/capture_reader.h"
#include "network/ethernet_frame.h"
#include "network/frame_bytes.h"
#include "network/packet_scan.h"

namespace tarn::network {
namespace {

std::uint16_t answeredCategory = 0;

std::uint8_t TARN_CALL Categories(const char*, std::uint16_t** categories, std::uint16_t* count, std::uint32_t) {
    *categories = &answeredCategory;
    *count = 1;
    return 1;
}
std::uint8_t TARN_CALL Release(std::uint16_t*) {
    return 1;
}
std::uint8_t TARN_CALL CleanFrame(const std::uint8_t*, std::uint32_t, std::uint16_t, std::uint8_t,
                                  PacketVerdict* verdict) {
    verdict->action = 2;
    verdict->reason = 0;
    return 1;
}
std::uint8_t TARN_CALL AttackFrame(const std::uint8_t*, std::uint32_t, std::uint16_t, std::uint8_t,
                                   PacketVerdict* verdict) {
    verdict->action = 0;
    verdict->reason = 31;
    return 1;
}

// The first frame of the capture that a client sent to the file server.
FrameBytes CapturedFrame() {
    std::ifstream file(TARN_CAPTURE_FOLDER "/smb1_smbclient_basic.pcap", std::ios::binary);
    host::CaptureReader reader(file);
    host::CapturedFrame captured;
    while (reader.Next(captured)) {
        const EthernetFrame frame{base::Bytes(captured.bytes)};
        const auto ipv4 = frame.EtherType() == kEtherTypeIpv4 ? frame.Ipv4() : std::nullopt;
        if (!ipv4 || ipv4->protocol != kProtocolTcp) continue;
        if (const auto ports = frame.Ports(*ipv4); ports && ports->destination == 445) return captured.bytes;
    }
    return {};
}

class Scanner {
 public:
    Scanner() {
        settings_.idsIpsStatus = 1;
        std::vector<IdsRule> rules(10000);
        for (std::size_t i = 0; i < rules.size(); ++i) rules[i].id = static_cast<std::uint16_t>(i);
        settings_.idsRules.CopySelected(
            {.ruleCount = static_cast<std::uint32_t>(rules.size()), .extra = 0, .rules = rules.data()}, 50);
        companions.categorisation =
            modules::Categorisation{.SCGetURLCategories = Categories, .SCReleaseCategories = Release};
        companions.packetSignatures = modules::PacketSignatures{.PKSScanPacket = CleanFrame};
        for (std::uint32_t i = 0; i < 4000; ++i) attackers_->Add(NumberedAddress(0x0A000000 + 2 * i));
    }

    // Every scan must give action and reason.
    void Run(benchmark::State& state, std::uint32_t action, std::uint32_t reason) {
        const PacketScanContext context{companions, settings_, 0, *attackers_};
        const FrameBytes frame = CapturedFrame();
        PacketVerdict verdict{};
        const auto scan = [&] {
            return ScanPacket(context, frame.data(), static_cast<std::uint32_t>(frame.size()), 9999, 1, verdict) &&
                   verdict.action == action && verdict.reason == reason;
        };
        scan();  // which makes an attacker a known one
        for (auto unused : state) {
            (void)unused;
            if (scan()) continue;
            state.SkipWithError("a wrong verdict");
            break;
        }
    }

    modules::Companions companions;

 private:
    modules::SettingsState settings_;
    std::unique_ptr<ReportedAttackerList> attackers_ = std::make_unique<ReportedAttackerList>();
};

void PacketScanned(benchmark::State& state) {
    answeredCategory = 5;
    Scanner().Run(state, TARN_PACKET_ALLOW, 0);
}
void PacketScannedKnownAttacker(benchmark::State& state) {
    answeredCategory = 2;
    Scanner().Run(state, TARN_PACKET_BLOCK, 25);
}
void PacketScannedSignatureFound(benchmark::State& state) {
    answeredCategory = 5;
    Scanner scanner;
    scanner.companions.packetSignatures = modules::PacketSignatures{.PKSScanPacket = AttackFrame};
    scanner.Run(state, TARN_PACKET_BLOCK, 31);
}

// The peer: the module calls that such a scan makes, and nothing around them.
void PacketScannedModuleCallsAlone(benchmark::State& state) {
    answeredCategory = 5;
    const Scanner scanner;
    const auto& categorisation = scanner.companions.categorisation;
    const auto scan = scanner.companions.packetSignatures->PKSScanPacket;
    const FrameBytes frame = CapturedFrame();
    PacketVerdict verdict{};
    for (auto unused : state) {
        (void)unused;
        std::uint16_t* categories = nullptr;
        std::uint16_t count = 0;
        categorisation->SCGetURLCategories("192.0.2.31", &categories, &count, 0);
        categorisation->SCReleaseCategories(categories);
        scan(frame.data(), static_cast<std::uint32_t>(frame.size()), 9999, 1, &verdict);
        if (count != 1 || verdict.action != 2) state.SkipWithError("a wrong answer");
    }
}

BENCHMARK(PacketScanned);
BENCHMARK(PacketScannedKnownAttacker);
BENCHMARK(PacketScannedSignatureFound);
BENCHMARK(PacketScannedModuleCallsAlone);

}  // namespace
}  // namespace tarn::network
