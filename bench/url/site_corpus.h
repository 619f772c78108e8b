// How a look-up is measured: every question in turn, its answers counted, its plain walk agreeing on a sample.
// The lists and the questions come from different seeds of made_up_sites, but for those made to hit.
#ifndef TARN_BENCH_URL_SITE_CORPUS_H
#define TARN_BENCH_URL_SITE_CORPUS_H

#include <benchmark/benchmark.h>
#include <cstdint>
#include <string>
#include <vector>

#include "url/made_up_sites.h"

namespace tarn::url {

inline constexpr std::size_t kQuestions = 4096;  // more than a branch predictor learns

// Runs ask(i) for every question in turn; the hits of each whole turn must be those of the turn before.
template <class Ask>
void AskAll(benchmark::State& state, Ask ask) {
    std::size_t expected = 0;
    for (std::size_t i = 0; i < kQuestions; ++i) expected += ask(i) ? 1U : 0U;
    if (expected < kQuestions / 20 || expected > kQuestions - kQuestions / 20) {
        state.SkipWithError("hits and misses must both be frequent");
        return;
    }
    std::size_t hits = 0;
    std::size_t next = 0;
    for (auto unused : state) {
        (void)unused;
        hits += ask(next) ? 1U : 0U;
        if (++next < kQuestions) continue;
        if (hits != expected) state.SkipWithError("the answers changed");
        next = 0;
        hits = 0;
    }
    state.counters["hits"] = static_cast<double>(expected) / static_cast<double>(kQuestions);
}

// The same over a few of the questions, for walks that take milliseconds.
template <class Ask>
void AskSome(benchmark::State& state, Ask ask) {
    std::size_t next = 0;
    for (auto unused : state) {
        (void)unused;
        benchmark::DoNotOptimize(ask(next));
        next = (next + 61) % kQuestions;
    }
}

// Whether a published form and its plain walk agree on a sample of the questions.
template <class Published, class Plain>
bool Agree(benchmark::State& state, Published published, Plain plain) {
    for (std::size_t i = 0; i < kQuestions; i += 67) {
        if (published(i) == plain(i)) continue;
        state.SkipWithError("the published form and the plain walk differ");
        return false;
    }
    return true;
}

inline void Sizes(benchmark::internal::Benchmark* bench) {
    bench->Arg(100)->Arg(10000)->Arg(100000);
}

}  // namespace tarn::url

#endif
