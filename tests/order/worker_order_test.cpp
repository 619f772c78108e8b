// The schedule's thread against those who start and stop it, and against scans that read its flag.
#include <gtest/gtest.h>
#include <optional>

#include "api/schedule_worker.h"
#include "order/explorer/host_lock.h"
#include "order/explorer/search.h"
#include "order/explorer/sync_explored.h"
#include "order/record.h"

namespace tarn::order {
namespace {

// Stands at a Sunday noon until somebody sets it.
class Clock final : public machine::LocalClock {
 public:
    [[nodiscard]] TarnSystemTime Now() const override { return now; }
    [[nodiscard]] std::optional<std::int64_t> ToSeconds(const TarnSystemTime& local) const override {
        return machine::SecondsFromUtc(local);
    }
    [[nodiscard]] std::optional<TarnSystemTime> ToLocal(std::int64_t seconds) const override {
        return machine::UtcFromSeconds(seconds);
    }
    TarnSystemTime now{2026, 3, 0, 1, 12, 0, 0, 0};
};

class WorkerTrial : public Trial {
 public:
    explicit WorkerTrial(SyncRules rules) {
        BeginSync(std::move(rules));
        TimeRange range{11, 0, 13, 0};
        PcUserEntryRecord entry{};
        entry.leading.profileSwitch = entry.leading.scheduleSwitch = 1;
        entry.schedule[0] = {1, &range};
        PcSettingsRecord record{};
        record.mode = TARN_PC_ONE_FOR_ALL;
        record.entries = &entry;
        EXPECT_TRUE(parental::CopyPcSettings(record, settings_));
    }

 protected:
    static World& world() { return *World::Current(); }

    void AddControl(std::function<void()> body) { world().AddThread("control", std::move(body)); }
    void AddScans(int count, const std::function<void()>& body) {
        for (int i = 0; i < count; ++i)
            world().AddThread("scan " + std::to_string(i), [this, body] { host_.Share(body); });
    }

    void Start() {
        host_.Alone([this] {
            std::uint32_t error = 0;
            world().Require(worker_.Start(settings_, error), "the start failed");
            isOpen_ = true;
        });
    }
    bool Stop() {
        bool stopped = false;
        host_.Alone([&] {
            isOpen_ = false;
            stopped = worker_.Stop();
            if (stopped) world().Require(world().Ended(LastStartedThread()), "the stop did not wait for the thread");
        });
        return stopped;
    }
    [[nodiscard]] bool IsOpen() const { return isOpen_; }
    [[nodiscard]] bool Allows() const { return worker_.Allows().IsSet(); }
    // While the library is started, and the clock stands inside the schedule.
    void ScanThatIsAllowed() {
        if (IsOpen()) world().Require(Allows(), "a scan saw a flag that is not the started thread's");
    }

    Clock clock_;

 private:
    parental::SettingsCopy settings_;
    HostLock host_;
    api::ScheduleWorker worker_{clock_};
    bool isOpen_ = false;
};

// As WSInit, WSSettingsChanged and WSDeinit use it.
class LivesTrial final : public WorkerTrial {
 public:
    LivesTrial() : WorkerTrial({}) {
        AddControl([this] {
            Start();
            world().Require(Stop(), "the stop failed");
            Start();
            world().Require(Stop(), "the stop failed");
        });
        AddScans(2, [this] { ScanThatIsAllowed(); });
    }
    void AtEnd() override { world().Require(!Allows(), "the flag stands open behind the stop"); }
};

// The hour ends while the thread waits: once it has closed the flag it never opens it again.
class BoundaryTrial final : public WorkerTrial {
 public:
    BoundaryTrial() : WorkerTrial({1, false, [this](std::uint32_t) { clock_.now.hour = 13; }}) {
        AddControl([this] {
            Start();
            Breathe("waits");
            world().Require(Stop(), "the stop failed");
        });
        AddScans(1, [this] {
            if (!IsOpen()) return;
            const bool first = Allows();
            const bool second = Allows();
            world().Require(first || !second, "the flag opened behind the end of the hour");
        });
    }
    void AtEnd() override { world().Require(!Allows(), "the flag stands open behind the stop"); }
};

// A signal that fails leaves a thread to itself; it may wake at any time, beside the next one.
class AbandonedTrial final : public WorkerTrial {
 public:
    explicit AbandonedTrial(int scans) : WorkerTrial({0, true, {}}) {
        AddControl([this] {
            Start();
            abandoned_ = !Stop();
            Start();
            lastStopped_ = Stop();
            world().Require(lastStopped_ || !abandoned_, "a second signal failed");
        });
        AddScans(scans, [this] { ScanThatIsAllowed(); });
    }
    void AtEnd() override {
        if (lastStopped_) world().Require(!Allows(), "the flag stands open behind the stop");
    }

 private:
    bool abandoned_ = false;
    bool lastStopped_ = false;
};

void ExpectHolds(const Found& found) {
    Record(found);
    EXPECT_EQ(found.failure, "");
    EXPECT_GT(found.ends, 10U);
}

TEST(WorkerOrder, TwoLivesBesideTwoScans) {
    ExpectHolds(ExploreOrders([] { return std::make_unique<LivesTrial>(); }));
}

TEST(WorkerOrder, TheEndOfAnHourBesideAScan) {
    ExpectHolds(ExploreOrders([] { return std::make_unique<BoundaryTrial>(); }));
}

TEST(WorkerOrder, AThreadThatIsLeftToItselfBesideTheNextOne) {
    ExpectHolds(ExploreOrders([] { return std::make_unique<AbandonedTrial>(1); }));
}

}  // namespace
}  // namespace tarn::order
