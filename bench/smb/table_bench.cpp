// One created file, request and response, over empty tables and over those of a busy server: 100,000 requests that wait
// for their response, 10,000 open trees in 100 sessions. The peers do the look-ups of that alone: in ordered maps of
// the same content, and in a list that is walked. With several threads the peer holds one mutex over each whole scan.
#include <algorithm>
#include <array>
#include <benchmark/benchmark.h>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "smb/created_file.h"
#include "smb/frame_dispatch.h"

namespace tarn::smb {
namespace {

constexpr std::uint64_t kPending = 100'000;
constexpr std::uint32_t kSessions = 100;
constexpr std::uint32_t kTreesPerSession = 100;
constexpr std::size_t kFiles = 256;  // asked for in turn
const std::u16string kShare = u"\\\\192.0.2.10\\projects";
const std::u16string kFile = u"reports\\2026\\quarter.txt";

// Waiting requests have even ids, those that are asked for odd ones.
constexpr std::uint64_t IdOf(std::uint64_t index) {
    return 2 * (index * 0x9E3779B97F4A7C15 >> 40);
}

void FillTables(SmbTables& tables, bool busy) {
    tables.smb2PendingRequests.Write([&](Smb2PendingRequests& pending) {
        for (std::uint64_t i = 0; busy && pending.size() < kPending; ++i)
            pending.try_emplace(IdOf(i), PendingRequest{RequestKind::kCreate, kFile});
    });
    tables.smb2Sessions.Write([&](Smb2Sessions& sessions) {
        for (std::uint32_t session = 0; session < kSessions; ++session)
            for (std::uint32_t tree = 0; tree < (busy ? kTreesPerSession : 1); ++tree)
                sessions[session].try_emplace(tree, Tree{kShare, {}});
    });
}

SmbTables& Tables(bool busy) {
    static const auto tables = [] {
        auto both = std::make_unique<std::array<SmbTables, 2>>();
        FillTables((*both)[0], false);
        FillTables((*both)[1], true);
        return both;
    }();
    return (*tables)[busy ? 1 : 0];
}

FileKeys KeysOf(std::size_t file, std::size_t thread, bool busy) {
    FileKeys keys;
    keys.messageId = IdOf(file * 389) + 1 + (static_cast<std::uint64_t>(thread) << 40);
    keys.session = (file * 7 + thread) % kSessions;
    keys.tree = busy ? static_cast<std::uint32_t>(file * 13 % kTreesPerSession) : 0;
    return keys;
}

// Frames made beforehand, so that only scans are measured.
struct Conversation {
    std::vector<CreatedFile> files;
    SmbScanResult result{};
    std::size_t next = 0;

    Conversation(std::size_t thread, bool busy) {
        for (std::size_t i = 0; i < kFiles; ++i) files.push_back(MakeCreatedFile(kFile, KeysOf(i, thread, busy)));
    }
    // One file, asked for and created; whether it was reported.
    bool Follow(SmbTables& tables) {
        next = (next + 1) % kFiles;
        return ScanSmbFrame(files[next].request, 0, tables, result) &&
               ScanSmbFrame(files[next].response, 0, tables, result) && result.resultKind == TARN_SMB_FILE_EVENT;
    }
};

template <class Follow>
void Measure(benchmark::State& state, Follow follow) {
    for (auto unused : state) {
        (void)unused;
        if (follow()) continue;
        state.SkipWithError("a file was not reported");
        break;
    }
    state.SetItemsProcessed(state.iterations() * 2);  // frames
}

void FileFollowed(benchmark::State& state) {
    const bool busy = state.range(0) != 0;
    SmbTables& tables = Tables(busy);
    Conversation conversation(static_cast<std::size_t>(state.thread_index()), busy);
    Measure(state, [&] { return conversation.Follow(tables); });
}

void FileFollowedOneMutex(benchmark::State& state) {
    static std::mutex mutex;
    const bool busy = state.range(0) != 0;
    SmbTables& tables = Tables(busy);
    Conversation conversation(static_cast<std::size_t>(state.thread_index()), busy);
    Measure(state, [&] {
        const std::lock_guard hold(mutex);
        return conversation.Follow(tables);
    });
}

// The same entries put in and taken out of the maps alone.
void FileFollowedBareMaps(benchmark::State& state) {
    const bool busy = state.range(0) != 0;
    SmbTables tables;
    FillTables(tables, busy);
    constexpr auto kCopy = [](const auto& table) { return table; };
    Smb2PendingRequests pending = tables.smb2PendingRequests.Write(kCopy);
    const Smb2Sessions sessions = tables.smb2Sessions.Write(kCopy);
    std::size_t next = 0;
    Measure(state, [&] {
        next = (next + 1) % kFiles;
        const FileKeys keys = KeysOf(next, 0, busy);
        pending.try_emplace(keys.messageId, PendingRequest{RequestKind::kCreate, kFile});
        return !pending.extract(keys.messageId).empty() && sessions.find(keys.session)->second.contains(keys.tree);
    });
}

// The same in lists that are walked from their start.
void FileFollowedPlainWalk(benchmark::State& state) {
    const bool busy = state.range(0) != 0;
    std::vector<std::pair<std::uint64_t, std::u16string>> pending;
    for (std::uint64_t i = 0; busy && pending.size() < kPending; ++i) pending.emplace_back(IdOf(i), kFile);
    std::vector<std::pair<std::uint64_t, std::uint32_t>> trees;
    for (std::uint32_t session = 0; session < kSessions; ++session)
        for (std::uint32_t tree = 0; tree < (busy ? kTreesPerSession : 1); ++tree) trees.emplace_back(session, tree);
    std::size_t next = 0;
    Measure(state, [&] {
        next = (next + 1) % kFiles;
        const FileKeys keys = KeysOf(next, 0, busy);
        const auto isAsked = [&](const auto& entry) { return entry.first == keys.messageId; };
        if (std::ranges::find_if(pending, isAsked) == pending.end()) pending.emplace_back(keys.messageId, kFile);
        const auto found = std::ranges::find_if(pending, isAsked);
        if (found == pending.end()) return false;
        pending.erase(found);
        return std::ranges::find(trees, std::pair{keys.session, keys.tree}) != trees.end();
    });
}

BENCHMARK(FileFollowed)->Arg(0)->Arg(1);
BENCHMARK(FileFollowedBareMaps)->Arg(0)->Arg(1);
BENCHMARK(FileFollowedPlainWalk)->Arg(0)->Arg(1);
BENCHMARK(FileFollowed)->Arg(1)->Threads(2)->Threads(8)->UseRealTime();
BENCHMARK(FileFollowedOneMutex)->Arg(1)->Threads(1)->Threads(2)->Threads(8)->UseRealTime();

}  // namespace
}  // namespace tarn::smb
