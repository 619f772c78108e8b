// Whether the list of blocked addresses holds a host and path, against the walk over its pairs in key form. The walk
// is spared the making of keys, so it is the better part of what a walking list would cost.
#include <benchmark/benchmark.h>
#include <string>
#include <vector>

#include "base/bounded_text.h"
#include "network/ids_blocked_list.h"
#include "url/made_up_sites.h"

namespace tarn::network {
namespace {

constexpr std::size_t kQuestions = 4096;  // more than a branch predictor learns

struct Pair {
    std::string host;  // lower case, without "www."
    std::string path;
};

// One question in five is about a listed pair.
struct Setup {
    explicit Setup(std::size_t size) {
        url::SiteCorpus corpus(14);
        std::vector<Pair> listed;
        for (std::size_t i = 0; i < size; ++i) {
            listed.push_back({corpus.Domain(), corpus.Path() + "file"});  // one that ends in "/" would never be found
            IdsBlockRequest request{};
            base::CopyText(request.hostName, sizeof request.hostName, listed.back().host);
            base::CopyText(request.requestText, sizeof request.requestText,
                           listed.back().host + listed.back().path + " HTTP/1.1");
            list.Add(request);
        }
        for (std::size_t i = 0; i < kQuestions; ++i) {
            isListed.push_back(size != 0 && corpus.Below(5) == 0);
            asked.push_back(isListed.back() ? listed[corpus.Below(size)] : Pair{corpus.UnlistedHost(), corpus.Path()});
        }
        pairs = std::move(listed);
    }
    IdsBlockedList list;
    std::vector<Pair> pairs;
    std::vector<Pair> asked;
    std::vector<bool> isListed;
};

template <class Contains>
void Run(benchmark::State& state, std::size_t stride, Contains contains) {
    const Setup setup(static_cast<std::size_t>(state.range(0)));
    std::size_t next = 0;
    for (auto unused : state) {
        (void)unused;
        if (contains(setup, setup.asked[next]) != setup.isListed[next]) state.SkipWithError("a wrong answer");
        next = (next + stride) % kQuestions;
    }
}

void BlockedAddressAsked(benchmark::State& state) {
    Run(state, 1, [](const Setup& setup, const Pair& pair) { return setup.list.Contains(pair.host, pair.path); });
}
void BlockedAddressAskedPlainWalk(benchmark::State& state) {
    Run(state, 61, [](const Setup& setup, const Pair& pair) {
        for (const Pair& held : setup.pairs)
            if (held.host == pair.host && held.path == pair.path) return true;
        return false;
    });
}
BENCHMARK(BlockedAddressAsked)->Arg(0)->Arg(100)->Arg(100000);
BENCHMARK(BlockedAddressAskedPlainWalk)->Arg(0)->Arg(100)->Arg(100000);

}  // namespace
}  // namespace tarn::network
