// What a trial says about events and threads before the library's code uses them. Belongs to the trial that runs.
#ifndef TARN_TESTS_ORDER_EXPLORER_SYNC_EXPLORED_H
#define TARN_TESTS_ORDER_EXPLORER_SYNC_EXPLORED_H

#include <cstdint>
#include <functional>

namespace tarn::order {

struct SyncRules {
    int timeOuts = 0;  // how often a wait for one event may end without a signal
    bool oneSignalMayFail = false;
    std::function<void(std::uint32_t milliseconds)> passTime;  // called by the thread whose wait timed out
};

// Forgets events and threads of the trial before, whose end this has to follow.
void BeginSync(SyncRules rules);
// The thread of the world that the library started last.
[[nodiscard]] std::uint32_t LastStartedThread();

}  // namespace tarn::order

#endif
