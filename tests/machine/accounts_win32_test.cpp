// The account and the executable behind a process id, and texts in the system's code page: against the system, and with
// single calls of it made to fail.
#include <algorithm>
#include <array>
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>
#include <windows.h>

#include "machine/facts_program_win32.h"
#include "machine/machine_win32.h"
#include "machine/win32_owners.h"
#include "system/import_patch_win32.h"

namespace tarn::machine {
namespace {

using system_test::ImportPatch;
using testing::Each;
using testing::ElementsAre;

// The system's own functions, found before any import of this program is patched.
template <class Function>
Function* Find(const char* module, const char* name, Function* /*its type*/) {
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(GetModuleHandleA(module), name)));
}
const auto systemGetTokenInformation = Find("advapi32.dll", "GetTokenInformation", &GetTokenInformation);
const auto systemLookupAccountSidW = Find("advapi32.dll", "LookupAccountSidW", &LookupAccountSidW);
const auto systemLookupAccountNameW = Find("advapi32.dll", "LookupAccountNameW", &LookupAccountNameW);
const auto systemIsValidSid = Find("advapi32.dll", "IsValidSid", &IsValidSid);
const auto systemGetLengthSid = Find("advapi32.dll", "GetLengthSid", &GetLengthSid);
const auto systemGetLongPathNameW = Find("kernel32.dll", "GetLongPathNameW", &GetLongPathNameW);
const auto systemMultiByteToWideChar = Find("kernel32.dll", "MultiByteToWideChar", &MultiByteToWideChar);
const auto systemGetProcAddress = Find("kernel32.dll", "GetProcAddress", &GetProcAddress);

HMODULE ThisProgram() {
    return GetModuleHandleW(nullptr);
}

std::u16string Text16(const wchar_t* text) {
    const std::wstring_view view = text;
    return {view.begin(), view.end()};
}

std::u16string OwnLongPath() {
    wchar_t path[MAX_PATH] = L"";
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    wchar_t longPath[MAX_PATH] = L"";
    EXPECT_NE(GetLongPathNameW(path, longPath, MAX_PATH), 0U);
    return Text16(longPath);
}

// ---- The user of a process ----

// What the patched calls answer; each test starts from the system's own answers.
struct AccountScript {
    std::optional<DWORD> sizeError;  // of the first query of the token's user
    int queries = 0;
    bool lookUpFails = false;
    DWORD nameUnits = 0;
    DWORD domainUnits = 0;
    bool identifierIsInvalid = false;
    DWORD identifierLength = 0;  // 0 = as the system says
};
AccountScript account;

BOOL WINAPI ScriptedTokenInformation(HANDLE token, TOKEN_INFORMATION_CLASS what, void* buffer, DWORD size,
                                     DWORD* needed) {
    ++account.queries;
    if (!account.sizeError || buffer != nullptr) return systemGetTokenInformation(token, what, buffer, size, needed);
    systemGetTokenInformation(token, what, buffer, size, needed);
    SetLastError(*account.sizeError);
    return FALSE;
}
BOOL WINAPI ScriptedLookupSid(const wchar_t* system, PSID sid, wchar_t* name, DWORD* nameUnits, wchar_t* domain,
                              DWORD* domainUnits, SID_NAME_USE* use) {
    account.nameUnits = *nameUnits;
    account.domainUnits = *domainUnits;
    if (!account.lookUpFails) return systemLookupAccountSidW(system, sid, name, nameUnits, domain, domainUnits, use);
    name[0] = L'?';
    SetLastError(ERROR_NONE_MAPPED);
    return FALSE;
}
BOOL WINAPI ScriptedIsValidSid(PSID sid) {
    return account.identifierIsInvalid ? FALSE : systemIsValidSid(sid);
}
DWORD WINAPI ScriptedLengthSid(PSID sid) {
    return account.identifierLength != 0 ? account.identifierLength : systemGetLengthSid(sid);
}

class UserOfAProcess : public testing::Test {
 protected:
    UserOfAProcess() { account = {}; }
    void SetUp() override {
        for (const ImportPatch* patch : {&token_, &lookUp_, &valid_, &length_}) ASSERT_TRUE(patch->IsInPlace());
    }
    static ProcessUser Untouched() {
        ProcessUser user;
        user.name.fill(u'?');
        user.sid.fill(0xCC);
        return user;
    }

    WindowsProcessInspector inspector;
    ProcessUser user = Untouched();

 private:
    ImportPatch token_{ThisProgram(), "GetTokenInformation", ScriptedTokenInformation};
    ImportPatch lookUp_{ThisProgram(), "LookupAccountSidW", ScriptedLookupSid};
    ImportPatch valid_{ThisProgram(), "IsValidSid", ScriptedIsValidSid};
    ImportPatch length_{ThisProgram(), "GetLengthSid", ScriptedLengthSid};
};

TEST_F(UserOfAProcess, IsFoundByTwoQueriesAndALookUp) {
    ASSERT_TRUE(inspector.GetProcessUser(GetCurrentProcessId(), user));
    wchar_t name[260] = L"";
    DWORD units = 260;
    ASSERT_NE(GetUserNameW(name, &units), 0);
    EXPECT_EQ(base::FieldText(user.name), Text16(name));
    EXPECT_NE(IsValidSid(user.sid.data()), 0);
    const DWORD length = GetLengthSid(user.sid.data());
    EXPECT_THAT(std::vector<std::uint8_t>(user.sid.begin() + length, user.sid.end()), Each(0));
    EXPECT_EQ(account.queries, 2);
    EXPECT_EQ(account.nameUnits, 260U);
    EXPECT_EQ(account.domainUnits, 256U);
}

TEST_F(UserOfAProcess, AProcessThatIsNotThereHasNone) {
    EXPECT_FALSE(inspector.GetProcessUser(0xFFFFFFF0, user));
}

TEST_F(UserOfAProcess, OnlyTheInsufficientBufferErrorLeadsToTheSecondQuery) {
    for (const DWORD error : {ERROR_SUCCESS, ERROR_ACCESS_DENIED, ERROR_BAD_LENGTH, ERROR_MORE_DATA}) {
        account.sizeError = error;
        account.queries = 0;
        EXPECT_FALSE(inspector.GetProcessUser(GetCurrentProcessId(), user)) << error;
        EXPECT_EQ(account.queries, 1) << error;
    }
    account.sizeError = ERROR_INSUFFICIENT_BUFFER;
    EXPECT_TRUE(inspector.GetProcessUser(GetCurrentProcessId(), user));
}

TEST_F(UserOfAProcess, AFailedLookUpLeavesNothing) {
    account.lookUpFails = true;
    EXPECT_FALSE(inspector.GetProcessUser(GetCurrentProcessId(), user));
    EXPECT_EQ(user.name[0], u'\0');
    EXPECT_THAT(user.sid, Each(0));
}

TEST_F(UserOfAProcess, AnInvalidIdentifierStaysZero) {
    account.identifierIsInvalid = true;
    ASSERT_TRUE(inspector.GetProcessUser(GetCurrentProcessId(), user));
    EXPECT_NE(user.name[0], u'\0');
    EXPECT_THAT(user.sid, Each(0));
}

TEST_F(UserOfAProcess, AnIdentifierOfMoreThan68BytesStaysZero) {
    account.identifierLength = 69;
    ASSERT_TRUE(inspector.GetProcessUser(GetCurrentProcessId(), user));
    EXPECT_NE(user.name[0], u'\0');
    EXPECT_THAT(user.sid, Each(0));
    account.identifierLength = 68;
    ASSERT_TRUE(inspector.GetProcessUser(GetCurrentProcessId(), user));
    EXPECT_EQ(user.sid[0], 1) << "68 bytes are copied";
}

// ---- The account of a name ----

DWORD askedSidBytes = 0;
DWORD askedDomainUnits = 0;
BOOL WINAPI WatchedLookupName(const wchar_t* system, const wchar_t* name, PSID sid, DWORD* sidBytes, wchar_t* domain,
                              DWORD* domainUnits, SID_NAME_USE* use) {
    askedSidBytes = *sidBytes;
    askedDomainUnits = *domainUnits;
    return systemLookupAccountNameW(system, name, sid, sidBytes, domain, domainUnits, use);
}

TEST(AccountOfAName, IsLookedUpWithTheLongestIdentifierAndDomain) {
    const ImportPatch patch(ThisProgram(), "LookupAccountNameW", WatchedLookupName);
    ASSERT_TRUE(patch.IsInPlace());
    WindowsLiveSessions sessions;
    std::array<std::uint8_t, 68> sid;
    EXPECT_FALSE(sessions.ResolveAccount(u"no such account", sid));
    EXPECT_EQ(askedSidBytes, 68U);
    EXPECT_EQ(askedDomainUnits, 260U);
}

// ---- The executable of a process ----

struct PathScript {
    // GetModuleFileNameExW: as the system has it, missing in psapi.dll alone, missing, or failing.
    enum class ModuleName { kAsItIs, kInKernelOnly, kMissing, kFails } moduleName = ModuleName::kAsItIs;
    bool imageNameMissing = false;
    const wchar_t* devicePath = L"\\Device\\HarddiskVolume7\\folder\\file.exe";
    const wchar_t* deviceOfC = nullptr;  // what the name "X:C" stands for
    std::vector<std::u16string> namesAsked;
    std::vector<DWORD> capacities;
    // GetLongPathNameW: an error, or a length that does not fit.
    DWORD longPathError = ERROR_SUCCESS;
    DWORD longPathLength = 0;
};
PathScript paths;

DWORD WINAPI FailingModuleName(HANDLE, HMODULE, wchar_t*, DWORD) {
    SetLastError(ERROR_PARTIAL_COPY);
    return 0;
}
DWORD WINAPI KernelModuleName(HANDLE, HMODULE module, wchar_t* path, DWORD capacity) {
    EXPECT_EQ(module, nullptr);
    EXPECT_EQ(capacity, 260U);
    wcscpy(path, L"K:\\by the kernel.exe");
    return static_cast<DWORD>(wcslen(path));
}
DWORD WINAPI ScriptedImageName(HANDLE, wchar_t* path, DWORD capacity) {
    EXPECT_EQ(capacity, 260U);
    wcscpy(path, paths.devicePath);
    return static_cast<DWORD>(wcslen(path));
}
template <class Function>
FARPROC AsProc(Function* function) {
    return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(function));
}
FARPROC WINAPI ScriptedGetProcAddress(HMODULE module, const char* name) {
    const std::string_view wanted = name;
    if (wanted == "GetModuleFileNameExW" && paths.moduleName != PathScript::ModuleName::kAsItIs) {
        if (paths.moduleName == PathScript::ModuleName::kFails) return AsProc(FailingModuleName);
        const bool isKernel = module == GetModuleHandleW(L"kernel32.dll");
        if (paths.moduleName == PathScript::ModuleName::kInKernelOnly && isKernel) return AsProc(KernelModuleName);
        return nullptr;
    }
    if (wanted == "GetProcessImageFileNameW") {
        if (paths.imageNameMissing) return nullptr;
        return AsProc(ScriptedImageName);
    }
    return systemGetProcAddress(module, name);
}
DWORD WINAPI ScriptedDosDevice(const wchar_t* name, wchar_t* target, DWORD capacity) {
    paths.namesAsked.push_back(Text16(name));
    paths.capacities.push_back(capacity);
    if (paths.deviceOfC == nullptr || std::wstring_view(name) != L"X:C") return 0;
    wcscpy(target, paths.deviceOfC);
    return static_cast<DWORD>(wcslen(target)) + 2;
}
DWORD WINAPI ScriptedLongPath(const wchar_t* path, wchar_t* longPath, DWORD capacity) {
    if (paths.longPathLength != 0) return paths.longPathLength;
    if (paths.longPathError != ERROR_SUCCESS) {
        SetLastError(paths.longPathError);
        return 0;
    }
    return systemGetLongPathNameW(path, longPath, capacity);
}

class PathOfAProcess : public testing::Test {
 protected:
    PathOfAProcess() { paths = {}; }
    void SetUp() override {
        for (const ImportPatch* patch : {&procAddress_, &dosDevice_, &longPath_}) ASSERT_TRUE(patch->IsInPlace());
    }
    // The path, or nothing when there is none.
    std::optional<std::u16string> Path(std::uint32_t processId = GetCurrentProcessId()) {
        base::PathBuffer path;
        path.fill(u'?');
        error = 0xEEEE;
        if (!inspector.GetProcessImagePath(processId, path, error)) return std::nullopt;
        return std::u16string(base::FieldText(path));
    }

    WindowsProcessInspector inspector;
    std::uint32_t error = 0;

 private:
    ImportPatch procAddress_{ThisProgram(), "GetProcAddress", ScriptedGetProcAddress};
    ImportPatch dosDevice_{ThisProgram(), "QueryDosDeviceW", ScriptedDosDevice};
    ImportPatch longPath_{ThisProgram(), "GetLongPathNameW", ScriptedLongPath};
};

TEST_F(PathOfAProcess, IsTheExecutablesLongPath) {
    EXPECT_EQ(Path(), OwnLongPath());
    EXPECT_EQ(error, 0U);
}

TEST_F(PathOfAProcess, AProcessThatIsNotThereHasNone) {
    EXPECT_EQ(Path(0xFFFFFFF0), std::nullopt);
    EXPECT_EQ(error, ERROR_INVALID_PARAMETER + 0U);
}

TEST_F(PathOfAProcess, StandsAsItIsWhenTheLongFormIsRefused) {
    wchar_t own[MAX_PATH] = L"";
    GetModuleFileNameW(nullptr, own, MAX_PATH);
    paths.longPathError = ERROR_ACCESS_DENIED;
    EXPECT_EQ(Path(), Text16(own));
    EXPECT_EQ(error, ERROR_ACCESS_DENIED + 0U);
}

TEST_F(PathOfAProcess, StandsAsItIsWhenTheLongFormDoesNotFit) {
    wchar_t own[MAX_PATH] = L"";
    GetModuleFileNameW(nullptr, own, MAX_PATH);
    paths.longPathLength = 300;
    EXPECT_EQ(Path(), Text16(own));
    EXPECT_EQ(error, ERROR_INSUFFICIENT_BUFFER + 0U);
}

TEST_F(PathOfAProcess, TheKernelsFunctionIsTheSecondChoice) {
    paths.moduleName = PathScript::ModuleName::kInKernelOnly;
    EXPECT_EQ(Path(), u"K:\\by the kernel.exe");
}

TEST_F(PathOfAProcess, WithoutThatFunctionTheDevicePathIsThePath) {
    paths.moduleName = PathScript::ModuleName::kMissing;
    EXPECT_EQ(Path(), u"\\Device\\HarddiskVolume7\\folder\\file.exe");
    EXPECT_NE(error, 0U) << "it has no long form";
    EXPECT_THAT(paths.namesAsked, testing::IsEmpty());
    paths.imageNameMissing = true;
    EXPECT_EQ(Path(), std::nullopt);
}

TEST_F(PathOfAProcess, AFailureLeadsToTheDevicePathAndItsDrive) {
    paths.moduleName = PathScript::ModuleName::kFails;
    paths.deviceOfC = L"\\Device\\HarddiskVolume7";
    EXPECT_EQ(Path(), u"C:\\folder\\file.exe");
    EXPECT_THAT(paths.namesAsked, ElementsAre(u"X:A", u"X:B", u"X:C"));
    EXPECT_THAT(paths.capacities, Each(259U));
    paths.imageNameMissing = true;
    EXPECT_EQ(Path(), std::nullopt);
}

TEST_F(PathOfAProcess, ADevicePathWithoutADriveIsNone) {
    paths.moduleName = PathScript::ModuleName::kFails;
    EXPECT_EQ(Path(), std::nullopt);
    EXPECT_EQ(paths.namesAsked.size(), 26U);
    paths.namesAsked.clear();
    paths.devicePath = L"\\Device\\file.exe";
    EXPECT_EQ(Path(), std::nullopt) << "a device prefix has two components";
    EXPECT_THAT(paths.namesAsked, testing::IsEmpty());
}

// A program whose file was moved away: the system itself refuses the long form.
using MovedProgram = FactsProgram;

TEST_F(MovedProgram, KeepsItsPathWithTheSystemsError) {
    const std::string moved = FolderText() + "moved.exe";
    EXPECT_THAT(Run({"image", "move", moved, "image"}),
                ElementsAre("image 1 " + FolderText() + "machine_facts.exe error 0", "move 1",
                            "image 1 " + FolderText() + "machine_facts.exe error 2"));
}

// ---- Texts of the system's code page ----

struct Conversion {
    // Whether the code page takes flags: as this system's says, or as the test says.
    enum class Flags { kAsTheSystem, kTaken, kRefused } takesFlags = Flags::kAsTheSystem;
    bool secondCallFails = false;
    std::vector<DWORD> flags;
};
Conversion conversion;

int WINAPI ScriptedToWide(UINT codePage, DWORD flags, const char* text, int length, wchar_t* wide, int capacity) {
    EXPECT_EQ(codePage, UINT{CP_ACP});
    conversion.flags.push_back(flags);
    if (conversion.takesFlags == Conversion::Flags::kTaken) flags = 0;
    if (conversion.takesFlags == Conversion::Flags::kRefused && flags != 0) {
        SetLastError(ERROR_INVALID_FLAGS);
        return 0;
    }
    if (conversion.secondCallFails && wide != nullptr) return 0;
    return systemMultiByteToWideChar(codePage, flags, text, length, wide, capacity);
}

class CodePageText : public testing::Test {
 protected:
    CodePageText() { conversion = {}; }
    void SetUp() override { ASSERT_TRUE(patch_.IsInPlace()); }
    std::optional<std::u16string> Wide1024(std::string_view text) {
        std::array<char16_t, 1024> wide;
        wide.fill(u'?');
        const bool converted = inspector.ToWide(text, wide);
        const auto end = std::find(wide.begin(), wide.end(), u'\0');
        EXPECT_NE(end, wide.end()) << "not terminated";
        if (!converted) {
            EXPECT_EQ(wide[0], u'\0');
            return std::nullopt;
        }
        return std::u16string(wide.begin(), end);
    }

    WindowsProcessInspector inspector;

 private:
    ImportPatch patch_{ThisProgram(), "MultiByteToWideChar", ScriptedToWide};
};

TEST_F(CodePageText, AnEmptyTextIsAText) {
    EXPECT_EQ(Wide1024(""), u"");
    EXPECT_EQ(Wide1024({}), u"");
    std::array<char16_t, 1> one{u'?'};
    EXPECT_TRUE(inspector.ToWide("", one));
    EXPECT_EQ(one[0], u'\0');
    EXPECT_FALSE(inspector.ToWide("", {})) << "no place for the NUL";
}

TEST_F(CodePageText, TheLongestTextHas1023Characters) {
    EXPECT_EQ(Wide1024(std::string(1023, 'a')), std::u16string(1023, u'a'));
    EXPECT_EQ(Wide1024(std::string(1024, 'a')), std::nullopt);
    EXPECT_EQ(Wide1024(std::string(5000, 'a')), std::nullopt);
}

TEST_F(CodePageText, OtherCharactersAreConvertedAsTheCodePageSays) {
    const std::string text = GetACP() == CP_UTF8 ? "caf\xC3\xA9" : "caf\xE9";
    wchar_t expected[16] = L"";
    ASSERT_GT(MultiByteToWideChar(CP_ACP, 0, text.c_str(), -1, expected, 16), 0);
    EXPECT_EQ(Wide1024(text), Text16(expected));
    // 342 characters of three bytes each, or what the code page makes of these bytes.
    std::string many;
    while (many.size() < 1026) many += "\xE2\x82\xAC";
    wchar_t wide[2048];
    const int length = MultiByteToWideChar(CP_ACP, 0, many.data(), static_cast<int>(many.size()), wide, 2048);
    EXPECT_EQ(Wide1024(many).has_value(), length < 1024) << "the characters count, not the bytes";
}

TEST_F(CodePageText, PrecomposedCharactersAreAskedForWhereTheCodePageTakesFlags) {
    conversion.takesFlags = Conversion::Flags::kTaken;
    EXPECT_EQ(Wide1024("abc"), u"abc");
    EXPECT_THAT(conversion.flags, ElementsAre(DWORD{MB_PRECOMPOSED}, DWORD{MB_PRECOMPOSED}));
    conversion = {};
    conversion.takesFlags = Conversion::Flags::kRefused;
    EXPECT_EQ(Wide1024("abc"), u"abc");
    EXPECT_THAT(conversion.flags, ElementsAre(DWORD{MB_PRECOMPOSED}, 0U, 0U));
}

TEST_F(CodePageText, AConversionThatFailsLeavesAnEmptyText) {
    conversion.secondCallFails = true;
    EXPECT_EQ(Wide1024("abc"), std::nullopt);
}

}  // namespace
}  // namespace tarn::machine
