// The real source of live sessions, with scripted terminal services and the system's account look-ups.
#include <array>
#include <cstdint>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <windows.h>

#include "base/bounded_text.h"
#include "machine/machine_win32.h"
#include "machine/terminal_services/script.h"
#include "machine/win32_owners.h"
#include "parental/live_sessions.h"

namespace tarn::machine {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class TerminalServices : public ::testing::Test {
 protected:
    static void SetUpTestSuite() {
        const auto get = reinterpret_cast<TerminalServicesScriptFn>(
            reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"wtsapi32.dll"), kTerminalServicesScript)));
        ASSERT_NE(get, nullptr) << "the system's own wtsapi32.dll was loaded";
        script = get();
    }
    void SetUp() override {
        ASSERT_NE(script, nullptr);
        *script = {};
    }
    void TearDown() override {
        ASSERT_NE(script, nullptr);
        EXPECT_EQ(script->unfreed, 0);
        EXPECT_EQ(script->strayFrees, 0);
        EXPECT_EQ(script->wrongCalls, 0);
    }
    static void Add(std::uint32_t id, const wchar_t* domain, const wchar_t* user) {
        script->sessions[script->sessionCount++] = {id, domain, user};
    }
    static std::wstring CurrentUser() {
        wchar_t name[260];
        DWORD units = 260;
        EXPECT_NE(GetUserNameW(name, &units), 0);
        return name;
    }
    static std::wstring ComputerName() {
        wchar_t name[260];
        DWORD units = 260;
        EXPECT_NE(GetComputerNameW(name, &units), 0);
        return name;
    }
    void Enumerate() { parental::EnumerateLiveSessions(table, settings, sessions, clock); }

    inline static TerminalServicesScript* script = nullptr;
    WindowsLiveSessions sessions;
    WindowsLocalClock clock;
    parental::UserSessionTable table;
    parental::SettingsCopy settings;
};

TEST_F(TerminalServices, ListsAllSessions) {
    Add(0, L"", L"");
    Add(7, L"HOME", L"Anna");
    Add(3, nullptr, nullptr);
    std::vector<std::uint32_t> ids{99};
    EXPECT_TRUE(sessions.ListSessions(ids));
    EXPECT_THAT(ids, ElementsAre(0, 7, 3));
}

TEST_F(TerminalServices, AFailedEnumerationIsTold) {
    Add(0, L"", L"");
    script->enumerationFails = true;
    std::vector<std::uint32_t> ids;
    EXPECT_FALSE(sessions.ListSessions(ids));
    Enumerate();
    EXPECT_THAT(table.Records(), IsEmpty());
}

TEST_F(TerminalServices, ACountWithoutAnArrayIsNoSession) {
    Add(0, L"", L"");
    script->countWithoutArray = true;
    std::vector<std::uint32_t> ids;
    EXPECT_TRUE(sessions.ListSessions(ids));
    EXPECT_THAT(ids, IsEmpty());
}

TEST_F(TerminalServices, NamesOfASession) {
    Add(1, L"HOME", L"Anna");
    Add(2, nullptr, nullptr);
    Add(3, L"", L"");
    for (const bool withoutNul : {false, true}) {
        script->withoutNul = withoutNul;
        EXPECT_EQ(sessions.DomainName(1), u"HOME");
        EXPECT_EQ(sessions.UserName(1), u"Anna");
        for (const std::uint32_t id : {2U, 3U}) {
            EXPECT_EQ(sessions.DomainName(id), u"");
            EXPECT_EQ(sessions.UserName(id), u"");
        }
    }
}

TEST_F(TerminalServices, TheCurrentUserIsFoundLoggedOn) {
    const std::wstring user = CurrentUser();
    const std::wstring domain = ComputerName();
    Add(0, L"", L"");
    Add(2, domain.c_str(), user.c_str());
    Add(5, domain.c_str(), L"no such account");
    const TarnSystemTime before = clock.Now();
    Enumerate();
    const TarnSystemTime after = clock.Now();
    ASSERT_THAT(table.Records(), SizeIs(1));
    const parental::UserSessionRecord& record = table.Records()[0];
    EXPECT_EQ(record.sessionId, 2U);
    EXPECT_EQ(record.loggedOn, 1);
    EXPECT_EQ(Wide(record.userName.data()), user);
    const auto seen = clock.ToSeconds(record.firstSeen);
    EXPECT_LE(clock.ToSeconds(before), seen);
    EXPECT_LE(seen, clock.ToSeconds(after));
    std::array<std::uint8_t, 68> sid;
    ASSERT_TRUE(sessions.ResolveAccount(std::u16string(base::FieldText(record.userName)), sid));
    EXPECT_TRUE(parental::EqualIdentifiers(record.sid, sid));
}

TEST_F(TerminalServices, WithoutADomainTheUserAloneIsFound) {
    const std::wstring user = CurrentUser();
    Add(1, L"", user.c_str());
    Add(4, nullptr, user.c_str());
    Enumerate();
    ASSERT_THAT(table.Records(), SizeIs(1));
    EXPECT_EQ(table.Records()[0].sessionId, 4U);
}

}  // namespace
}  // namespace tarn::machine
