// What parental control costs: a user's site tables built from rules, a logon event judged with few and many accounts.
// The peer of the tables is one copy of their rules; that of a logon event is the walk over the accounts alone.
#include <benchmark/benchmark.h>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include "base/bounded_text.h"
#include "fakes/clocks.h"
#include "parental/logon_check.h"
#include "parental/site_tables.h"
#include "parental/user_sessions.h"
#include "url/made_up_sites.h"

namespace tarn::parental {
namespace {

struct Rules {
    explicit Rules(std::size_t count) {
        url::SiteCorpus corpus(15);
        for (std::size_t i = 0; i < count; ++i) {
            SiteRule& rule = rules.emplace_back();
            base::CopyText(rule.host, sizeof rule.host, corpus.Host());
            if (i % 2 != 0) base::CopyText(rule.path, sizeof rule.path, corpus.Path());
            rule.kind = rule.flag = 1;
            if (i != 0) rules[i - 1].next = &rule;
        }
    }
    std::deque<SiteRule> rules;
};

void SiteTablesBuilt(benchmark::State& state) {
    const Rules rules(static_cast<std::size_t>(state.range(0)));
    for (auto unused : state) {
        (void)unused;
        SiteTables tables;
        if (!BuildSiteTables(&rules.rules.front(), tables) || tables.hosts.size() > rules.rules.size() ||
            2 * tables.paths.size() != rules.rules.size())
            state.SkipWithError("a wrong table");
        benchmark::DoNotOptimize(tables);
    }
}
void SiteTablesRulesCopied(benchmark::State& state) {
    const Rules rules(static_cast<std::size_t>(state.range(0)));
    for (auto unused : state) {
        (void)unused;
        const std::vector<SiteRule> copy(rules.rules.begin(), rules.rules.end());
        if (copy.size() != rules.rules.size()) state.SkipWithError("a wrong copy");
        benchmark::DoNotOptimize(copy.data());
    }
}

// A tick of an account; accounts differ in their last sub-authority, as those of one domain do.
LogonEvent EventOf(std::uint32_t account, std::uint32_t code) {
    LogonEvent event{};
    event.eventCode = code;
    const std::uint8_t head[8] = {1, 5, 0, 0, 0, 0, 0, 5};
    std::memcpy(event.sid, head, sizeof head);
    const std::uint32_t parts[5] = {21, 1111, 2222, 3333, account};
    std::memcpy(event.sid + sizeof head, parts, sizeof parts);
    return event;
}

// The account that logged on last, which stands last.
struct Accounts {
    explicit Accounts(std::uint32_t count) : last(EventOf(count, TARN_EVENT_TICK)) {
        LogonVerdict verdict{};
        for (std::uint32_t i = 1; i <= count; ++i) ScanLogonEvent(EventOf(i, 1), verdict, table, settings, clock);
    }
    SettingsCopy settings;
    UserSessionTable table;
    fakes::FixedClock clock{TarnSystemTime{2026, 3, 4, 5, 12, 0, 0, 0}};
    LogonEvent last;
};

void LogonEventJudged(benchmark::State& state) {
    const auto count = static_cast<std::uint32_t>(state.range(0));
    Accounts accounts(count);
    LogonVerdict verdict{};
    for (auto unused : state) {
        (void)unused;
        if (!ScanLogonEvent(accounts.last, verdict, accounts.table, accounts.settings, accounts.clock))
            state.SkipWithError("a wrong answer");
    }
    if (accounts.table.Records().size() != count) state.SkipWithError("a wrong table");
}
void LogonEventAccountFound(benchmark::State& state) {
    const auto count = static_cast<std::uint32_t>(state.range(0));
    Accounts accounts(count);
    for (auto unused : state) {
        (void)unused;
        if (accounts.table.Find(accounts.last.sid) != &accounts.table.Records().back())
            state.SkipWithError("a wrong answer");
    }
}

BENCHMARK(SiteTablesBuilt)->Arg(100)->Arg(10000)->Arg(100000)->Unit(benchmark::kMicrosecond);
BENCHMARK(SiteTablesRulesCopied)->Arg(100)->Arg(10000)->Arg(100000)->Unit(benchmark::kMicrosecond);
BENCHMARK(LogonEventJudged)->Arg(1)->Arg(10)->Arg(1000);
BENCHMARK(LogonEventAccountFound)->Arg(1)->Arg(10)->Arg(1000);

}  // namespace
}  // namespace tarn::parental
