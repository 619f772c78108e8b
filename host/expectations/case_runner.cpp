#include "host/expectations/case_runner.h"

#include <cstring>
#include <fmt/format.h>
#include <utility>

#include "base/text.h"
#include "host/capture/capture_reader.h"
#include "host/clock_time.h"
#include "host/composed_request.h"
#include "host/coverage.h"
#include "host/file_path.h"
#include "host/frame_scan.h"
#include "host/named_inputs.h"
#include "host/printable_text.h"
#include "host/session_events.h"
#include "host/verdict_words.h"

namespace tarn::host {

namespace {

constexpr std::uint32_t kSessionId = 1;
constexpr const char* kPublicServer = "203.0.113.80";  // of a request whose server the case does not name

// Of an attack the first one that a frame has.
class FirstAttack : public VerdictReport {
 public:
    void BeginCapture(const CaptureHeading&) override {}
    void Request(const JudgedRequest&) override {}
    void LocalGuess(const IpAddress&) override {}
    void Attack(const PacketAttack& attack) override {
        if (!found) found = attack;
    }
    void File(const ShareFile&) override {}
    void Summary(const std::optional<ReplayTotals>&, const RunEnd&) override {}

    std::optional<PacketAttack> found;
};

std::string WithUser(std::string text, const std::string& user) {
    return user.empty() ? text : fmt::format("{}{}(user {})", text, text.empty() ? "" : " ", user);
}

Finding FindingOf(const Judgement& judgement, const Coverage& coverage) {
    Finding found;
    found.verdict = VerdictName(judgement);
    if (judgement.isValid) {
        const std::uint32_t reason = judgement.verdict.reason;
        found.reason = reason;
        found.reasonText = ReasonWords(reason);
        found.note = WithUser(RuleText(judgement.verdict), RuleUser(judgement.verdict));
    }
    if (!coverage.IsWhole())
        found.note =
            fmt::format("{}: {}", coverage.extent == Extent::kNone ? "not judged" : "judged in part", coverage.why);
    return found;
}

bool IsSame(const TarnSystemTime& one, const TarnSystemTime& other) {
    return std::memcmp(&one, &other, sizeof one) == 0;
}

// The frame of that number; false with the reason in mistake.
bool ReadFrame(const std::string& file, std::uint64_t number, CapturedFrame& frame, std::string& mistake) {
    CaptureFile input;
    if (!OpenCaptureFile(file, input, mistake)) return false;
    CaptureReader reader(input.stream);
    while (reader.Next(frame))
        if (frame.number == number) return true;
    mistake = reader.Error().empty()
                  ? fmt::format("{} has {} frames, no frame {}", Printable(file), reader.FrameCount(), number)
                  : fmt::format("{}: {}", Printable(file), reader.Error());
    return false;
}

// This machine's address: a frame that does not come from it came in.
std::vector<IpAddress> LocalAddress(const CapturedFrame& frame, const std::optional<TransportView>& view,
                                    bool isInbound) {
    if (view) return {isInbound ? view->destination.address : view->source.address};
    const std::optional<IpAddress> source = ViewSource(frame.bytes);
    if (!isInbound && source) return {*source};
    return {};
}

}  // namespace

CaseRunner::CaseRunner(Environment& environment, LibraryOptions options, std::string folder, bool isTogether)
    : environment_(environment),
      options_(std::move(options)),
      folder_(std::move(folder)),
      isTogether_(isTogether),
      now_(options_.clock.value_or(environment.LocalTime())),
      entries_(FinderFor(environment, options_)) {}

RanCase CaseRunner::Run(const PolicyCase& one) {
    RanCase ran;
    switch (one.kind) {
        case CaseKind::kUrl:
            RunUrl(one, ran);
            break;
        case CaseKind::kExtension:
            RunExtension(one, ran);
            break;
        case CaseKind::kRequest:
            RunRequest(one, ran);
            break;
        case CaseKind::kFrame:
            RunFrame(one, ran);
            break;
        case CaseKind::kLogon:
            RunLogon(one, ran);
            break;
    }
    return ran;
}

Judge* CaseRunner::LibraryFor(const PolicyCase& one, std::string& mistake) {
    const TarnSystemTime time = one.at.empty() ? now_ : ParseClockTime(one.at, now_).value_or(now_);
    if (library_ && isTogether_) {
        if (clock_ && IsSame(*clock_, time)) return library_.get();
        library_->SetClock(time);
        clock_ = time;
        // The library starts its schedule anew with the settings of parental control.
        if (library_->SettingsChanged(TARN_SETTINGS_PARENTAL_CONTROL)) return library_.get();
        mistake = "the library could not read its parental settings for another time";
        return nullptr;
    }
    library_.reset();
    clock_ = time;
    options_.clock = time;
    SavedState ignored;
    if (!environment_.UseState(options_, ignored, mistake)) return nullptr;
    library_ = environment_.OpenLibrary(options_, mistake);
    options_.judgesUrls = false;  // what the settings switch off and what is wrong with the policy is said once
    options_.warnsOfPolicy = false;
    return library_.get();
}

std::string CaseRunner::WhyNotAs(const std::string& account) const {
    if (account.empty()) return {};
    Account wanted;
    Account own;
    if (!environment_.FindAccount(account, wanted))
        return fmt::format("this machine has no user account \"{}\"", Printable(account));
    if (environment_.FindAccount("", own) && own.sid == wanted.sid) return {};
    return fmt::format(
        "the library takes the account of the program that asks, which is \"{}\"; run tarnhost as \"{}\"",
        Printable(own.name), Printable(account));
}

void CaseRunner::Scan(const PolicyCase& one, const Protocol& protocol, base::Bytes data, const Endpoint& server,
                      RanCase& ran) {
    Judge* const library = LibraryFor(one, ran.failure);
    if (library == nullptr) return;
    JudgedRequest judged{&protocol, protocol.view(data), server, std::nullopt, {}, {}};
    judged.judgement = library->ScanUrl(protocol.kind, data, server);
    judged.coverage = CoverageOf(protocol, data, server, judged.judgement, false);
    ran.found = FindingOf(judged.judgement, judged.coverage);
    ran.found.entry = entries_.Find(judged);
}

void CaseRunner::RunUrl(const PolicyCase& one, RanCase& ran) {
    if (ran.failure = WhyNotAs(one.account); !ran.failure.empty()) return;
    const auto request =
        ComposeRequest(one.url, ran.failure, [this](const std::string& host) { return environment_.AsciiHost(host); });
    if (!request) return;
    Endpoint server = request->server;
    if (const auto named = ParseIpAddress(one.server); named && !request->isServerKnown) server.address = *named;
    Scan(one, *request->protocol, request->data, server, ran);
}

void CaseRunner::RunExtension(const PolicyCase& one, RanCase& ran) {
    if (ran.failure = WhyNotAs(one.account); !ran.failure.empty()) return;
    const std::string_view scheme = std::string_view(one.url).substr(0, one.url.find("://"));
    const bool isTls = base::EqualIgnoringCase(scheme, "https");
    if (!isTls && !base::EqualIgnoringCase(scheme, "http")) {
        ran.failure = "a browser reports whole addresses, such as https://shop.example/";
        return;
    }
    Judge* const library = LibraryFor(one, ran.failure);
    if (library == nullptr) return;
    const std::uint8_t kind = isTls ? TARN_KIND_TLS : TARN_KIND_HTTP;
    const Judgement judgement = library->ScanExtensionUrl(kind, one.url);
    ran.found = FindingOf(judgement, CoverageOfReported(kind, one.url, judgement));
    ran.found.entry = entries_.FindReported(one.url, judgement);
}

void CaseRunner::RunRequest(const PolicyCase& one, RanCase& ran) {
    if (ran.failure = WhyNotAs(one.account); !ran.failure.empty()) return;
    const Protocol* const protocol = ChooseProtocol({one.bytes, one.port, !one.isDatagram, !one.isDatagram});
    if (protocol == nullptr) {
        ran.failure = fmt::format("there is no URL scan for these bytes with port {}", one.port);
        return;
    }
    const Endpoint server{ParseIpAddress(one.server.empty() ? kPublicServer : one.server).value_or(IpAddress{}),
                          one.port};
    Scan(one, *protocol, one.bytes, server, ran);
}

void CaseRunner::RunFrame(const PolicyCase& one, RanCase& ran) {
    if (ran.failure = WhyNotAs(one.account); !ran.failure.empty()) return;
    CapturedFrame frame;
    if (one.capture.empty()) {
        frame.number = 1;
        frame.bytes = one.bytes;
        frame.captured = frame.original = static_cast<std::uint32_t>(one.bytes.size());
    } else if (!ReadFrame(FromPath(ToPath(folder_) / ToPath(one.capture)), one.frame, frame, ran.failure)) {
        return;
    }
    Judge* const library = LibraryFor(one, ran.failure);
    if (library == nullptr) return;
    FrameContent content{};
    const std::optional<TransportView> view = ViewTransport(frame.bytes, content);
    FirstAttack report;
    UnexaminedCounts counts;
    UnexaminedLog notExamined(counts, {});
    FrameScan scan(*library, report, {LocalAddress(frame, view, one.isInbound), false}, notExamined);
    scan.NameEntriesBy(&entries_);
    scan.Add(frame, view, content);
    ran.found.verdict = "none";
    if (!report.found) return;
    const std::uint32_t reason = report.found->verdict.reason;
    ran.found.verdict = report.found->verdict.action == TARN_PACKET_BLOCK ? "blocked" : "allowed";
    ran.found.reason = reason;
    ran.found.reasonText = AttackWords(reason);
    ran.found.entry = report.found->entry;
    ran.found.note = AttackDescription(report.found->verdict);
}

void CaseRunner::RunLogon(const PolicyCase& one, RanCase& ran) {
    Account account;
    if (!environment_.FindAccount(one.account, account)) {
        ran.failure = one.account.empty()
                          ? std::string("the account that tarnhost runs as cannot be looked up")
                          : fmt::format("this machine has no user account \"{}\"", Printable(one.account));
        return;
    }
    options_.judgesUrls = false;
    Judge* const library = LibraryFor(one, ran.failure);
    if (library == nullptr) return;
    LogonJudgement judgement = library->ScanLogonEvent(ComposeLogonEvent(one.event, account, kSessionId));
    for (std::uint32_t i = 0; i < one.ticks; ++i)
        judgement = library->ScanLogonEvent(ComposeLogonEvent(TARN_EVENT_TICK, account, kSessionId));
    ran.found.verdict = VerdictName(judgement);
    if (!judgement.isValid) {
        ran.found.note = "the library knows no session of the account; a logon comes first";
        return;
    }
    ran.found.reason = std::uint32_t{judgement.verdict.reason};
    ran.found.reasonText = "parental control";
}

}  // namespace tarn::host
