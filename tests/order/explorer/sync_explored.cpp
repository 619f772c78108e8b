// The waiting primitives and the thread of base/sync.h, as steps of a world that is explored. Outside of its threads
// they act at once.
#include "order/explorer/sync_explored.h"

#include <cstdint>
#include <deque>
#include <map>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "base/assert.h"
#include "base/sync.h"
#include "order/explorer/world.h"

namespace tarn::base {
namespace {

using order::Choice;
using order::Object;
using order::World;

World& TheWorld() {
    return *World::Current();
}

// An object is kept as a number where the real one keeps a handle.
void* HandleOf(Object object) {
    return reinterpret_cast<void*>(static_cast<std::uintptr_t>(object));
}
Object ObjectOf(const void* handle) {
    return static_cast<Object>(reinterpret_cast<std::uintptr_t>(handle));
}

constexpr std::int64_t kSignalled = 1;
constexpr std::int64_t kClosed = 2;
enum EventChoice : std::uint32_t { kDone, kTimesOut, kFails };

struct Started {
    std::uint32_t thread = 0;
    std::uint32_t code = 0;
};

// What cannot stand in the objects themselves, whose shape is the library's.
struct SyncState {
    order::SyncRules rules;
    std::map<const Event*, Object> events;
    std::map<Object, int> timeOuts;
    std::deque<Started> threads;
};
SyncState& State() {
    static SyncState state;
    return state;
}

// Waits until the value has come, if it waits at all.
class WaitStep final : public order::Step {
 public:
    enum class For { kZero, kMore };
    WaitStep(const char* name, Object object, For what) : Step(name, object), what_(what) {}
    void AddChoices(std::vector<Choice>& choices) const override {
        const std::int64_t value = TheWorld().Value(SharedObject());
        if (what_ == For::kZero ? value == 0 : value > 0) choices.push_back({});
    }

 private:
    For what_;
};

class ReleaseStep final : public order::Step {
 public:
    ReleaseStep(Object object, std::int32_t count) : Step("releases the semaphore", object), count_(count) {}
    void AddChoices(std::vector<Choice>& choices) const override { choices.push_back({}); }
    [[nodiscard]] std::uint64_t Argument() const override { return static_cast<std::uint64_t>(count_); }

 private:
    std::int32_t count_;
};

// Whatever is done with an event but waiting.
class EventStep final : public order::Step {
 public:
    EventStep(const char* name, Object object, bool mayFail) : Step(name, object), mayFail_(mayFail) {}
    void AddChoices(std::vector<Choice>& choices) const override {
        if (mayFail_) choices.push_back({kFails});
        choices.push_back({kDone});
    }

 private:
    bool mayFail_;
};

// One that waits already goes on waiting when the event is closed, as it does on Windows, and wakes by itself then.
class EventWaitStep final : public order::Step {
 public:
    explicit EventWaitStep(Object object) : Step("waits for the event", object) {}
    void AddChoices(std::vector<Choice>& choices) const override {
        if (TheWorld().Draining() || TheWorld().Value(SharedObject()) == kSignalled)
            choices.push_back({kDone});
        else if (IsClosed() || State().timeOuts[SharedObject()] < State().rules.timeOuts)
            choices.push_back({kTimesOut});
    }

 private:
    [[nodiscard]] bool IsClosed() const { return TheWorld().Value(SharedObject()) == kClosed; }
};

class JoinStep final : public order::Step {
 public:
    explicit JoinStep(std::uint32_t thread) : Step("waits for the end of a thread", 0), thread_(thread) {}
    void AddChoices(std::vector<Choice>& choices) const override {
        if (TheWorld().Ended(thread_)) choices.push_back({});
    }

 private:
    std::uint32_t thread_;
};

struct Section {
    Object object;
};
Section* AsSection(unsigned char* storage) {
    return reinterpret_cast<Section*>(storage);
}

}  // namespace

CriticalSection::CriticalSection() {
    new (storage_) Section{TheWorld().NewObject()};
}
CriticalSection::~CriticalSection() {
    TheWorld().Require(TheWorld().Value(AsSection(storage_)->object) == 0,
                       "a critical section goes while somebody is in it");
}
// Leaving is part of the same step: nobody else can tell where in between it happens.
void CriticalSection::Enter() {
    const Object object = AsSection(storage_)->object;
    if (TheWorld().InThread())
        static_cast<void>(TheWorld().Take(WaitStep("enters the critical section", object, WaitStep::For::kZero)));
    TheWorld().Value(object) = 1;
}
void CriticalSection::Leave() {
    TheWorld().Value(AsSection(storage_)->object) = 0;
}

Semaphore::Semaphore() : handle_(HandleOf(TheWorld().NewObject())) {}
Semaphore::~Semaphore() = default;
void Semaphore::Wait() {
    const Object object = ObjectOf(handle_);
    if (TheWorld().InThread())
        static_cast<void>(TheWorld().Take(WaitStep("waits for the semaphore", object, WaitStep::For::kMore)));
    --TheWorld().Value(object);
}
void Semaphore::Release(std::int32_t count) {
    const Object object = ObjectOf(handle_);
    if (TheWorld().InThread()) static_cast<void>(TheWorld().Take(ReleaseStep(object, count)));
    TheWorld().Value(object) += count;
}

// The object stays the event's when the handle is gone: whether it is gone is what a step tells.
bool Event::Create() {
    Close();
    const Object object = TheWorld().NewObject();
    State().events[this] = object;
    handle_ = HandleOf(object);
    return true;
}
void Event::Close() {
    const Object object = ObjectOf(handle_);
    if (object == 0) return;
    if (TheWorld().InThread()) static_cast<void>(TheWorld().Take(EventStep("closes the event", object, false)));
    handle_ = nullptr;
    TheWorld().Value(object) = kClosed;
}
bool Event::Signal() {
    bool& mayFail = State().rules.oneSignalMayFail;
    const std::uint32_t choice = TheWorld().Take(EventStep("signals the event", State().events[this], mayFail));
    if (choice == kFails) mayFail = false;
    if (choice == kFails || handle_ == nullptr) return false;
    TheWorld().Value(ObjectOf(handle_)) = kSignalled;
    return true;
}
Event::WaitResult Event::Wait(std::uint32_t milliseconds) {
    static_cast<void>(TheWorld().Take(EventStep("looks for the event", State().events[this], false)));
    const Object object = ObjectOf(handle_);
    if (object == 0) return WaitResult::kFailed;
    if (TheWorld().Take(EventWaitStep(object)) == kTimesOut) {
        ++State().timeOuts[object];
        if (State().rules.passTime) State().rules.passTime(milliseconds);
        return WaitResult::kTimedOut;
    }
    TheWorld().Value(object) = 0;
    return WaitResult::kSignalled;
}

bool WorkerThread::Start(Work work, void* argument) {
    TARN_ASSERT(!Exists());
    Started& started = State().threads.emplace_back();
    handle_ = &started;
    const auto run = [&started, work, argument] { started.code = work(argument); };
    if (TheWorld().Draining())
        run();
    else
        started.thread = TheWorld().AddThread("worker " + std::to_string(State().threads.size()), run);
    return true;
}
std::uint32_t WorkerThread::Join() {
    const auto* const started = static_cast<const Started*>(handle_);
    if (started == nullptr) return 0;
    static_cast<void>(TheWorld().Take(JoinStep(started->thread)));
    handle_ = nullptr;
    return started->code;
}
void WorkerThread::Forget() {
    handle_ = nullptr;
}

std::uint32_t LastSystemError() {
    return 8;
}
std::uint32_t OutOfMemoryError() {
    return 8;
}

}  // namespace tarn::base

namespace tarn::order {

void BeginSync(SyncRules rules) {
    base::State() = {std::move(rules), {}, {}, {}};
}

std::uint32_t LastStartedThread() {
    return base::State().threads.back().thread;
}

}  // namespace tarn::order
