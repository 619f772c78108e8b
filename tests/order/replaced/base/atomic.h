// Stands in the place of src/base/atomic.h in the programs that explore: every access is a step, and a load may give
// any value that the language allows. Objects belong to the trial that runs.
#ifndef TARN_TESTS_ORDER_REPLACED_BASE_ATOMIC_H
#define TARN_TESTS_ORDER_REPLACED_BASE_ATOMIC_H

#include <atomic>
#include <cstdint>
#include <type_traits>

#include "order/explorer/world.h"

namespace tarn::base {

template <class T>
class Atomic {
    static_assert(std::is_integral_v<T>);

 public:
    Atomic() : Atomic(T{}) {}
    explicit Atomic(T value)
        : place_(Memory().NewPlace(order::World::Current()->NewObject(), static_cast<std::uint64_t>(value))) {}
    Atomic(const Atomic&) = delete;
    Atomic& operator=(const Atomic&) = delete;

    [[nodiscard]] T load(std::memory_order order = std::memory_order_seq_cst) const {
        return static_cast<T>(Memory().Load(place_, order));
    }
    void store(T value, std::memory_order order = std::memory_order_seq_cst) {
        Memory().Store(place_, static_cast<std::uint64_t>(value), order);
    }
    bool compare_exchange_strong(T& expected, T desired) { return Exchange(expected, desired, false); }
    bool compare_exchange_weak(T& expected, T desired) { return Exchange(expected, desired, true); }

 private:
    static order::Memory& Memory() { return order::World::Current()->SharedMemory(); }

    bool Exchange(T& expected, T desired, bool mayFailByItself) {
        auto wide = static_cast<std::uint64_t>(expected);
        const bool done = Memory().CompareExchange(place_, wide, static_cast<std::uint64_t>(desired), mayFailByItself);
        if (!done) expected = static_cast<T>(wide);
        return done;
    }

    order::Memory::Place place_;
};

// A word that is watched is read and written by steps, any other one at once.
template <class T>
class AtomicRef {
 public:
    explicit AtomicRef(T& word) : word_(word), isWatched_(Memory().IsWatched(&word, place_)) {}

    [[nodiscard]] T load(std::memory_order order = std::memory_order_seq_cst) const {
        return isWatched_ ? static_cast<T>(Memory().Load(place_, order)) : word_;
    }
    void store(T value, std::memory_order order = std::memory_order_seq_cst) const {
        if (isWatched_) Memory().Store(place_, value, order);
        word_ = value;
    }

 private:
    static order::Memory& Memory() { return order::World::Current()->SharedMemory(); }

    T& word_;
    order::Memory::Place place_ = 0;
    bool isWatched_;
};

}  // namespace tarn::base

#endif
