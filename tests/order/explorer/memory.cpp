#include "order/explorer/memory.h"

#include <algorithm>
#include <cstdlib>

#include "order/explorer/world.h"

namespace tarn::order {
namespace {

bool Acquires(std::memory_order order) {
    return order != std::memory_order_relaxed && order != std::memory_order_release;
}
bool Releases(std::memory_order order) {
    return order == std::memory_order_release || order == std::memory_order_acq_rel ||
           order == std::memory_order_seq_cst;
}
bool InOrder(std::memory_order order) {
    return order == std::memory_order_seq_cst;
}

}  // namespace

void Join(View& view, const View& other) {
    for (std::size_t i = 0; i < view.size(); ++i) view[i] = std::max(view[i], other[i]);
}

// Reads one of the stored values; its number is the choice.
class Memory::LoadStep final : public Step {
 public:
    LoadStep(const Memory& memory, Place place, std::memory_order order, std::size_t oldest)
        : Step("loads", memory.locations_[place].object),
          memory_(memory),
          place_(place),
          oldest_(oldest),
          inOrder_(InOrder(order)) {}
    void AddChoices(std::vector<Choice>& choices) const override {
        const Location& location = memory_.locations_[place_];
        const std::size_t first = std::max(oldest_, inOrder_ ? location.lastInOrder : 0);
        for (std::size_t i = first; i < location.messages.size(); ++i)
            choices.push_back({static_cast<std::uint32_t>(i), false, inOrder_});
    }

 private:
    const Memory& memory_;
    Place place_;
    std::size_t oldest_;
    bool inOrder_;
};

class Memory::StoreStep final : public Step {
 public:
    StoreStep(Object object, std::memory_order order) : Step("stores", object), inOrder_(InOrder(order)) {}
    void AddChoices(std::vector<Choice>& choices) const override { choices.push_back({0, true, inOrder_}); }

 private:
    bool inOrder_;
};

// The choice is twice the number of the value that is read, and one more when it is replaced. One that fails by itself
// has kByItself added.
class Memory::ExchangeStep final : public Step {
 public:
    static constexpr std::uint32_t kByItself = 0x10000;

    ExchangeStep(const Memory& memory, Place place, std::size_t oldest, std::uint64_t expected, bool mayFailByItself)
        : Step("compares and exchanges", memory.locations_[place].object),
          memory_(memory),
          place_(place),
          oldest_(oldest),
          expected_(expected),
          mayFailByItself_(mayFailByItself) {}
    void AddChoices(std::vector<Choice>& choices) const override {
        const Location& location = memory_.locations_[place_];
        for (std::size_t i = std::max(oldest_, location.lastInOrder); i < location.messages.size(); ++i) {
            const auto number = static_cast<std::uint32_t>(2 * i);
            const bool isExpected = location.messages[i].value == expected_;
            if (!isExpected) choices.push_back({number, false, true});
            if (isExpected && mayFailByItself_) choices.push_back({number + kByItself, false, true});
            if (isExpected && i + 1 == location.messages.size()) choices.push_back({number + 1, true, true});
        }
    }

 private:
    const Memory& memory_;
    Place place_;
    std::size_t oldest_;
    std::uint64_t expected_;
    bool mayFailByItself_;
};

Memory::Place Memory::NewPlace(Object object, std::uint64_t value) {
    if (locations_.size() == kMostLocations) std::abort();
    Location location;
    location.object = object;
    location.messages.push_back({value, {}});
    locations_.push_back(std::move(location));
    return static_cast<Place>(locations_.size() - 1);
}

void Memory::Watch(const void* word, Object object, std::uint64_t value) {
    watched_.push_back({word, NewPlace(object, value)});
}

bool Memory::IsWatched(const void* word, Place& place) const {
    const auto found =
        std::find_if(watched_.begin(), watched_.end(), [word](const Watched& w) { return w.word == word; });
    if (found == watched_.end()) return false;
    place = found->place;
    return true;
}

std::size_t Memory::Oldest(Place place, bool inOrder) const {
    const std::size_t known = World::Current()->ViewOfRunning()[place];
    return inOrder ? std::max(known, locations_[place].lastInOrder) : known;
}

std::uint64_t Memory::Read(Place place, std::size_t message, std::memory_order order) {
    const Message& read = locations_[place].messages[message];
    View& view = World::Current()->ViewOfRunning();
    view[place] = std::max(view[place], static_cast<std::uint16_t>(message));
    if (Acquires(order)) Join(view, read.view);
    return read.value;
}

void Memory::Append(Place place, std::uint64_t value, std::memory_order order, const View* continued) {
    Location& location = locations_[place];
    View& view = World::Current()->ViewOfRunning();
    view[place] = static_cast<std::uint16_t>(location.messages.size());
    Message message{value, {}};
    if (Releases(order)) message.view = view;
    if (continued != nullptr) Join(message.view, *continued);
    message.view[place] = view[place];
    if (InOrder(order)) location.lastInOrder = location.messages.size();
    location.messages.push_back(message);
}

std::uint64_t Memory::Load(Place place, std::memory_order order) {
    World& world = *World::Current();
    if (!world.InThread()) return locations_[place].messages.back().value;
    const LoadStep step(*this, place, order, Oldest(place, false));
    return Read(place, world.Take(step), order);
}

void Memory::Store(Place place, std::uint64_t value, std::memory_order order) {
    World& world = *World::Current();
    if (!world.InThread()) {
        locations_[place].messages.back().value = value;
        return;
    }
    static_cast<void>(world.Take(StoreStep(locations_[place].object, order)));
    Append(place, value, order, nullptr);
}

bool Memory::CompareExchange(Place place, std::uint64_t& expected, std::uint64_t desired, bool mayFailByItself) {
    World& world = *World::Current();
    if (!world.InThread()) {
        std::uint64_t& value = locations_[place].messages.back().value;
        if (value == expected) {
            value = desired;
            return true;
        }
        expected = value;
        return false;
    }
    int& failures = failures_[world.Running()];
    const bool mayFail = mayFailByItself && failures < failuresAllowed_;
    const std::uint32_t choice = world.Take(ExchangeStep(*this, place, Oldest(place, true), expected, mayFail));
    if (choice >= ExchangeStep::kByItself) ++failures;
    const std::size_t message = (choice % ExchangeStep::kByItself) / 2;
    expected = Read(place, message, std::memory_order_seq_cst);
    if (choice % 2 == 0) return false;
    const View continued = locations_[place].messages[message].view;
    Append(place, desired, std::memory_order_seq_cst, &continued);
    return true;
}

}  // namespace tarn::order
