// Whole captures through the SMB scan: the traffic of a whole machine, of which little is SMB, and a file server's
// conversations alone. Each pass over a capture is one iteration; a plain walk over all its bytes is the peer.
#include <benchmark/benchmark.h>

#include "captured_frames.h"
#include "smb/frame_dispatch.h"

namespace tarn::smb {
namespace {

// A conversation ends with its trees disconnected, so every pass reports the same files.
void SmbScanned(benchmark::State& state, const char* capture, std::size_t expectedFrames, std::size_t expectedEvents) {
    const bench::Frames frames = bench::CapturedFrames(capture);
    SmbTables tables;
    SmbScanResult result{};
    if (frames.size() != expectedFrames) state.SkipWithError("another capture");
    for (auto unused : state) {
        (void)unused;
        std::size_t events = 0;
        for (const auto& frame : frames)
            events += ScanSmbFrame(frame, 0, tables, result) && result.resultKind == TARN_SMB_FILE_EVENT ? 1U : 0U;
        if (events != expectedEvents) {
            state.SkipWithError("a wrong number of file events");
            break;
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(frames.size()));
}

void SmbScannedPlainWalk(benchmark::State& state, const char* capture) {
    const bench::Frames frames = bench::CapturedFrames(capture);
    const std::uint64_t expected = bench::SumOfBytes(frames);
    for (auto unused : state) {
        (void)unused;
        if (bench::SumOfBytes(frames) != expected || expected == 0) state.SkipWithError("a wrong sum");
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(frames.size()));
}

BENCHMARK_CAPTURE(SmbScanned, mixed, "mixed_bench.pcap", 3165, 8);
BENCHMARK_CAPTURE(SmbScannedPlainWalk, mixed, "mixed_bench.pcap");
BENCHMARK_CAPTURE(SmbScanned, smb2, "smb2_kernel_202.pcap", 179, 6);
BENCHMARK_CAPTURE(SmbScannedPlainWalk, smb2, "smb2_kernel_202.pcap");
BENCHMARK_CAPTURE(SmbScanned, smb1, "smb1_smbclient_names.pcap", 134, 12);
BENCHMARK_CAPTURE(SmbScannedPlainWalk, smb1, "smb1_smbclient_names.pcap");

}  // namespace
}  // namespace tarn::smb
