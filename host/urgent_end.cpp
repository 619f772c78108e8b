#include "host/urgent_end.h"

#include <atomic>

namespace tarn::host {

namespace {

std::atomic<bool> isEndUrgent{false};

}  // namespace

void TellUrgentEnd(bool isUrgent) {
    isEndUrgent = isUrgent;
}

bool IsEndUrgent() {
    return isEndUrgent;
}

}  // namespace tarn::host
