// The malicious list, the phishing list and a profile's allowed sites against their plain walks.
#include <benchmark/benchmark.h>

#include "lists/allowed_sites.h"
#include "lists/plain_walk.h"
#include "lists/record_owners.h"
#include "lists/threat_lists.h"
#include "url/site_corpus.h"

namespace tarn::url {
namespace {

struct Questions {
    std::vector<std::string> hosts;
    std::vector<std::string> paths;
};

// One site in five is listed, with a listed path.
Questions Ask(const Questions& listed) {
    Questions questions;
    SiteCorpus asked(7);
    for (std::size_t i = 0; i < kQuestions; ++i) {
        const std::size_t known = asked.Below(listed.hosts.size());
        const bool isListed = asked.Below(5) == 0;
        questions.hosts.push_back(isListed ? listed.hosts[known] : asked.Host());
        questions.paths.push_back(isListed ? listed.paths[known] : asked.Path());
    }
    return questions;
}

Questions Listed(std::size_t size) {
    SiteCorpus corpus(6);
    Questions listed;
    for (std::size_t i = 0; i < size; ++i) {
        listed.hosts.push_back(corpus.Host());
        listed.paths.push_back(corpus.Path());
    }
    return listed;
}

struct Malicious {
    explicit Malicious(const Questions& listed) {
        for (std::size_t i = 0; i < listed.hosts.size(); ++i)
            owner.Add(listed.hosts[i], false, {{"Other", listed.paths[i] + "x"}, {"Threat", listed.paths[i]}});
        owner.Sort();
        list.Publish(owner.Record());
    }
    [[nodiscard]] bool Published(const std::string& host, const std::string& path) const {
        const auto found = list.Find(host, path);
        return found && *found == "Threat";
    }
    [[nodiscard]] bool Plain(const std::string& host, const std::string& path) {
        const auto found = lists::plain::FindMalicious(host, path, owner.Record());
        return found && *found == "Threat";
    }
    lists::ThreatListOwner owner;
    lists::MaliciousList list;
};

struct Phishing {
    explicit Phishing(const Questions& listed) {
        for (std::size_t i = 0; i < listed.hosts.size(); ++i)
            owner.Add(listed.hosts[i], false, {"/x", listed.paths[i]});
        owner.Sort();
        list.Publish(owner.Record());
    }
    [[nodiscard]] bool Published(const std::string& host, const std::string& path) const {
        return list.Matches(host, path);
    }
    [[nodiscard]] bool Plain(const std::string& host, const std::string& path) {
        return lists::plain::MatchPhishing(host, path, owner.Record());
    }
    lists::PhishingListOwner owner;
    lists::PhishingList list;
};

struct Allowed {
    explicit Allowed(const Questions& listed) {
        for (std::size_t i = 0; i < listed.hosts.size(); ++i)
            owner.Add(listed.hosts[i], listed.paths[i], i % 2 == 0, 0, 1);
        list.Publish(owner.Record());
    }
    [[nodiscard]] bool Published(const std::string& host, const std::string& path) const {
        return list.MatchesHost(host, path, 1);
    }
    [[nodiscard]] bool Plain(const std::string& host, const std::string& path) {
        return lists::plain::MatchUserListByHost(host, path, 1, owner.Record());
    }
    lists::UserListOwner owner;
    lists::AllowedSites list;
};

template <class Kind>
void Published(benchmark::State& state) {
    const Questions listed = Listed(static_cast<std::size_t>(state.range(0)));
    const Questions questions = Ask(listed);
    Kind kind(listed);
    const auto ask = [&](std::size_t i) { return kind.Published(questions.hosts[i], questions.paths[i]); };
    const auto plain = [&](std::size_t i) { return kind.Plain(questions.hosts[i], questions.paths[i]); };
    if (Agree(state, ask, plain)) AskAll(state, ask);
}

template <class Kind>
void PlainWalk(benchmark::State& state) {
    const Questions listed = Listed(static_cast<std::size_t>(state.range(0)));
    const Questions questions = Ask(listed);
    Kind kind(listed);
    AskSome(state, [&](std::size_t i) { return kind.Plain(questions.hosts[i], questions.paths[i]); });
}

template <class Kind>
void Publish(benchmark::State& state) {
    Kind kind(Listed(static_cast<std::size_t>(state.range(0))));
    for (auto unused : state) {
        (void)unused;
        kind.list.Publish(kind.owner.Record());
        benchmark::DoNotOptimize(kind.list);
    }
}

BENCHMARK(Published<Malicious>)->Apply(Sizes);
BENCHMARK(PlainWalk<Malicious>)->Apply(Sizes);
BENCHMARK(Publish<Malicious>)->Apply(Sizes);
BENCHMARK(Published<Phishing>)->Apply(Sizes);
BENCHMARK(PlainWalk<Phishing>)->Apply(Sizes);
BENCHMARK(Publish<Phishing>)->Apply(Sizes);
BENCHMARK(Published<Allowed>)->Apply(Sizes);
BENCHMARK(PlainWalk<Allowed>)->Apply(Sizes);
BENCHMARK(Publish<Allowed>)->Apply(Sizes);

}  // namespace
}  // namespace tarn::url
