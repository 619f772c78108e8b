// The accounts' sessions through the built library: which lock is held when, what the system is asked for live
// sessions, and what WSShutDown leaves of the table.
#include <cstring>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>
#include <thread>
#include <windows.h>
// clang-format off: it builds on it
#include <wtsapi32.h>
// clang-format on

#include "machine/win32_owners.h"
#include "system/reported_events.h"
#include "system/rules_fixture_win32.h"

namespace tarn::system_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr DWORD kLongest = 20'000;

machine::UniqueHandle NewEvent() {
    return machine::UniqueHandle(CreateEventW(nullptr, TRUE, FALSE, nullptr));
}

class SessionRules : public RulesFixture {
 protected:
    static LogonEvent EventOf(std::uint32_t code, std::uint8_t account = 1) {
        LogonEvent event{};
        event.eventCode = code;
        event.sid[0] = event.sid[1] = 1;
        event.sid[7] = 5;
        event.sid[8] = account;
        return event;
    }
    std::uint8_t Send(std::uint32_t code) {
        const LogonEvent event = EventOf(code);
        LogonVerdict logon{};
        return tarn.WSScanLogonEventForPCCTRL(&event, &logon);
    }
};

// ---- The lock of the sessions ----

// What a thread of the test does in the library: it waits for a lock there, or it returns.
struct {
    DWORD threadId;
    HANDLE waits;
    HANDLE returned;
} asking;

DWORD WINAPI WatchedWait(HANDLE handle, DWORD milliseconds) {
    if (GetCurrentThreadId() == asking.threadId) SetEvent(asking.waits);
    return WaitForSingleObject(handle, milliseconds);
}

class SessionLock : public SessionRules {
 protected:
    void SetUp() override {
        ASSERT_TRUE(wait_.IsInPlace());
        asking = {0, waits_.Get(), returned_.Get()};
        context_ = [this] { AskAndSeeWhetherItWaits(); };
    }
    void TearDown() override {
        answers.listener = nullptr;
        if (asker_.joinable()) asker_.join();
        asking = {};
    }
    // While the module is in this call, another thread sends a logon event.
    void AskDuring(const char* call) {
        static std::string during;
        during = call;
        answers.listenerContext = &context_;
        answers.listener = [](void* context, const char* line) {
            if (std::string_view(line).starts_with(during)) (*static_cast<std::function<void()>*>(context))();
        };
    }
    bool seen = false;
    bool waited = false;

 private:
    void AskAndSeeWhetherItWaits() {
        answers.listener = nullptr;
        seen = true;
        asker_ = std::thread([this] {
            asking.threadId = GetCurrentThreadId();
            Send(kLogon);
            SetEvent(asking.returned);
        });
        const HANDLE either[] = {asking.waits, asking.returned};
        waited = WaitForMultipleObjects(2, either, FALSE, kLongest) == WAIT_OBJECT_0;
    }

    ImportPatch wait_{Library(), "WaitForSingleObject", WatchedWait};
    machine::UniqueHandle waits_ = NewEvent();
    machine::UniqueHandle returned_ = NewEvent();
    std::function<void()> context_;
    std::thread asker_;
};

TEST_F(SessionLock, SavingHoldsTheWriteSide) {
    ASSERT_TRUE(Init(TARN_START_RESTART));
    AskDuring("WritePCSystemControlSettings");
    tarn.WSShutDown(0, 0, 0, 0);
    EXPECT_TRUE(seen);
    EXPECT_TRUE(waited) << "an event is handled while the table is saved";
}

TEST_F(SessionLock, RebuildingHoldsTheWriteSide) {
    AskDuring("ReadPCSystemControlSettings");
    ASSERT_TRUE(Init(TARN_START_RESTART));
    EXPECT_TRUE(seen);
    EXPECT_TRUE(waited) << "an event is handled while the table is rebuilt";
}

TEST_F(SessionLock, ReadingTheSettingsHoldsNoLock) {
    AskDuring("ReadPCSettings");
    ASSERT_TRUE(Init(TARN_START_RESTART));
    EXPECT_TRUE(seen);
    EXPECT_FALSE(waited) << "module calls around the copy are made without the lock";
}

TEST_F(SessionRules, EventsOfManyThreadsAreHandledOneAtATime) {
    constexpr std::uint32_t kThreads = 8;
    constexpr std::uint32_t kTicks = 4000;
    answers.keepsSessions = 1;
    ASSERT_TRUE(Init(TARN_START_RESTART));
    EXPECT_EQ(Send(kLogon), 1);
    const machine::UniqueHandle start = NewEvent();
    std::atomic<std::uint32_t> refused{0};
    std::vector<std::thread> threads;
    for (std::uint32_t i = 0; i < kThreads; ++i)
        threads.emplace_back([&] {
            WaitForSingleObject(start.Get(), INFINITE);
            for (std::uint32_t tick = 0; tick < kTicks; ++tick)
                if (Send(kTick) != 1) ++refused;
        });
    SetEvent(start.Get());
    for (std::thread& thread : threads) thread.join();
    Deinit();
    EXPECT_EQ(refused, 0U);
    EXPECT_EQ(answers.savedSessions, 1U);
    EXPECT_EQ(answers.savedRecords[0].usageTicks, kThreads * kTicks);
}

// ---- Behind WSShutDown ----

TEST_F(SessionRules, ATickBehindAShutDownFindsNoAccount) {
    ASSERT_TRUE(Init(TARN_START_RESTART));
    EXPECT_EQ(Send(kLogon), 1);
    EXPECT_EQ(Send(kTick), 1);
    tarn.WSShutDown(0, 0, 0, 0);
    EXPECT_EQ(answers.savedSessions, 1U);
    EXPECT_EQ(answers.savedRecords[0].usageTicks, 1U);
    EXPECT_EQ(Send(kTick), 0) << "the table is empty, and a tick creates nothing";
    EXPECT_EQ(Send(kLogon), 1);
    EXPECT_EQ(Send(kTick), 1);
    Deinit();
    EXPECT_EQ(answers.savedSessions, 1U);
    EXPECT_EQ(answers.savedRecords[0].usageTicks, 1U) << "counted anew";
}

// ---- Live sessions ----

struct {
    std::vector<std::wstring> asked;
    std::vector<DWORD> identifierBytes;
    std::vector<DWORD> domainUnits;
    int freed;
} accounts;

BOOL WINAPI OneSession(HANDLE, DWORD, DWORD, WTS_SESSION_INFOW** sessions, DWORD* count) {
    *sessions = static_cast<WTS_SESSION_INFOW*>(std::calloc(1, sizeof(WTS_SESSION_INFOW)));
    (*sessions)->SessionId = 3;
    *count = 1;
    return TRUE;
}
BOOL WINAPI SessionText(HANDLE, DWORD, WTS_INFO_CLASS what, wchar_t** text, DWORD* bytes) {
    const std::wstring value = what == WTSDomainName ? L"HOME" : L"alice";
    *bytes = static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t));
    *text = static_cast<wchar_t*>(std::malloc(*bytes));
    std::memcpy(*text, value.c_str(), *bytes);
    return TRUE;
}
void WINAPI FreeSessionMemory(void* memory) {
    ++accounts.freed;
    std::free(memory);
}
BOOL WINAPI WatchedLookup(const wchar_t*, const wchar_t* account, void* identifier, DWORD* identifierBytes,
                          wchar_t* domain, DWORD* domainUnits, SID_NAME_USE* use) {
    accounts.asked.emplace_back(account);
    accounts.identifierBytes.push_back(*identifierBytes);
    accounts.domainUnits.push_back(*domainUnits);
    const LogonEvent event = [] {
        LogonEvent made{};
        made.sid[0] = made.sid[1] = 1;
        made.sid[7] = 5;
        made.sid[8] = 1;
        return made;
    }();
    std::memcpy(identifier, event.sid, 12);
    domain[0] = L'\0';
    *use = SidTypeUser;
    return TRUE;
}

TEST_F(SessionRules, ALiveSessionsAccountIsLookedUpWithTheAgreedBuffers) {
    const ImportPatch patches[] = {{Library(), "WTSEnumerateSessionsW", OneSession},
                                   {Library(), "WTSQuerySessionInformationW", SessionText},
                                   {Library(), "WTSFreeMemory", FreeSessionMemory},
                                   {Library(), "LookupAccountNameW", WatchedLookup}};
    for (const ImportPatch& patch : patches) ASSERT_TRUE(patch.IsInPlace());
    accounts = {};
    ASSERT_TRUE(Init(TARN_START_RESTART));
    EXPECT_THAT(accounts.asked, ElementsAre(L"HOME\\alice"));
    EXPECT_THAT(accounts.identifierBytes, ElementsAre(68U));
    EXPECT_THAT(accounts.domainUnits, ElementsAre(260U));
    EXPECT_EQ(accounts.freed, 3) << "the list, the domain and the user";
    EXPECT_EQ(Send(kTick), 1) << "the account is there";
}

}  // namespace
}  // namespace tarn::system_test
