// What is allocated while an Uncounted lives is left out by failing_allocations.h: for fakes and expectations. For all
// threads at once: a thread_local of the cross compiler allocates itself.
#ifndef TARN_TESTS_SUPPORT_UNCOUNTED_H
#define TARN_TESTS_SUPPORT_UNCOUNTED_H

#include <atomic>

namespace tarn::support {

inline constinit std::atomic<int> uncountedDepth = 0;

class Uncounted {
 public:
    Uncounted() { ++uncountedDepth; }
    ~Uncounted() { --uncountedDepth; }
    Uncounted(const Uncounted&) = delete;
    Uncounted& operator=(const Uncounted&) = delete;
};

}  // namespace tarn::support

#endif
