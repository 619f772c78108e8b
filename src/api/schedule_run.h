// What one thread of the schedule worker works with: its copy of the weekly schedule and the event that ends it.
// The worker and the thread share it and the last of them frees it, so a thread that is left to itself never meets the
// next one.
#ifndef TARN_API_SCHEDULE_RUN_H
#define TARN_API_SCHEDULE_RUN_H

#include <cstdint>
#include <memory>

#include "base/guarded_flag.h"
#include "base/sync.h"
#include "machine/local_time.h"
#include "parental/settings_copy.h"
#include "parental/weekly_schedule.h"

namespace tarn::api {

class ScheduleRun {
 public:
    // All three outlive the thread.
    ScheduleRun(const machine::LocalClock& clock, base::GuardedFlag& allows, base::Semaphore& started)
        : clock_(clock), allows_(allows), started_(started) {}

    bool CreateStopEvent() { return stop_.Create(); }
    void TakeSchedule(const parental::SettingsCopy& settings);
    // Starts the thread, which writes its first flag or ends, and then releases the semaphore once.
    static bool Start(const std::shared_ptr<ScheduleRun>& run, base::WorkerThread& thread);

    bool SignalStop() { return stop_.Signal(); }
    // The thread writes no flag from here on and ends when it wakes by itself.
    void Abandon();

 private:
    static std::uint32_t Main(void* given);
    parental::ScheduleEnd Follow();
    bool Write(bool allows);
    void SignalStarted();

    const machine::LocalClock& clock_;
    base::GuardedFlag& allows_;
    base::Semaphore& started_;
    base::Event stop_;
    std::shared_ptr<ScheduleRun> self_;  // until the thread takes it
    bool startSignalled_ = false;
    bool settingsLoaded_ = false;
    bool isAbandoned_ = false;   // under the lock of the flag
    parental::WeekRanges week_;  // a copy: the settings may be replaced while the thread runs
};

}  // namespace tarn::api

#endif
