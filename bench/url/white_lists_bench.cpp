// The white lists of whole URLs against the plain walk: prefixes, substrings, and the time to publish them.
#include <benchmark/benchmark.h>

#include "lists/plain_walk.h"
#include "lists/record_owners.h"
#include "lists/white_lists.h"
#include "url/site_corpus.h"

namespace tarn::url {
namespace {

struct Setup {
    lists::UrlListOwner owner;
    std::vector<std::string> urls;
};

// One URL in five is on the list.
Setup MakeSetup(std::size_t size, const char* front) {
    Setup setup;
    SiteCorpus listed(2);
    std::vector<std::string> entries;
    for (std::size_t i = 0; i < size; ++i) {
        entries.push_back(listed.Host() + (listed.Below(3) == 0 ? listed.Path() : "/"));
        setup.owner.Add(front + entries.back());
    }
    SiteCorpus asked(3);
    for (std::size_t i = 0; i < kQuestions; ++i)
        setup.urls.push_back(asked.Below(5) == 0 ? entries[asked.Below(size)] + asked.Word()
                                                 : asked.Host() + asked.Path());
    return setup;
}

template <class List, class Plain>
void Published(benchmark::State& state, const char* front, Plain plain) {
    Setup setup = MakeSetup(static_cast<std::size_t>(state.range(0)), front);
    const UrlListRecord record = setup.owner.Record();
    List list;
    list.Publish(record);
    const auto ask = [&](std::size_t i) { return list.Matches(setup.urls[i]); };
    if (Agree(state, ask, [&](std::size_t i) { return plain(setup.urls[i], record); })) AskAll(state, ask);
}

template <class Plain>
void Walked(benchmark::State& state, const char* front, Plain plain) {
    Setup setup = MakeSetup(static_cast<std::size_t>(state.range(0)), front);
    const UrlListRecord record = setup.owner.Record();
    AskSome(state, [&](std::size_t i) { return plain(setup.urls[i], record); });
}

void UrlPrefixes(benchmark::State& state) {
    Published<lists::InternalWhiteList>(state, "", lists::plain::MatchUrlList);
}
void UrlPrefixesPlainWalk(benchmark::State& state) {
    Walked(state, "", lists::plain::MatchUrlList);
}
void UrlSubstrings(benchmark::State& state) {
    Published<lists::InternalWhiteList>(state, "*", lists::plain::MatchUrlList);
}
void UrlSubstringsPlainWalk(benchmark::State& state) {
    Walked(state, "*", lists::plain::MatchUrlList);
}
void UserWhiteList(benchmark::State& state) {
    Published<lists::UserWhiteList>(state, "", lists::plain::MatchPrefixWhiteList);
}
void UserWhiteListPlainWalk(benchmark::State& state) {
    Walked(state, "", lists::plain::MatchPrefixWhiteList);
}
void UrlSubstringsPublish(benchmark::State& state) {
    Setup setup = MakeSetup(static_cast<std::size_t>(state.range(0)), "*");
    for (auto unused : state) {
        (void)unused;
        lists::InternalWhiteList list;
        list.Publish(setup.owner.Record());
        benchmark::DoNotOptimize(list);
    }
}

// A URL of nothing but boundaries and beginnings of listed texts.
void UrlSubstringsHostileUrl(benchmark::State& state) {
    Setup setup = MakeSetup(static_cast<std::size_t>(state.range(0)), "*");
    setup.owner.Add("*a/a/a/a/a/a/a/b");
    lists::InternalWhiteList list;
    list.Publish(setup.owner.Record());
    std::string url = "xa/a/a/a/a/a/a/bc";
    while (url.size() < 1000) url += "/a/a/a/a/a/a/a/b";
    for (auto unused : state) {
        (void)unused;
        if (list.Matches(url)) state.SkipWithError("only the first occurrence counts");
    }
}

BENCHMARK(UrlPrefixes)->Apply(Sizes);
BENCHMARK(UrlPrefixesPlainWalk)->Apply(Sizes);
BENCHMARK(UrlSubstrings)->Apply(Sizes);
BENCHMARK(UrlSubstringsPlainWalk)->Apply(Sizes);
BENCHMARK(UserWhiteList)->Apply(Sizes);
BENCHMARK(UserWhiteListPlainWalk)->Apply(Sizes);
BENCHMARK(UrlSubstringsPublish)->Apply(Sizes);
BENCHMARK(UrlSubstringsHostileUrl)->Apply(Sizes);

}  // namespace
}  // namespace tarn::url
