// The library as the server asks it: judges what clients want, names the entry that decided, counts, and tells events.
// Any thread may call it. Changed settings are told to the library while no scan runs.
#ifndef TARN_HOST_SERVE_FILTER_H
#define TARN_HOST_SERVE_FILTER_H

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "host/account.h"
#include "host/composed_request.h"
#include "host/coverage.h"
#include "host/deciding_entry.h"
#include "host/explain/entry_finder.h"
#include "host/explain/policy_variant.h"
#include "host/judge.h"
#include "host/latency_histogram.h"
#include "host/serve/asked.h"
#include "host/serve/event_hub.h"
#include "host/serve/scan_gate.h"
#include "host/serve/serve_settings.h"
#include "host/unexamined.h"

namespace tarn::host::serve {

struct Answer {
    bool isBlocked = true;  // also of what is not judged when the settings refuse that, and after an internal error
    bool isJudged = false;  // whether the library gave a verdict
    Judgement judgement{};
    std::optional<DecidingEntry> entry{};
    Coverage coverage{};
    std::string host{};                                  // as it was sent
    std::string url{};                                   // for people: "http://host/path", or the host alone
    std::optional<std::uint32_t> minutesUntilAllowed{};  // by the schedule that blocks; nothing: at no time
    std::string whyRefused{};                            // of what is blocked without a verdict that blocks
};

struct Counters {
    std::uint64_t judged = 0;  // each is one of the following four
    std::uint64_t allowed = 0;
    std::uint64_t blocked = 0;
    std::uint64_t withoutVerdict = 0;  // and passed
    std::uint64_t refusedUnknown = 0;  // not blocked, and refused because it could not be judged
    std::uint64_t internalErrors = 0;  // each refused a connection, or a request that is one of them, too
    std::uint64_t unknownProcess = 0;  // judged for a client whose process is not known
    std::map<std::uint32_t, std::uint64_t> byReason{};
    std::array<std::uint64_t, kUnexaminedKinds> notExamined{};
    LatencyHistogram latency{};
};

class Filter {
 public:
    // All of them outlive the filter. localTime: for schedules.
    struct Parts {
        host::Judge& library;
        EventHub& events;
        const ServeSettings& settings;
        Account account{};
        std::function<TarnSystemTime()> localTime;
        HostToAscii toAscii{};      // composed_request.h
        policy::FindSid findSid{};  // for what an explanation would write into the policy
    };
    explicit Filter(Parts parts);

    // With one event that says what becomes of it, and one more of what is not looked into. Never throws.
    Answer Judge(const Asked& asked);
    // A server's DNS message; blocked when the name is refused. The library gets it in the form that it reads
    // (judged_dns_answer.h). Without a process whose user it knows it refuses no name.
    Answer JudgeDnsAnswer(base::Bytes message, const Endpoint& client, const Endpoint& server, std::uint32_t processId);
    // Why an address is judged as it is, in the form of the command explain; "error" when it cannot be.
    nlohmann::ordered_json Explain(const std::string& url);

    void TellError(const std::string& text, const std::string& input = {});
    // Something that must not happen, after which a connection was closed.
    void CountError(const char* what);

    // A session event of an account. Ticks are told when their answer changes.
    void SessionEvent(std::uint32_t event, const Account& account, std::uint32_t sessionId);

    // From now on entries are looked up in this policy. written: as its file says it; without it an explanation does
    // not say what to write.
    void UsePolicy(std::shared_ptr<const policy::Policy> policy, std::shared_ptr<const PolicyVariant> written = {});
    // A notice of changed settings: waits until no scan runs.
    bool SettingsChanged(std::uint32_t kind);
    bool UpdateSettingsChanged(std::uint32_t mask);
    // How often the settings have changed. What was judged when there were fewer changes may be blocked by now.
    [[nodiscard]] std::uint64_t Changes() const { return changes_; }

    [[nodiscard]] Counters Snapshot() const;
    // One line of the events at its end: the totals.
    void TellTotals(bool isStopped);

    [[nodiscard]] EventHub& Events() { return parts_.events; }
    [[nodiscard]] TarnSystemTime LocalTime() const { return parts_.localTime(); }

 private:
    // One question. Under the gate.
    JudgedRequest Ask(const Asked& asked, base::Bytes data, const Endpoint& server);
    // All of them, until one blocks. Under the gate.
    JudgedRequest AskAll(const Asked& asked);
    // What the library says of a client whose process is not known. Under the gate.
    void AskForUnknownProcess(const Asked& asked, base::Bytes data, JudgedRequest& request);
    Answer Decide(const Asked& asked, const JudgedRequest& request);
    Answer RefuseAfterError(const Asked& asked, const char* what);
    void Count(const JudgedRequest& request, bool isRefused);
    void TellVerdict(const JudgedRequest& request, const Answer& answer);
    void TellUnread(const Unread& unread, const Asked& asked, const JudgedRequest& request, bool passes);
    // When no scan runs.
    bool Change(const std::function<bool()>& change);
    // As far as it is known before it is asked.
    [[nodiscard]] JudgedRequest RequestOf(const Asked& asked, base::Bytes data, const Endpoint& server) const;
    [[nodiscard]] Endpoint AsJudged(const Endpoint& server) const;
    [[nodiscard]] std::optional<std::uint32_t> MinutesToWait(const Judgement& judgement) const;

    Parts parts_;
    ScanGate gate_;
    std::shared_ptr<EntryFinder> entries_;          // under the gate
    std::shared_ptr<const PolicyVariant> written_;  // under the gate
    std::atomic<std::uint64_t> changes_{0};
    mutable std::mutex mutex_;  // of what follows
    Counters counters_;
    std::map<std::string, std::string> lastTick_;  // by account
};

}  // namespace tarn::host::serve

#endif
