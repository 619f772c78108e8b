// The atomic variables of what works without a lock: the language's own. They have a name of their own so that tests
// can explore every order in which threads use them.
#ifndef TARN_BASE_ATOMIC_H
#define TARN_BASE_ATOMIC_H

#include <atomic>

namespace tarn::base {

template <class T>
using Atomic = std::atomic<T>;
template <class T>
using AtomicRef = std::atomic_ref<T>;

}  // namespace tarn::base

#endif
