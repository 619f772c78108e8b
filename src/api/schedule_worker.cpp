#include "api/schedule_worker.h"

#include <new>

namespace tarn::api {

bool ScheduleWorker::Start(const parental::SettingsCopy& settings, std::uint32_t& error) {
    TARN_ASSERT(!thread_.Exists());
    error = 0;
    const parental::PcUserEntry* first = settings.First();
    if (first == nullptr || !parental::ScheduleIsOn(first->leading)) {
        Write(true);
        return true;
    }
    std::shared_ptr<ScheduleRun> run;
    try {
        run = std::make_shared<ScheduleRun>(clock_, allows_, started_);
    } catch (const std::bad_alloc&) {
        error = base::OutOfMemoryError();
        return false;
    }
    if (!run->CreateStopEvent()) {
        error = base::LastSystemError();
        return false;
    }
    Write(false);
    run->TakeSchedule(settings);
    if (!ScheduleRun::Start(run, thread_)) {
        error = base::LastSystemError();
        return false;
    }
    run_ = std::move(run);
    started_.Wait();
    return true;
}

bool ScheduleWorker::Stop() {
    if (!thread_.Exists()) return true;
    const std::shared_ptr<ScheduleRun> run = std::move(run_);
    if (!run->SignalStop()) {
        run->Abandon();
        thread_.Forget();
        return false;
    }
    lastEnd_ = static_cast<parental::ScheduleEnd>(thread_.Join());
    return true;
}

void ScheduleWorker::Write(bool allows) {
    allows_.Write([allows](bool& flag) { flag = allows; });
}

}  // namespace tarn::api
