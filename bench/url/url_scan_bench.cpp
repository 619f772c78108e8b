// Whole scans of every kind, with 100 and with 100,000 entries in every list, and modules that answer at once. The
// peer of an HTTP scan is the plain walk over the same lists, for the same request, without anything else.
#include <array>
#include <benchmark/benchmark.h>
#include <map>
#include <memory>

#include "url/scan_questions.h"
#include "url/walked_lists.h"

namespace tarn::url {
namespace {

// One profile, every list published, a full answer ring; no module delivers anything.
class World {
 public:
    explicit World(std::size_t entries) : records(entries) {
        world.lists.webSecurityInternal.Publish(records.WebSecurity());
        world.lists.browsingProtectionInternal.Publish(records.BrowsingProtection());
        world.lists.user.Publish(records.User());
        world.lists.malicious.Publish(records.Malicious());
        world.lists.phishing.Publish(records.Phishing());
        ready = parental::CopyPcSettings(records.Parental(), world.parental) && world.ringAllocated;
        world.profiles = lists::PublishProfiles(world.parental);
        SiteCorpus corpus(50);
        for (std::size_t i = 0; i < entries; ++i) world.idsBlockedList.Add(BlockedAddress(corpus));
        ScanQuestions fillers = RingFillers();
        for (OwnedRequest& request : fillers.requests) world.Scan(request.Get());
        ScanQuestions answers = DnsQuestions();
        for (OwnedRequest& request : answers.requests) world.Scan(request.Get());
    }
    ListRecords records;
    QuietWorld world;
    bool ready = false;
};

// Made once for each size: publishing 100,000 entries everywhere takes seconds.
World& WorldOf(benchmark::State& state) {
    static std::map<std::int64_t, std::unique_ptr<World>> worlds;
    std::unique_ptr<World>& world = worlds[state.range(0)];
    if (world == nullptr) world = std::make_unique<World>(static_cast<std::size_t>(state.range(0)));
    if (!world->ready) state.SkipWithError("no memory");
    return *world;
}

void Run(benchmark::State& state, QuietWorld& world, ScanQuestions questions) {
    std::size_t next = 0;
    for (auto unused : state) {
        (void)unused;
        ScanRequest& request = questions.requests[next].Get();
        const bool judged = questions.byExtension ? world.ScanExtension(request) : world.Scan(request);
        if (!judged || !questions.Answers(world.verdict)) {
            state.SkipWithError("a wrong verdict");
            break;
        }
        next = (next + 1) % kScanQuestions;
    }
}

void ScanHttp(benchmark::State& state) {
    Run(state, WorldOf(state).world, HttpQuestions(Judged::kToCategories));
}
void ScanHttpByCategories(benchmark::State& state) {
    Run(state, WorldOf(state).world, HttpQuestions(Judged::kByCategories));
}
void ScanHttpPhishing(benchmark::State& state) {
    World& world = WorldOf(state);
    Run(state, world.world, PhishingQuestions(world.records));
}
void ScanFtp(benchmark::State& state) {
    Run(state, WorldOf(state).world, FtpQuestions(Judged::kToCategories));
}
void ScanTls(benchmark::State& state) {
    Run(state, WorldOf(state).world, TlsQuestions(Judged::kToCategories));
}
void ScanTlsNamedByTheRing(benchmark::State& state) {
    Run(state, WorldOf(state).world, TlsQuestionsByAddress(Judged::kToCategories));
}
void ScanDns(benchmark::State& state) {
    Run(state, WorldOf(state).world, DnsQuestions());
}
void ScanExtensionUrl(benchmark::State& state) {
    Run(state, WorldOf(state).world, ExtensionQuestions());
}

void ScanHttpPlainWalkOfItsLists(benchmark::State& state) {
    World& world = WorldOf(state);
    ScanQuestions questions = HttpQuestions(Judged::kToCategories);
    WalkedLists lists(world.records);
    if (!lists.Ready()) state.SkipWithError("no memory");
    std::size_t next = 0;
    for (auto unused : state) {
        (void)unused;
        if (!lists.LetPass(questions.requests[next].Get())) state.SkipWithError("a wrong answer");
        next = (next + 1) % kScanQuestions;
    }
}

BENCHMARK(ScanHttp)->Arg(100)->Arg(100000);
BENCHMARK(ScanHttpPlainWalkOfItsLists)->Arg(100)->Arg(100000);
BENCHMARK(ScanHttpByCategories)->Arg(100)->Arg(100000);
BENCHMARK(ScanHttpPhishing)->Arg(100)->Arg(100000);
BENCHMARK(ScanFtp)->Arg(100)->Arg(100000);
BENCHMARK(ScanTls)->Arg(100)->Arg(100000);
BENCHMARK(ScanTlsNamedByTheRing)->Arg(100)->Arg(100000);
BENCHMARK(ScanDns)->Arg(100)->Arg(100000);
BENCHMARK(ScanExtensionUrl)->Arg(100)->Arg(100000);

}  // namespace
}  // namespace tarn::url
