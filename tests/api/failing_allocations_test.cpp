// Each allocation of start, of each kind of settings change and of each update fails once: nothing breaks, no record of
// a module is lost, nothing saved is spoiled, and the library works afterwards.
#include "support/failing_allocations.h"

#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <new>
#include <type_traits>

#include "tarn/tarn.h"

#include "api/full_settings.h"
#include "api/library_instance.h"
#include "api/machine_with_modules.h"

namespace tarn::api {

Library* exportedLibrary = nullptr;
Library& TheLibrary() {
    return *exportedLibrary;
}

namespace {

using testing::IsEmpty;

class FailingAllocations : public testing::Test {
 protected:
    FailingAllocations() {
        settings.GiveTo(Modules());
        Modules().managed = true;
        machine.bare.integers[u"C:\\Suite\\browskip.ini [BROWSER_EXCLUSION_LIST] COUNT"] = 1;
        machine.bare.texts[u"C:\\Suite\\browskip.ini [BROWSER_EXCLUSION_LIST] NAMES"] = u"a browser with a name.exe";
        exportedLibrary = library.get();
    }
    ~FailingAllocations() override { exportedLibrary = nullptr; }

    fakes::FakeModules& Modules() { return machine.modules.inner; }

    // Records are held by what is loaded, and by nothing else.
    void ExpectNoLostRecords(const char* when) {
        for (const auto& [read, count] : Modules().held) {
            // Two are never given back: the forgotten list, and the record of the online decision.
            if (read == "ReadBPInternalWhiteList" || read == "ReadPCSettings") continue;
            EXPECT_EQ(count, 0) << read << " " << when;
        }
    }
    void ExpectWorking() {
        std::string data = "GET /bad HTTP/1.1\r\nHost: malicious.example\r\n\r\n";
        ScanRequest request{};
        request.data = reinterpret_cast<std::uint8_t*>(data.data());
        request.dataLength = static_cast<std::uint32_t>(data.size());
        request.remoteAddress = {TARN_FAMILY_IPV4, {203, 0, 113, 5}};
        request.remotePort = 80 << 8;
        request.kind = TARN_KIND_HTTP;
        UrlVerdict verdict{};
        PromptBytes prompt{};
        EXPECT_EQ(WSScanUrl(&request, &verdict, &prompt), 1);
        EXPECT_EQ(verdict.reason + 0, TARN_REASON_MALICIOUS + 0U);
        EXPECT_EQ(verdict.allow + 0, TARN_BLOCK + 0U);
    }
    // What was saved before must not be replaced by less.
    void ExpectNothingSpoiled() {
        if (const auto answers = Modules().written.find("WriteDNSCacheSettings"); answers != Modules().written.end()) {
            DnsCacheRecord record{};
            std::memcpy(&record, answers->second.data(), sizeof record);
            EXPECT_EQ(record.writeIndex + 0, FullSettings::kWriteIndex + 0);
        }
        if (const auto sessions = Modules().written.find("WritePCSystemControlSettings");
            sessions != Modules().written.end()) {
            PcSystemControlRecord record{};
            std::memcpy(&record, sessions->second.data(), sizeof record);
            EXPECT_EQ(record.count + 0, 2U);
        }
        Modules().written.clear();
    }

    // Runs operation on a started library (or on an ended one) with each of its allocations failing in turn.
    void FailEach(bool started, const std::function<bool()>& operation) {
        int failures = 0;
        for (std::uint64_t number = 0;; ++number) {
            SCOPED_TRACE(number);
            ASSERT_LT(number, 10000U);
            if (started) {
                ASSERT_EQ(WSInit(TARN_START_RESTART, &error), 1);
            }
            bool succeeded = false;
            bool failed = false;
            {
                const FailingAllocation failing(number);
                succeeded = operation();
                failed = failing.Failed();
            }
            if (!failed) {
                EXPECT_TRUE(succeeded) << "no allocation failed";
                WSDeinit(&error);
                break;
            }
            ++failures;
            if (!started && !succeeded) {
                EXPECT_THAT(Modules().Loaded(), IsEmpty());
                EXPECT_FALSE(library->scheduleWorker.IsRunning());
                ExpectNoLostRecords("after a failed start");
            }
            ExpectNothingSpoiled();
            ASSERT_EQ(WSInit(TARN_START_RESTART, &error), 1) << "the library can still be started";
            ExpectWorking();
            EXPECT_EQ(WSDeinit(&error), 1);
            EXPECT_THAT(Modules().Loaded(), IsEmpty());
            ExpectNoLostRecords("after the end");
            Modules().written.clear();
            if (HasFailure()) break;
        }
        EXPECT_GT(failures, 0) << "the operation asks for memory";
    }

    using FailingAllocation = support::FailingAllocation;
    MachineWithModules machine;
    FullSettings settings;
    std::unique_ptr<Library> library = std::make_unique<Library>(machine);
    std::uint32_t error = 0;
};

TEST_F(FailingAllocations, OfAStart) {
    FailEach(false, [&] { return WSInit(TARN_START_RESTART, &error) == 1; });
}

TEST_F(FailingAllocations, OfTheParentalChange) {
    FailEach(true, [] { return WSSettingsChanged(TARN_SETTINGS_PARENTAL_CONTROL, 1, 2, 3) != 0; });
}

TEST_F(FailingAllocations, OfTheUserWhiteList) {
    FailEach(true, [] { return WSSettingsChanged(TARN_SETTINGS_USER_WHITE_LIST, 1, 2, 3) != 0; });
}

TEST_F(FailingAllocations, OfAChangeOfEverything) {
    FailEach(true, [] { return WSSettingsChanged(TARN_SETTINGS_EVERYTHING, 1, 2, 3) != 0; });
}

// The release of the change saves the answers; the end that follows has none and says so, as every end does.
TEST_F(FailingAllocations, TheEndBehindAFailedChangeOfEverythingHasNoAnswersToSave) {
    const auto saved = [this] {
        DnsCacheRecord record{};
        std::memcpy(&record, Modules().written.at("WriteDNSCacheSettings").data(), sizeof record);
        return record;
    };
    ASSERT_EQ(WSInit(TARN_START_RESTART, &error), 1);
    {
        const FailingAllocation failing(1);  // behind the copy of the sessions that the release saves
        EXPECT_EQ(WSSettingsChanged(TARN_SETTINGS_EVERYTHING, 1, 2, 3), 0U);
    }
    EXPECT_EQ(saved().count + 0, TARN_DNS_RING_SLOTS + 0);
    EXPECT_EQ(saved().writeIndex + 0, FullSettings::kWriteIndex + 0);
    EXPECT_EQ(WSDeinit(&error), 1);
    EXPECT_EQ(saved().count + 0, 0);
    EXPECT_EQ(saved().entries, nullptr);
}

TEST_F(FailingAllocations, OfTheUpdatesOfRecords) {
    for (std::uint32_t mask : {TARN_UPDATED_BROWSING_PROTECTION, TARN_UPDATED_IDS_RULES})
        FailEach(true, [&] { return WSUpdateSettingsChanged(&mask) != 0; });
}

TEST_F(FailingAllocations, OtherChangesAskForNone) {
    ASSERT_EQ(WSInit(TARN_START_RESTART, &error), 1);
    for (const std::uint32_t kind : {0U, 1U, 2U, 5U, 6U, 7U}) {
        const std::uint64_t before = support::Allocations();
        EXPECT_EQ(WSSettingsChanged(kind, 1, 2, 3), 1U);
        EXPECT_EQ(support::Allocations(), before) << kind;
    }
    for (const std::uint32_t mask : {0x01U, 0x02U, 0x04U, 0x08U, 0x10U, 0x20U, 0x80U}) {
        const std::uint64_t before = support::Allocations();
        EXPECT_EQ(WSUpdateSettingsChanged(&mask), 1U);
        EXPECT_EQ(support::Allocations(), before) << mask;
    }
    EXPECT_EQ(WSDeinit(&error), 1);
}

TEST_F(FailingAllocations, OfTheEndAreNone) {
    // The sessions are saved from a copy: without memory they are not saved, and the rest of the end goes on.
    ASSERT_EQ(WSInit(TARN_START_RESTART, &error), 1);
    for (std::uint64_t number = 0; number < 10; ++number) {
        {
            const FailingAllocation failing(number);
            EXPECT_EQ(WSDeinit(&error), 1);
        }
        EXPECT_THAT(Modules().Loaded(), IsEmpty());
        ExpectNoLostRecords("after the end");
        ASSERT_EQ(WSInit(TARN_START_RESTART, &error), 1);
    }
    EXPECT_EQ(WSDeinit(&error), 1);
}

template <class Make>
std::uint64_t AllocationsOf(Make&& make) {
    const std::uint64_t before = support::Allocations();
    make();
    return support::Allocations() - before;
}

TEST_F(FailingAllocations, ALibraryIsMadeOfItsLocksAndLists) {
    // Natively a semaphore is a block of memory; with Windows' own the first of the three is 0.
    struct Locks {
        base::ReaderWriterLock eight[8];
        base::Semaphore started;
    };
    const std::uint64_t locks = AllocationsOf([] { const Locks made; });
    const std::uint64_t lists = AllocationsOf([] { const lists::PublishedLists made; });
    alignas(Library) static unsigned char storage[sizeof(Library)];
    Library* made = nullptr;
    EXPECT_EQ(AllocationsOf([&] { made = new (storage) Library(machine); }), locks + lists);
    EXPECT_EQ(AllocationsOf([&] { made->~Library(); }), 0U);
    static_assert(std::is_nothrow_constructible_v<Library, machine::Machine&>);
}

TEST_F(FailingAllocations, AWorkerThatCannotBeMadeLeavesTheSystemsError) {
    ASSERT_EQ(WSInit(TARN_START_RESTART, &error), 1);
    ScheduleWorker worker(machine.Clock());
    int refusals = 0;
    for (std::uint64_t number = 0;; ++number) {
        const FailingAllocation failing(number);
        error = 77;
        if (worker.Start(library->parental.Settings(), error)) {
            EXPECT_EQ(error, 0U);
            EXPECT_TRUE(worker.Stop());
            if (!failing.Failed()) break;
        } else {
            ++refusals;
            EXPECT_TRUE(failing.Failed());
            EXPECT_EQ(error, base::OutOfMemoryError()) << number;
            EXPECT_FALSE(worker.IsRunning());
        }
    }
    EXPECT_GE(refusals, 2) << "what the thread works with, and the thread";
    WSDeinit(&error);
}

}  // namespace
}  // namespace tarn::api
