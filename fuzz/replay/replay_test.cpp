// Every fuzz target over its first inputs, their beginnings and a fixed set of changed ones.
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <gtest/gtest.h>
#include <string>

#include "replay/mutation.h"
#include "seeds.h"

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/common_interface_defs.h>
#endif

namespace tarn::fuzz {
namespace {

// The input that a target has not come back from.
Bytes current;

// A finding ends the process, so the input has to be told at once.
void TellInput() {
    std::fputs("The input, in hexadecimal (fuzz/README.md says what to do with it): ", stderr);
    for (const std::uint8_t byte : current) std::fprintf(stderr, "%02x", byte);
    std::fputc('\n', stderr);
}

void TellInputOnAbort(int) {
    TellInput();
}

class FuzzReplay : public testing::TestWithParam<Target> {
 protected:
    FuzzReplay() {
        std::signal(SIGABRT, TellInputOnAbort);
#if defined(__SANITIZE_ADDRESS__)
        __sanitizer_set_death_callback(TellInput);
#endif
    }
    void Run(Bytes input) {
        current = input;
        RunTarget(GetParam(), input);
        current = {};
        ++runs;
    }
    const std::vector<ByteList> seeds = SeedsOf(GetParam().name);
    std::size_t runs = 0;
};

TEST_P(FuzzReplay, FirstInputs) {
    ASSERT_FALSE(seeds.empty());
    Run({});
    for (const ByteList& seed : seeds) Run(seed);
    EXPECT_EQ(runs, seeds.size() + 1);
}

// All of them, or as many as the target's cost allows, evenly spread.
TEST_P(FuzzReplay, Beginnings) {
    std::size_t all = 0;
    for (const ByteList& seed : seeds) all += std::min(seed.size(), GetParam().mostBytes);
    const std::size_t step = std::max<std::size_t>(1, (all + GetParam().replays - 1) / GetParam().replays);
    std::size_t skip = 0;
    for (const ByteList& seed : seeds)
        for (std::size_t length = 0; length < std::min(seed.size(), GetParam().mostBytes); ++length)
            if (skip++ % step == 0) Run(Bytes(seed).first(length));
    EXPECT_GE(runs, std::min(all, GetParam().replays) / 2);
}

TEST_P(FuzzReplay, Changed) {
    Mutation mutation(20260304);
    while (runs < GetParam().replays) Run(mutation.Next(seeds));
    EXPECT_EQ(runs, GetParam().replays);
}

INSTANTIATE_TEST_SUITE_P(Targets, FuzzReplay, testing::ValuesIn(AllTargets().begin(), AllTargets().end()),
                         [](const auto& target) { return std::string(target.param.name); });

}  // namespace
}  // namespace tarn::fuzz
