#include "host/impact/capture_pass.h"

#include <filesystem>
#include <fmt/format.h>
#include <memory>

#include "host/capture_clock.h"
#include "host/capture_replay.h"
#include "host/composed_request.h"
#include "host/explain/entry_finder.h"
#include "host/file_path.h"
#include "host/policy_turns.h"
#include "host/printable_text.h"
#include "host/progress.h"

namespace tarn::host {

namespace {

constexpr std::size_t kShownUrl = 80;

void JudgeUrl(const std::string& url, Judge& library, EntryFinder& entries, VerdictReport& report,
              const PassWorld& world) {
    std::string mistake;
    const auto request =
        ComposeRequest(url, mistake, [&](const std::string& host) { return world.environment.AsciiHost(host); });
    if (!request) return world.complain(fmt::format("\"{}\" cannot be judged: {}", Printable(url, kShownUrl), mistake));
    JudgedRequest judged{request->protocol, request->view, request->server, std::nullopt, {}, {}};
    judged.judgement = library.ScanUrl(request->protocol->kind, request->data, request->server);
    judged.coverage = CoverageOf(*request->protocol, request->data, request->server, judged.judgement, false);
    judged.entry = entries.Find(judged);
    report.Request(judged);
}

}  // namespace

PassEnd JudgeInputs(const PassInputs& inputs, Judge& library, const LibraryOptions& options, VerdictReport& report,
                    const PassWorld& world) {
    PassEnd end;
    CaptureClock clock(library, world.environment, TurnsOfPolicy(world.environment, options));
    CaptureReplay replay(library, report, inputs.replacements, inputs.frames);
    EntryFinder entries = FinderFor(world.environment, options);
    replay.NameEntriesBy(&entries);
    std::unique_ptr<Progress> progress;
    replay.BeforeFrame([&](std::uint64_t time) {
        if (!inputs.isClockSet) end.areSettingsRead &= clock.MoveTo(time);
        return world.mayGoOn();
    });
    replay.OnProgress([&](std::uint64_t bytes) {
        if (progress) progress->Update(bytes);
    });
    replay.BeforeReport([&] {
        if (progress) progress->Clear();
    });
    for (const NamedInput& input : inputs.captures) {
        const std::string& capture = input.name;
        if (!world.mayGoOn()) return end;
        CaptureFile file;
        std::string mistake;
        if (!OpenCaptureFile(capture, file, mistake)) {
            world.complain(mistake);
            continue;
        }
        std::error_code error;
        const auto size = std::filesystem::file_size(ToPath(capture), error);
        if (world.progress != nullptr) progress = std::make_unique<Progress>(*world.progress, error ? 0 : size);
        const bool isWhole = replay.Replay(file.stream, input.shown, mistake);
        progress.reset();
        if (!isWhole && world.mayGoOn()) world.complain(fmt::format("{}: {}", Printable(capture), mistake));
    }
    end.cutFrames = replay.WhatWasRead().cutFrames;
    if (!inputs.urls.empty()) report.BeginCapture({});
    for (const std::string& url : inputs.urls) {
        if (!world.mayGoOn()) break;
        JudgeUrl(url, library, entries, report, world);
    }
    return end;
}

}  // namespace tarn::host
