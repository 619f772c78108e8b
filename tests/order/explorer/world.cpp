#include "order/explorer/world.h"

#include <algorithm>
#include <utility>

#include "base/hash.h"

namespace tarn::order {
namespace {

World* current = nullptr;

class FreeStep final : public Step {
 public:
    FreeStep(const char* name, bool isRest) : Step(name, 0), isRest_(isRest) {}
    void AddChoices(std::vector<Choice>& choices) const override { choices.push_back({0, false, false}); }
    [[nodiscard]] bool MayNeverCome() const override { return isRest_; }

 private:
    bool isRest_;
};

}  // namespace

World::World() {
    current = this;
}

World::~World() {
    current = nullptr;
}

World* World::Current() {
    return current;
}

std::uint32_t World::AddThread(std::string name, std::function<void()> body) {
    const auto number = static_cast<std::uint32_t>(threads_.size());
    threads_.push_back(std::make_unique<Thread>(std::move(name), std::move(body)));
    Thread& made = *threads_.back();
    if (InThread()) made.view = threads_[running_]->view;  // a start is seen by what was started
    return number;
}

void World::Require(bool holds, std::string_view what) {
    if (!holds && !draining_) Fail(std::string(what));
}

void World::Fail(std::string text) {
    if (failure_.empty()) failure_ = std::move(text);
}

std::uint32_t World::Take(const Step& step) {
    Thread& self = *threads_[running_];
    if (!draining_) {
        self.pending = &step;
        self.fiber.Pause();
        self.pending = nullptr;
    }
    if (!draining_) return self.choice;
    choices_.clear();
    step.AddChoices(choices_);
    return choices_.empty() ? 0 : choices_.back().number;
}

Object World::NewObject() {
    values_.push_back(0);
    return static_cast<Object>(values_.size() - 1);
}

View& World::ViewOfRunning() {
    return threads_[running_]->view;
}

void World::Enabled(std::vector<Transition>& transitions) const {
    transitions.clear();
    for (std::uint32_t i = 0; i < threads_.size(); ++i) {
        const Step* const step = threads_[i]->pending;
        if (step == nullptr) continue;
        choices_.clear();
        step->AddChoices(choices_);
        for (const Choice& choice : choices_) transitions.push_back({i, step->SharedObject(), choice});
    }
}

void World::Go(const Transition& transition) {
    Thread& thread = *threads_[transition.thread];
    thread.choice = transition.choice.number;
    Resume(transition.thread);
    trial_->AfterStep(transition.thread);
}

void World::Resume(std::uint32_t thread) {
    const std::uint32_t before = std::exchange(running_, thread);
    threads_[thread]->fiber.Resume();
    running_ = before;
    BringToFirstStep();
}

void World::BringToFirstStep() {
    for (std::uint32_t i = 0; i < threads_.size() && !draining_; ++i)
        if (threads_[i]->pending == nullptr && !threads_[i]->fiber.Ended()) Resume(i);
}

void World::Begin(Trial& trial) {
    trial_ = &trial;
    BringToFirstStep();
}

void World::Drain() {
    draining_ = true;
    for (auto thread = static_cast<std::uint32_t>(threads_.size()); thread-- > 0;)
        while (!threads_[thread]->fiber.Ended()) Resume(thread);
}

bool World::AllEnded() const {
    return std::all_of(threads_.begin(), threads_.end(), [](const auto& thread) { return thread->fiber.Ended(); });
}

std::string World::WaitingForEver(const std::vector<Transition>& transitions) const {
    for (const Transition& transition : transitions)
        if (!threads_[transition.thread]->pending->MayNeverCome()) return "";
    for (const auto& thread : threads_)
        if (thread->pending != nullptr && !thread->pending->MayNeverCome())
            return thread->name + " waits for ever: " + thread->pending->Name();
    return "";
}

void World::AddState(std::vector<std::uint64_t>& numbers) const {
    for (const auto& thread : threads_) {
        const Step* const step = thread->pending;
        numbers.push_back(step == nullptr ? 0 : step->SharedObject() + 1);
        numbers.push_back(step == nullptr ? 0 : step->Argument());
    }
    for (const std::int64_t value : values_) numbers.push_back(static_cast<std::uint64_t>(value));
    trial_->AddState(numbers);
}

const char* World::NextStepOf(std::uint32_t thread) const {
    const Step* const step = threads_[thread]->pending;
    return step == nullptr ? "" : step->Name();
}

std::uint64_t HashOf(const std::vector<std::uint64_t>& numbers) {
    std::uint64_t hash = 0x7461726E;
    for (const std::uint64_t number : numbers) hash = base::Mix64(hash, number + 1);
    return hash;
}

void Rest() {
    static_cast<void>(World::Current()->Take(FreeStep("rests", true)));
}

void Breathe(const char* name) {
    static_cast<void>(World::Current()->Take(FreeStep(name, false)));
}

}  // namespace tarn::order
