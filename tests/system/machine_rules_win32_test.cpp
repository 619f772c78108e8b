// What the library asks Windows and the install folder, and what it makes of every answer: paths, version, files.
#include <cstring>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <io.h>

#include "system/fake_windows_version_win32.h"
#include "system/rules_fixture_win32.h"

namespace tarn::system_test {
namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

class MachineRules : public RulesFixture {
 protected:
    bool OnlineIsAllowed() {
        NewLines();
        EXPECT_TRUE(Init(TARN_START_RESTART));
        const Lines lines = NewLines();
        Deinit();
        NewLines();
        const bool allowed = std::ranges::find(lines, "SCInit 1") != lines.end();
        EXPECT_TRUE(allowed || std::ranges::find(lines, "SCInit 0") != lines.end());
        return allowed;
    }
};

// ---- The path of the host program ----

struct {
    bool fails;
    DWORD length;
    DWORD error;
} hostPath;
DWORD WINAPI FakeModuleFileName(HMODULE module, wchar_t* path, DWORD capacity) {
    if (!hostPath.fails) return GetModuleFileNameW(module, path, capacity);
    if (hostPath.length != 0) GetModuleFileNameW(module, path, capacity);
    SetLastError(hostPath.error);
    return hostPath.length;
}

TEST_F(MachineRules, WithoutThePathOfTheHostProgramNothingStarts) {
    const ImportPatch patch(Library(), "GetModuleFileNameW", FakeModuleFileName);
    ASSERT_TRUE(patch.IsInPlace());
    hostPath = {true, 0, ERROR_ACCESS_DENIED};
    EXPECT_FALSE(Init(TARN_START_RESTART));
    hostPath = {true, 260, ERROR_INSUFFICIENT_BUFFER};
    EXPECT_FALSE(Init(TARN_START_RESTART));
    EXPECT_THAT(Journal(), IsEmpty());
    hostPath = {true, 260, ERROR_SUCCESS};
    EXPECT_TRUE(Init(TARN_START_RESTART)) << "a path that just fills the buffer is one";
    hostPath = {};
}

DWORD WINAPI NoLongForm(const wchar_t*, wchar_t*, DWORD) {
    SetLastError(ERROR_ACCESS_DENIED);
    return 0;
}

TEST_F(MachineRules, AHostProgramWhoseFolderIsTheInstallFolderNeedsNoLongForm) {
    const ImportPatch patch(Library(), "GetLongPathNameW", NoLongForm);
    ASSERT_TRUE(patch.IsInPlace());
    EXPECT_FALSE(Init(TARN_START_RESTART)) << "the long form tells whether the two folders are the same";
    EXPECT_EQ(Update(0), 0);
    EXPECT_THAT(Journal(), IsEmpty());
    std::u16string host = OwnFolder().u16string() + u"\\";
    std::ranges::transform(host, host.begin(), [](char16_t unit) {
        return static_cast<char16_t>(unit >= u'a' && unit <= u'z' ? unit - 32 : unit);
    });
    SetInstallPath(host);
    EXPECT_EQ(Update(0), 1) << "the install folder is found";
}

TEST_F(MachineRules, ALongFormOfMoreThanThePathHoldsIsNoFolder) {
    DWORD(WINAPI* const tooLong)
    (const wchar_t*, wchar_t*, DWORD) = [](const wchar_t*, wchar_t*, DWORD capacity) -> DWORD { return capacity + 1; };
    const ImportPatch patch(Library(), "GetLongPathNameW", tooLong);
    ASSERT_TRUE(patch.IsInPlace());
    EXPECT_FALSE(Init(TARN_START_RESTART));
    EXPECT_THAT(Journal(), IsEmpty());
}

std::vector<std::pair<std::wstring, REGSAM>> openedKeys;
LONG WINAPI WatchedOpenKey(HKEY root, const wchar_t* key, DWORD options, REGSAM access, HKEY* opened) {
    openedKeys.emplace_back(key, access);
    return RegOpenKeyExW(root, key, options, access, opened);
}

TEST_F(MachineRules, KeysAreOpenedToBeQueriedOnly) {
    const ImportPatch patch(Library(), "RegOpenKeyExW", WatchedOpenKey);
    ASSERT_TRUE(patch.IsInPlace());
    openedKeys.clear();
    WriteProductData(5, 1);
    RegisterAgent(L"HOSTASVC501.EXE");
    ASSERT_TRUE(Init(TARN_START_RESTART));
    const std::wstring appPaths = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\";
    EXPECT_THAT(openedKeys, Contains(std::pair(appPaths + L"CoreScan.exe", REGSAM{KEY_QUERY_VALUE})));
    EXPECT_THAT(openedKeys, Contains(std::pair(appPaths + L"HOSTASVC501.EXE", REGSAM{KEY_QUERY_VALUE})));
    EXPECT_THAT(openedKeys, Each(testing::Pair(testing::_, REGSAM{KEY_QUERY_VALUE})));
}

// ---- The version of the system ----

class VersionRules : public MachineRules {
 protected:
    void SetUp() override { ASSERT_TRUE(windows_.IsInPlace()); }
    // Whether a start on that system loads HTTPS inspection.
    bool InspectionRunsOn(const ReportedWindows& system) {
        windows_.Reported() = system;
        EXPECT_TRUE(Init(TARN_START_RESTART));
        return GetModuleHandleA("tlsinsp.dll") != nullptr;
    }
    // The rules that apply there: 1 to all systems, the others to the system of their number.
    std::vector<int> RulesOn(const ReportedWindows& system) {
        static std::uint8_t numbers[] = {50, 51, 52, 60, 61, 62, 63, 100};
        std::vector<IdsRule> rules(1);
        rules[0].id = 1;
        rules[0].name[0] = u'n';
        for (std::uint8_t& number : numbers) {
            IdsRule& rule = rules.emplace_back(rules[0]);
            rule.id = number;
            rule.systemCount = 1;
            rule.systems = &number;
        }
        answers.idsSettings = {static_cast<std::uint32_t>(rules.size()), 0, rules.data()};
        MakeEveryFrameAnAttack();
        windows_.Reported() = system;
        EXPECT_TRUE(Init(TARN_START_RESTART));
        answers.idsSettings = {};
        std::vector<int> found;
        for (const IdsRule& rule : rules)
            if (RuleNameOf(rule.id) == u"n") found.push_back(rule.id);
        return found;
    }
    FakeWindowsVersion windows_{Library()};
};

ReportedWindows System(DWORD major, DWORD minor, BYTE productType, WORD servicePack = 0) {
    ReportedWindows system;
    system.major = major;
    system.minor = minor;
    system.productType = productType;
    system.servicePack = servicePack;
    return system;
}

TEST_F(VersionRules, InspectionRunsOnWorkstationsFromTheBaselineOn) {
    EXPECT_TRUE(InspectionRunsOn(System(10, 0, VER_NT_WORKSTATION)));
    EXPECT_TRUE(InspectionRunsOn(System(6, 0, VER_NT_WORKSTATION)));
    EXPECT_FALSE(InspectionRunsOn(System(10, 0, VER_NT_SERVER)));
    EXPECT_FALSE(InspectionRunsOn(System(10, 0, VER_NT_DOMAIN_CONTROLLER)));
    EXPECT_FALSE(InspectionRunsOn(System(5, 2, VER_NT_WORKSTATION, 2))) << "the 64-bit workstation of 5.2";
    ReportedWindows old = System(5, 1, VER_NT_WORKSTATION, 1);
    old.architecture = PROCESSOR_ARCHITECTURE_INTEL;
    EXPECT_FALSE(InspectionRunsOn(old));
    old.servicePack = 2;
    EXPECT_TRUE(InspectionRunsOn(old));
    old.architecture = PROCESSOR_ARCHITECTURE_AMD64;
    EXPECT_FALSE(InspectionRunsOn(old)) << "64-bit systems begin with 5.2";
}

TEST_F(VersionRules, RulesApplyToTheirSystem) {
    EXPECT_THAT(RulesOn(System(10, 0, VER_NT_WORKSTATION)), ElementsAre(1, 100));
    EXPECT_THAT(RulesOn(System(6, 1, VER_NT_WORKSTATION)), ElementsAre(1, 61));
    EXPECT_THAT(RulesOn(System(6, 3, VER_NT_WORKSTATION)), ElementsAre(1, 63));
    EXPECT_THAT(RulesOn(System(5, 2, VER_NT_WORKSTATION, 2)), ElementsAre(1, 52));
    EXPECT_THAT(RulesOn(System(9, 0, VER_NT_WORKSTATION)), IsEmpty()) << "on an unknown system the read fails";
    EXPECT_THAT(Journal(), Contains("ReadIDSSettings"));
}

TEST_F(VersionRules, IdsRuleWhoseIdentifierArrayIsNullAppliesToEverySystem) {
    std::uint8_t another = 50;
    IdsRule rules[3] = {};
    for (IdsRule& rule : rules) rule.name[0] = u'n';
    rules[0].id = 1;
    rules[0].systemCount = 3;
    rules[0].systems = nullptr;
    rules[1].id = 2;
    rules[1].systemCount = 1;
    rules[1].systems = &another;
    rules[2].id = 3;
    answers.idsSettings = {3, 0, rules};
    MakeEveryFrameAnAttack();
    ASSERT_TRUE(Init(TARN_START_RESTART));
    EXPECT_EQ(RuleNameOf(1), u"n");
    EXPECT_EQ(RuleNameOf(2), u"") << "it is for another system";
    EXPECT_EQ(RuleNameOf(3), u"n");
}

TEST_F(VersionRules, WithoutTheFirstVersionQueryTheSecondIsAsked) {
    for (const bool missing : {true, false}) {
        ReportedWindows system = System(6, 1, VER_NT_SERVER);
        system.hasRtlGetVersion = !missing;
        system.rtlGetVersionStatus = missing ? 0 : static_cast<LONG>(0xC0000001);
        EXPECT_FALSE(InspectionRunsOn(system)) << "a server";
        EXPECT_THAT(windows_.Reported().getVersionExSizes, testing::AllOf(Not(IsEmpty()), Each(284U)));
        EXPECT_THAT(RulesOn(system), ElementsAre(1, 61));
        system.extendedSizeIsRefused = true;
        EXPECT_TRUE(InspectionRunsOn(system)) << "the basic form holds no product type";
        const std::vector<DWORD> sizes = windows_.Reported().getVersionExSizes;
        ASSERT_GE(sizes.size(), 2U);
        for (std::size_t i = 0; i < sizes.size(); ++i) EXPECT_EQ(sizes[i], i % 2 == 0 ? 284U : 276U) << i;
        system.basicSizeIsRefused = true;
        EXPECT_FALSE(InspectionRunsOn(system)) << "nothing is known";
        EXPECT_THAT(RulesOn(system), IsEmpty());
    }
}

TEST_F(VersionRules, AMissingEntryPointFailsItsQuery) {
    ReportedWindows system = System(10, 0, VER_NT_WORKSTATION);
    system.hasRtlGetVersion = system.hasGetVersionEx = false;
    EXPECT_FALSE(InspectionRunsOn(system));
    EXPECT_THAT(RulesOn(system), IsEmpty());
    system = System(10, 0, VER_NT_WORKSTATION);
    system.hasRtlVerifyVersionInfo = false;
    EXPECT_FALSE(InspectionRunsOn(system));
    EXPECT_THAT(RulesOn(system), IsEmpty()) << "the version 10 cannot be told exactly";
    system = System(10, 0, VER_NT_WORKSTATION);
    system.rtlVerifyFailure = static_cast<LONG>(0xC000000D);
    EXPECT_FALSE(InspectionRunsOn(system));
    system = System(5, 1, VER_NT_WORKSTATION, 2);
    EXPECT_FALSE(InspectionRunsOn(system));
    system.hasGetNativeSystemInfo = false;
    EXPECT_TRUE(InspectionRunsOn(system)) << "no 64-bit architecture is known";
}

// ---- Loading ----

TEST_F(MachineRules, ModulesAreLoadedByTheirPathWithTheAlteredSearchPath) {
    MakeMalicious("bad.example", "Worm");
    ModuleLoads loads(Library());
    ASSERT_TRUE(loads.IsInPlace());
    ASSERT_TRUE(Init(TARN_START_RESTART));
    ASSERT_TRUE(Visit("bad.example", "/x"));
    std::vector<std::string> files;
    for (const ModuleLoads::Call& call : loads.Calls()) {
        files.push_back(call.file);
        EXPECT_EQ(call.flags, 8U) << call.file;
        EXPECT_EQ(call.handle, nullptr) << call.file;
    }
    EXPECT_THAT(files, ElementsAre("setrd.dll", "statrd.dll", "pktsig.dll", "sitecls.dll", "tlsinsp.dll", "urlsig.dll",
                                   "agentst.dll", "isolate.dll"));
}

TEST_F(MachineRules, AModuleFindsALibraryThatStandsBesideIt) {
    // The settings reader is made to need a library that stands in the install folder alone.
    const std::string imported = "companion_script.dll";
    const std::string beside = "companion_beside.dll";
    ASSERT_EQ(imported.size(), beside.size());
    std::ifstream in(folder / "setrd.dll", std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(in), {}};
    in.close();
    const std::size_t at = bytes.find(imported + '\0');
    ASSERT_NE(at, std::string::npos);
    bytes.replace(at, beside.size(), beside);
    WriteFile("setrd.dll", bytes);
    EXPECT_FALSE(Init(TARN_START_RESTART)) << "it stands nowhere";
    std::filesystem::copy_file(OwnFolder() / imported, folder / beside);
    EXPECT_TRUE(Init(TARN_START_RESTART));
    Deinit();
}

// ---- The proxy file ----

DWORD attributesError = 0;
DWORD WINAPI FakeAttributes(const wchar_t* path) {
    if (std::filesystem::path(path).filename() != L"proxyep.dat" || attributesError == 0)
        return GetFileAttributesW(path);
    SetLastError(attributesError);
    return INVALID_FILE_ATTRIBUTES;
}
std::vector<unsigned> readSizes;
int __cdecl WatchedRead(int file, void* bytes, unsigned count) {
    readSizes.push_back(count);
    return _read(file, bytes, count);
}
int __cdecl FailingRead(int, void*, unsigned) {
    return -1;
}

class ProxyFile : public MachineRules {
 protected:
    ProxyFile() {
        answers.bpStatus = 1;
        // Unscrambled it is neither 1 nor 2.
        WriteFile("proxyep.dat", std::string(64, 'x'));
    }
};

TEST_F(ProxyFile, OnlyAFileThatIsNotFoundIsASwitchThatIsOff) {
    const ImportPatch patch(Library(), "GetFileAttributesW", FakeAttributes);
    ASSERT_TRUE(patch.IsInPlace());
    for (const auto& [systemError, allowed] : {std::pair<DWORD, bool>{ERROR_FILE_NOT_FOUND, true},
                                               {ERROR_PATH_NOT_FOUND, false},
                                               {ERROR_ACCESS_DENIED, false},
                                               {ERROR_SHARING_VIOLATION, false}}) {
        attributesError = systemError;
        EXPECT_EQ(OnlineIsAllowed(), allowed) << systemError;
    }
    attributesError = 0;
}

TEST_F(ProxyFile, AFileThatCannotBeOpenedIsASwitchThatIsOn) {
    EXPECT_TRUE(OnlineIsAllowed());
    std::filesystem::remove(folder / "proxyep.dat");
    std::filesystem::create_directory(folder / "proxyep.dat");
    EXPECT_FALSE(OnlineIsAllowed());
}

TEST_F(ProxyFile, TenBytesAreRead) {
    readSizes.clear();
    {
        const ImportPatch patch(Library(), "_read", WatchedRead);
        ASSERT_TRUE(patch.IsInPlace());
        EXPECT_TRUE(OnlineIsAllowed());
    }
    EXPECT_THAT(readSizes, ElementsAre(10U));
    const ImportPatch patch(Library(), "_read", FailingRead);
    EXPECT_FALSE(OnlineIsAllowed());
}

}  // namespace
}  // namespace tarn::system_test
