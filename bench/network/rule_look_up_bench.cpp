// An IDS rule found by its number in tables of both sizes, against the walk in table order.
#include <benchmark/benchmark.h>
#include <random>
#include <vector>

#include "modules/ids_rules.h"
#include "network/plain_walk.h"

namespace tarn::network {
namespace {

constexpr std::size_t kQuestions = 4096;  // more than a branch predictor learns
constexpr std::uint8_t kAnySystem = 50;

// Half of the questions name a rule of the table.
template <class Find>
void LookUp(benchmark::State& state, Find find) {
    const auto size = static_cast<std::size_t>(state.range(0));
    std::mt19937 random(12);
    std::vector<IdsRule> rules(size);
    for (std::size_t i = 0; i < size; ++i) rules[i].id = static_cast<std::uint16_t>(2 * i + 1);
    modules::IdsRuleTable table;
    if (!table.CopySelected({.ruleCount = static_cast<std::uint32_t>(size), .extra = 0, .rules = rules.data()},
                            kAnySystem)) {
        state.SkipWithError("no memory");
        return;
    }
    std::vector<std::uint16_t> asked;
    for (std::size_t i = 0; i < kQuestions; ++i) {
        const std::size_t place = random() % size;
        const bool hit = random() % 2 == 0;
        asked.push_back(static_cast<std::uint16_t>(2 * place + (hit ? 1 : 0)));
        if (find(table, asked.back()) == (hit ? &table.Record().rules[place] : nullptr)) continue;
        state.SkipWithError("a wrong answer");
        return;
    }
    std::size_t next = 0;
    for (auto unused : state) {
        (void)unused;
        benchmark::DoNotOptimize(find(table, asked[next]));
        next = (next + 1) % kQuestions;
    }
}

void RuleFound(benchmark::State& state) {
    LookUp(state, [](const modules::IdsRuleTable& table, std::uint16_t id) { return table.Find(id); });
}
void RuleFoundPlainWalk(benchmark::State& state) {
    LookUp(state,
           [](const modules::IdsRuleTable& table, std::uint16_t id) { return plain::FindRule(table.Record(), id); });
}
BENCHMARK(RuleFound)->Arg(10)->Arg(10000);
BENCHMARK(RuleFoundPlainWalk)->Arg(10)->Arg(10000);

}  // namespace
}  // namespace tarn::network
