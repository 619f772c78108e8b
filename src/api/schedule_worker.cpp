#include "api/schedule_worker.h"

#include <span>

namespace tarn::api {

using parental::ScheduleEnd;

bool ScheduleWorker::Start(const parental::SettingsCopy& settings, std::uint32_t& error) {
    TARN_ASSERT(!thread_.Exists());
    error = 0;
    const parental::PcUserEntry* first = settings.First();
    if (first == nullptr || !parental::ScheduleIsOn(first->leading)) {
        Write(true);
        return true;
    }
    if (!stop_.Create()) {
        error = base::LastSystemError();
        return false;
    }
    Write(false);
    settingsLoaded_ = settings.loaded && parental::CopyWeek(first->schedule, week_);
    startSignalled_ = false;
    if (!thread_.Start(Run, this)) {
        error = base::LastSystemError();
        stop_.Close();
        week_ = {};
        return false;
    }
    started_.Wait();
    return true;
}

bool ScheduleWorker::Stop() {
    if (!thread_.Exists()) return true;
    if (!stop_.Signal()) {
        stop_.Close();
        thread_.Forget();
        return false;
    }
    lastEnd_ = static_cast<ScheduleEnd>(thread_.Join());
    stop_.Close();
    week_ = {};
    return true;
}

std::uint32_t ScheduleWorker::Run(void* self) {
    auto& worker = *static_cast<ScheduleWorker*>(self);
    const ScheduleEnd end = worker.FollowSchedule();
    worker.SignalStarted();
    return static_cast<std::uint32_t>(end);
}

ScheduleEnd ScheduleWorker::FollowSchedule() {
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
        Write(turn.allowed);
        SignalStarted();
        if (stop_.Wait(turn.waitSeconds * 1000) != base::Event::WaitResult::kTimedOut) break;
    }
    Write(false);
    return ScheduleEnd::kStopped;
}

void ScheduleWorker::Write(bool allows) {
    allows_.Write([allows](bool& flag) { flag = allows; });
}

// The starter waits for this once, whichever way the thread gets there first.
void ScheduleWorker::SignalStarted() {
    if (startSignalled_) return;
    startSignalled_ = true;
    started_.Release(1);
}

}  // namespace tarn::api
