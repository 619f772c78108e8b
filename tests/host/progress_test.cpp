// What a terminal shows while a long file is read, by a clock that the test moves.
#include "host/progress.h"

#include <gtest/gtest.h>
#include <sstream>

namespace tarn::host {
namespace {

using std::chrono::milliseconds;

class ProgressTest : public testing::Test {
 protected:
    // What is printed when so much has been read so late after the start.
    std::string At(Progress& progress, std::uint64_t bytes, milliseconds time) {
        now_ = Progress::Clock::time_point() + time;
        out_.str("");
        progress.Update(bytes);
        return out_.str();
    }
    Progress Of(std::uint64_t total) {
        return Progress(out_, total, [this] {
            ++asked_;
            return now_;
        });
    }

    std::ostringstream out_;
    Progress::Clock::time_point now_;
    int asked_ = 0;
};

TEST_F(ProgressTest, TellsTheRateAndTheTimeThatIsLeft) {
    Progress progress = Of(201000000);
    EXPECT_EQ(At(progress, 60000000, milliseconds(1999)), "") << "most files are read by then";
    EXPECT_EQ(At(progress, 120000000, milliseconds(2000)), "\r120 of 201 MB, 60 MB/s, 2 s left\x1b[K");
    EXPECT_EQ(At(progress, 130000000, milliseconds(2499)), "") << "half a second is not over";
    EXPECT_EQ(At(progress, 150000000, milliseconds(2500)), "\r150 of 201 MB, 60 MB/s, 1 s left\x1b[K");
    EXPECT_EQ(At(progress, 201000000, milliseconds(3000)), "\r201 of 201 MB, 67 MB/s\x1b[K");
}

TEST_F(ProgressTest, TellsALongTimeInMinutesAndASlowRateWithADecimal) {
    Progress progress = Of(400000000);
    EXPECT_EQ(At(progress, 3000000, milliseconds(2000)), "\r3.0 of 400 MB, 1.5 MB/s, 5 min left\x1b[K");
    EXPECT_EQ(At(progress, 280000000, milliseconds(200000)), "\r280 of 400 MB, 1.4 MB/s, 86 s left\x1b[K");
}

TEST_F(ProgressTest, TellsNoTimeForAStreamWhoseLengthIsNotKnown) {
    Progress progress = Of(0);
    EXPECT_EQ(At(progress, 44000000, milliseconds(4000)), "\r44 MB, 11 MB/s\x1b[K");
}

TEST_F(ProgressTest, AFileThatHasGrownHasNoTimeLeft) {
    Progress progress = Of(10000000);
    EXPECT_EQ(At(progress, 20000000, milliseconds(2000)), "\r20 of 10 MB, 10 MB/s\x1b[K");
}

TEST_F(ProgressTest, LooksAtTheClockOnceInAStep) {
    Progress progress = Of(Progress::kStep * 100);
    const int before = asked_;
    for (std::uint64_t bytes = 0; bytes < Progress::kStep * 10; bytes += 64) progress.Update(bytes);
    EXPECT_EQ(asked_ - before, 10);
}

TEST_F(ProgressTest, IsTakenAwayOnceAndComesBack) {
    Progress progress = Of(0);
    progress.Clear();
    EXPECT_EQ(out_.str(), "") << "there was nothing";
    At(progress, 44000000, milliseconds(4000));
    out_.str("");
    progress.Clear();
    progress.Clear();
    EXPECT_EQ(out_.str(), "\r\x1b[K");
    EXPECT_EQ(At(progress, 55000000, milliseconds(5000)), "\r55 MB, 11 MB/s\x1b[K");
}

}  // namespace
}  // namespace tarn::host
