// The searches: every order in which the threads of a trial can take their steps, each with what it may read.
// Each runs in the calling thread and says what it has seen.
#ifndef TARN_TESTS_ORDER_EXPLORER_SEARCH_H
#define TARN_TESTS_ORDER_EXPLORER_SEARCH_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "order/explorer/world.h"

namespace tarn::order {

struct Found {
    std::uint64_t states = 0;      // places between two steps
    std::uint64_t executions = 0;  // from the beginning
    std::uint64_t ends = 0;        // executions that came to their end; the others led where one had been
    std::size_t depth = 0;         // steps of the longest
    std::string failure;           // "" when everything held; else what did not, and the steps that led there
};

using MakeTrial = std::function<std::unique_ptr<Trial>()>;

// Every order of the steps of threads that come to an end. Of orders that differ only in steps that do not depend on
// each other one is enough.
[[nodiscard]] Found ExploreOrders(const MakeTrial& make);

// Every state of threads that go on for ever, the nearest ones first. A state is all that AddState tells, the locks,
// and the step that each thread is about to take: two places with the same step have to be told apart by the trial.
[[nodiscard]] Found ExploreStates(const MakeTrial& make);

}  // namespace tarn::order

#endif
