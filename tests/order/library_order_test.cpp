// The whole library, started, changed and stopped by one thread of a host beside two that scan, while the schedule's
// thread runs. The modules are those of a test; AddressSanitizer watches what is freed.
#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "api/full_settings.h"
#include "api/lifecycle.h"
#include "api/machine_with_modules.h"
#include "api/settings_change.h"
#include "order/explorer/host_lock.h"
#include "order/explorer/search.h"
#include "order/explorer/sync_explored.h"
#include "order/record.h"
#include "url/url_scan.h"

namespace tarn::order {
namespace {

HostLock* theHost = nullptr;  // the functions of a module find it by themselves

// Others may come in between while a module is asked.
std::uint8_t TARN_CALL SlowCategories(const char*, std::uint16_t** categories, std::uint16_t* count, std::uint32_t) {
    theHost->LetOthers("asks for categories");
    *categories = new std::uint16_t(40);
    *count = 1;
    return 1;
}
std::uint8_t TARN_CALL ReleaseCategories(std::uint16_t* categories) {
    delete categories;
    return 1;
}

enum class HostTakes { kItsLock, kNoLock };
using Control = std::function<void(api::Library&)>;

class LibraryTrial final : public Trial {
 public:
    // The control thread starts the library, does each of these alone, and stops it.
    LibraryTrial(int scans, std::vector<Control> changes, HostTakes takes)
        : host_(takes == HostTakes::kItsLock), changes_(std::move(changes)) {
        theHost = &host_;
        BeginSync({});
        settings_.entry.leading.categorySwitch = 1;
        settings_.GiveTo(machine_.modules.inner);
        machine_.modules.Replace("SCGetURLCategories", &SlowCategories);
        machine_.modules.Replace("SCReleaseCategories", &ReleaseCategories);
        world().AddThread("control", [this] { Live(); });
        for (int i = 0; i < scans; ++i) world().AddThread("scan " + std::to_string(i), [this] { Scan(); });
    }
    void AtEnd() override {
        world().Require(!library_.scheduleWorker.IsRunning(), "the schedule's thread survives the stop");
        world().Require(machine_.modules.inner.Loaded().empty(), "a module survives the stop");
        world().Require(seen_ == scans_, "a scan came to no verdict");
    }

 private:
    static World& world() { return *World::Current(); }

    void Live() {
        std::uint32_t error = 0;
        host_.Alone([&] { world().Require(api::Start(library_, TARN_START_RESTART, error), "the start failed"); });
        for (const Control& change : changes_) host_.Alone([&] { change(library_); });
        host_.Alone([&] {
            api::Stop(library_, error);
            world().Require(world().Ended(LastStartedThread()), "the stop did not wait for the schedule's thread");
        });
    }

    // Of a site whose category the settings block: blocked while the library is started, and not at all otherwise.
    void Scan() {
        ++scans_;
        host_.Share([this] {
            std::string data = "GET / HTTP/1.1\r\nHost: any.example\r\n\r\n";
            ScanRequest request{};
            request.data = reinterpret_cast<std::uint8_t*>(data.data());
            request.dataLength = static_cast<std::uint32_t>(data.size());
            request.remoteAddress = {TARN_FAMILY_IPV4, {203, 0, 113, 5}};
            request.kind = TARN_KIND_HTTP;
            UrlVerdict verdict{};
            PromptBytes prompt{};
            const bool ready = library_.ready;
            const bool judged = url::ScanUrl(library_.urlScan, request, verdict, prompt);
            const std::uint32_t reason = ready ? TARN_REASON_PARENTAL_CATEGORY : TARN_REASON_DEFAULT;
            world().Require(judged && verdict.reason == reason, "a scan said reason " + std::to_string(verdict.reason) +
                                                                    (ready ? " of a" : " of no") + " started library");
            ++seen_;
        });
    }

    api::FullSettings settings_;
    api::MachineWithModules machine_;
    api::Library library_{machine_};
    HostLock host_;
    const std::vector<Control> changes_;
    int scans_ = 0;
    int seen_ = 0;
};

void ChangeParentalControl(api::Library& library) {
    World::Current()->Require(api::ChangeSettings(library, TARN_SETTINGS_PARENTAL_CONTROL, {}), "the change failed");
}
void ChangeEverything(api::Library& library) {
    World::Current()->Require(api::ChangeSettings(library, TARN_SETTINGS_EVERYTHING, {}), "the change failed");
}
void StartAgain(api::Library& library) {
    std::uint32_t error = 0;
    World::Current()->Require(api::Start(library, TARN_START_RESTART, error), "the second start failed");
}

Found Explore(int scans, const std::vector<Control>& changes, HostTakes takes = HostTakes::kItsLock) {
    return ExploreOrders([&] { return std::make_unique<LibraryTrial>(scans, changes, takes); });
}
// Each scan falls before, between or behind what the control thread does alone.
void ExpectHolds(const Found& found, std::uint64_t atLeast) {
    Record(found);
    EXPECT_EQ(found.failure, "");
    EXPECT_GE(found.ends, atLeast);
}

TEST(LibraryOrder, StartAndStopBesideTwoScans) {
    ExpectHolds(Explore(2, {}), 9);
}

TEST(LibraryOrder, AChangeOfParentalControlBesideAScan) {
    ExpectHolds(Explore(1, {ChangeParentalControl}), 4);
}

TEST(LibraryOrder, AChangeOfEverythingBesideAScan) {
    ExpectHolds(Explore(1, {ChangeEverything}), 4);
}

TEST(LibraryOrder, ASecondStartBesideAScan) {
    ExpectHolds(Explore(1, {StartAgain}), 4);
}

// What a host owes is owed for a reason: without its lock a scan gives a verdict that fits no state of the library.
TEST(LibraryOrder, WithoutTheHostsLockAVerdictFitsNoState) {
    const Found found = Explore(1, {}, HostTakes::kNoLock);
    EXPECT_NE(found.failure.find("a scan said reason"), std::string::npos) << found.failure;
}

}  // namespace
}  // namespace tarn::order
