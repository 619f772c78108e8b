#include "api/schedule_run.h"

#include <utility>

namespace tarn::api {

using parental::ScheduleEnd;

void ScheduleRun::TakeSchedule(const parental::SettingsCopy& settings) {
    settingsLoaded_ = settings.loaded && parental::CopyWeek(settings.First()->schedule, week_);
}

bool ScheduleRun::Start(const std::shared_ptr<ScheduleRun>& run, base::WorkerThread& thread) {
    run->self_ = run;
    if (thread.Start(Main, run.get())) return true;
    run->self_.reset();
    return false;
}

void ScheduleRun::Abandon() {
    allows_.Write([this](bool&) { isAbandoned_ = true; });
    stop_.Close();
}

std::uint32_t ScheduleRun::Main(void* given) {
    const std::shared_ptr<ScheduleRun> run = std::move(static_cast<ScheduleRun*>(given)->self_);
    const ScheduleEnd end = run->Follow();
    run->SignalStarted();
    return static_cast<std::uint32_t>(end);
}

ScheduleEnd ScheduleRun::Follow() {
    if (!settingsLoaded_) return ScheduleEnd::kNoSchedule;
    parental::OwnedArray<parental::Interval> intervals;
    if (!parental::BuildIntervals(week_, intervals)) return ScheduleEnd::kNoSchedule;
    if (intervals.empty()) {
        Write(false);
        return ScheduleEnd::kNeverAllowed;
    }
    for (;;) {
        const TarnSystemTime now = clock_.Now();
        if (!machine::DaysSince1970(now)) return ScheduleEnd::kStopped;  // the clock gives no date
        const parental::ScheduleTurn turn = parental::NextTurn(intervals.View(), now);
        if (!Write(turn.allowed)) return ScheduleEnd::kStopped;
        SignalStarted();
        if (stop_.Wait(turn.waitSeconds * 1000) != base::Event::WaitResult::kTimedOut) break;
    }
    Write(false);
    return ScheduleEnd::kStopped;
}

// False when the flag is no longer this thread's.
bool ScheduleRun::Write(bool allows) {
    return allows_.Write([&](bool& flag) {
        if (isAbandoned_) return false;
        flag = allows;
        return true;
    });
}

// The starter waits for this once, whichever way the thread gets there first.
void ScheduleRun::SignalStarted() {
    if (startSignalled_) return;
    startSignalled_ = true;
    started_.Release(1);
}

}  // namespace tarn::api
