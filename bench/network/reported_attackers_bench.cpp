// Whether an address is on the list of reported attackers, empty and full, against the walk over its array.
#include <benchmark/benchmark.h>
#include <memory>
#include <random>

#include "network/frame_bytes.h"
#include "network/plain_walk.h"
#include "network/reported_attackers.h"

namespace tarn::network {
namespace {

constexpr std::size_t kQuestions = 4096;  // more than a branch predictor learns

template <class List>
void Membership(benchmark::State& state) {
    const auto list = std::make_unique<List>();
    const auto size = static_cast<std::size_t>(state.range(0));
    std::mt19937 random(11);
    std::vector<IpAddressRecord> listed;
    for (std::size_t i = 0; i < size; ++i) {
        listed.push_back(NumberedAddress(static_cast<std::uint32_t>(random()) | 1U));
        list->Add(listed.back());
    }
    // One question in five is about a listed address; the others are even numbers and never listed.
    std::vector<IpAddressRecord> asked;
    std::size_t expected = 0;
    for (std::size_t i = 0; i < kQuestions; ++i) {
        const bool hit = size != 0 && random() % 5 == 0;
        asked.push_back(hit ? listed[random() % size] : NumberedAddress(static_cast<std::uint32_t>(random()) & ~1U));
        expected += hit ? 1U : 0U;
    }
    std::size_t hits = 0;
    for (const IpAddressRecord& address : asked) hits += list->Contains(address) ? 1U : 0U;
    if (hits != expected) {
        state.SkipWithError("a wrong answer");
        return;
    }
    std::size_t next = 0;
    for (auto unused : state) {
        (void)unused;
        benchmark::DoNotOptimize(list->Contains(asked[next]));
        next = (next + 1) % kQuestions;
    }
}

void ReportedAttackerAsked(benchmark::State& state) {
    Membership<ReportedAttackerList>(state);
}
void ReportedAttackerAskedPlainWalk(benchmark::State& state) {
    Membership<plain::ReportedAttackerList>(state);
}
BENCHMARK(ReportedAttackerAsked)->Arg(0)->Arg(100)->Arg(5000);
BENCHMARK(ReportedAttackerAskedPlainWalk)->Arg(0)->Arg(100)->Arg(5000);

}  // namespace
}  // namespace tarn::network
