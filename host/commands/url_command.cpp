// tarnhost url: judges URLs as if a browser of this machine asked for them.
#include <fmt/format.h>
#include <memory>

#include "host/commands/url_options.h"
#include "host/printable_text.h"

namespace tarn::host {

namespace {

class JudgingUrls {
 public:
    JudgingUrls(const Session& session, std::optional<IpAddress> server)
        : session_(session), report_(session.Report()), server_(server) {}

    // False when there is nothing more to do.
    bool JudgeOne(const std::string& url) {
        if (!session_.MayGoOn()) return false;
        std::string mistake;
        const std::optional<ComposedRequest> request = ComposeRequestTo(server_, url, session_.environment, mistake);
        if (!request) {
            Complain(fmt::format("\"{}\" cannot be judged: {}", Printable(url, kShownUrl), mistake), url);
            return session_.MayGoOn();
        }
        if (!entries_) entries_ = session_.Entries();  // first, for a long policy is read once then
        if (!library_) library_ = session_.Library();
        if (!library_) {
            hasFailed_ = true;
            return false;
        }
        JudgedRequest judged{request->protocol, request->view, request->server, std::nullopt, {}, {}};
        judged.judgement = library_->ScanUrl(request->protocol->kind, request->data, request->server);
        judged.latency = library_->LastLatency();
        judged.coverage = CoverageOf(*request->protocol, request->data, request->server, judged.judgement, false);
        judged.entry = entries_->Find(judged);
        report_->Request(judged);
        return session_.MayGoOn();
    }

    void Complain(const std::string& mistake, const std::string& input = {}) {
        ++mistakes_;
        session_.Fail(mistake, kExitUsage, input);
    }

    int End() {
        if (hasFailed_) return kExitFailed;
        const bool isStopped = session_.environment.IsInterrupted();
        const auto tellTotals = [&] {
            report_->Summary(std::nullopt, {mistakes_, isStopped, library_ ? library_->Latencies() : nullptr});
        };
        if (!library_ && mistakes_ != 0) {
            if (session_.json) tellTotals();
            return kExitUsage;
        }
        if (!library_ && session_.MayGoOn()) return session_.Fail("no address was given", kExitUsage);
        if (isStopped)
            return session_.FailWithTotals(fmt::format("stopped after {} addresses", report_->Counted().requests),
                                           kExitInterrupted, tellTotals);
        tellTotals();
        return session_.End(mistakes_ == 0 ? kExitOk : kExitFailed, report_->Counted().HasFindings(),
                            report_->Counted().CountOf(Extent::kNone) != 0);
    }

 private:
    const Session& session_;
    std::unique_ptr<VerdictReport> report_;
    std::optional<IpAddress> server_;
    std::unique_ptr<EntryFinder> entries_;  // both made for the first URL that can be judged
    std::unique_ptr<Judge> library_;
    std::uint64_t mistakes_ = 0;
    bool hasFailed_ = false;
};

int JudgeUrls(const UrlOptions& options, const Session& session) {
    std::optional<IpAddress> server;
    if (!options.ParseServer(session, server)) return kExitUsage;
    JudgingUrls judging(session, server);
    options.ForEach(
        session, [&](const std::string& url) { return judging.JudgeOne(url); },
        [&](const std::string& mistake) { judging.Complain(mistake); });
    return judging.End();
}

}  // namespace

RunCommand AddUrlCommand(CommandOptions command, Session& session) {
    const auto options = std::make_shared<UrlOptions>();
    AddUrlOptions(command, *options);
    command.Notes(
        "For http:// the library judges the GET request that a browser would send, for https:// the TLS ClientHello, "
        "which has the host name only. Nothing is sent or resolved: without --server the server of a name counts as a "
        "public address.\nAn address that cannot be judged is named, and the others are judged.");
    return [options, &session] { return JudgeUrls(*options, session); };
}

}  // namespace tarn::host
