// The library's only thread: it wakes at each boundary of the weekly schedule and writes the flag that URL scans read.
// It owns the thread, which holds the library in memory until it ends. Settings exports start and stop it.
#ifndef TARN_API_SCHEDULE_WORKER_H
#define TARN_API_SCHEDULE_WORKER_H

#include <cstdint>
#include <memory>

#include "api/schedule_run.h"
#include "base/assert.h"
#include "base/guarded_flag.h"
#include "base/sync.h"
#include "machine/local_time.h"
#include "parental/settings_copy.h"
#include "parental/weekly_schedule.h"

namespace tarn::api {

class ScheduleWorker {
 public:
    explicit ScheduleWorker(const machine::LocalClock& clock) : clock_(clock) {}
    ~ScheduleWorker() { TARN_ASSERT(!thread_.Exists()); }
    ScheduleWorker(const ScheduleWorker&) = delete;
    ScheduleWorker& operator=(const ScheduleWorker&) = delete;

    // Not while a thread runs. With a schedule that is switched on: starts the thread on a private copy of it, and
    // returns when the thread has written its first flag or has ended. Otherwise sets the flag. False, with the
    // system's error in the cell, when memory, the event or the thread is not to be had.
    bool Start(const parental::SettingsCopy& settings, std::uint32_t& error);

    // Ends the thread, whatever it waits for. Without a thread nothing happens. False when the event cannot be
    // signalled: then the thread is left to itself and another one can be started.
    bool Stop();

    // 1 = the current time lies inside the schedule, or no schedule applies.
    [[nodiscard]] const base::GuardedFlag& Allows() const { return allows_; }

    [[nodiscard]] bool IsRunning() const { return thread_.Exists(); }
    // What the last thread that was stopped ended with.
    [[nodiscard]] parental::ScheduleEnd LastEnd() const { return lastEnd_; }

 private:
    void Write(bool allows);

    const machine::LocalClock& clock_;
    base::GuardedFlag allows_;
    base::WorkerThread thread_;
    base::Semaphore started_;
    std::shared_ptr<ScheduleRun> run_;  // of thread_
    parental::ScheduleEnd lastEnd_ = parental::ScheduleEnd::kStopped;
};

}  // namespace tarn::api

#endif
