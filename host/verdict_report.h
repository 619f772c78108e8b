// Prints judged requests, attacks and files, one line each, and a summary: as aligned text or as JSON lines.
#ifndef TARN_HOST_VERDICT_REPORT_H
#define TARN_HOST_VERDICT_REPORT_H

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "host/capture/transport_view.h"
#include "host/coverage.h"
#include "host/deciding_entry.h"
#include "host/flow.h"
#include "host/judge.h"
#include "host/protocol_choice.h"
#include "host/unexamined.h"

namespace tarn::host {

// Where in a capture a request was found.
struct CaptureOrigin {
    std::uint64_t frame = 0;
    std::uint64_t timeNanoseconds = 0;
    Endpoint client;
    std::optional<IpAddress> replacedClient;  // what the capture has in the place of the addresses shown
    std::optional<IpAddress> replacedServer;
};

struct JudgedRequest {
    const Protocol* protocol = nullptr;  // null for an address that a browser's extension reports
    RequestView view;
    Endpoint server;
    std::optional<CaptureOrigin> origin;
    Judgement judgement;
    Coverage coverage;
    std::optional<DecidingEntry> entry{};    // that decided, as far as it is known
    std::string reportedUrl{};               // by an extension, whole
    std::optional<std::uint64_t> latency{};  // of the call, in nanoseconds, where it was measured
    std::optional<Endpoint> client{};        // of a connection that no capture tells of
    std::optional<IpAddress> connected{};    // of that connection, when server stands in its place
    std::uint32_t processId = 0;             // of that client; 0 = not known
};

struct AddressReplacement {
    IpAddress from;
    IpAddress to;
};

struct CaptureHeading {
    std::string name;  // as NamedInput::shown has it
    std::vector<AddressReplacement> replacements;
};

// A frame in which the packet scan found an attack; a rule that the user excluded lets it pass.
struct PacketAttack {
    std::uint64_t frame = 0;
    std::uint64_t timeNanoseconds = 0;
    bool inbound = false;
    Endpoint remote;  // both without a port when the frame holds no segment or datagram
    Endpoint local;
    std::optional<Flow> flow{};  // nothing for the same frames
    bool isFromClient = false;
    PacketVerdict verdict{};
    bool isFirst = false;                  // of its connection, for this reason
    std::optional<bool> dropped;           // whether the reset that was asked for succeeded
    std::string blockedAddress;            // the web address that is blocked from now on
    std::optional<DecidingEntry> entry{};  // that decided, as far as it is known
    std::optional<std::uint64_t> latency{};
};

// A file that an SMB server said it created or overwrote.
struct ShareFile {
    std::uint64_t frame = 0;
    std::uint64_t timeNanoseconds = 0;
    SmbScanResult event{};
    std::optional<Flow> flow{};  // nothing for a fragment
    std::optional<std::uint64_t> latency{};
};

// What a replay has read.
struct ReplayTotals {
    std::uint64_t captures = 0;
    std::uint64_t frames = 0;
    std::uint64_t bytes = 0;             // of the frames, as they were captured
    std::uint64_t firstNanoseconds = 0;  // the earliest and the latest time of a frame; 0 when none has one
    std::uint64_t lastNanoseconds = 0;
    std::uint64_t cutFrames = 0;  // of which the captures hold only the beginning
    std::uint32_t mostKept = 0;   // bytes of such a frame, and the most that one had
    std::uint32_t mostOriginal = 0;
    UnexaminedCounts notExamined;
};

// How a run ended.
struct RunEnd {
    std::uint64_t failedInputs = 0;            // that could not be read, or not to their end
    bool isStopped = false;                    // before all was judged
    const CallLatencies* latencies = nullptr;  // where they were measured
};

// Allowed because no rule decided.
[[nodiscard]] bool IsUndecided(const Judgement& judgement);
// Undecided because an entry of a list let it pass.
[[nodiscard]] bool IsLetPass(const JudgedRequest& request);
// Of a request with a verdict: the words of its reason, or that a list let it pass.
[[nodiscard]] std::string_view ReasonOf(const JudgedRequest& request);
[[nodiscard]] bool IsBlocked(const Judgement& judgement);

struct Totals {
    std::uint64_t requests = 0;
    std::uint64_t allowed = 0;
    std::uint64_t blocked = 0;
    std::uint64_t withoutVerdict = 0;
    std::map<std::uint32_t, std::uint64_t> byReason;                        // of the requests with a verdict
    std::map<std::pair<Extent, std::string_view>, std::uint64_t> notWhole;  // requests, by why
    std::uint64_t undecidedNotJudged = 0;                                   // of those that no rule decided
    std::uint64_t undecidedLetPass = 0;                                     // of those, by an entry of a list
    std::uint64_t attackFrames = 0;
    std::uint64_t attackFramesBlocked = 0;
    std::map<std::uint32_t, std::uint64_t> attacksByReason;   // frames
    std::map<std::string_view, std::uint64_t> filesByAction;  // words of FileWord
    std::uint64_t files = 0;

    void Count(const JudgedRequest& request);
    // Requests that were judged to this extent.
    [[nodiscard]] std::uint64_t CountOf(Extent extent) const;
    // Whether something was blocked, refused or found.
    [[nodiscard]] bool HasFindings() const { return blocked != 0 || attackFrames != 0; }
    void Count(const PacketAttack& attack);
    void Count(const ShareFile& file);
};

// What was judged under one state of the policy.
struct PolicyTotals {
    std::uint64_t requests = 0;
    std::uint64_t allowed = 0;
    std::uint64_t blocked = 0;
    std::uint64_t withoutVerdict = 0;
    std::uint64_t attackFrames = 0;
};

class VerdictReport {
 public:
    virtual ~VerdictReport() = default;
    // The same captures follow as in the round before, so only what differs from it is of interest.
    virtual void BeginRound() {}
    // All of them were judged: time to say how much changed.
    virtual void EndRound() {}
    virtual void BeginCapture(const CaptureHeading& heading) = 0;
    // What was left out since it was last told: at the end of a capture and before text of somebody else.
    virtual void TellLeftOut() {}
    virtual void Request(const JudgedRequest& request) = 0;
    // The address that counts as this machine's because it opened the capture's first connection.
    virtual void LocalGuess(const IpAddress& address) = 0;
    virtual void Attack(const PacketAttack& attack) = 0;
    virtual void File(const ShareFile& file) = 0;
    // Whether what is not examined is told one by one; the summary has how much of it there was.
    [[nodiscard]] virtual bool WantsUnexamined() const { return false; }
    virtual void NotExamined(const UnexaminedTraffic& /*traffic*/) {}
    // Of all captures together; nothing for requests without frames.
    virtual void Summary(const std::optional<ReplayTotals>& replay, const RunEnd& end) = 0;

    [[nodiscard]] const Totals& Counted() const { return totals_; }
    // What follows is judged under another policy.
    void BeginPolicy() { policyBegins_.push_back(totals_); }

 protected:
    // One for each policy, the first included.
    [[nodiscard]] std::vector<PolicyTotals> CountedByPolicy() const;

    [[nodiscard]] Totals& Counting() { return totals_; }

 private:
    Totals totals_;
    std::vector<Totals> policyBegins_;  // of each but the first: the totals of all before it
};

struct ReportStyle {
    bool json = false;
    bool colour = false;
    bool verbose = false;
    bool brief = false;       // leave out what no rule decided
    bool quiet = false;       // leave out all but what was blocked or found, and the totals
    std::size_t columns = 0;  // of the terminal; 0 = a line may have any length
};
std::unique_ptr<VerdictReport> MakeReport(std::ostream& out, const ReportStyle& style);

}  // namespace tarn::host

#endif
