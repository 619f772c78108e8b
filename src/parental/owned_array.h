// A block of items from malloc that frees itself: what every array of the settings copy is kept in.
// It never throws; an allocation that fails gives false and leaves the array empty.
#ifndef TARN_PARENTAL_OWNED_ARRAY_H
#define TARN_PARENTAL_OWNED_ARRAY_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>
#include <type_traits>
#include <utility>

#include "base/assert.h"

namespace tarn::parental {

// malloc and free, or a test's own.
struct CopyMemory {
    void* (*allocate)(std::size_t bytes) = &std::malloc;
    void (*release)(void* block) = &std::free;
};

template <class T>
class OwnedArray {
 public:
    using value_type = T;
    using iterator = T*;
    using const_iterator = const T*;

    OwnedArray() = default;
    ~OwnedArray() { Clear(); }
    OwnedArray(OwnedArray&& other) noexcept
        : items_(std::exchange(other.items_, nullptr)),
          size_(std::exchange(other.size_, 0)),
          release_(other.release_) {}
    OwnedArray& operator=(OwnedArray&& other) noexcept {
        std::swap(items_, other.items_);
        std::swap(size_, other.size_);
        std::swap(release_, other.release_);
        other.Clear();
        return *this;
    }
    OwnedArray(const OwnedArray&) = delete;
    OwnedArray& operator=(const OwnedArray&) = delete;

    // count items of value T{} in place of what was there.
    [[nodiscard]] bool Allocate(std::size_t count, const CopyMemory& memory) {
        if (!Reserve(count, memory)) return false;
        std::uninitialized_value_construct_n(items_, count);
        return true;
    }

    // A copy of count items, which may stand at any address. Null counts as no items.
    [[nodiscard]] bool CopyFrom(const void* items, std::size_t count, const CopyMemory& memory) {
        static_assert(std::is_trivially_copyable_v<T>);
        if (items == nullptr) count = 0;
        if (!Reserve(count, memory)) return false;
        if (count != 0) std::memcpy(static_cast<void*>(items_), items, count * sizeof(T));
        return true;
    }

    // Forgets the items behind the first count.
    void Truncate(std::size_t count) {
        if (count >= size_) return;
        std::destroy_n(items_ + count, size_ - count);
        size_ = count;
    }

    void Clear() {
        if (items_ == nullptr) return;
        std::destroy_n(items_, size_);
        release_(items_);
        items_ = nullptr;
        size_ = 0;
    }

    [[nodiscard]] bool empty() const { return size_ == 0; }
    [[nodiscard]] std::size_t size() const { return size_; }
    [[nodiscard]] T* data() { return items_; }
    [[nodiscard]] const T* data() const { return items_; }
    [[nodiscard]] T* begin() { return items_; }
    [[nodiscard]] T* end() { return items_ + size_; }
    [[nodiscard]] const T* begin() const { return items_; }
    [[nodiscard]] const T* end() const { return items_ + size_; }
    [[nodiscard]] T& operator[](std::size_t index) {
        TARN_ASSERT(index < size_);
        return items_[index];
    }
    [[nodiscard]] const T& operator[](std::size_t index) const {
        TARN_ASSERT(index < size_);
        return items_[index];
    }
    [[nodiscard]] T& front() { return (*this)[0]; }
    [[nodiscard]] const T& front() const { return (*this)[0]; }
    [[nodiscard]] std::span<const T> View() const { return {items_, size_}; }

 private:
    // Memory for count items, none of them constructed yet.
    bool Reserve(std::size_t count, const CopyMemory& memory) {
        static_assert(alignof(T) <= alignof(std::max_align_t));
        Clear();
        if (count == 0) return true;
        constexpr std::size_t kItemSize = sizeof(T);  // NOLINT(bugprone-sizeof-expression): items may be pointers
        if (count > SIZE_MAX / kItemSize) return false;
        void* block = memory.allocate(count * kItemSize);
        if (block == nullptr) return false;
        items_ = static_cast<T*>(block);
        size_ = count;
        release_ = memory.release;
        return true;
    }

    T* items_ = nullptr;
    std::size_t size_ = 0;
    void (*release_)(void* block) = nullptr;
};

}  // namespace tarn::parental

#endif
