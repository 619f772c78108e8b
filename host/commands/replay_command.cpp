// tarnhost replay: judges the requests that captures hold.
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <memory>

#include "host/capture_replay.h"
#include "host/commands/command.h"
#include "host/file_path.h"
#include "host/printable_text.h"
#include "host/progress.h"

namespace tarn::host {

namespace {

bool ParseReplacements(const Session& session, std::vector<AddressReplacement>& out) {
    for (const std::string& text : session.replacements) {
        const std::size_t equals = text.find('=');
        const auto from = ParseIpAddress(std::string_view(text).substr(0, equals));
        const auto to =
            equals == std::string::npos ? std::nullopt : ParseIpAddress(std::string_view(text).substr(equals + 1));
        if (!from || !to) {
            session.Fail(fmt::format("--map {}: two addresses with \"=\" between them are wanted, such as "
                                     "10.20.30.10=192.0.2.10",
                                     Printable(text)),
                         kExitUsage);
            return false;
        }
        out.push_back({*from, *to});
    }
    return true;
}

bool ReplayOne(const std::string& file, CaptureReplay& replay, const Session& session) {
    const std::filesystem::path path = ToPath(file);
    std::error_code ignored;
    std::ifstream input(path, std::ios::binary);
    if (!input || std::filesystem::is_directory(path, ignored)) {
        session.Fail(
            fmt::format("{}: cannot be opened; is the path right, and may you read the file?", Printable(file)),
            kExitFailed);
        return false;
    }
    const auto size = std::filesystem::file_size(path, ignored);
    std::unique_ptr<Progress> progress;
    if (session.environment.IsErrorTerminal()) {
        progress = std::make_unique<Progress>(session.errors, ignored ? 0 : static_cast<std::uint64_t>(size));
        replay.onProgress = [&](std::uint64_t bytes) { progress->Update(bytes); };
        replay.onRequest = [&] { progress->Clear(); };
    }
    std::string mistake;
    const bool isWhole = replay.Replay(input, FromPath(path.filename()), mistake);
    progress.reset();
    replay.onProgress = [](std::uint64_t) {};
    replay.onRequest = [] {};
    if (!isWhole) session.Fail(fmt::format("{}: {}", Printable(file), mistake), kExitFailed);
    return isWhole;
}

int ReplayCaptures(const std::vector<std::string>& files, const Session& session) {
    std::vector<AddressReplacement> replacements;
    if (!ParseReplacements(session, replacements)) return kExitUsage;
    const std::unique_ptr<Judge> library = session.Library();
    if (!library) return kExitFailed;
    const std::unique_ptr<VerdictReport> report = session.Report();
    CaptureReplay replay(*library, *report, std::move(replacements));
    bool areWhole = true;
    for (const std::string& file : files) areWhole &= ReplayOne(file, replay, session);
    report->Summary();
    return areWhole ? kExitOk : kExitFailed;
}

}  // namespace

RunCommand AddReplayCommand(CLI::App& command, Session& session) {
    const auto files = std::make_shared<std::vector<std::string>>();
    command.add_option("CAPTURE", *files, "pcap or pcapng files of Ethernet frames")->required();
    command.footer(
        "What a client sends before the server answers is one request. Judged are HTTP requests, TLS hellos, the "
        "commands of FTP connections and DNS answers.");
    return [files, &session] { return ReplayCaptures(*files, session); };
}

}  // namespace tarn::host
