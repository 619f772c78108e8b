#include "base/reader_writer_lock.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <mutex>
#include <ostream>
#include <thread>
#include <vector>

namespace tarn::base {

struct LockCounters {
    std::int32_t waitingReaders = 0;
    std::int32_t waitingWriters = 0;
    std::int32_t state = 0;
    bool operator==(const LockCounters&) const = default;
};
std::ostream& operator<<(std::ostream& stream, const LockCounters& counters) {
    return stream << counters.waitingReaders << " readers and " << counters.waitingWriters << " writers wait, state "
                  << counters.state;
}

class ReaderWriterLockProbe {
 public:
    static LockCounters Read(ReaderWriterLock& lock) {
        lock.counters_.Enter();
        const LockCounters counters{lock.waitingReaders_, lock.waitingWriters_, lock.state_};
        lock.counters_.Leave();
        return counters;
    }
};

namespace {

// Waits until the condition holds; one that never does ends the program, for its threads would never be joined.
template <class Condition>
void WaitUntil(const char* what, Condition&& condition) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > limit) {
            std::fprintf(stderr, "never came to pass: %s\n", what);
            std::abort();
        }
        std::this_thread::yield();
    }
}

// A thread that acquires the lock, says so, and releases it when it is told to.
class Holder {
 public:
    enum class Side { kRead, kWrite };

    Holder(ReaderWriterLock& lock, Side side)
        : thread_([this, &lock, side] {
              side == Side::kRead ? lock.AcquireForReading() : lock.AcquireForWriting();
              entered_ = true;
              WaitUntil("the holder is told to release", [this] { return released_.load(); });
              lock.Release();
              left_ = true;
          }) {}
    ~Holder() {
        released_ = true;
        thread_.join();
    }
    Holder(const Holder&) = delete;
    Holder& operator=(const Holder&) = delete;

    [[nodiscard]] bool Entered() const { return entered_; }
    void WaitUntilEntered() const {
        WaitUntil("the lock is acquired", [this] { return entered_.load(); });
    }
    void ReleaseNow() {
        released_ = true;
        WaitUntil("the lock is released", [this] { return left_.load(); });
    }

 private:
    std::atomic<bool> entered_ = false;
    std::atomic<bool> released_ = false;
    std::atomic<bool> left_ = false;
    std::thread thread_;
};

class ReaderWriterLockTest : public testing::Test {
 protected:
    [[nodiscard]] LockCounters Counters() { return ReaderWriterLockProbe::Read(lock); }
    void WaitForCounters(const LockCounters& expected) {
        WaitUntil("the lock's counters", [&] { return Counters() == expected; });
    }

    ReaderWriterLock lock;
};

using Side = Holder::Side;

TEST_F(ReaderWriterLockTest, StateCountsItsHolders) {
    EXPECT_EQ(Counters(), (LockCounters{0, 0, 0}));
    lock.AcquireForReading();
    lock.AcquireForReading();
    EXPECT_EQ(Counters(), (LockCounters{0, 0, 2}));
    lock.Release();
    lock.Release();
    EXPECT_EQ(Counters(), (LockCounters{0, 0, 0}));
    lock.AcquireForWriting();
    EXPECT_EQ(Counters(), (LockCounters{0, 0, -1}));
    lock.Release();
    EXPECT_EQ(Counters(), (LockCounters{0, 0, 0}));
}

TEST_F(ReaderWriterLockTest, AWaitingWriterGoesBeforeAReaderThatComesLater) {
    Holder first(lock, Side::kRead);
    first.WaitUntilEntered();
    Holder second(lock, Side::kRead);
    second.WaitUntilEntered();
    Holder writer(lock, Side::kWrite);
    WaitForCounters({0, 1, 2});
    Holder third(lock, Side::kRead);
    WaitForCounters({1, 1, 2});
    EXPECT_FALSE(writer.Entered());
    EXPECT_FALSE(third.Entered());

    first.ReleaseNow();
    EXPECT_EQ(Counters(), (LockCounters{1, 1, 1})) << "one reader still holds it";
    second.ReleaseNow();
    writer.WaitUntilEntered();
    EXPECT_EQ(Counters(), (LockCounters{1, 0, -1}));
    EXPECT_FALSE(third.Entered());

    writer.ReleaseNow();
    third.WaitUntilEntered();
    EXPECT_EQ(Counters(), (LockCounters{0, 0, 1}));
    third.ReleaseNow();
    EXPECT_EQ(Counters(), (LockCounters{0, 0, 0}));
}

TEST_F(ReaderWriterLockTest, AllWaitingReadersEnterWhenNoWriterWaits) {
    Holder writer(lock, Side::kWrite);
    writer.WaitUntilEntered();
    Holder first(lock, Side::kRead);
    Holder second(lock, Side::kRead);
    Holder third(lock, Side::kRead);
    WaitForCounters({3, 0, -1});
    EXPECT_FALSE(first.Entered() || second.Entered() || third.Entered());

    writer.ReleaseNow();
    EXPECT_EQ(Counters(), (LockCounters{0, 0, 3})) << "handed over at once, before any of them has woken";
    first.WaitUntilEntered();
    second.WaitUntilEntered();
    third.WaitUntilEntered();
    EXPECT_EQ(Counters(), (LockCounters{0, 0, 3}));
}

TEST_F(ReaderWriterLockTest, ExactlyOneWriterEntersWhileBothKindsWait) {
    Holder writer(lock, Side::kWrite);
    writer.WaitUntilEntered();
    Holder firstWriter(lock, Side::kWrite);
    Holder secondWriter(lock, Side::kWrite);
    Holder firstReader(lock, Side::kRead);
    Holder secondReader(lock, Side::kRead);
    WaitForCounters({2, 2, -1});

    writer.ReleaseNow();
    EXPECT_EQ(Counters(), (LockCounters{2, 1, -1}));
    WaitUntil("a writer enters", [&] { return firstWriter.Entered() || secondWriter.Entered(); });
    EXPECT_FALSE(firstWriter.Entered() && secondWriter.Entered());
    EXPECT_FALSE(firstReader.Entered() || secondReader.Entered());

    Holder& next = firstWriter.Entered() ? firstWriter : secondWriter;
    Holder& last = firstWriter.Entered() ? secondWriter : firstWriter;
    next.ReleaseNow();
    last.WaitUntilEntered();
    EXPECT_EQ(Counters(), (LockCounters{2, 0, -1}));
    EXPECT_FALSE(firstReader.Entered() || secondReader.Entered());
    last.ReleaseNow();
    firstReader.WaitUntilEntered();
    secondReader.WaitUntilEntered();
    EXPECT_EQ(Counters(), (LockCounters{0, 0, 2}));
}

TEST_F(ReaderWriterLockTest, AReaderMayEnterWhileOthersHoldItAndNoWriterWaits) {
    Holder first(lock, Side::kRead);
    first.WaitUntilEntered();
    {
        const ReadHold hold(lock);
        EXPECT_EQ(Counters(), (LockCounters{0, 0, 2}));
    }
    EXPECT_EQ(Counters(), (LockCounters{0, 0, 1}));
}

TEST_F(ReaderWriterLockTest, HoldsReleaseAtTheEndOfTheirScope) {
    try {
        const WriteHold hold(lock);
        EXPECT_EQ(Counters(), (LockCounters{0, 0, -1}));
        throw 1;
    } catch (int) {
        EXPECT_EQ(Counters(), (LockCounters{0, 0, 0})) << "also when an error is raised";
    }
}

// Readers see the two numbers equal, writers change them one after the other; no atomics, so that the lock alone keeps
// them together. ThreadSanitizer would see an acquire that lets somebody in without the hand-over.
TEST_F(ReaderWriterLockTest, ManyThreadsKeepTheInvariant) {
    constexpr int kRounds = 2000;
    constexpr int kWriters = 3;
    constexpr int kReaders = 4;
    std::int64_t left = 0;
    std::int64_t right = 0;
    int inside = 0;  // writers, changed under the write side alone
    std::atomic<int> wrong = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < kWriters; ++i)
        threads.emplace_back([&] {
            for (int round = 0; round < kRounds; ++round) {
                const WriteHold hold(lock);
                if (++inside != 1) ++wrong;
                ++left;
                if (round % 64 == 0) std::this_thread::yield();
                ++right;
                --inside;
            }
        });
    for (int i = 0; i < kReaders; ++i)
        threads.emplace_back([&] {
            std::int64_t before = 0;
            for (int round = 0; round < kRounds; ++round) {
                const ReadHold hold(lock);
                if (left != right || left < before || inside != 0) ++wrong;
                before = left;
                if (round % 64 == 0) std::this_thread::yield();
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(left, std::int64_t{kWriters} * kRounds);
    EXPECT_EQ(right, left);
    EXPECT_EQ(Counters(), (LockCounters{0, 0, 0}));
}

TEST(Semaphore, ReleasesLetAsManyPass) {
    Semaphore semaphore;
    std::atomic<int> passed = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
        threads.emplace_back([&] {
            semaphore.Wait();
            ++passed;
        });
    semaphore.Release(2);
    WaitUntil("two have passed", [&] { return passed == 2; });
    semaphore.Release(1);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(passed, 3);
}

TEST(Semaphore, AReleaseBeforeTheWaitIsNotLost) {
    Semaphore semaphore;
    semaphore.Release(2);
    semaphore.Wait();
    semaphore.Wait();
}

TEST(CriticalSection, OneThreadAtATime) {
    CriticalSection section;
    std::int64_t count = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int round = 0; round < 5000; ++round) {
                const std::lock_guard<CriticalSection> hold(section);
                ++count;
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(count, 20000);
}

}  // namespace
}  // namespace tarn::base
