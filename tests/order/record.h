// What a search has seen, as properties of the running test case, from which ./dev order reads it.
#ifndef TARN_TESTS_ORDER_RECORD_H
#define TARN_TESTS_ORDER_RECORD_H

#include <gtest/gtest.h>

#include "order/explorer/search.h"

namespace tarn::order {

inline void Record(const Found& found) {
    testing::Test::RecordProperty("states", std::to_string(found.states));
    testing::Test::RecordProperty("executions", std::to_string(found.executions));
    testing::Test::RecordProperty("ends", std::to_string(found.ends));
    testing::Test::RecordProperty("depth", std::to_string(found.depth));
}

}  // namespace tarn::order

#endif
