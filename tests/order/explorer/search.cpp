#include "order/explorer/search.h"

#include <algorithm>
#include <unordered_set>
#include <utility>
#include <vector>

namespace tarn::order {
namespace {

constexpr std::size_t kMostSteps = 5000;  // an execution that is longer goes in circles

// One execution. The threads come to their ends before their trial goes, whatever happened.
class Execution {
 public:
    explicit Execution(const MakeTrial& make) : trial_(make()) { world.Begin(*trial_); }
    ~Execution() { world.Drain(); }
    Execution(const Execution&) = delete;
    Execution& operator=(const Execution&) = delete;

    void Go(const Transition& transition) {
        steps_.push_back({transition, world.NextStepOf(transition.thread)});
        world.Go(transition);
    }
    // An execution that is played again has to offer what it offered before.
    void GoAgain(const Transition& transition) {
        world.Enabled(enabled_);
        if (std::none_of(enabled_.begin(), enabled_.end(), [&](const Transition& t) { return t.Is(transition); }))
            world.Fail("the same steps did not lead to the same place");
        else
            Go(transition);
    }
    void End() { trial_->AtEnd(); }

    [[nodiscard]] std::string Report() const {
        std::string text = world.Failure() + "\n";
        for (const auto& [step, name] : steps_) {
            text += "  " + world.NameOf(step.thread) + " " + name;
            if (step.object != 0) text += ", object " + std::to_string(step.object);
            text += ", choice " + std::to_string(step.choice.number) + "\n";
        }
        return text;
    }

    World world;

 private:
    std::unique_ptr<Trial> trial_;
    std::vector<std::pair<Transition, const char*>> steps_;
    std::vector<Transition> enabled_;
};

// A place between two steps on the way that is explored.
struct Place {
    std::vector<Transition> ways;  // still to be gone, the current one at next
    std::size_t next = 0;
    std::vector<Transition> asleep;  // gone already from an earlier place, with the same result
};

void RemoveAsleep(std::vector<Transition>& ways, const std::vector<Transition>& asleep) {
    std::erase_if(ways, [&](const Transition& way) {
        return std::any_of(asleep.begin(), asleep.end(), [&](const Transition& other) { return way.Is(other); });
    });
}

std::vector<Transition> StillAsleep(const Place& place) {
    std::vector<Transition> asleep;
    for (const Transition& other : place.asleep)
        if (!Depend(other, place.ways[place.next])) asleep.push_back(other);
    return asleep;
}

// Takes the way back to the last place with a way that was not gone; false when there is none.
bool NextWay(std::vector<Place>& path) {
    while (!path.empty()) {
        Place& last = path.back();
        last.asleep.push_back(last.ways[last.next]);
        if (++last.next < last.ways.size()) return true;
        path.pop_back();
    }
    return false;
}

// True at the end of an execution, or where it fails.
bool IsOver(Execution& execution, const std::vector<Transition>& enabled, std::size_t steps) {
    World& world = execution.world;
    if (!world.Failure().empty()) return true;
    if (steps > kMostSteps) world.Fail("comes to no end");
    if (std::string waiting = world.WaitingForEver(enabled); !waiting.empty()) world.Fail(std::move(waiting));
    if (world.Failure().empty() && enabled.empty()) execution.End();
    return enabled.empty() || !world.Failure().empty();
}

}  // namespace

Found ExploreOrders(const MakeTrial& make) {
    Found found;
    std::vector<Place> path;
    do {
        ++found.executions;
        Execution execution(make);
        for (const Place& place : path) execution.GoAgain(place.ways[place.next]);
        for (;;) {
            Place place;
            execution.world.Enabled(place.ways);
            if (IsOver(execution, place.ways, path.size())) {
                ++found.ends;
                break;
            }
            if (!path.empty()) place.asleep = StillAsleep(path.back());
            RemoveAsleep(place.ways, place.asleep);
            if (place.ways.empty()) break;
            ++found.states;
            path.push_back(std::move(place));
            execution.Go(path.back().ways.front());
        }
        found.depth = std::max(found.depth, path.size());
        if (!execution.world.Failure().empty()) {
            found.failure = execution.Report();
            return found;
        }
    } while (NextWay(path));
    return found;
}

Found ExploreStates(const MakeTrial& make) {
    struct Known {
        std::size_t parent;
        Transition step;  // from the parent to here
        std::vector<Transition> ways;
        std::size_t depth;
    };
    Found found;
    std::unordered_set<std::uint64_t> seen;
    std::vector<Known> known;
    // Plays the steps to a state and one more; keeps where that leads when it is new.
    const auto visit = [&](std::size_t parent, const Transition* step) {
        ++found.executions;
        Execution execution(make);
        std::vector<Transition> steps;
        for (std::size_t at = parent; step != nullptr && at != 0; at = known[at].parent)
            steps.push_back(known[at].step);
        for (auto played = steps.rbegin(); played != steps.rend(); ++played) execution.GoAgain(*played);
        if (step != nullptr) execution.GoAgain(*step);
        std::vector<Transition> ways;
        execution.world.Enabled(ways);
        if (IsOver(execution, ways, 0)) ++found.ends;
        if (!execution.world.Failure().empty()) {
            found.failure = execution.Report();
            return;
        }
        std::vector<std::uint64_t> state;
        execution.world.AddState(state);
        if (!seen.insert(HashOf(state)).second) return;
        const std::size_t depth = step == nullptr ? 0 : known[parent].depth + 1;
        found.depth = std::max(found.depth, depth);
        known.push_back({parent, step == nullptr ? Transition{} : *step, std::move(ways), depth});
    };
    visit(0, nullptr);
    for (std::size_t at = 0; at < known.size() && found.failure.empty(); ++at)
        for (std::size_t i = 0; i < known[at].ways.size() && found.failure.empty(); ++i) {
            const Transition step = known[at].ways[i];
            visit(at, &step);
        }
    found.states = known.size();
    return found;
}

}  // namespace tarn::order
