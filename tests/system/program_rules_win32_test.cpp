// The action against a program through the built library, with the system's answers about that program scripted: who it
// is, where it stands, and what becomes of the verdict meanwhile.
#include <array>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>
#include <windows.h>

#include "system/import_patch_win32.h"
#include "system/site_records_win32.h"
#include "url/tls_hello.h"

namespace tarn::system_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using url::ProfileShape;
using url::TlsHello;

// ---- The system's answers, as the test wants them; everything else is passed on ----

using ModuleFileName = DWORD(WINAPI*)(HANDLE, HMODULE, wchar_t*, DWORD);

struct SystemScript {
    // Who knows the name of a process's executable.
    enum class ModuleName { kBoth, kOnlyKernel, kNobody, kFails };
    ModuleName moduleName = ModuleName::kBoth;
    std::wstring imageName;                     // what GetProcessImageFileNameW answers; empty = it fails
    std::array<std::wstring, 26> driveTargets;  // of the names "X:A" to "X:Z"
    std::vector<std::wstring> drivesAsked;
    bool refusesLongForm = false;
    std::vector<std::uint8_t> identifier;  // of every process's user; empty = the system's
    DWORD sizeError = ERROR_INSUFFICIENT_BUFFER;
    bool knowsAccounts = true;
    std::size_t allocationsLeft = SIZE_MAX;  // until one fails
    std::vector<std::wstring> iniSections;
};
SystemScript script;

DWORD Answer(const std::wstring& text, wchar_t* buffer, DWORD size) {
    if (text.size() + 1 > size) return static_cast<DWORD>(text.size() + 1);
    std::memcpy(buffer, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
    return static_cast<DWORD>(text.size());
}

DWORD WINAPI KernelsModuleName(HANDLE, HMODULE, wchar_t* path, DWORD size) {
    return Answer(L"C:\\kernel\\Reader.exe", path, size);
}
DWORD WINAPI FailingModuleName(HANDLE, HMODULE, wchar_t*, DWORD) {
    return 0;
}
DWORD WINAPI ImageName(HANDLE, wchar_t* path, DWORD size) {
    return script.imageName.empty() ? 0 : Answer(script.imageName, path, size);
}

template <class Function>
FARPROC AsProcedure(Function* function) {
    return reinterpret_cast<FARPROC>(reinterpret_cast<void*>(function));
}

FARPROC WINAPI FindProcedure(HMODULE module, const char* name) {
    FARPROC const real = GetProcAddress(module, name);
    if (reinterpret_cast<std::uintptr_t>(name) < 0x10000) return real;
    if (std::strcmp(name, "GetProcessImageFileNameW") == 0) return AsProcedure(ImageName);
    if (std::strcmp(name, "GetModuleFileNameExW") != 0) return real;
    switch (script.moduleName) {
        case SystemScript::ModuleName::kBoth:
            return real;
        case SystemScript::ModuleName::kOnlyKernel:
            return module == GetModuleHandleW(L"kernel32.dll") ? AsProcedure(KernelsModuleName) : nullptr;
        case SystemScript::ModuleName::kNobody:
            return nullptr;
        case SystemScript::ModuleName::kFails:
            return AsProcedure(FailingModuleName);
    }
    return real;
}

DWORD WINAPI DriveTarget(const wchar_t* name, wchar_t* target, DWORD size) {
    script.drivesAsked.emplace_back(name);
    EXPECT_EQ(size, 259U);
    if (std::wcslen(name) != 3 || name[0] != L'X' || name[1] != L':' || name[2] < L'A' || name[2] > L'Z') return 0;
    const std::wstring& answer = script.driveTargets[static_cast<std::size_t>(name[2] - L'A')];
    return answer.empty() ? 0 : Answer(answer, target, size);
}

// Executables alone: the library's own folder has its long form in any case.
DWORD WINAPI LongForm(const wchar_t* path, wchar_t* longPath, DWORD size) {
    const std::wstring given = path;
    if (!given.ends_with(L".exe")) return GetLongPathNameW(path, longPath, size);
    if (script.refusesLongForm) {
        SetLastError(ERROR_ACCESS_DENIED);
        return 0;
    }
    return Answer(given.substr(0, given.size() - 4) + L"-long.exe", longPath, size);
}

BOOL WINAPI TokenInformation(HANDLE token, TOKEN_INFORMATION_CLASS kind, void* out, DWORD size, DWORD* needed) {
    if (script.sizeError != ERROR_INSUFFICIENT_BUFFER && size == 0) {
        SetLastError(script.sizeError);
        return FALSE;
    }
    if (script.identifier.empty()) return GetTokenInformation(token, kind, out, size, needed);
    *needed = sizeof(TOKEN_USER);
    if (size < *needed) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    const TOKEN_USER user{{script.identifier.data(), 0}};
    std::memcpy(out, &user, sizeof user);
    return TRUE;
}

BOOL WINAPI AccountOf(const wchar_t*, PSID, wchar_t* name, DWORD* nameSize, wchar_t* domain, DWORD* domainSize,
                      SID_NAME_USE* use) {
    EXPECT_EQ(*nameSize, 260U);
    EXPECT_EQ(*domainSize, 256U);
    if (!script.knowsAccounts) {
        SetLastError(ERROR_NONE_MAPPED);
        return FALSE;
    }
    *nameSize = Answer(L"Tester", name, *nameSize);
    *domainSize = Answer(L"HOUSE", domain, *domainSize);
    *use = SidTypeUser;
    return TRUE;
}

// One of the library's own allocations fails. All of them would end the process: the C++ run-time allocates for what it
// throws.
void* __cdecl Allocate(std::size_t size) {
    if (script.allocationsLeft == SIZE_MAX) return std::malloc(size);
    return script.allocationsLeft-- == 0 ? nullptr : std::malloc(size);
}

UINT WINAPI IniInteger(const wchar_t* section, const wchar_t* key, INT preset, const wchar_t* file) {
    script.iniSections.emplace_back(section);
    return GetPrivateProfileIntW(section, key, preset, file);
}
DWORD WINAPI IniText(const wchar_t* section, const wchar_t* key, const wchar_t* preset, wchar_t* text, DWORD size,
                     const wchar_t* file) {
    script.iniSections.emplace_back(section);
    return GetPrivateProfileStringW(section, key, preset, text, size, file);
}

std::string OwnExecutable() {
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return std::filesystem::path(path).string();
}

class ProgramRules : public SiteRecords {
 protected:
    ProgramRules() {
        script = {};
        ListMalicious({{"bad.example", true, {{"", "Worm"}}}});
    }
    ~ProgramRules() override { script = {}; }

    // What the isolation module is handed as the executable, or nothing without an action.
    std::string ActedOn(const std::string& target = "/x") {
        EXPECT_TRUE(Init());
        NewLines();
        EXPECT_EQ(VerdictOf("bad.example", target), "0/2");
        const std::string start = "ZRQuarantineFile 0 2 ";
        for (const std::string& line : NewLines())
            if (line.starts_with(start)) return line.substr(start.size());
        return "";
    }
    // Whether the requesting user is found: a blocked hello needs the name.
    bool KnowsTheUser() {
        answers.httpsBlock = 1;
        kind = TARN_KIND_TLS;
        const bool known = Ask(TlsHello("shop.example"));
        EXPECT_EQ(Verdict(), known ? "0/15" : "1/26");
        kind = TARN_KIND_HTTP;
        return known;
    }
};

// ---- The verdict while the action runs ----

// The record and what it said when the isolation module was asked.
struct SeenVerdict {
    const UrlVerdict* host;
    UrlVerdict seen{};
    int times = 0;

    static void Note(void* context, const char* line) {
        auto& self = *static_cast<SeenVerdict*>(context);
        if (!std::string_view(line).starts_with("ZRQuarantineFile ")) return;
        std::memcpy(&self.seen, self.host, sizeof self.seen);
        ++self.times;
    }
};

class VerdictMeanwhile : public ProgramRules {
 protected:
    VerdictMeanwhile() : seen_{&verdict} {
        answers.listener = SeenVerdict::Note;
        answers.listenerContext = &seen_;
    }
    ~VerdictMeanwhile() override { answers.listener = nullptr; }
    // The verdict stands when the module is asked, and is the same afterwards.
    void ExpectWrittenFirst(const std::string& host, const ExpectedVerdict& expected) {
        ASSERT_TRUE(Init());
        seen_.times = 0;
        ASSERT_TRUE(Visit(host, "/x"));
        EXPECT_EQ(seen_.times, 1);
        EXPECT_EQ(expected.Difference(seen_.seen), "") << "while the module is asked";
        EXPECT_EQ(expected.Difference(verdict), "");
    }
    // Without the n-th allocation of the scan, for every n that the scan comes to.
    void ExpectKeptWithoutMemory(const std::string& host, const ExpectedVerdict& expected) {
        const ImportPatch patch(Library(), "malloc", Allocate);
        ASSERT_TRUE(patch.IsInPlace());
        bool hasFailed = true;
        for (std::size_t allocation = 0; hasFailed; ++allocation) {
            ASSERT_LT(allocation, 100U);
            ASSERT_TRUE(Init());
            script.allocationsLeft = allocation;
            const bool result = Visit(host, "/x");
            hasFailed = std::exchange(script.allocationsLeft, SIZE_MAX) == SIZE_MAX;
            EXPECT_TRUE(allocation != 0 || hasFailed) << "the action allocates nothing: look for what else may fail";
            EXPECT_TRUE(result) << "a failed action is only that; allocation " << allocation;
            EXPECT_EQ(expected.Difference(verdict), "") << allocation;
            EXPECT_EQ(Prompt(), "3 4") << allocation;
            EXPECT_EQ(GetModuleHandleA("isolate.dll"), nullptr) << allocation;
        }
    }

    const ExpectedVerdict site_ = ExpectedVerdict(0, 2).ThreatName("Worm").ThreatUrl("bad.example/x");
    const ExpectedVerdict pattern_ = ExpectedVerdict(0, 2).ThreatName("Malicious Url").ThreatUrl("a.example/x");
    const ExpectedVerdict category_ = ExpectedVerdict(0, 1).ThreatUrl("a.example/x");

 private:
    SeenVerdict seen_;
};

TEST_F(VerdictMeanwhile, AMaliciousSiteIsBlockedBeforeItsProgramIsActedOn) {
    ExpectWrittenFirst("bad.example", site_);
}

TEST_F(VerdictMeanwhile, AMaliciousPatternIsBlockedBeforeItsProgramIsActedOn) {
    TakeProfiles({ProfileShape{}});
    answers.malicious = 1;
    ExpectWrittenFirst("a.example", pattern_);
}

TEST_F(VerdictMeanwhile, AMaliciousCategoryIsBlockedBeforeItsProgramIsActedOn) {
    TakeProfiles({ProfileShape{}});
    Categorise({2});
    ExpectWrittenFirst("a.example", category_);
}

TEST_F(VerdictMeanwhile, AMaliciousSiteStaysBlockedWithoutMemoryForTheAction) {
    ExpectKeptWithoutMemory("bad.example", site_);
}

TEST_F(VerdictMeanwhile, AMaliciousPatternStaysBlockedWithoutMemoryForTheAction) {
    TakeProfiles({ProfileShape{}});
    answers.malicious = 1;
    ExpectKeptWithoutMemory("a.example", pattern_);
}

TEST_F(VerdictMeanwhile, AMaliciousCategoryStaysBlockedWithoutMemoryForTheAction) {
    TakeProfiles({ProfileShape{}});
    Categorise({2});
    ExpectKeptWithoutMemory("a.example", category_);
}

// ---- What the isolation module is handed ----

TEST_F(ProgramRules, AnEmptyUrlIsHandedOnAsAnEmptyText) {
    // A request of the root whose host is a port alone has neither host nor path; its URL is ":80".
    TakeProfiles({ProfileShape{}});
    answers.malicious = 1;
    ASSERT_TRUE(Init());
    NewLines();
    EXPECT_EQ(VerdictOf(":80", "/"), "0/2");
    EXPECT_EQ(ExpectedVerdict(0, 2).ThreatName("Malicious Url").ThreatUrl("").Difference(verdict), "");
    EXPECT_THAT(NewLines(),
                ElementsAre("SCGetURLCategories :80 0", "WSCheckURLMaliciousPattern 1   20480", "load isolate.dll",
                            "ZRQuarantineFile 0 2 " + OwnExecutable(), "for ", "unload isolate.dll"));
}

TEST_F(ProgramRules, ThePathIsHandedOnInItsLongForm) {
    EXPECT_EQ(ActedOn(), OwnExecutable());
    const ImportPatch longForm(Library(), "GetLongPathNameW", LongForm);
    ASSERT_TRUE(longForm.IsInPlace());
    const std::string own = OwnExecutable();
    EXPECT_EQ(ActedOn(), own.substr(0, own.size() - 4) + "-long.exe");
}

TEST_F(ProgramRules, APathWhoseLongFormIsRefusedIsHandedOnAsItStands) {
    const ImportPatch longForm(Library(), "GetLongPathNameW", LongForm);
    ASSERT_TRUE(longForm.IsInPlace());
    script.refusesLongForm = true;
    EXPECT_EQ(ActedOn(), OwnExecutable());
}

class ImagePath : public ProgramRules {
 protected:
    ImagePath() {
        EXPECT_TRUE(procedures_.IsInPlace());
        EXPECT_TRUE(drives_.IsInPlace());
        EXPECT_TRUE(longForm_.IsInPlace());
        script.imageName = L"\\Device\\HarddiskVolume7\\folder\\Reader.exe";
    }
    using ModuleName = SystemScript::ModuleName;

 private:
    const ImportPatch procedures_{Library(), "GetProcAddress", FindProcedure};
    const ImportPatch drives_{Library(), "QueryDosDeviceW", DriveTarget};
    const ImportPatch longForm_{Library(), "GetLongPathNameW", LongForm};
};

TEST_F(ImagePath, TheNameOfTheMainModuleIsPreferred) {
    const std::string own = OwnExecutable();
    EXPECT_EQ(ActedOn(), own.substr(0, own.size() - 4) + "-long.exe");
}

TEST_F(ImagePath, TheKernelsFunctionStandsInForThatOfTheProcessLibrary) {
    script.moduleName = ModuleName::kOnlyKernel;
    EXPECT_EQ(ActedOn(), "C:\\kernel\\Reader-long.exe");
}

TEST_F(ImagePath, WithoutThatFunctionTheImageNameIsTheWholePath) {
    script.moduleName = ModuleName::kNobody;
    EXPECT_EQ(ActedOn(), "\\Device\\HarddiskVolume7\\folder\\Reader-long.exe");
    EXPECT_THAT(script.drivesAsked, IsEmpty());
    script.imageName.clear();
    EXPECT_EQ(ActedOn(), "");
}

TEST_F(ImagePath, AFailedModuleNameTakesTheDevicePathOntoItsDrive) {
    script.moduleName = ModuleName::kFails;
    script.driveTargets[0] = L"\\Device\\CdRom0";
    script.driveTargets[2] = L"\\Device\\HarddiskVolume7";
    script.driveTargets[3] = L"\\Device\\HarddiskVolume7";
    EXPECT_EQ(ActedOn(), "C:\\folder\\Reader-long.exe");
    EXPECT_THAT(script.drivesAsked, ElementsAre(L"X:A", L"X:B", L"X:C")) << "the first letter that answers counts";
}

TEST_F(ImagePath, WithoutADriveOrADevicePathThereIsNoAction) {
    script.moduleName = ModuleName::kFails;
    EXPECT_EQ(ActedOn(), "");
    EXPECT_EQ(script.drivesAsked.size(), 26U);
    script.driveTargets[2] = L"\\Device\\HarddiskVolume8";
    EXPECT_EQ(ActedOn(), "");
    script.driveTargets[2] = L"\\Device";
    script.imageName = L"\\Device";
    EXPECT_EQ(ActedOn(), "") << "a path of one component";
    script.imageName.clear();
    EXPECT_EQ(ActedOn(), "");
}

// ---- Who asked ----

TEST_F(ProgramRules, OnlyTheErrorThatAsksForMoreRoomGoesOn) {
    const ImportPatch token(Library(), "GetTokenInformation", TokenInformation);
    ASSERT_TRUE(token.IsInPlace());
    ASSERT_TRUE(Init());
    EXPECT_TRUE(KnowsTheUser());
    for (const DWORD refusal : {DWORD{ERROR_SUCCESS}, DWORD{ERROR_ACCESS_DENIED}, DWORD{ERROR_MORE_DATA}, DWORD{24}}) {
        script.sizeError = refusal;
        EXPECT_FALSE(KnowsTheUser()) << refusal;
        EXPECT_EQ(ActedOn(), "") << refusal;
    }
}

TEST_F(ProgramRules, AFailedAccountLookUpIsNoUser) {
    const ImportPatch accounts(Library(), "LookupAccountSidW", AccountOf);
    ASSERT_TRUE(accounts.IsInPlace());
    ProfileShape shape;
    shape.sites = {{"games.example", ""}};
    TakeProfiles({shape});
    ASSERT_TRUE(Init());
    EXPECT_TRUE(KnowsTheUser());
    EXPECT_EQ(VerdictOf("games.example", "/"), "0/6");
    EXPECT_EQ(ExpectedVerdict(0, 6).Url("games.example").User(u"Tester").Difference(verdict), "");
    EXPECT_NE(ActedOn(), "");
    script.knowsAccounts = false;
    EXPECT_FALSE(KnowsTheUser());
    EXPECT_EQ(VerdictOf("games.example", "/"), "1/26") << "the block lists are left";
    EXPECT_EQ(ActedOn(), "");
}

TEST_F(ProgramRules, AnInvalidOrLongIdentifierStaysZero) {
    const ImportPatch token(Library(), "GetTokenInformation", TokenInformation);
    const ImportPatch accounts(Library(), "LookupAccountSidW", AccountOf);
    ASSERT_TRUE(token.IsInPlace());
    ASSERT_TRUE(accounts.IsInPlace());
    const auto identifier = [](std::uint8_t revision, std::uint8_t subAuthorities) {
        std::vector<std::uint8_t> bytes(8 + 4 * std::size_t{subAuthorities}, 7);
        bytes[0] = revision;
        bytes[1] = subAuthorities;
        return bytes;
    };
    ProfileShape shape;
    shape.sites = {{"games.example", ""}};
    // Whether the profile with this identifier is that of the requesting user.
    const auto belongs = [&](const std::vector<std::uint8_t>& sid) {
        TakeProfiles({shape}, 2);
        auto& field = answers.pcSettings.entries[0].leading.sid;
        std::memset(field, 0, sizeof field);
        std::memcpy(field, sid.data(), std::min(sid.size(), sizeof field));
        EXPECT_TRUE(Init());
        return VerdictOf("games.example", "/") == "0/6";
    };
    for (const std::uint8_t count : {std::uint8_t{1}, std::uint8_t{5}, std::uint8_t{15}}) {
        script.identifier = identifier(1, count);
        EXPECT_TRUE(belongs(script.identifier)) << int{count};
        EXPECT_FALSE(belongs({})) << int{count};
    }
    for (const auto& [revision, count] : {std::pair<std::uint8_t, std::uint8_t>{2, 5}, {0, 5}, {1, 16}, {1, 255}}) {
        script.identifier = identifier(revision, count);
        EXPECT_FALSE(belongs(script.identifier)) << int{revision} << " " << int{count};
        EXPECT_TRUE(belongs({})) << int{revision} << " " << int{count};
    }
}

// ---- The files of the install folder ----

class LongInstallPath : public ProgramRules {
 protected:
    // A folder whose name is length characters long, its last backslash included.
    static std::u16string FolderOf(std::size_t length) { return u"C:\\" + std::u16string(length - 4, u'p') + u"\\"; }
    bool Asked(const std::wstring& section) {
        return std::ranges::find(script.iniSections, section) != script.iniSections.end();
    }
    bool StartAndListen(const std::function<void(std::string_view)>& listen) {
        script.iniSections.clear();
        answers.listenerContext = const_cast<std::function<void(std::string_view)>*>(&listen);
        answers.listener = [](void* context, const char* line) {
            (*static_cast<const std::function<void(std::string_view)>*>(context))(line);
        };
        const bool started = Init(1);
        answers.listener = nullptr;
        SetInstallPath(folder.u16string() + u"\\");
        return started;
    }

    const ImportPatch integers{Library(), "GetPrivateProfileIntW", IniInteger};
    const ImportPatch texts{Library(), "GetPrivateProfileStringW", IniText};
};

TEST_F(LongInstallPath, SocialSettingsArePassedOverWhereTheirPathIsTooLong) {
    ASSERT_TRUE(integers.IsInPlace() && texts.IsInPlace());
    for (const std::size_t length : {246U, 247U}) {
        SCOPED_TRACE(length);
        ASSERT_TRUE(StartAndListen([&](std::string_view line) {
            if (line == "WSInitUrlsig") SetInstallPath(FolderOf(length));
            if (line == "ReadBPUserWhiteList") SetInstallPath(folder.u16string() + u"\\");
        }));
        EXPECT_EQ(Asked(L"FACEBOOK"), length == 246) << "socialset.ini makes it 259 or 260 characters";
        EXPECT_TRUE(Asked(L"WEB_SECURITY"));
    }
}

// The exclusion list is the first that start-up asks the install folder for.
LSTATUS WINAPI FirstPathIsLong(HKEY key, const wchar_t* name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* size) {
    const LSTATUS status = RegQueryValueExW(key, name, reserved, type, data, size);
    if (script.imageName.empty() || status != ERROR_SUCCESS || std::wcscmp(name, L"Path") != 0) return status;
    const std::wstring path = std::exchange(script.imageName, L"");
    std::memcpy(data, path.c_str(), (path.size() + 1) * sizeof(wchar_t));
    *size = static_cast<DWORD>((path.size() + 1) * sizeof(wchar_t));
    return status;
}

TEST_F(LongInstallPath, TheExclusionListIsEmptyWhereItsPathIsTooLong) {
    ASSERT_TRUE(integers.IsInPlace() && texts.IsInPlace());
    const ImportPatch registry(Library(), "RegQueryValueExW", FirstPathIsLong);
    ASSERT_TRUE(registry.IsInPlace());
    for (const std::size_t length : {247U, 248U}) {
        SCOPED_TRACE(length);
        const std::u16string path = FolderOf(length);
        script.imageName.assign(path.begin(), path.end());
        ASSERT_TRUE(StartAndListen([](std::string_view) {}));
        EXPECT_TRUE(script.imageName.empty()) << "somebody asked";
        EXPECT_EQ(Asked(L"BROWSER_EXCLUSION_LIST"), length == 247) << "browskip.ini makes it 259 or 260 characters";
        EXPECT_EQ(VerdictOf("bad.example", "/x"), "0/2");
    }
}

}  // namespace
}  // namespace tarn::system_test
