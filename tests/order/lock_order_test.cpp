// The hand-over of the reader/writer lock, in every state that three readers and two writers can bring it to.
#include <array>
#include <gtest/gtest.h>

#include "base/reader_writer_lock.h"
#include "order/explorer/search.h"
#include "order/explorer/sync_explored.h"
#include "order/record.h"

namespace tarn::base {

class ReaderWriterLockProbe {
 public:
    explicit ReaderWriterLockProbe(const ReaderWriterLock& lock) : lock_(lock) {}
    [[nodiscard]] std::int32_t State() const { return lock_.state_; }
    [[nodiscard]] std::int32_t WaitingReaders() const { return lock_.waitingReaders_; }
    [[nodiscard]] std::int32_t WaitingWriters() const { return lock_.waitingWriters_; }

 private:
    const ReaderWriterLock& lock_;
};

}  // namespace tarn::base

namespace tarn::order {
namespace {

constexpr int kForEver = -1;

// Threads that take the lock and give it back, each so many times; who does so for ever may also stay away for ever.
// What a thread remembers while it waits is its stage alone, since neither call keeps anything over a wait.
class LockTrial final : public Trial {
 public:
    LockTrial(std::uint32_t readers, std::uint32_t writers, int rounds)
        : readers_(readers), users_(readers + writers), rounds_(rounds) {
        BeginSync({});
        for (std::uint32_t user = 0; user < users_; ++user)
            world().AddThread((IsReader(user) ? "reader " : "writer ") + std::to_string(user),
                              [this, user] { Use(user); });
    }

    void AfterStep(std::uint32_t user) override {
        NoteArrival(user);
        CheckCounters();
    }

    void AddState(std::vector<std::uint64_t>& numbers) const override {
        for (const std::int32_t counter : {probe_.State(), probe_.WaitingReaders(), probe_.WaitingWriters()})
            numbers.push_back(static_cast<std::uint64_t>(counter));
        for (std::uint32_t user = 0; user < users_; ++user)
            numbers.push_back(static_cast<std::uint64_t>(stages_[user]) +
                              16 * static_cast<std::uint64_t>(places_[user]));
    }

 private:
    enum class Stage { kAway, kComing, kWaiting, kInside, kLeaving };

    static World& world() { return *World::Current(); }
    [[nodiscard]] bool IsReader(std::uint32_t user) const { return user < readers_; }

    void Use(std::uint32_t user) {
        for (int round = 0; round != rounds_ && !world().Draining(); ++round) {
            stages_[user] = Stage::kAway;
            if (rounds_ == kForEver) Rest();
            stages_[user] = Stage::kComing;
            if (IsReader(user))
                lock_.AcquireForReading();
            else
                lock_.AcquireForWriting();
            Enter(user);
            Breathe("holds the lock");
            stages_[user] = Stage::kLeaving;
            lock_.Release();
        }
        stages_[user] = Stage::kAway;
    }

    void Enter(std::uint32_t user) {
        stages_[user] = Stage::kInside;
        places_[user] = 0;
        for (std::uint32_t other = 0; other < users_; ++other) {
            if (other == user || stages_[other] != Stage::kInside) continue;
            world().Require(IsReader(user) && IsReader(other), "a writer is not alone");
        }
        for (std::uint32_t writer = readers_; writer < users_ && IsReader(user); ++writer)
            if (stages_[writer] == Stage::kWaiting)
                world().Require(places_[writer]-- > 0, "a reader entered before a writer that waited already");
    }

    // The first step of somebody who comes is the one that counts it; who is not inside behind it waits.
    void NoteArrival(std::uint32_t user) {
        if (stages_[user] != Stage::kComing || IsBeforeTheCounters(user)) return;
        stages_[user] = Stage::kWaiting;
        if (!IsReader(user)) places_[user] = probe_.State() > 0 ? probe_.State() - Holders() : 0;
    }

    // Those whom the lock's state still counts although they may be on their way out.
    [[nodiscard]] int Holders() const {
        int holders = 0;
        for (std::uint32_t user = 0; user < users_; ++user)
            if (stages_[user] == Stage::kInside || (stages_[user] == Stage::kLeaving && IsBeforeTheCounters(user)))
                ++holders;
        return holders;
    }
    [[nodiscard]] static bool IsBeforeTheCounters(std::uint32_t user) {
        return world().NextStepOf(user) == std::string_view("enters the critical section");
    }

    void CheckCounters() const {
        world().Require(probe_.State() >= -1, "the state is below one writer");
        world().Require(probe_.WaitingReaders() >= 0 && probe_.WaitingWriters() >= 0, "fewer than nobody waits");
        world().Require(probe_.State() != 0 || probe_.WaitingWriters() == 0, "the lock is free and a writer waits");
        world().Require(probe_.State() < 0 || probe_.WaitingWriters() > 0 || probe_.WaitingReaders() == 0,
                        "a reader waits although no writer holds the lock or waits for it");
    }

    base::ReaderWriterLock lock_;
    const base::ReaderWriterLockProbe probe_{lock_};
    const std::uint32_t readers_;
    const std::uint32_t users_;
    const int rounds_;
    std::array<Stage, 8> stages_{};
    // Of a writer that waits: how many waiting readers had been given the lock, and not yet woken, when it came. Any
    // reader that waits may take such a place, one that came later too.
    std::array<int, 8> places_{};
};

void ExpectHolds(const Found& found) {
    Record(found);
    EXPECT_EQ(found.failure, "");
    EXPECT_GT(found.states, 100U);
}
void ExpectHoldsInEveryState(std::uint32_t readers, std::uint32_t writers) {
    ExpectHolds(ExploreStates([=] { return std::make_unique<LockTrial>(readers, writers, kForEver); }));
}
void ExpectHoldsInEveryOrder(std::uint32_t readers, std::uint32_t writers, int rounds) {
    ExpectHolds(ExploreOrders([=] { return std::make_unique<LockTrial>(readers, writers, rounds); }));
}

TEST(LockOrder, ThreeReadersAndTwoWritersInEveryState) {
    ExpectHoldsInEveryState(3, 2);
}

// Here nothing is said about states: each order is gone to its end.
TEST(LockOrder, TwoReadersAndAWriterInEveryOrder) {
    ExpectHoldsInEveryOrder(2, 1, 1);
}
TEST(LockOrder, AReaderAndTwoWritersInEveryOrder) {
    ExpectHoldsInEveryOrder(1, 2, 1);
}
TEST(LockOrder, ThreeReadersAndTwoWritersInEveryOrder) {
    ExpectHoldsInEveryOrder(3, 2, 1);
}
TEST(LockOrder, AReaderAndAWriterTwiceInEveryOrder) {
    ExpectHoldsInEveryOrder(1, 1, 2);
}

}  // namespace
}  // namespace tarn::order
