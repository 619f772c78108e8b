// What a thread allocates while it has an Uncounted is left out by failing_allocations.h: for fakes and expectations.
#ifndef TARN_TESTS_SUPPORT_UNCOUNTED_H
#define TARN_TESTS_SUPPORT_UNCOUNTED_H

namespace tarn::support {

inline constinit thread_local int uncountedDepth = 0;

class Uncounted {
 public:
    Uncounted() { ++uncountedDepth; }
    ~Uncounted() { --uncountedDepth; }
    Uncounted(const Uncounted&) = delete;
    Uncounted& operator=(const Uncounted&) = delete;
};

}  // namespace tarn::support

#endif
