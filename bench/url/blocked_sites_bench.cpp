// A profile's host table against the plain walk (which bisects by label hash), with the "www." retry.
#include <benchmark/benchmark.h>

#include "lists/blocked_sites.h"
#include "lists/plain_walk.h"
#include "lists/record_owners.h"
#include "url/site_corpus.h"

namespace tarn::url {
namespace {

constexpr IpAddressRecord kNoAddress{};

struct Setup {
    lists::SiteTableOwner owner;
    std::vector<std::string> hosts;
    std::vector<std::string> paths;
};

// One host in five lies below a listed domain.
Setup MakeSetup(std::size_t size) {
    Setup setup;
    SiteCorpus listed(4);
    std::vector<std::string> domains;
    for (std::size_t i = 0; i < size; ++i) {
        domains.push_back(listed.Domain());
        setup.owner.AddHost(domains.back()).wholeDomain = 1;
    }
    setup.owner.Sort(lists::HashOrder::kDescending);
    SiteCorpus asked(5);
    for (std::size_t i = 0; i < kQuestions; ++i) {
        setup.hosts.push_back(asked.Below(5) == 0 ? "www." + domains[asked.Below(size)] : asked.Host());
        setup.paths.push_back(asked.Path());
    }
    return setup;
}

void BlockedSitesLookup(benchmark::State& state) {
    const Setup setup = MakeSetup(static_cast<std::size_t>(state.range(0)));
    const lists::plain::SiteTables tables = setup.owner.Tables();
    lists::BlockedSites table;
    table.Publish(tables.hosts, tables.addresses);
    const auto ask = [&](std::size_t i) {
        return table.MatchWithWwwVariant(setup.hosts[i], setup.paths[i], kNoAddress, 1) == lists::Lookup::kHit;
    };
    const auto plain = [&](std::size_t i) {
        return lists::plain::MatchHostWithWwwVariant(setup.hosts[i], setup.paths[i], kNoAddress, 1, tables) ==
               lists::Lookup::kHit;
    };
    if (Agree(state, ask, plain)) AskAll(state, ask);
}

void BlockedSitesPlainWalk(benchmark::State& state) {
    const Setup setup = MakeSetup(static_cast<std::size_t>(state.range(0)));
    const lists::plain::SiteTables tables = setup.owner.Tables();
    AskAll(state, [&](std::size_t i) {
        return lists::plain::MatchHostWithWwwVariant(setup.hosts[i], setup.paths[i], kNoAddress, 1, tables) ==
               lists::Lookup::kHit;
    });
}

void BlockedSitesPublish(benchmark::State& state) {
    const Setup setup = MakeSetup(static_cast<std::size_t>(state.range(0)));
    const lists::plain::SiteTables tables = setup.owner.Tables();
    for (auto unused : state) {
        (void)unused;
        lists::BlockedSites table;
        table.Publish(tables.hosts, tables.addresses);
        benchmark::DoNotOptimize(table);
    }
}

void LabelHashesOfAHost(benchmark::State& state) {
    const Setup setup = MakeSetup(100);
    std::size_t next = 0;
    for (auto unused : state) {
        (void)unused;
        const lists::HostKeys keys = setup.hosts[next];
        if (keys.Labels().empty()) state.SkipWithError("a host was refused");
        benchmark::DoNotOptimize(keys);
        next = (next + 1) % kQuestions;
    }
}

BENCHMARK(BlockedSitesLookup)->Arg(1000)->Arg(100000)->Arg(1000000);
BENCHMARK(BlockedSitesPlainWalk)->Arg(1000)->Arg(100000)->Arg(1000000);
BENCHMARK(BlockedSitesPublish)->Apply(Sizes);
BENCHMARK(LabelHashesOfAHost);

}  // namespace
}  // namespace tarn::url
