// Counts the allocations of this program and lets one of them fail: those of new and, in programs that are linked with
// -Wl,--wrap=malloc,--wrap=calloc,--wrap=realloc, those of malloc, calloc and realloc too.
// Every thread counts, but for what stands in an Uncounted.
#ifndef TARN_TESTS_SUPPORT_FAILING_ALLOCATIONS_H
#define TARN_TESTS_SUPPORT_FAILING_ALLOCATIONS_H

#include <cstdint>

#include "support/uncounted.h"

namespace tarn::support {

// Since the program started.
std::uint64_t Allocations();

// While it lives, the allocation with this number fails, counted from 0 at its start. One at a time.
class FailingAllocation {
 public:
    explicit FailingAllocation(std::uint64_t number);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;

    [[nodiscard]] bool Failed() const;  // there were as many
};

}  // namespace tarn::support

#endif
