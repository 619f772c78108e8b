// One browser request of about 700 bytes parsed into host, path and URL.
#include <benchmark/benchmark.h>

#include "url/request_parser.h"
#include "url/site_corpus.h"

namespace tarn::url {
namespace {

struct Sample {
    std::string host;
    std::string path;
    std::string request;
};

std::vector<Sample> BrowserRequests() {
    SiteCorpus corpus(1);
    std::vector<Sample> samples;
    for (std::size_t i = 0; i < kQuestions; ++i) {
        Sample sample{corpus.Host(), corpus.Path(), {}};
        sample.request = BrowserRequest(sample.host, sample.path + "?id=" + std::to_string(i));
        samples.push_back(std::move(sample));
    }
    return samples;
}

void RequestParsed(benchmark::State& state) {
    const std::vector<Sample> samples = BrowserRequests();
    ParsedRequest out;
    std::size_t next = 0;
    std::size_t bytes = 0;
    for (auto unused : state) {
        (void)unused;
        const std::string& request = samples[next].request;
        if (!ParseHttpRequest({reinterpret_cast<const std::uint8_t*>(request.data()), request.size()}, out))
            state.SkipWithError("a request was refused");
        benchmark::DoNotOptimize(out);
        bytes += request.size();
        next = (next + 1) % kQuestions;
    }
    for (const Sample& sample : samples) {
        const std::string& request = sample.request;
        if (!ParseHttpRequest({reinterpret_cast<const std::uint8_t*>(request.data()), request.size()}, out) ||
            out.host.View() != sample.host || out.path.View() != sample.path ||
            out.url.View() != sample.host + sample.path)
            state.SkipWithError("a request was parsed wrongly");
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(bytes));
}
BENCHMARK(RequestParsed);

}  // namespace
}  // namespace tarn::url
