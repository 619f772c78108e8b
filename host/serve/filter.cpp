#include "host/serve/filter.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <fmt/format.h>
#include <utility>

#include "host/explain/explanation_report.h"
#include "host/explain/remedy.h"
#include "host/explain/week_times.h"
#include "host/json_report.h"
#include "host/logon_rule.h"
#include "host/ports.h"
#include "host/printable_text.h"
#include "host/serve/bytes_of.h"
#include "host/serve/client_process.h"
#include "host/serve/judged_dns_answer.h"
#include "host/serve/refusal.h"
#include "host/session_events.h"
#include "host/verdict_words.h"

namespace tarn::host::serve {

namespace {

std::string UrlOf(const Protocol& protocol, const RequestView& view) {
    if (protocol.name == "http") return Printable("http://" + view.host + view.path);
    if (protocol.name == "tls") return Printable("https://" + view.host + "/");
    if (protocol.name == "ftp") return Printable("ftp: " + view.path);
    return Printable(view.host);
}

// The row of the table for a DNS message that a server sent.
const Protocol& DnsProtocol() {
    static const Protocol& dns = *ChooseProtocol({{}, kDnsPort, false, false});
    return dns;
}

constexpr Coverage kCutTarget{Extent::kPart, "request target longer than 1,023 characters: its beginning is judged"};
constexpr Coverage kNotAsked{Extent::kNone, "an internal error kept it from being judged"};

// Whether users have rules of their own that need to know who asks.
bool NeedsUsers(const PolicyIndex* index) {
    if (index == nullptr || index->Policy().parental.mode == TARN_PC_ONE_FOR_ALL) return false;
    const auto& users = index->Policy().parental.users;
    return std::any_of(users.begin(), users.end(), [](const policy::ParentalUser& user) {
        return user.profile &&
               ((user.blockList && !user.siteRules.empty()) || (user.categories && !user.blockedCategories.empty()));
    });
}

std::uint64_t NanosecondsSince(std::chrono::steady_clock::time_point begin) {
    const auto took = std::chrono::steady_clock::now() - begin;
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(took).count());
}

}  // namespace

Filter::Filter(Parts parts) : parts_(std::move(parts)) {
    entries_ = std::make_shared<EntryFinder>(policy::Policy{}, parts_.account);
}

Endpoint Filter::AsJudged(const Endpoint& server) const {
    for (const AddressReplacement& one : parts_.settings.replacements)
        if (one.from == server.address) return {one.to, server.port};
    return server;
}

std::optional<std::uint32_t> Filter::MinutesToWait(const Judgement& judgement) const {
    if (!judgement.isValid || judgement.verdict.reason != TARN_REASON_SCHEDULE) return std::nullopt;
    const PolicyIndex* const index = entries_->Index();
    if (index == nullptr || index->Policy().parental.users.empty()) return std::nullopt;
    return MinutesUntilAllowed(index->Policy().parental.users.front(), judgement.verdict.localTime);
}

void Filter::Count(const JudgedRequest& request, bool isRefused) {
    const std::lock_guard lock(mutex_);
    ++counters_.judged;
    if (request.client && request.processId == 0) ++counters_.unknownProcess;
    counters_.latency.Add(request.latency.value_or(0));
    if (request.judgement.isValid) ++counters_.byReason[request.judgement.verdict.reason];
    if (isRefused)
        ++counters_.refusedUnknown;
    else if (!request.judgement.isValid)
        ++counters_.withoutVerdict;
    else
        ++(IsBlocked(request.judgement) ? counters_.blocked : counters_.allowed);
}

Answer Filter::Decide(const Asked& asked, const JudgedRequest& request) {
    Answer answer;
    answer.isJudged = request.judgement.isValid;
    answer.judgement = request.judgement;
    answer.entry = request.entry;
    answer.coverage = request.coverage;
    answer.host = request.view.host;
    answer.url = UrlOf(*asked.protocol, request.view);
    const bool isBlocked = IsBlocked(request.judgement);
    const std::optional<Unread> unread = isBlocked ? std::nullopt : UnreadOf(asked);
    if (!isBlocked) answer.whyRefused = WhyRefused(asked, unread, request, parts_.settings);
    answer.isBlocked = isBlocked || !answer.whyRefused.empty();
    Count(request, !answer.whyRefused.empty());
    TellVerdict(request, answer);
    if (unread) TellUnread(*unread, asked, request, !answer.isBlocked);
    return answer;
}

void Filter::TellVerdict(const JudgedRequest& request, const Answer& answer) {
    Event event = BeginEvent("verdict");
    AddVerdict(request, event);
    event["passed"] = !answer.isBlocked;
    if (!answer.whyRefused.empty()) event["why_refused"] = answer.whyRefused;
    parts_.events.Write(std::move(event));
}

void Filter::TellUnread(const Unread& unread, const Asked& asked, const JudgedRequest& request, bool passes) {
    {
        const std::lock_guard lock(mutex_);
        ++counters_.notExamined[static_cast<std::size_t>(unread.kind)];
    }
    Event event = BeginEvent("not_examined");
    event["what"] = UnexaminedName(unread.kind);
    event["flow"] = FlowMember({unread.kind != Unexamined::kQuic, asked.client, asked.server});
    if (asked.client.address.isIpv6 != asked.server.address.isIpv6) event["flow"].erase("id");
    if (unread.kind == Unexamined::kEch && !request.view.host.empty()) event["outer_name"] = request.view.host;
    event["passed"] = passes;
    parts_.events.Write(std::move(event));
}

Answer Filter::RefuseAfterError(const Asked& asked, const char* what) {
    CountError(what);
    Answer answer;
    answer.whyRefused = "an internal error";
    try {
        JudgedRequest request = RequestOf(asked, asked.data, asked.server);
        request.coverage = kNotAsked;
        answer.host = request.view.host;
        answer.url = UrlOf(*asked.protocol, request.view);
        Count(request, true);
        TellVerdict(request, answer);
    } catch (const std::exception&) {  // it is refused and counted
        return answer;
    }
    return answer;
}

void Filter::CountError(const char* what) {
    {
        const std::lock_guard lock(mutex_);
        ++counters_.internalErrors;
    }
    try {
        TellError(fmt::format("a connection was refused because of an internal error: {}", what));
    } catch (const std::exception&) {  // it is counted
        return;
    }
}

JudgedRequest Filter::RequestOf(const Asked& asked, base::Bytes data, const Endpoint& server) const {
    JudgedRequest request;
    request.protocol = asked.protocol;
    request.view = asked.protocol->view(data);
    request.client = asked.client;
    request.processId = asked.processId;
    request.server = AsJudged(server);
    if (request.server != server) request.connected = server.address;
    return request;
}

JudgedRequest Filter::Ask(const Asked& asked, base::Bytes data, const Endpoint& server) {
    JudgedRequest request = RequestOf(asked, data, server);
    const auto begin = std::chrono::steady_clock::now();
    const auto scan = [&](std::uint32_t processId) {
        return parts_.library.ScanConnection({asked.protocol->kind, data, asked.client, request.server, processId});
    };
    // Of what is open nothing is held against the program: it was allowed when it asked. Without a process the library
    // acts against none; what is left to be blocked with one are rules for users, which do not act.
    if (asked.isAgain && asked.processId != 0) request.judgement = scan(0);
    if (!IsBlocked(request.judgement)) request.judgement = scan(asked.processId);
    if (asked.processId == 0 && !IsBlocked(request.judgement)) AskForUnknownProcess(asked, data, request);
    request.latency = NanosecondsSince(begin);
    request.coverage = CoverageOf(*asked.protocol, data, request.server, request.judgement, asked.isCut);
    return request;
}

// The library has rules that need the user of the process. Where all users have the same ones, this program stands in:
// what would act on a process, a malicious address, was blocked by the first question.
void Filter::AskForUnknownProcess(const Asked& asked, base::Bytes data, JudgedRequest& request) {
    const PolicyIndex* const index = entries_->Index();
    const bool isForAll = index != nullptr && !index->Policy().parental.users.empty() &&
                          index->Policy().parental.mode == TARN_PC_ONE_FOR_ALL;
    // An inspection of HTTPS that blocks wants the user, too, and gives no verdict without one.
    const bool mayBeInspected = asked.protocol == &TlsProtocol() && !request.judgement.isValid;
    if (!isForAll && !mayBeInspected) return;
    const Judgement judgement =
        parts_.library.ScanConnection({asked.protocol->kind, data, asked.client, request.server, OwnProcessId()});
    if (IsBlocked(judgement) && (isForAll || judgement.verdict.reason == TARN_REASON_HTTPS_INSPECTION))
        request.judgement = judgement;
}

JudgedRequest Filter::AskAll(const Asked& asked) {
    JudgedRequest decided = Ask(asked, asked.data, asked.server);
    const auto counts = [&](const Judgement& judgement, bool byName) {
        const bool isTimeAlone = byName && asked.isAlsoAnAddress && judgement.verdict.reason == TARN_REASON_SCHEDULE;
        return IsBlocked(judgement) && !isTimeAlone;
    };
    const auto askAlso = [&](base::Bytes data, const Endpoint& server, bool decides, bool byName = false) {
        if (IsBlocked(decided.judgement)) return;
        const std::uint64_t before = decided.latency.value_or(0);
        JudgedRequest other = Ask(asked, data, server);
        const std::uint64_t both = before + other.latency.value_or(0);
        if (decides || counts(other.judgement, byName)) decided = std::move(other);
        decided.latency = both;
    };
    base::Bytes data = asked.data;
    if (!asked.standIn.empty() && decided.coverage.extent == Extent::kNone) {
        data = BytesOf(asked.standIn);
        askAlso(data, asked.server, true);
        if (asked.isStandInCut && decided.coverage.IsWhole()) decided.coverage = kCutTarget;
    }
    for (const Endpoint& server : asked.alsoAt) askAlso(data, server, false);
    for (const std::string& other : asked.alsoAs) {
        askAlso(BytesOf(other), asked.server, false, true);
        for (const Endpoint& server : asked.alsoAt) askAlso(BytesOf(other), server, false, true);
    }
    if (asked.processId == 0 && decided.coverage.IsWhole() && !IsBlocked(decided.judgement) &&
        asked.protocol != &DnsProtocol() && NeedsUsers(entries_->Index()))
        decided.coverage = kUnknownUser;
    decided.entry = entries_->Find(decided);
    return decided;
}

Answer Filter::Judge(const Asked& asked) {
    try {
        JudgedRequest request;
        std::optional<std::uint32_t> wait;
        gate_.Scan([&] {
            request = AskAll(asked);
            wait = MinutesToWait(request.judgement);
        });
        if (asked.isAgain && !IsBlocked(request.judgement)) {
            Answer passing;
            passing.isBlocked = false;
            passing.isJudged = request.judgement.isValid;
            return passing;
        }
        Answer answer = Decide(asked, request);
        answer.minutesUntilAllowed = wait;
        return answer;
    } catch (const std::exception& error) {
        return RefuseAfterError(asked, error.what());
    }
}

Answer Filter::JudgeDnsAnswer(base::Bytes message, const Endpoint& client, const Endpoint& server,
                              std::uint32_t processId) {
    const std::vector<std::uint8_t> judged = JudgedDnsAnswer(message);
    return Judge({&DnsProtocol(), judged, client, {server.address, kDnsPort}, processId});
}

nlohmann::ordered_json Filter::Explain(const std::string& url) {
    std::string mistake;
    const auto composed = ComposeRequest(url, mistake, parts_.toAscii);
    if (!composed) return {{"error", mistake}};
    const JudgedRequest request{composed->protocol, composed->view, composed->server, std::nullopt, {}, {}};
    std::shared_ptr<EntryFinder> entries;
    std::shared_ptr<const PolicyVariant> written;
    Judgement judgement;
    gate_.Scan([&] {
        entries = entries_;
        written = written_;
        judgement = parts_.library.ScanUrl(composed->protocol->kind, composed->data, composed->server);
    });
    // Outside the gate: it takes its time, and others want to change the settings meanwhile.
    const PolicyIndex* const index = entries->Index();
    if (index == nullptr) return {{"error", "there is no policy to explain by"}};
    ScanQuestion question;
    question.asked = AskedOf(request);
    question.account = parts_.account;
    question.now = parts_.localTime();
    Explanation explanation = host::Explain(*index, question, url, OutcomeOf(judgement));
    if (written)
        explanation.remedy = FindRemedy(*written, *index, question, Foretell(*index, question), parts_.findSid);
    return JsonOf(explanation);
}

void Filter::TellError(const std::string& text, const std::string& input) {
    Event event = BeginEvent("error");
    event["text"] = text;
    if (!input.empty()) event["input"] = input;
    parts_.events.Write(std::move(event));
}

void Filter::SessionEvent(std::uint32_t event, const Account& account, std::uint32_t sessionId) {
    LogonRule rule;
    LogonJudgement judgement;
    gate_.Scan([&] {
        judgement = parts_.library.ScanLogonEvent(ComposeLogonEvent(event, account, sessionId));
        if (const PolicyIndex* const index = entries_->Index())
            rule = FindLogonRule(index->Policy(), account.sid, parts_.localTime());
    });
    if (event == TARN_EVENT_TICK) {
        const std::lock_guard lock(mutex_);
        std::string& last = lastTick_[account.name];
        const std::string now(VerdictName(judgement));
        if (std::exchange(last, now) == now) return;
    }
    std::string why;
    if (!judgement.isValid)
        why = "the library knows no session of the account";
    else if (judgement.verdict.action == TARN_BLOCK)
        why = RefusalWords(rule);
    Event told = BeginEvent("logon");
    told["account"] = account.name;
    told["sid"] = FormatSid(account.sid);
    told["event"] = SessionEventName(event);
    told["verdict"] = VerdictName(judgement);
    if (judgement.isValid) told["reason"] = std::uint32_t{judgement.verdict.reason};
    told["reason_text"] = why;
    told["rule"] = RuleName(rule);
    told["rule_text"] = RuleWords(rule);
    parts_.events.Write(std::move(told));
}

void Filter::UsePolicy(std::shared_ptr<const policy::Policy> policy, std::shared_ptr<const PolicyVariant> written) {
    auto entries = std::make_shared<EntryFinder>([policy = std::move(policy)] { return policy; }, parts_.account);
    entries->Prepare();
    Change([&] {
        std::swap(entries_, entries);
        std::swap(written_, written);
        return true;
    });
}

bool Filter::SettingsChanged(std::uint32_t kind) {
    return Change([&] { return parts_.library.SettingsChanged(kind); });
}

bool Filter::UpdateSettingsChanged(std::uint32_t mask) {
    return Change([&] { return parts_.library.UpdateSettingsChanged(mask); });
}

// Counted when it is done: whoever saw the count before it is judged again.
bool Filter::Change(const std::function<bool()>& change) {
    const bool succeeded = gate_.Notify(change);
    ++changes_;
    return succeeded;
}

Counters Filter::Snapshot() const {
    const std::lock_guard lock(mutex_);
    return counters_;
}

void Filter::TellTotals(bool isStopped) {
    const Counters counters = Snapshot();
    Event event = BeginStats({0, isStopped, nullptr});
    event["requests"] = counters.judged;
    event["allowed"] = counters.allowed;
    event["blocked"] = counters.blocked;
    event["without_verdict"] = counters.withoutVerdict;
    event["by_reason"] = Event::object();
    for (const auto& [reason, count] : counters.byReason) event["by_reason"][fmt::format("{}", reason)] = count;
    event["refused_unknown"] = counters.refusedUnknown;
    event["internal_errors"] = counters.internalErrors;
    event["unknown_process"] = counters.unknownProcess;
    for (std::size_t i = 0; i < kUnexaminedKinds; ++i)
        event["not_examined"][std::string(UnexaminedName(static_cast<Unexamined>(i)))] = counters.notExamined[i];
    if (counters.latency.Count() != 0) event["latency_ns"] = {{"url", Percentiles(counters.latency)}};
    parts_.events.Write(std::move(event));
}

}  // namespace tarn::host::serve
