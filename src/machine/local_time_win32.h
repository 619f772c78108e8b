// The real LocalClock.
// Kept apart so that the rules never see a Windows type.
#ifndef TARN_MACHINE_LOCAL_TIME_WIN32_H
#define TARN_MACHINE_LOCAL_TIME_WIN32_H

#include "machine/local_time.h"

namespace tarn::machine {

class WindowsLocalClock final : public LocalClock {
 public:
    [[nodiscard]] TarnSystemTime Now() const override;
    [[nodiscard]] std::optional<std::int64_t> ToSeconds(const TarnSystemTime& local) const override;
    [[nodiscard]] std::optional<TarnSystemTime> ToLocal(std::int64_t seconds) const override;
};

}  // namespace tarn::machine

#endif
