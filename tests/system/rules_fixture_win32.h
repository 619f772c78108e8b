// The loaded library with what tests of single rules share: settings changes, a schedule that is on, and system calls
// of the library that a test watches or lets fail.
#ifndef TARN_TESTS_SYSTEM_RULES_FIXTURE_WIN32_H
#define TARN_TESTS_SYSTEM_RULES_FIXTURE_WIN32_H

#include <cstdint>
#include <string>
#include <vector>
#include <windows.h>

#include "system/import_patch_win32.h"
#include "system/journal_lines.h"
#include "system/scan_fixture_win32.h"

namespace tarn::system_test {

// A start that restores the saved answers: what the modules are asked, with every answer empty.
inline const Lines kRestartLines =
    Join({kLoadLines, {"ReadDNSCacheSettings", "ReleaseDNSCacheSettings empty"}, kReadLines});

class RulesFixture : public ScanRecords {
 protected:
    std::uint32_t Change(std::uint32_t setting) { return tarn.WSSettingsChanged(setting, 11, 22, 33); }
    std::uint8_t Update(std::uint32_t mask) { return tarn.WSUpdateSettingsChanged(&mask); }
    std::uint8_t FeatureStatus() const;

    // The first profile's schedule is on with these ranges on every day; the next read delivers it.
    void SwitchScheduleOn(const std::vector<TimeRange>& everyDay);
    void SwitchScheduleOff();
    // An ordinary page, judged by the schedule flag alone.
    bool ScheduleAllows();

    // Browsing protection is to leave this program alone.
    void ExcludeThisProgram();

    // The name of the IDS rule that the library found for a frame with an attack; empty = no such rule.
    std::u16string RuleNameOf(std::uint16_t ruleId);
    void MakeEveryFrameAnAttack();

    static constexpr TimeRange kWholeDay{0, 0, 23, 59};
    static constexpr TimeRange kBackwards{10, 0, 9, 0};  // no interval list can be built with it

 private:
    std::vector<TimeRange> ranges_;
};

// The modules that the library loads, as the system is asked for them. One at a time.
class ModuleLoads {
 public:
    struct Call {
        std::string file;
        HANDLE handle;
        DWORD flags;
    };

    explicit ModuleLoads(HMODULE library);
    [[nodiscard]] bool IsInPlace() const { return patch_.IsInPlace(); }
    // From now on the system does not find this file; an empty name ends that.
    static void Refuse(const std::string& file);
    static const std::vector<Call>& Calls();

 private:
    ImportPatch patch_;
};

// The events and threads that the library makes, and a system that refuses them. One at a time.
class WorkerCalls {
 public:
    static constexpr DWORD kRefused = 1450;

    explicit WorkerCalls(HMODULE library);
    ~WorkerCalls();
    WorkerCalls(const WorkerCalls&) = delete;
    WorkerCalls& operator=(const WorkerCalls&) = delete;

    [[nodiscard]] bool IsInPlace() const {
        return createEvent_.IsInPlace() && createThread_.IsInPlace() && setEvent_.IsInPlace();
    }
    void RefuseEvents(bool refuse);
    void RefuseThreads(bool refuse);
    void RefuseSignals(bool refuse);

    static std::size_t ThreadsMade();
    // Waits for the end of a thread, counted from 0.
    static bool AwaitThread(std::size_t number);
    // The event that was made last, as the library has it; null before the first.
    static HANDLE LastEvent();
    // Signals every event that was made, whether the library still has it or not, and waits for the threads to end.
    static bool EndAllThreads();

 private:
    ImportPatch createEvent_;
    ImportPatch createThread_;
    ImportPatch setEvent_;
};

}  // namespace tarn::system_test

#endif
