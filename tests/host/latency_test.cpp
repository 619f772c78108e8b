// How long calls took: the percentiles against exact ones, and the judge that measures.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <gmock/gmock.h>
#include <limits>
#include <random>
#include <vector>

#include "host/fake_environment.h"
#include "host/timed_judge.h"

namespace tarn::host {
namespace {

TEST(LatencyHistogram, SmallFiguresAreExact) {
    LatencyHistogram histogram;
    EXPECT_EQ(histogram.Percentile(50), 0u);
    for (std::uint64_t i = 1; i <= 50; ++i) histogram.Add(i);
    EXPECT_EQ(histogram.Count(), 50u);
    EXPECT_EQ(histogram.Percentile(50), 25u);
    EXPECT_EQ(histogram.Percentile(90), 45u);
    EXPECT_EQ(histogram.Percentile(100), 50u);
    EXPECT_EQ(histogram.Max(), 50u);
}

TEST(LatencyHistogram, PercentilesAreAtMostAThirtySecondAboveTheExactOnes) {
    std::mt19937_64 random(7);
    LatencyHistogram histogram;
    std::vector<std::uint64_t> all;
    for (int i = 0; i < 20000; ++i) {
        all.push_back(random() >> (random() % 64));
        histogram.Add(all.back());
    }
    std::sort(all.begin(), all.end());
    for (const double percent : {1.0, 10.0, 50.0, 90.0, 99.0, 99.9}) {
        const auto rank = static_cast<std::size_t>(std::ceil(static_cast<double>(all.size()) * percent / 100));
        const std::uint64_t exact = all[rank - 1];
        const std::uint64_t told = histogram.Percentile(percent);
        EXPECT_GE(told, exact) << percent;
        EXPECT_LE(told - exact, exact / 32) << percent;
    }
    EXPECT_EQ(histogram.Max(), all.back());
}

TEST(LatencyHistogram, TakesTheLargestFigures) {
    LatencyHistogram histogram;
    histogram.Add(0);
    histogram.Add(std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(histogram.Percentile(50), 0u);
    EXPECT_EQ(histogram.Percentile(99), std::numeric_limits<std::uint64_t>::max());
}

// A library that takes a known time.
class SlowLibrary : public FakeLibrary {
 public:
    static constexpr std::chrono::milliseconds kTime{2};
    Judgement ScanUrl(std::uint8_t kind, base::Bytes data, const Endpoint& server) override {
        const auto end = std::chrono::steady_clock::now() + kTime;
        while (std::chrono::steady_clock::now() < end) {
        }
        return FakeLibrary::ScanUrl(kind, data, server);
    }
};

TEST(TimedJudge, MeasuresEachKindOfCallAndChangesNoAnswer) {
    auto slow = std::make_unique<SlowLibrary>();
    slow->answer = FakeLibrary::Malicious("Worm", "a.example/");
    slow->onPacket = [](std::size_t) {
        PacketVerdict verdict{};
        verdict.action = TARN_PACKET_BLOCK;
        return verdict;
    };
    TimedJudge judge(std::move(slow));
    EXPECT_EQ(judge.ScanUrl(TARN_KIND_HTTP, {}, {}).verdict.reason, TARN_REASON_MALICIOUS);
    const std::uint64_t least = std::chrono::nanoseconds(SlowLibrary::kTime).count();
    EXPECT_GE(judge.LastLatency().value(), least);
    EXPECT_EQ(judge.ScanPacket({}, 80, true).action, TARN_PACKET_BLOCK);
    EXPECT_FALSE(judge.ScanSmb({}, true));
    const CallLatencies& latencies = *judge.Latencies();
    EXPECT_EQ(latencies.url.Count(), 1u);
    EXPECT_GE(latencies.url.Max(), least);
    EXPECT_EQ(latencies.packet.Count(), 1u);
    EXPECT_EQ(latencies.smb.Count(), 1u);
    EXPECT_EQ(latencies.logon.Count(), 0u);
}

void PassTime(std::chrono::steady_clock::duration time) {
    const auto end = std::chrono::steady_clock::now() + time;
    while (std::chrono::steady_clock::now() < end) {
    }
}

TEST(ScanClock, GoesAsTheSteadyClockDoes) {
    using Steady = std::chrono::steady_clock;
    using Nanoseconds = std::chrono::duration<double, std::nano>;
    ScanClock clock;
    EXPECT_FALSE(clock.CountsTicks());
    std::uint64_t last = 0;
    for (int i = 0; i < 3; ++i) {
        const auto before = Steady::now();
        const std::uint64_t begin = clock.Now();
        const auto afterBegin = Steady::now();
        PassTime(10 * ScanClock::kCalibration);
        const auto beforeEnd = Steady::now();
        const std::uint64_t end = clock.Now();
        const auto after = Steady::now();
        EXPECT_GE(begin, last);
        const auto took = static_cast<double>(end - begin);
        EXPECT_GE(took, 0.999 * Nanoseconds(beforeEnd - afterBegin).count() - 100);
        EXPECT_LE(took, 1.001 * Nanoseconds(after - before).count() + 100);
        last = end;
    }
}

TEST(Latency, IsMeasuredForEventsAlone) {
    FakeEnvironment environment;
    const Ran run = RunWith(environment, {"url", "--json", "http://a.example/", "http://b.example/"});
    EXPECT_TRUE(Events(run, "verdict").at(0)["latency_ns"].is_number_unsigned());
    const auto stats = Events(run, "stats").at(0)["latency_ns"];
    EXPECT_EQ(stats["url"]["calls"], 2);
    EXPECT_GE(stats["url"]["max"], stats["url"]["p50"]);
    EXPECT_FALSE(stats.contains("packet"));
}

}  // namespace
}  // namespace tarn::host
