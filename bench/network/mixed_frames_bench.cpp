// The traffic of a whole machine through the packet scan: every service under attack by a known attacker, and by
// nobody. The modules answer at once; the peers are their bare calls, and a plain walk over all bytes of the frames.
#include <algorithm>
#include <array>
#include <benchmark/benchmark.h>

#include "captured_frames.h"
#include "network/packet_scan.h"

namespace tarn::network {
namespace {

constexpr std::size_t kFrames = 3165;
constexpr std::size_t kServiceFrames = 598;  // 190 of SMB, 274 SQL Server, 80 remote desktop, 54 MySQL

template <std::uint16_t kCategory>
std::uint8_t TARN_CALL Categories(const char*, std::uint16_t** categories, std::uint16_t* count, std::uint32_t) {
    static std::uint16_t answer = kCategory;
    *categories = &answer;
    *count = 1;
    return 1;
}
std::uint8_t TARN_CALL Release(std::uint16_t*) {
    return 1;
}
std::uint8_t TARN_CALL CleanFrame(const std::uint8_t*, std::uint32_t, std::uint16_t, std::uint8_t,
                                  PacketVerdict* verdict) {
    verdict->action = 2;
    return 1;
}

// The frames with their direction as one machine sees it.
struct Traffic {
    bench::Frames frames = bench::CapturedFrames("mixed_bench.pcap");
    std::vector<std::uint8_t> inbound;

    Traffic() {
        constexpr std::array<std::array<std::uint8_t, 4>, 2> kThisMachine = {{{10, 20, 30, 10}, {192, 0, 2, 10}}};
        for (const auto& frame : frames)
            inbound.push_back(
                std::ranges::any_of(
                    kThisMachine,
                    [&](const auto& address) { return std::equal(address.begin(), address.end(), frame.begin() + 30); })
                    ? 1
                    : 0);
    }
};
const Traffic& MixedTraffic() {
    static const Traffic traffic;
    return traffic;
}

struct Scanner {
    modules::Companions companions;
    modules::SettingsState settings;
    ReportedAttackerList attackers;

    explicit Scanner(decltype(&Categories<2>) categories) {
        settings.idsIpsStatus = 1;
        companions.categorisation =
            modules::Categorisation{.SCGetURLCategories = categories, .SCReleaseCategories = Release};
        companions.packetSignatures = modules::PacketSignatures{.PKSScanPacket = CleanFrame};
    }
    std::size_t Blocked(const Traffic& traffic) {
        std::size_t blocked = 0;
        PacketVerdict verdict{};
        const PacketScanContext context{companions, settings, 0, attackers};
        for (std::size_t i = 0; i < traffic.frames.size(); ++i) {
            const auto& frame = traffic.frames[i];
            ScanPacket(context, frame.data(), static_cast<std::uint32_t>(frame.size()), 1, traffic.inbound[i], verdict);
            blocked += verdict.action == TARN_PACKET_BLOCK ? 1U : 0U;
        }
        return blocked;
    }
};

template <class Pass>
void Measure(benchmark::State& state, std::uint64_t expected, Pass pass) {
    if (MixedTraffic().frames.size() != kFrames) state.SkipWithError("another capture");
    for (auto unused : state) {
        (void)unused;
        if (pass() == expected) continue;
        state.SkipWithError("a wrong answer");
        break;
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kFrames));
}

void MixedScanned(benchmark::State& state) {
    static Scanner scanner(Categories<5>);
    Measure(state, 0, [] { return scanner.Blocked(MixedTraffic()); });
}
void MixedScannedUnderAttack(benchmark::State& state) {
    static Scanner scanner(Categories<2>);
    Measure(state, kServiceFrames, [] { return scanner.Blocked(MixedTraffic()); });
}
void MixedScannedModuleCallsAlone(benchmark::State& state) {
    const Scanner scanner(Categories<5>);
    const auto scan = scanner.companions.packetSignatures->PKSScanPacket;
    Measure(state, kFrames, [&] {
        std::size_t clean = 0;
        PacketVerdict verdict{};
        for (const auto& frame : MixedTraffic().frames) {
            verdict.action = 0;
            scan(frame.data(), static_cast<std::uint32_t>(frame.size()), 1, 0, &verdict);
            clean += verdict.action == 2 ? 1U : 0U;
        }
        return clean;
    });
}
void MixedScannedPlainWalk(benchmark::State& state) {
    const std::uint64_t expected = bench::SumOfBytes(MixedTraffic().frames);
    Measure(state, expected, [] { return bench::SumOfBytes(MixedTraffic().frames); });
}

BENCHMARK(MixedScanned)->Threads(1)->Threads(2)->Threads(8)->UseRealTime();
BENCHMARK(MixedScannedUnderAttack)->Threads(1)->Threads(2)->Threads(8)->UseRealTime();
BENCHMARK(MixedScannedModuleCallsAlone)->UseRealTime();
BENCHMARK(MixedScannedPlainWalk)->UseRealTime();

}  // namespace
}  // namespace tarn::network
