// An environment with accounts, a clock, kept sessions and scripted signals, for the commands that ask for them.
#ifndef TARN_TESTS_HOST_FAKE_MACHINE_H
#define TARN_TESTS_HOST_FAKE_MACHINE_H

#include <algorithm>
#include <chrono>
#include <deque>
#include <fmt/format.h>
#include <map>
#include <utility>

#include "host/fake_environment.h"
#include "policy/values.h"

namespace tarn::host {

using namespace std::chrono_literals;

class ToldLibrary : public FakeLibrary {
 public:
    std::vector<std::pair<std::uint8_t, std::string>> reportedUrls;
    std::vector<LogonEvent> events;
    std::vector<std::string> notices;
    std::vector<std::string> clock;  // what it was set to
    bool takesNotices = true;
    std::function<LogonJudgement(const LogonEvent&)> onLogon = [](const LogonEvent&) { return Logon(TARN_ALLOW); };

    static LogonJudgement Logon(std::uint32_t action) {
        LogonJudgement judgement;
        judgement.isValid = true;
        judgement.verdict.action = action;
        judgement.verdict.reason = TARN_REASON_PARENTAL_CONTROL;
        return judgement;
    }
};

class LentToldLibrary : public LentLibrary {
 public:
    explicit LentToldLibrary(ToldLibrary& library) : LentLibrary(library), library_(library) {}
    Judgement ScanExtensionUrl(std::uint8_t kind, const std::string& url) override {
        library_.reportedUrls.emplace_back(kind, url);
        return library_.answer;
    }
    LogonJudgement ScanLogonEvent(const LogonEvent& event) override {
        library_.events.push_back(event);
        return library_.onLogon(event);
    }
    void SetClock(const TarnSystemTime& now) override {
        library_.clock.push_back(
            fmt::format("{:04}-{:02}-{:02} {:02}:{:02}", +now.year, +now.month, +now.day, +now.hour, +now.minute));
    }
    bool SettingsChanged(std::uint32_t kind) override {
        library_.notices.push_back("kind " + std::to_string(kind));
        return library_.takesNotices;
    }
    bool UpdateSettingsChanged(std::uint32_t mask) override {
        library_.notices.push_back("mask " + std::to_string(mask));
        return library_.takesNotices;
    }

 private:
    ToldLibrary& library_;
};

// What happens next, in this order; when nothing is left it is Ctrl+C.
struct ScriptedStep {
    Signal signal = Signal::kNone;
    std::string input;  // with kInput; empty = the end
    std::function<void()> before = [] {};
};

class ScriptedSignals : public WatchSignals {
 public:
    explicit ScriptedSignals(std::deque<ScriptedStep>& steps) : steps_(steps) {}
    Signal Next(bool mayWait, bool wantsInput) override {
        if (steps_.empty()) return mayWait ? Signal::kStop : Signal::kNone;
        const Signal signal = steps_.front().signal;
        if (signal == Signal::kInput && !wantsInput) return Signal::kNone;
        if (signal == Signal::kInput) {
            input_ += steps_.front().input;
            steps_.pop_front();
            return signal;
        }
        steps_.front().before();
        steps_.pop_front();
        return signal;
    }
    std::size_t ReadInput(std::span<char> buffer) override {
        const std::size_t count = std::min(buffer.size(), input_.size());
        input_.copy(buffer.data(), count);
        input_.erase(0, count);
        if (!input_.empty()) steps_.push_front({Signal::kInput, "", [] {}});
        return count;
    }

 private:
    std::deque<ScriptedStep>& steps_;
    std::string input_;
};

class FakeMachine : public FakeEnvironment {
 public:
    std::unique_ptr<Judge> OpenLibrary(const LibraryOptions& options, std::string& mistake) override {
        opened.push_back(options);
        mistake = whyNot;
        if (!whyNot.empty()) return nullptr;
        return std::make_unique<LentToldLibrary>(told);
    }
    [[nodiscard]] std::string InstallFolder(const LibraryOptions&) const override { return installFolder; }
    bool FindAccount(const std::string& name, Account& account) override {
        const auto found = accounts.find(name);
        if (found == accounts.end()) return false;
        account.name = name.empty() ? "me" : name;
        return policy::SidOfText(found->second, account.sid);
    }
    [[nodiscard]] TarnSystemTime LocalTime() const override { return now; }
    // Its zone is two hours east of UTC.
    [[nodiscard]] std::optional<TarnSystemTime> LocalTimeOf(std::uint64_t nanoseconds) const override {
        const auto local = std::chrono::sys_seconds(std::chrono::seconds(nanoseconds / 1000000000)) + 2h;
        const auto day = std::chrono::floor<std::chrono::days>(local);
        const std::chrono::year_month_day date(day);
        const std::chrono::hh_mm_ss time(local - day);
        const auto word = [](auto value) { return static_cast<std::uint16_t>(value); };
        return TarnSystemTime{word(static_cast<int>(date.year())),
                              word(static_cast<unsigned>(date.month())),
                              word(std::chrono::weekday(day).c_encoding()),
                              word(static_cast<unsigned>(date.day())),
                              word(time.hours().count()),
                              word(time.minutes().count()),
                              word(time.seconds().count()),
                              0};
    }
    std::vector<SavedSessionRecord> ReadSavedSessions(const LibraryOptions&) override { return sessions; }
    std::unique_ptr<WatchSignals> Watch(const std::string&, bool, std::string&) override {
        return std::make_unique<ScriptedSignals>(steps);
    }

    // What happens while the next pause lasts; it takes no time.
    void Pause(std::chrono::milliseconds) override {
        if (duringPauses.empty()) return;
        const auto happens = std::move(duringPauses.front());
        duringPauses.pop_front();
        happens();
    }

    ToldLibrary told;
    std::deque<std::function<void()>> duringPauses;
    std::map<std::string, std::string> accounts{{"", "S-1-5-21-1-2-3-1000"}, {"anna", "S-1-5-21-1-2-3-1001"}};
    TarnSystemTime now{2026, 5, 6, 16, 14, 30, 0, 0};  // a Saturday, half past two
    std::vector<SavedSessionRecord> sessions;
    std::deque<ScriptedStep> steps;
    std::string installFolder = "nowhere/";
};

}  // namespace tarn::host

#endif
