#include "base/guarded_flag.h"

#include <chrono>
#include <future>
#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>

namespace tarn::base {
namespace {

TEST(GuardedFlag, IsWhatWasWritten) {
    GuardedFlag flag;
    EXPECT_FALSE(flag.IsSet());
    EXPECT_TRUE(GuardedFlag(true).IsSet());
    for (const bool value : {true, false, true, true, false}) {
        flag.Write([value](bool& one) { one = value; });
        EXPECT_EQ(flag.IsSet(), value);
    }
    EXPECT_EQ(flag.Write([](bool& one) { return one ? 1 : 2; }), 2) << "the result of the use";
    EXPECT_FALSE(flag.IsSet()) << "what is only read stays";
}

TEST(GuardedFlag, AnErrorKeepsWhatWasWritten) {
    GuardedFlag flag;
    const auto fail = [](bool& one) {
        one = true;
        throw std::runtime_error("use");
    };
    EXPECT_THROW(flag.Write(fail), std::runtime_error);
    EXPECT_TRUE(flag.IsSet());
}

// The one that waited would wait for ever for a lock that is held until both have answered.
TEST(GuardedFlag, OnlyAClearFlagIsReadUnderTheLock) {
    GuardedFlag set(true);
    GuardedFlag clear;
    std::future<bool> asked;
    std::future<bool> waiting;
    set.Write([&](bool&) {
        asked = std::async(std::launch::async, [&] { return set.IsSet(); });
        EXPECT_EQ(asked.wait_for(std::chrono::seconds(20)), std::future_status::ready);
    });
    EXPECT_TRUE(asked.get());
    clear.Write([&](bool& flag) {
        waiting = std::async(std::launch::async, [&] { return clear.IsSet(); });
        EXPECT_EQ(waiting.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
        flag = true;
    });
    EXPECT_TRUE(waiting.get()) << "it saw what the writer left";
}

TEST(GuardedFlag, ThreadsReadBesideAWriter) {
    GuardedFlag flag(true);
    std::thread writer([&flag] {
        for (int i = 0; i < 1000; ++i) flag.Write([i](bool& one) { one = i % 2 != 0; });
    });
    std::thread reader([&] {
        for (int i = 0; i < 1000; ++i) (void)flag.IsSet();
    });
    writer.join();
    reader.join();
    EXPECT_TRUE(flag.IsSet()) << "the last one written";
}

}  // namespace
}  // namespace tarn::base
