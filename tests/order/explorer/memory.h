// What threads may read of atomic variables by the rules of the language, not of one processor: a load gives any value
// that was stored, but none older than what its thread knows to be overwritten. Belongs to one world.
//
// Not covered: fences, and values that a thread reads before they are stored. The order of a variable's stores is the
// order in which they were done.
#ifndef TARN_TESTS_ORDER_EXPLORER_MEMORY_H
#define TARN_TESTS_ORDER_EXPLORER_MEMORY_H

#include <array>
#include <atomic>
#include <cstdint>
#include <map>
#include <vector>

#include "order/explorer/step.h"

namespace tarn::order {

// For each location the oldest store that may still be read.
constexpr std::size_t kMostLocations = 48;
using View = std::array<std::uint16_t, kMostLocations>;
void Join(View& view, const View& other);

class Memory {
 public:
    using Place = std::uint32_t;

    Place NewPlace(Object object, std::uint64_t value);
    // A word outside of atomic variables that is read and written as one; others are read and written at once.
    void Watch(const void* word, Object object, std::uint64_t value);
    [[nodiscard]] bool IsWatched(const void* word, Place& place) const;

    // From a thread of the world: a step of its own. From a trial: at once.
    std::uint64_t Load(Place place, std::memory_order order);
    void Store(Place place, std::uint64_t value, std::memory_order order);
    bool CompareExchange(Place place, std::uint64_t& expected, std::uint64_t desired, bool mayFailByItself);
    // How often each thread's exchanges may fail although the value is the expected one.
    void AllowFailures(int count) { failuresAllowed_ = count; }

 private:
    class LoadStep;
    class StoreStep;
    class ExchangeStep;

    struct Message {
        std::uint64_t value = 0;
        View view{};
    };
    struct Location {
        Object object = 0;
        std::vector<Message> messages;
        std::size_t lastInOrder = 0;  // of the stores that all threads agree about
    };
    struct Watched {
        const void* word;
        Place place;
    };

    [[nodiscard]] std::size_t Oldest(Place place, bool inOrder) const;
    std::uint64_t Read(Place place, std::size_t message, std::memory_order order);
    void Append(Place place, std::uint64_t value, std::memory_order order, const View* continued);

    std::vector<Location> locations_;
    std::vector<Watched> watched_;
    int failuresAllowed_ = 0;
    std::map<std::uint32_t, int> failures_;  // of each thread
};

}  // namespace tarn::order

#endif
