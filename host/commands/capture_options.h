// What the commands that read captures share on the command line.
#ifndef TARN_HOST_COMMANDS_CAPTURE_OPTIONS_H
#define TARN_HOST_COMMANDS_CAPTURE_OPTIONS_H

#include <string>
#include <vector>

#include "host/commands/command.h"
#include "host/frame_scan.h"
#include "host/verdict_report.h"

namespace tarn::host {

struct CaptureOptions {
    std::vector<std::string> captures;  // as they are named
    std::vector<std::string> local;
    bool drop = false;

    // What they and --map say. Nothing after the mistake was printed.
    struct Parsed {
        std::vector<AddressReplacement> replacements;
        FrameScanOptions frames;
    };
    [[nodiscard]] std::optional<Parsed> Parse(const Session& session) const;
};

enum DropOption { kWithDrop, kWithoutDrop };
// The argument for the captures comes back.
CommandOption AddCaptureOptions(CommandOptions command, CaptureOptions& options, DropOption drop = kWithDrop);

// What a run over captures ends with: its summary, what the error output says of it, and the exit code.
// message, code: why it ended early, if it did.
int EndCaptures(const Session& session, VerdictReport& report, const ReplayTotals& read, const RunEnd& end,
                const std::string& message = {}, ExitCode code = kExitOk);

}  // namespace tarn::host

#endif
