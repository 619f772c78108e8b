// Memory for copies that counts its blocks and fails at a chosen allocation.
#ifndef TARN_TESTS_PARENTAL_FAILING_MEMORY_H
#define TARN_TESTS_PARENTAL_FAILING_MEMORY_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "parental/owned_array.h"

namespace tarn::parental {

// One at a time: the functions of CopyMemory carry no context.
class FailingMemory {
 public:
    explicit FailingMemory(std::size_t failAt = SIZE_MAX) {
        asked_ = 0;
        live_ = 0;
        bytes_ = 0;
        failAt_ = failAt;
    }
    [[nodiscard]] CopyMemory Functions() const { return {&Allocate, &Release}; }
    [[nodiscard]] std::size_t Asked() const { return asked_; }
    [[nodiscard]] std::size_t Live() const { return live_; }
    [[nodiscard]] std::size_t Bytes() const { return bytes_; }

 private:
    static void* Allocate(std::size_t bytes) {
        if (asked_++ == failAt_) return nullptr;
        ++live_;
        bytes_ += bytes;
        return std::malloc(bytes);
    }
    static void Release(void* block) {
        --live_;
        std::free(block);
    }

    inline static std::size_t asked_ = 0;
    inline static std::size_t live_ = 0;
    inline static std::size_t bytes_ = 0;
    inline static std::size_t failAt_ = SIZE_MAX;
};

}  // namespace tarn::parental

#endif
