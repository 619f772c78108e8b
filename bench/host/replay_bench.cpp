// What a replay costs without the library: all bundled captures go through tarnhost's own loop, and the judge that it
// asks answers at once. The peers read the same captures and do nothing with the frames, or look at each byte once.
#include <benchmark/benchmark.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "captured_frames.h"
#include "host/capture_replay.h"

namespace tarn::bench {
namespace {

class IdleJudge : public host::Judge {
 public:
    host::Judgement ScanUrl(std::uint8_t, base::Bytes, const host::Endpoint&) override { return {}; }
    PacketVerdict ScanPacket(base::Bytes, std::uint16_t, bool) override {
        ++frames;
        PacketVerdict verdict{};
        verdict.action = TARN_PACKET_ALLOW;
        return verdict;
    }
    std::optional<SmbScanResult> ScanSmb(base::Bytes, bool) override { return std::nullopt; }
    bool DropConnection(base::Bytes) override { return false; }
    void BlockAddress(const std::string&, const std::string&) override {}

    std::uint64_t frames = 0;
};

class IdleReport : public host::VerdictReport {
 public:
    void BeginCapture(const host::CaptureHeading&) override {}
    void Request(const host::JudgedRequest&) override { ++requests; }
    void LocalGuess(const host::IpAddress&) override {}
    void Attack(const host::PacketAttack&) override {}
    void File(const host::ShareFile&) override {}
    void Summary(const std::optional<host::ReplayTotals>&, const host::RunEnd&) override {}

    std::uint64_t requests = 0;
};

struct Captures {
    std::vector<std::string> files;
    std::int64_t bytes = 0;
    Frames frames;
};

const Captures& BundledCaptures() {
    static const Captures captures = [] {
        Captures read;
        for (const auto& entry : std::filesystem::directory_iterator(TARN_CAPTURE_FOLDER)) {
            if (entry.path().extension() != ".pcap") continue;
            std::ostringstream content;
            content << std::ifstream(entry.path(), std::ios::binary).rdbuf();
            read.files.push_back(content.str());
            read.bytes += static_cast<std::int64_t>(read.files.back().size());
            const Frames frames = CapturedFrames(entry.path().filename().string());
            read.frames.insert(read.frames.end(), frames.begin(), frames.end());
        }
        return read;
    }();
    return captures;
}

void Replay(benchmark::State& state) {
    const Captures& captures = BundledCaptures();
    for (auto _ : state) {
        IdleJudge judge;
        IdleReport report;
        host::CaptureReplay replay(judge, report, {}, {});
        std::string mistake;
        for (const std::string& file : captures.files) {
            std::istringstream stream(file);
            if (!replay.Replay(stream, "bundled", mistake)) state.SkipWithError(mistake.c_str());
        }
        if (judge.frames == 0 || judge.frames != captures.frames.size()) state.SkipWithError("frames are missing");
        if (report.requests == 0) state.SkipWithError("requests are missing");
    }
    state.SetBytesProcessed(state.iterations() * captures.bytes);
}
BENCHMARK(Replay);

void ReplayPeerThatOnlyReads(benchmark::State& state) {
    const Captures& captures = BundledCaptures();
    for (auto _ : state) {
        std::size_t frames = 0;
        for (const std::string& file : captures.files) {
            std::istringstream stream(file);
            host::CaptureReader reader(stream);
            host::CapturedFrame frame;
            while (reader.Next(frame)) ++frames;
        }
        if (frames == 0 || frames != captures.frames.size()) state.SkipWithError("frames are missing");
    }
    state.SetBytesProcessed(state.iterations() * captures.bytes);
}
BENCHMARK(ReplayPeerThatOnlyReads);

void ReplayPeerThatSumsBytes(benchmark::State& state) {
    const Captures& captures = BundledCaptures();
    for (auto _ : state) benchmark::DoNotOptimize(SumOfBytes(captures.frames));
    state.SetBytesProcessed(state.iterations() * captures.bytes);
}
BENCHMARK(ReplayPeerThatSumsBytes);

}  // namespace
}  // namespace tarn::bench
