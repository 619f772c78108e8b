// All thirteen exports over one library, in any order, with any settings.
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include "exports/exports_world.h"
#include "targets.h"

namespace tarn::fuzz {

void Exports(Bytes input) {
    constexpr std::size_t kMostSteps = 64;
    testing::TestPartResultArray failures;  // what the tests' scripted modules complain of
    {
        const testing::ScopedFakeTestPartResultReporter reporter(
            testing::ScopedFakeTestPartResultReporter::INTERCEPT_ALL_THREADS, &failures);
        ExportsWorld world;
        Pieces pieces(input);
        for (std::size_t i = 0; i < kMostSteps && !pieces.AtEnd(); ++i) world.Step(pieces);
        world.End();
    }
    if (failures.size() != 0) EndWith(failures.GetTestPartResult(0).message());
}

}  // namespace tarn::fuzz
