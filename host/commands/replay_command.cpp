// tarnhost replay: runs captures through the URL scan, the packet scan and the SMB monitor.
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <memory>

#include "host/address_replacements.h"
#include "host/capture_clock.h"
#include "host/capture_replay.h"
#include "host/commands/command.h"
#include "host/file_path.h"
#include "host/policy_file.h"
#include "host/printable_text.h"
#include "host/progress.h"
#include "policy/policy_reader.h"

namespace tarn::host {

namespace {

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
        replay.OnProgress([&](std::uint64_t bytes) { progress->Update(bytes); });
        replay.BeforeReport([&] { progress->Clear(); });
    }
    std::string mistake;
    const bool isWhole = replay.Replay(input, FromPath(path.filename()), mistake);
    progress.reset();
    replay.OnProgress([](std::uint64_t) {});
    replay.BeforeReport([] {});
    if (!isWhole) session.Fail(fmt::format("{}: {}", Printable(file), mistake), kExitFailed);
    return isWhole;
}

struct ReplayArguments {
    std::vector<std::string> files;
    std::vector<std::string> local;
    bool drop = false;
};

bool ParseLocal(const Session& session, const std::vector<std::string>& texts, std::vector<IpAddress>& out) {
    for (const std::string& text : texts) {
        const auto address = ParseIpAddress(text);
        if (!address) {
            session.Fail(fmt::format("--local {}: an address is wanted, such as 192.0.2.31", Printable(text)),
                         kExitUsage);
            return false;
        }
        out.push_back(*address);
    }
    return true;
}

// What the policy beside the modules says about times.
ScheduleTurns TurnsOfPolicy(const Session& session) {
    const auto text = ReadPolicyText(PolicyPath(session.environment.InstallFolder(session.library)));
    if (!text || text->find("schedule") == std::string::npos) return {};  // a long policy takes a while to read
    const policy::ReadPolicy read = policy::ParsePolicy(*text, SidsOf(session.environment));
    return read.mistakes.empty() ? ScheduleTurns(read.policy.parental) : ScheduleTurns();
}

int ReplayCaptures(const ReplayArguments& arguments, const Session& session) {
    std::vector<AddressReplacement> replacements;
    FrameScanOptions frameOptions;
    frameOptions.drop = arguments.drop;
    std::string mistake;
    if (!ParseReplacements(session.replacements, replacements, mistake)) return session.Fail(mistake, kExitUsage);
    if (!ParseLocal(session, arguments.local, frameOptions.local)) return kExitUsage;
    const std::unique_ptr<Judge> library = session.Library();
    if (!library) return kExitFailed;
    const std::unique_ptr<VerdictReport> report = session.Report();
    CaptureReplay replay(*library, *report, std::move(replacements), std::move(frameOptions));
    CaptureClock clock(*library, session.environment, TurnsOfPolicy(session));
    bool areSettingsRead = true;
    if (session.at.empty()) replay.BeforeFrame([&](std::uint64_t time) { areSettingsRead &= clock.MoveTo(time); });
    bool areWhole = true;
    for (const std::string& file : arguments.files) areWhole &= ReplayOne(file, replay, session);
    report->Summary(replay.WhatWasNotExamined());
    if (!areSettingsRead)
        return session.Fail(
            "the library could not read its parental settings again when the schedule turned; from there on nothing "
            "was judged by them",
            kExitFailed);
    return areWhole ? kExitOk : kExitFailed;
}

}  // namespace

RunCommand AddReplayCommand(CLI::App& command, Session& session) {
    const auto arguments = std::make_shared<ReplayArguments>();
    command.add_option("CAPTURE", arguments->files, "pcap or pcapng files of Ethernet frames")->required();
    command
        .add_option("--local", arguments->local,
                    "An address of the machine that was captured (repeatable); without it the client of a capture's "
                    "first connection counts")
        ->type_name("ADDRESS")
        ->take_all()
        ->allow_extra_args(false);
    command.add_flag("--drop", arguments->drop,
                     "Reset this machine's TCP connections that a captured attack belongs to, as a filter would");
    command.footer(
        "What a client sends before the server answers is one request. Judged are HTTP requests, TLS hellos, the "
        "commands of FTP connections and DNS answers.\nEvery frame goes, as it was captured, through the packet scan, "
        "with the lower of its two ports as the number of the rule, and through the SMB monitor. An attack in a "
        "request has its address blocked.\nThe captures of one run are one stream of traffic. Schedules go by the "
        "times of "
        "the capture, in the machine's time zone, unless --at says otherwise.");
    return [arguments, &session] { return ReplayCaptures(*arguments, session); };
}

}  // namespace tarn::host
