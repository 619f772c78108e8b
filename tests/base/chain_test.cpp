#include "base/chain.h"

#include <algorithm>
#include <cstdint>
#include <gtest/gtest.h>

#include "parental/record_builders.h"

namespace tarn::base {
using parental::Chain;
namespace {

struct Node {
    const Node* next = nullptr;
};

TEST(RecordChain, LengthNeverPassesTheLimitNorReadsBehindIt) {
    Chain<Node> chain;
    EXPECT_EQ(ChainLength(chain.First(), 5), 0U);
    for (int i = 0; i < 20; ++i) chain.Append();
    for (std::size_t limit = 0; limit < 30; ++limit)
        EXPECT_EQ(ChainLength(chain.First(), limit), std::min<std::size_t>(limit, 20));
    chain[19].next = reinterpret_cast<const Node*>(std::uintptr_t{8});  // never followed
    EXPECT_EQ(ChainLength(chain.First(), 20), 20U);
}

TEST(RecordChain, NodesOfALoopCountOnce) {
    for (std::size_t length = 1; length < 40; ++length) {
        for (std::size_t back = 0; back < length; ++back) {
            Chain<Node> chain;
            for (std::size_t i = 0; i < length; ++i) chain.Append();
            chain[length - 1].next = &chain[back];
            EXPECT_EQ(ChainLength(chain.First(), SIZE_MAX), length) << "back to " << back;
        }
    }
}

}  // namespace
}  // namespace tarn::base
