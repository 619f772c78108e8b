#include "host/commands/capture_options.h"

#include <fmt/format.h>

#include "host/address_replacements.h"
#include "host/printable_text.h"
#include "host/verdict_words.h"

namespace tarn::host {

std::optional<CaptureOptions::Parsed> CaptureOptions::Parse(const Session& session) const {
    Parsed parsed;
    std::string mistake;
    if (!ParseReplacements(session.replacements, parsed.replacements, mistake)) {
        session.Fail(mistake, kExitUsage);
        return std::nullopt;
    }
    for (const std::string& text : local) {
        const auto address = ParseIpAddress(text);
        if (!address) {
            session.Fail(fmt::format("--local {}: an address is wanted, such as 192.0.2.31", Printable(text)),
                         kExitUsage);
            return std::nullopt;
        }
        parsed.frames.local.push_back(*address);
    }
    parsed.frames.drop = drop;
    return parsed;
}

CommandOption AddCaptureOptions(CommandOptions command, CaptureOptions& options, DropOption drop) {
    command
        .Add("--local", options.local,
             "An address of the machine that was captured (repeatable); without it the client of a capture's "
             "first connection counts")
        .Value("ADDRESS")
        .Repeatable();
    if (drop == kWithDrop)
        command.Flag("--drop", options.drop,
                     "Reset this machine's TCP connections that a captured attack belongs to, as a filter would");
    return command.Add("CAPTURE", options.captures,
                       "pcap or pcapng files, packed by gzip or not; a folder of them; @FILE, a list with one "
                       "name a line; - is standard input");
}

int EndCaptures(const Session& session, VerdictReport& report, const ReplayTotals& read, const RunEnd& end,
                const std::string& message, ExitCode code) {
    const auto tellTotals = [&] { report.Summary(read, end); };
    // The summary has it, too, but who looks at verdicts alone must not miss it.
    const std::string cut = read.cutFrames == 0 ? std::string() : CutFramesWords(read);
    if (!cut.empty() && message.empty()) return session.FailWithTotals(cut, kExitFailed, tellTotals);
    if (!message.empty())
        return session.FailWithTotals(message, code, [&] {
            if (cut.empty()) return tellTotals();
            session.FailWithTotals(cut, kExitFailed, tellTotals);
        });
    tellTotals();
    return session.End(end.failedInputs == 0 ? kExitOk : kExitFailed, report.Counted().HasFindings(),
                       report.Counted().CountOf(Extent::kNone) != 0);
}

}  // namespace tarn::host
