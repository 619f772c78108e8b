// tarnhost extension: judges whole URLs as the extension of a browser reports them.
#include <fmt/format.h>
#include <memory>
#include <optional>

#include "host/commands/command.h"
#include "host/coverage.h"
#include "host/named_inputs.h"
#include "host/printable_text.h"
#include "host/reported_url.h"
#include "host/standard_input.h"
#include "host/text_report.h"
#include "host/verdict_words.h"

namespace tarn::host {

namespace {

constexpr std::size_t kShownUrl = 80;  // of one that is refused
constexpr std::size_t kUrlWidth = 44;
constexpr std::size_t kReasonWidth = 39;  // " 7 category blocked by parental control"

void PrintAsText(const JudgedRequest& request, bool withEntry, std::ostream& out) {
    const std::string& url = request.reportedUrl;
    const Judgement& judgement = request.judgement;
    const Coverage& coverage = request.coverage;
    std::string line = fmt::format("{}  {}  ", Column(url, kUrlWidth), Column(StateWord(judgement), kStateWidth));
    if (!judgement.isValid) {
        out << line << "not judged: " << coverage.why << '\n';
        return;
    }
    const std::uint32_t reason = judgement.verdict.reason;
    std::string text = IsLetPass(request) ? request.entry->list : RuleText(judgement.verdict);
    if (text == url) text.clear();  // it stands in front
    const std::string why =
        coverage.IsWhole() ? std::string(ReasonOf(request)) : fmt::format("not judged: {}", coverage.why);
    line += fmt::format("{:>2} {:<{}}", reason, why, text.empty() ? 0 : kReasonWidth - 3);
    if (!text.empty()) line += "  " + Printable(text);
    if (const std::string user = RuleUser(judgement.verdict); !user.empty())
        line += fmt::format("  (user {})", Printable(user));
    if (withEntry && request.entry)
        line += fmt::format("  ({}:{})", Printable(request.entry->file), request.entry->line);
    out << line << '\n';
}

void PrintAsText(const Totals& totals, std::ostream& out) {
    out << fmt::format("\n{} address{}: {}\n", totals.requests, totals.requests == 1 ? "" : "es", CountWords(totals))
        << ReasonLines(totals);
}

int JudgeReportedUrls(const std::vector<std::string>& named, const Session& session) {
    std::unique_ptr<EntryFinder> entries;  // both made for the first URL that can be judged
    std::unique_ptr<Judge> library;
    const std::unique_ptr<VerdictReport> report = session.json ? session.Report() : nullptr;
    Totals totals;
    std::uint64_t mistakes = 0;
    bool hasFailed = false;
    const auto complain = [&](const std::string& mistake, const std::string& input) {
        ++mistakes;
        session.Fail(mistake, kExitUsage, input);
    };
    const auto tellTotals = [&] {
        const bool isStopped = session.environment.IsInterrupted();
        if (report)
            report->Summary(std::nullopt, {mistakes, isStopped, library ? library->Latencies() : nullptr});
        else if (totals.requests != 0)
            PrintAsText(totals, session.out);
    };
    const auto judge = [&](const std::string& url) {
        if (!session.MayGoOn()) return false;
        std::string mistake;
        std::uint8_t kind = 0;
        if (!KindOfReported(url, kind, mistake)) {
            complain(fmt::format("\"{}\" cannot be judged: {}", Printable(url, kShownUrl), mistake), url);
            return session.MayGoOn();
        }
        if (!entries) entries = session.Entries();  // first, for a long policy is read once then
        if (!library) library = session.Library();
        hasFailed = library == nullptr;
        if (hasFailed) return false;
        const Judgement judgement = library->ScanExtensionUrl(kind, url);
        const Coverage coverage = CoverageOfReported(kind, url, judgement);
        const auto entry = entries->FindReported(url, judgement);
        const JudgedRequest request{nullptr, {}, {}, {}, judgement, coverage, entry, url, library->LastLatency()};
        totals.Count(request);
        if (report)
            report->Request(request);
        else
            PrintAsText(request, session.library.verbose, session.out);
        return session.MayGoOn();
    };
    StandardInput input(session.environment, session.out);
    ForEachText(named, input, judge, [&](const std::string& mistake) { complain(mistake, {}); });
    if (hasFailed) return kExitFailed;
    if (session.environment.IsInterrupted())
        return session.FailWithTotals(fmt::format("stopped after {} addresses", totals.requests), kExitInterrupted,
                                      tellTotals);
    if (totals.requests == 0 && mistakes == 0 && session.out) return session.Fail("no address was given", kExitUsage);
    tellTotals();
    if (totals.requests == 0 && mistakes != 0) return kExitUsage;
    return session.End(mistakes == 0 ? kExitOk : kExitFailed, totals.blocked != 0, totals.CountOf(Extent::kNone) != 0);
}

}  // namespace

RunCommand AddExtensionCommand(CommandOptions command, Session& session) {
    const auto urls = std::make_shared<std::vector<std::string>>();
    command
        .Add("URL", *urls,
             "whole http:// and https:// addresses; - takes them from standard input and @FILE from a list, one a "
             "line")
        .Required();
    command.Notes(
        "The library looks at https:// only here: what http:// asks for it sees on the connection. It takes the "
        "process that calls it for the browser, so none is named. Without parental control in the settings it gives "
        "no verdict.");
    return [urls, &session] { return JudgeReportedUrls(*urls, session); };
}

}  // namespace tarn::host
