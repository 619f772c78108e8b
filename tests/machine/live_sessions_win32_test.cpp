// Account look-ups against the system. Its terminal services are played by a script, in terminal_services.
#include <array>
#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <windows.h>

#include "machine/machine_win32.h"
#include "machine/win32_owners.h"
#include "parental/account_identifier.h"

namespace tarn::machine {
namespace {

std::u16string CurrentUser() {
    char16_t name[260];
    DWORD units = 260;
    EXPECT_NE(GetUserNameW(Wide(name), &units), 0);
    return name;
}

std::u16string ComputerName() {
    char16_t name[260];
    DWORD units = 260;
    EXPECT_NE(GetComputerNameW(Wide(name), &units), 0);
    return name;
}

std::array<std::uint8_t, 68> CurrentSid() {
    std::array<std::uint8_t, 68> sid{};
    UniqueHandle token;
    EXPECT_NE(OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.Out()), 0);
    alignas(TOKEN_USER) std::uint8_t buffer[256];
    DWORD bytes = 0;
    EXPECT_NE(GetTokenInformation(token.Get(), TokenUser, buffer, sizeof buffer, &bytes), 0);
    const PSID found = reinterpret_cast<const TOKEN_USER*>(buffer)->User.Sid;
    EXPECT_NE(CopySid(sizeof sid, sid.data(), found), 0);
    return sid;
}

TEST(WindowsLiveSessions, ResolvesTheCurrentUser) {
    WindowsLiveSessions sessions;
    std::array<std::uint8_t, 68> sid;
    sid.fill(0xCC);
    ASSERT_TRUE(sessions.ResolveAccount(CurrentUser(), sid));
    EXPECT_EQ(sid, CurrentSid()) << "with zeros behind it";
    ASSERT_TRUE(sessions.ResolveAccount(ComputerName() + u'\\' + CurrentUser(), sid));
    EXPECT_EQ(sid, CurrentSid());
}

TEST(WindowsLiveSessions, UnknownAccountsAreNotResolved) {
    WindowsLiveSessions sessions;
    std::array<std::uint8_t, 68> sid;
    sid.fill(0xCC);
    EXPECT_FALSE(sessions.ResolveAccount(u"no such account", sid));
    EXPECT_EQ(sid, (std::array<std::uint8_t, 68>{}));
    EXPECT_FALSE(sessions.ResolveAccount(std::u16string(5000, u'n'), sid));
}

// The rules of identifiers are the core's own: here against the system's.
TEST(WindowsLiveSessions, IdentifiersAsTheSystemSeesThem) {
    for (unsigned revision = 0; revision < 256; ++revision) {
        for (unsigned count = 0; count < 256; ++count) {
            alignas(SID) std::array<std::uint8_t, 68> sid{static_cast<std::uint8_t>(revision),
                                                          static_cast<std::uint8_t>(count)};
            // The system looks at the low half of the revision only.
            if (revision > 15) {
                ASSERT_FALSE(parental::IsValidIdentifier(sid)) << revision;
                continue;
            }
            ASSERT_EQ(parental::IsValidIdentifier(sid), IsValidSid(sid.data()) != 0) << revision << ' ' << count;
            if (parental::IsValidIdentifier(sid)) {
                ASSERT_EQ(parental::IdentifierLength(sid), GetLengthSid(sid.data()));
            }
        }
    }
}

}  // namespace
}  // namespace tarn::machine
