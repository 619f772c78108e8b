// One execution under exploration: its threads, what they share, whose turn it is and what came of it.
// Everything runs on one real thread. The current world is made by a search and known by World::Current.
#ifndef TARN_TESTS_ORDER_EXPLORER_WORLD_H
#define TARN_TESTS_ORDER_EXPLORER_WORLD_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "order/explorer/fiber.h"
#include "order/explorer/memory.h"
#include "order/explorer/step.h"

namespace tarn::order {

// What is explored, made anew for each execution. Its constructor prepares and adds the threads, all of which run to
// their end or to a rest.
class Trial {
 public:
    virtual ~Trial() = default;
    // Behind every step; the place for what has to hold at any time.
    virtual void AfterStep(std::uint32_t /*thread*/) {}
    // When all threads have ended.
    virtual void AtEnd() {}
    // All that threads share besides locks, and what each remembers besides the step that it is about to take, as
    // numbers; only ExploreStates asks.
    virtual void AddState(std::vector<std::uint64_t>& /*numbers*/) const {}
};

class World {
 public:
    World();
    ~World();
    World(const World&) = delete;
    World& operator=(const World&) = delete;
    [[nodiscard]] static World* Current();

    // From a trial or from a thread: what is done, and what has to hold.
    std::uint32_t AddThread(std::string name, std::function<void()> body);
    void Require(bool holds, std::string_view what);
    [[nodiscard]] bool Ended(std::uint32_t thread) const { return threads_[thread]->fiber.Ended(); }
    // The number of the running thread; not outside of one.
    [[nodiscard]] std::uint32_t Running() const { return running_; }
    [[nodiscard]] bool InThread() const { return running_ != kNobody; }
    // The execution is over, and its threads only run to their ends, one behind the other.
    [[nodiscard]] bool Draining() const { return draining_; }

    // From a thread: waits for its turn; the number of the choice that was made.
    std::uint32_t Take(const Step& step);

    // What is shared. A value for each object, such as the owner of a lock, is part of the state.
    Object NewObject();
    std::int64_t& Value(Object object) { return values_[object]; }
    [[nodiscard]] Memory& SharedMemory() { return memory_; }
    [[nodiscard]] View& ViewOfRunning();

    // For a search.
    // Brings each thread to its first step; what it does before concerns nobody.
    void Begin(Trial& trial);
    void Enabled(std::vector<Transition>& transitions) const;
    void Go(const Transition& transition);
    void Drain();
    [[nodiscard]] bool AllEnded() const;
    // Who waits for something that never comes, "" when nobody does. transitions are those that are enabled.
    [[nodiscard]] std::string WaitingForEver(const std::vector<Transition>& transitions) const;
    void AddState(std::vector<std::uint64_t>& numbers) const;
    [[nodiscard]] const std::string& Failure() const { return failure_; }
    void Fail(std::string text);
    // What the thread is about to do; "" for one that has nothing to do.
    [[nodiscard]] const char* NextStepOf(std::uint32_t thread) const;
    [[nodiscard]] const std::string& NameOf(std::uint32_t thread) const { return threads_[thread]->name; }

 private:
    static constexpr std::uint32_t kNobody = 0xFFFFFFFF;
    struct Thread {
        Thread(std::string ownName, std::function<void()> body) : name(std::move(ownName)), fiber(std::move(body)) {}
        std::string name;
        Fiber fiber;
        const Step* pending = nullptr;
        std::uint32_t choice = 0;
        View view{};
    };

    void Resume(std::uint32_t thread);
    void BringToFirstStep();

    Trial* trial_ = nullptr;
    std::vector<std::unique_ptr<Thread>> threads_;
    std::vector<std::int64_t> values_{0};
    Memory memory_;
    std::uint32_t running_ = kNobody;
    bool draining_ = false;
    std::string failure_;
    mutable std::vector<Choice> choices_;
};

// A number that two lists of numbers hardly share.
[[nodiscard]] std::uint64_t HashOf(const std::vector<std::uint64_t>& numbers);

// A place where a thread may stop for ever, with nothing in its hands.
void Rest();
// A place where others may come in between; nothing is shared there.
void Breathe(const char* name);

}  // namespace tarn::order

#endif
