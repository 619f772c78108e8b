// The server name taken from a TLS hello, beside a search for the same bytes in it.
#include <benchmark/benchmark.h>
#include <cstring>
#include <string_view>

#include "url/made_up_sites.h"
#include "url/site_corpus.h"
#include "url/tls_client_hello.h"
#include "url/tls_hello.h"

namespace tarn::url {
namespace {

struct Hellos {
    Hellos() {
        SiteCorpus corpus(8);
        for (std::size_t i = 0; i < kQuestions; ++i) {
            hosts.push_back(corpus.Host());
            hellos.push_back(TlsHello(hosts.back()));
        }
    }
    std::vector<std::string> hosts;
    std::vector<std::string> hellos;
};

void HelloParsed(benchmark::State& state) {
    const Hellos samples;
    UrlText host;
    std::size_t next = 0;
    for (auto unused : state) {
        (void)unused;
        const std::string& hello = samples.hellos[next];
        if (!ExtractTlsServerName({reinterpret_cast<const std::uint8_t*>(hello.data()), hello.size()}, host) ||
            host.View() != samples.hosts[next])
            state.SkipWithError("a wrong name");
        next = (next + 1) % kQuestions;
    }
}
void HelloSearched(benchmark::State& state) {
    const Hellos samples;
    std::size_t next = 0;
    for (auto unused : state) {
        (void)unused;
        if (std::string_view(samples.hellos[next]).find(samples.hosts[next]) == std::string_view::npos)
            state.SkipWithError("not found");
        next = (next + 1) % kQuestions;
    }
}
BENCHMARK(HelloParsed);
BENCHMARK(HelloSearched);

}  // namespace
}  // namespace tarn::url
