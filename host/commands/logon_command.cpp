// tarnhost logon: reports session events of an account and says whether it may use the machine now.
#include <algorithm>
#include <cstring>
#include <fmt/format.h>
#include <memory>
#include <optional>

#include "host/commands/command.h"
#include "host/event.h"
#include "host/json_report.h"
#include "host/logon_rule.h"
#include "host/policy_file.h"
#include "host/printable_text.h"
#include "host/session_events.h"
#include "host/timed_judge.h"
#include "host/verdict_words.h"
#include "policy/policy_reader.h"

namespace tarn::host {

namespace {

constexpr std::size_t kEventWidth = 18;
constexpr std::uint32_t kMaxTicks = 24 * kTicksPerHour;

struct LogonOptions {
    std::string user;
    std::vector<std::string> events;
    std::uint32_t ticks = 0;
    std::uint32_t sessionId = 1;
};

// Equal answers to equal events one after the other are one line.
struct AnsweredEvents {
    std::uint32_t event = 0;
    std::uint32_t first = 0;  // of the ticks, from 1
    std::uint32_t last = 0;
    LogonJudgement judgement;
    std::optional<std::uint64_t> latency;  // of the slowest
};

// What the library answered to all events together.
struct LogonTotals {
    std::uint64_t events = 0;
    std::uint64_t refused = 0;
};

class LogonPrinter {
 public:
    LogonPrinter(const Session& session, const Account& account, const LogonRule& rule)
        : session_(session), account_(account), rule_(rule) {}

    void Begin() const {
        if (!session_.json)
            session_.out << fmt::format("{}, {}\n  its rule: {}\n", Printable(account_.name), FormatSid(account_.sid),
                                        RuleWords(rule_));
    }

    void Answer(const AnsweredEvents& answered) const {
        const LogonJudgement& judgement = answered.judgement;
        std::string why;
        if (!judgement.isValid)
            why = "the library knows no session of the account; a logon comes first";
        else if (judgement.verdict.action == TARN_BLOCK)
            why = RefusalWords(rule_);
        if (session_.json) return TellProgram(answered, why);
        std::string event = SessionEventName(answered.event);
        if (answered.event == TARN_EVENT_TICK)
            event += answered.first == answered.last ? fmt::format(" {}", answered.first)
                                                     : fmt::format(" {} to {}", answered.first, answered.last);
        std::string line = "  " + Column(event, kEventWidth);
        if (why.empty()) {
            line += StateWord(judgement);
        } else {
            line += Column(StateWord(judgement), kStateWidth) + "  ";
            if (judgement.isValid)
                line += fmt::format("{} parental control: ", std::uint32_t{judgement.verdict.reason});
            line += why;
        }
        session_.out << line << '\n';
    }

    void End(const LogonTotals& totals, const std::optional<SavedSessionRecord>& saved,
             const CallLatencies* latencies) const {
        if (!session_.json) {
            if (saved) session_.out << "  " << UsageWords(rule_, saved->usageTicks) << '\n';
            return;
        }
        Event event = BeginStats({});
        event["logons"] = totals.events;
        event["refused"] = totals.refused;
        if (saved) event["used_minutes"] = std::uint32_t{saved->usageTicks};
        if (rule_.LimitsHours()) event["allowed_minutes"] = rule_.allowedHours * kTicksPerHour;
        AddLatencies(latencies, event);
        WriteEvent(event, session_.out);
    }

 private:
    void TellProgram(const AnsweredEvents& answered, const std::string& why) const {
        const LogonJudgement& judgement = answered.judgement;
        Event event = BeginEvent("logon");
        event["account"] = account_.name;
        event["sid"] = FormatSid(account_.sid);
        event["event"] = SessionEventName(answered.event);
        if (answered.event == TARN_EVENT_TICK) {
            event["first_tick"] = answered.first;
            event["last_tick"] = answered.last;
        }
        event["verdict"] = VerdictName(judgement);
        if (judgement.isValid) event["reason"] = std::uint32_t{judgement.verdict.reason};
        event["reason_text"] = why;
        event["rule"] = RuleName(rule_);
        event["rule_text"] = RuleWords(rule_);
        if (answered.latency) event["latency_ns"] = *answered.latency;
        WriteEvent(event, session_.out);
    }

    const Session& session_;
    const Account& account_;
    const LogonRule& rule_;
};

LogonRule RuleOf(const Account& account, const Session& session) {
    const auto text = ReadPolicyText(PolicyPath(session.environment, session.library));
    if (!text) return {};
    policy::PassedOverLists noLists;
    const policy::ReadPolicy read = policy::ParsePolicy(*text, SidsOf(session.environment), &noLists);
    if (!read.mistakes.empty()) return {};
    const TarnSystemTime now = session.library.clock.value_or(session.environment.LocalTime());
    return FindLogonRule(read.policy, account.sid, now);
}

std::optional<SavedSessionRecord> FindSaved(const std::vector<SavedSessionRecord>& saved, const Account& account) {
    for (const SavedSessionRecord& record : saved)
        if (std::memcmp(record.sid, account.sid.data(), sizeof record.sid) == 0) return record;
    return std::nullopt;
}

LogonTotals ReportEvents(const std::vector<std::uint32_t>& events, const Account& account, std::uint32_t sessionId,
                         Judge& library, const LogonPrinter& printer) {
    std::optional<AnsweredEvents> open;
    std::uint32_t ticks = 0;
    LogonTotals totals;
    for (const std::uint32_t event : events) {
        if (event == TARN_EVENT_TICK) ++ticks;
        const LogonJudgement judgement = library.ScanLogonEvent(ComposeLogonEvent(event, account, sessionId));
        const std::optional<std::uint64_t> latency = library.LastLatency();
        ++totals.events;
        if (judgement.isValid && judgement.verdict.action == TARN_BLOCK) ++totals.refused;
        if (open && event == TARN_EVENT_TICK && open->event == TARN_EVENT_TICK &&
            StateWord(open->judgement) == StateWord(judgement)) {
            open->last = ticks;
            open->latency = std::max(open->latency, latency);
            continue;
        }
        if (open) printer.Answer(*open);
        open = AnsweredEvents{event, ticks, ticks, judgement, latency};
    }
    if (open) printer.Answer(*open);
    return totals;
}

int JudgeLogon(const LogonOptions& options, const Session& session) {
    std::vector<std::uint32_t> events;
    for (const std::string& text : options.events) {
        const auto event = ParseSessionEvent(text);
        if (!event)
            return session.Fail(fmt::format("--event {}: logon, tick, disconnect, logoff or a number from 0 to 9 is "
                                            "wanted",
                                            Printable(text)),
                                kExitUsage);
        events.push_back(*event);
    }
    if (events.empty()) events.push_back(*ParseSessionEvent("logon"));
    events.insert(events.end(), options.ticks, TARN_EVENT_TICK);

    Account account;
    if (!session.environment.FindAccount(options.user, account))
        return session.Fail(
            options.user.empty()
                ? std::string("the account that tarnhost runs as cannot be looked up; name one with --user")
                : fmt::format("this machine has no user account \"{}\"; --user wants the name of one, such as a "
                              "person's, not of a group",
                              Printable(options.user)),
            kExitFailed);

    std::unique_ptr<Judge> library = session.Library();
    if (!library) return kExitFailed;
    const LogonRule rule = RuleOf(account, session);
    const LogonPrinter printer(session, account, rule);
    printer.Begin();
    const LogonTotals totals = ReportEvents(events, account, options.sessionId, *library, printer);
    std::optional<CallLatencies> latencies;
    if (library->Latencies() != nullptr) latencies = *library->Latencies();
    library.reset();  // saves its sessions
    printer.End(totals, FindSaved(session.environment.ReadSavedSessions(session.library), account),
                latencies ? &*latencies : nullptr);
    return session.End(kExitOk, totals.refused != 0, false);
}

}  // namespace

RunCommand AddLogonCommand(CommandOptions command, Session& session) {
    const auto options = std::make_shared<LogonOptions>();
    command.Add("--user", options->user, "the account; without it the one that tarnhost runs as").Value("NAME");
    command
        .Add("--event", options->events,
             "what is reported: logon (default), tick, disconnect, logoff or a number from 0 to 9 (repeatable)")
        .Value("EVENT")
        .Repeatable();
    command.Add("--ticks", options->ticks, "then report so many ticks, one for each minute of use")
        .Within(0u, kMaxTicks);
    command.Add("--session", options->sessionId, "number of the session (default 1)");
    command.Notes(
        "With --keep-state the minutes of use are kept for the rest of the day, over several runs. The library says "
        "whether it refuses; "
        "why is read from the policy beside the modules.");
    return [options, &session] {
        session.library.judgesUrls = false;
        return JudgeLogon(*options, session);
    };
}

}  // namespace tarn::host
