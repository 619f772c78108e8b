// The explorer itself: what it finds is known beforehand, by counting or by the rules of the language.
#include <gtest/gtest.h>
#include <set>
#include <utility>

#include "base/atomic.h"
#include "base/sync.h"
#include "order/explorer/search.h"
#include "order/explorer/sync_explored.h"
#include "order/record.h"

namespace tarn::order {
namespace {

using std::memory_order;
using Pairs = std::set<std::pair<int, int>>;

// Threads over four numbers that begin at 0; at the end it tells two of what they have read.
class NumbersTrial final : public Trial {
 public:
    using Body = std::function<void(NumbersTrial&)>;
    NumbersTrial(const std::vector<Body>& bodies, Pairs* ends) : ends_(ends) {
        BeginSync({});
        for (const Body& body : bodies) World::Current()->AddThread("thread", [this, body] { body(*this); });
    }
    void AtEnd() override {
        if (ends_ != nullptr) ends_->insert({first, second});
    }

    base::Atomic<int> x;
    base::Atomic<int> y;
    int first = 0;
    int second = 0;
    bool agrees = true;

 private:
    Pairs* ends_;
};

Found Explore(const std::vector<NumbersTrial::Body>& bodies, Pairs* ends = nullptr) {
    return ExploreOrders([&] { return std::make_unique<NumbersTrial>(bodies, ends); });
}
Pairs EndsOf(const std::vector<NumbersTrial::Body>& bodies) {
    Pairs ends;
    EXPECT_EQ(Explore(bodies, &ends).failure, "");
    return ends;
}

TEST(Explorer, StepsThatDoNotDependOnEachOtherHaveOneOrder) {
    const auto found =
        Explore({[](auto& t) { t.x.store(1), t.x.store(2); }, [](auto& t) { t.y.store(1), t.y.store(2); }});
    EXPECT_EQ(found.ends, 1U);
    EXPECT_EQ(found.depth, 4U);
}

TEST(Explorer, StepsThatDependOnEachOtherHaveEveryOrder) {
    const auto one = [](auto& t) { t.x.store(1); };
    EXPECT_EQ(Explore({one, one, one}).ends, 6U);
    const auto two = [](auto& t) { t.x.store(1), t.x.store(2); };
    EXPECT_EQ(Explore({two, two}).ends, 6U) << "four steps, two of them each thread's";
    EXPECT_EQ(Explore({two, two, two}).ends, 90U) << "6! / (2! 2! 2!)";
}

TEST(Explorer, EachValueThatMayBeReadIsRead) {
    Pairs ends;
    const auto found =
        Explore({[](auto& t) { t.x.store(1, memory_order::relaxed), t.x.store(2, memory_order::relaxed); },
                 [](auto& t) {
                     t.first = t.x.load(memory_order::relaxed);
                     t.second = t.x.load(memory_order::relaxed);
                 }},
                &ends);
    EXPECT_EQ(ends, (Pairs{{0, 0}, {0, 1}, {0, 2}, {1, 1}, {1, 2}, {2, 2}})) << "never backwards";
    EXPECT_EQ(found.ends, 6U);
}

Pairs EndsOfMessage(memory_order stores, memory_order loads) {
    return EndsOf({[=](auto& t) { t.x.store(1, memory_order::relaxed), t.y.store(1, stores); },
                   [=](auto& t) {
                       t.first = t.y.load(loads);
                       t.second = t.x.load(memory_order::relaxed);
                   }});
}

TEST(Explorer, WhatWasWrittenBeforeAReleaseIsSeenBehindAnAcquire) {
    const Pairs allowed{{0, 0}, {0, 1}, {1, 1}};
    EXPECT_EQ(EndsOfMessage(memory_order::release, memory_order::acquire), allowed);
    Pairs weaker = allowed;
    weaker.insert({1, 0});
    EXPECT_EQ(EndsOfMessage(memory_order::relaxed, memory_order::acquire), weaker);
    EXPECT_EQ(EndsOfMessage(memory_order::release, memory_order::relaxed), weaker);
}

Pairs EndsOfTwoFlags(memory_order stores, memory_order loads) {
    return EndsOf({[=](auto& t) {
                       t.x.store(1, stores);
                       t.first = t.y.load(loads);
                   },
                   [=](auto& t) {
                       t.y.store(1, stores);
                       t.second = t.x.load(loads);
                   }});
}

TEST(Explorer, OnlyOrderedStepsForbidThatBothOverlookTheOther) {
    const Pairs ordered{{0, 1}, {1, 0}, {1, 1}};
    EXPECT_EQ(EndsOfTwoFlags(memory_order::seq_cst, memory_order::seq_cst), ordered);
    Pairs weaker = ordered;
    weaker.insert({0, 0});
    EXPECT_EQ(EndsOfTwoFlags(memory_order::release, memory_order::acquire), weaker);
}

// Whether two readers can see two writers' values in different orders.
bool MayDisagree(memory_order stores, memory_order loads) {
    const Pairs ends = EndsOf({[=](auto& t) { t.x.store(1, stores); }, [=](auto& t) { t.y.store(1, stores); },
                               [=](auto& t) {
                                   const int x = t.x.load(loads);
                                   t.first = x * 2 + t.y.load(loads);
                               },
                               [=](auto& t) {
                                   const int y = t.y.load(loads);
                                   t.second = y * 2 + t.x.load(loads);
                               }});
    return ends.contains({2, 2});
}

TEST(Explorer, OnlyOrderedLoadsAgreeAboutTheOrderOfStores) {
    EXPECT_FALSE(MayDisagree(memory_order::seq_cst, memory_order::seq_cst));
    EXPECT_TRUE(MayDisagree(memory_order::release, memory_order::acquire));
}

TEST(Explorer, AnExchangeReadsTheLastValue) {
    const auto add = [](auto& t) {
        int seen = t.x.load(memory_order::relaxed);
        while (!t.x.compare_exchange_weak(seen, seen + 1)) continue;
        t.first = std::max(t.first, seen + 1);
    };
    EXPECT_EQ(EndsOf({add, add, add}), (Pairs{{3, 0}}));
}

TEST(Explorer, AFailureIsToldWithItsSteps) {
    const auto found = Explore({[](auto& t) { t.x.store(1); },
                                [](auto& t) { World::Current()->Require(t.x.load() == 0, "x is no longer 0"); }});
    EXPECT_EQ(found.failure.substr(0, found.failure.find('\n')), "x is no longer 0");
    EXPECT_NE(found.failure.find("thread stores, object 1"), std::string::npos) << found.failure;
}

TEST(Explorer, ACircleIsAFailure) {
    const auto found = Explore({[](auto& t) {
        while (t.x.load() == 0 && !World::Current()->Draining()) continue;
    }});
    EXPECT_EQ(found.failure.substr(0, found.failure.find('\n')), "comes to no end");
}

// Two critical sections, entered in the order that each thread has.
class SectionsTrial final : public Trial {
 public:
    explicit SectionsTrial(bool sameOrder) {
        BeginSync({});
        World::Current()->AddThread("one", [this] { Both(first_, second_); });
        World::Current()->AddThread("other", [this, sameOrder] {
            if (sameOrder)
                Both(first_, second_);
            else
                Both(second_, first_);
        });
    }

 private:
    static void Both(base::CriticalSection& outer, base::CriticalSection& inner) {
        outer.Enter();
        inner.Enter();
        inner.Leave();
        outer.Leave();
    }
    base::CriticalSection first_;
    base::CriticalSection second_;
};

TEST(Explorer, ThreadsThatWaitForEachOtherAreFound) {
    EXPECT_EQ(ExploreOrders([] { return std::make_unique<SectionsTrial>(true); }).failure, "");
    const std::string failure = ExploreOrders([] { return std::make_unique<SectionsTrial>(false); }).failure;
    EXPECT_NE(failure.find("waits for ever: enters the critical section"), std::string::npos) << failure;
    EXPECT_EQ(ExploreStates([] { return std::make_unique<SectionsTrial>(true); }).failure, "");
    EXPECT_NE(ExploreStates([] { return std::make_unique<SectionsTrial>(false); }).failure, "");
}

// On the stack of a thread that is explored, too.
TEST(ExplorerDeathTest, WhatWasFreedIsWatched) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto useFreed = [] {
        static_cast<void>(Explore({[](auto& t) {
            auto number = std::make_unique<int>(1);
            const volatile int* const freed = number.get();
            number.reset();
            t.x.store(*freed);
        }}));
    };
    EXPECT_DEATH(useFreed(), "heap-use-after-free");
}

}  // namespace
}  // namespace tarn::order
