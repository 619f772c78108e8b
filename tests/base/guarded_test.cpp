#include "base/guarded.h"

#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace tarn::base {
namespace {

TEST(Guarded, ReadsWhatWasWritten) {
    Guarded<std::string> text("before");
    EXPECT_EQ(text.Read([](const std::string& value) { return value; }), "before");
    text.Write([](std::string& value) { value += " and after"; });
    EXPECT_EQ(text.Read([](const std::string& value) { return value.size(); }), 16U);
    const Guarded<int> zero;
    EXPECT_EQ(zero.Read([](int value) { return value; }), 0) << "a value of its own type's zero";
}

TEST(Guarded, ReadersGetNoWayToChange) {
    Guarded<int> number(1);
    number.Read([](auto&& value) { static_assert(std::is_same_v<decltype(value), const int&>); });
    number.Write([](auto&& value) { static_assert(std::is_same_v<decltype(value), int&>); });
    static_assert(!std::is_copy_constructible_v<Guarded<int>> && !std::is_copy_assignable_v<Guarded<int>>);
}

TEST(Guarded, GivesTheResultOfTheUse) {
    Guarded<std::unique_ptr<int>> pointer(std::make_unique<int>(5));
    EXPECT_EQ(pointer.Write([](std::unique_ptr<int>& value) { return std::move(value); }).get()[0], 5)
        << "also one that can only be moved";
    EXPECT_TRUE(pointer.Read([](const std::unique_ptr<int>& value) { return value == nullptr; }));
}

TEST(Guarded, AnErrorReleasesTheLock) {
    Guarded<int> number(1);
    EXPECT_THROW(number.Write([](int&) { throw std::runtime_error("use"); }), std::runtime_error);
    EXPECT_THROW(number.Read([](const int&) { throw std::runtime_error("use"); }), std::runtime_error);
    number.Write([](int& value) { value = 2; });  // would wait for ever
    EXPECT_EQ(number.Read([](int value) { return value; }), 2);
}

TEST(Guarded, ThreadsMeetUnderTheLock) {
    Guarded<std::vector<int>> numbers;
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
        threads.emplace_back([&] {
            for (int round = 0; round < 500; ++round) {
                numbers.Write([&](std::vector<int>& value) { value.push_back(round); });
                const bool grows = numbers.Read([](const std::vector<int>& value) { return !value.empty(); });
                if (!grows) numbers.Write([](std::vector<int>& value) { value.clear(); });
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(numbers.Read([](const std::vector<int>& value) { return value.size(); }), 1500U);
}

}  // namespace
}  // namespace tarn::base
