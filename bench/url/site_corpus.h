// Made-up hosts and URLs for the benchmarks: the same ones in every run, thousands of different ones.
// The lists and the URLs asked about come from different seeds, but for those made to hit.
#ifndef TARN_BENCH_URL_SITE_CORPUS_H
#define TARN_BENCH_URL_SITE_CORPUS_H

#include <benchmark/benchmark.h>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace tarn::url {

inline constexpr std::size_t kQuestions = 4096;  // more than a branch predictor learns

class SiteCorpus {
 public:
    explicit SiteCorpus(std::uint32_t seed) : random_(seed) {}

    std::size_t Below(std::size_t bound) { return random_() % bound; }
    std::string Word() {
        static constexpr const char* kSyllables[] = {"ba", "con", "da", "el",  "fi", "gra", "hu",  "in",
                                                     "jo", "ka",  "lu", "mer", "no", "or",  "pla", "qui",
                                                     "re", "sta", "to", "un",  "ve", "wi"};
        std::string word;
        for (std::size_t count = 2 + Below(3); count != 0; --count) word += kSyllables[Below(std::size(kSyllables))];
        return word;
    }
    std::string Domain() {
        static constexpr const char* kEnds[] = {".com", ".org", ".net", ".example", ".co.uk", ".de", ".info", ".io"};
        return Word() + Word() + kEnds[Below(std::size(kEnds))];
    }
    std::string Host() { return (Below(2) == 0 ? "www." : Below(3) == 0 ? Word() + '.' : std::string()) + Domain(); }
    std::string Path() {
        std::string path;
        for (std::size_t count = 1 + Below(3); count != 0; --count) path += '/' + Word();
        return path + (Below(2) == 0 ? ".html" : "/");
    }

 private:
    std::mt19937 random_;
};

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
