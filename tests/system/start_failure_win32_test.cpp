// Every step of start-up is made to fail in turn: exactly the steps before it are undone, in reverse, and nothing
// stays.
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include "system/footprint_win32.h"
#include "system/import_patch_win32.h"
#include "system/journal_lines.h"
#include "system/system_fixture_win32.h"

namespace tarn::system_test {
namespace {

using testing::ElementsAreArray;
using testing::IsEmpty;

// One module as start-up loads it: what its initialiser and its end say.
struct ModuleLines {
    std::string file;
    Lines started;
    Lines ended;
    std::vector<const char*> functions;  // that must be there, in binding order
};

const std::vector<ModuleLines> kNeeded = {
    {"setrd.dll",
     {},
     {},
     {"ReadWSInternalWhiteList", "ReadBPSettings", "ReadIDSSettings", "ReleaseIDSSettings",
      "ReleaseWSInternalWhiteList", "ReleaseBPSettings", "ReadAPSettings", "ReleaseAPSettings",
      "ReadBPInternalWhiteList", "ReleaseBPInternalWhiteList"}},
    {"statrd.dll",
     {},
     {},
     {"ReadBPStatus", "ReadIDSIPSStatus", "ReadPCSettings", "ReleasePCSettings", "ReadAPStatus", "ReadBPUserWhiteList",
      "ResetBPUserWhitelist", "ReleaseBPUserWhiteList", "ReadWebSecCloudStatus", "ReadDNSCacheSettings",
      "WriteDNSCacheSettings", "ReleaseDNSCacheSettings", "ReadIDSIPSSettings", "ReleaseIDSIPSSettings",
      "ReadBPReportPromptStatus", "ReadPCSystemControlSettings", "ReleasePCSystemControlSettings",
      "WritePCSystemControlSettings", "ReadEPSServerIP"}},
    {"pktsig.dll", {"PKSInit"}, {"PKSDeinit 77"}, {"PKSInit", "PKSDeinit", "PKSScanPacket"}},
    {"sitecls.dll",
     {"ReadWebSecCloudStatus", "ReadBPStatus", "ReadAPStatus", "ReadPCSettings", "SCInit 0"},
     {"SCDeinit"},
     {"SCInit", "SCDeinit", "SCGetURLCategories", "SCGetCategoryName", "SCReleaseCategories", "SCSaveCacheFile"}}};

const std::vector<ModuleLines> kOptional = {{"tlsinsp.dll",
                                             {"IntializeSSL"},
                                             {"DeIntializeSSL"},
                                             {"IntializeSSL", "DeIntializeSSL", "TiScanHttpsPacket", "TiShowPopup"}},
                                            {"urlsig.dll",
                                             {"WSInitUrlsig"},
                                             {"WSDeInitUrlsig"},
                                             {"WSCheckURLMaliciousPattern", "WSInitUrlsig", "WSDeInitUrlsig"}}};

Lines LoadOf(const ModuleLines& module) {
    return Join({{"load " + module.file}, module.started});
}
Lines UnloadOf(const ModuleLines& module) {
    return Join({module.ended, {"unload " + module.file}});
}
// The first needed modules up to but without the failing one, what that one says, and their end in reverse.
Lines FailureAt(std::size_t failing, const Lines& ownLines) {
    Lines lines;
    for (std::size_t i = 0; i < failing; ++i) lines = Join({lines, LoadOf(kNeeded[i])});
    lines = Join({lines, ownLines});
    for (std::size_t i = failing; i-- > 0;) lines = Join({lines, UnloadOf(kNeeded[i])});
    return lines;
}

class StartFailure : public SystemFixture {
 protected:
    static constexpr std::uint32_t kUntouchedError = 99;

    void SetUp() override {
        ASSERT_TRUE(Init(TARN_START_RESTART));
        Deinit();
        handles_ = OwnHandleCount();
        NewLines();
    }
    // The step that was made to fail ends start-up like this, and nothing of it stays.
    void ExpectFailure(const Lines& lines, std::uint32_t expectedError = kUntouchedError) {
        NewLines();
        error = kUntouchedError;
        EXPECT_FALSE(Init(TARN_START_RESTART));
        EXPECT_THAT(NewLines(), ElementsAreArray(lines));
        EXPECT_EQ(error, expectedError);
        ExpectNothingLeft();
        Deinit();
        EXPECT_THAT(NewLines(), IsEmpty()) << "there is nothing to end";
    }
    // A start that succeeds without something, and its end.
    void ExpectLife(const Lines& start, const Lines& end) {
        NewLines();
        error = kUntouchedError;
        EXPECT_TRUE(Init(TARN_START_RESTART));
        EXPECT_THAT(NewLines(), ElementsAreArray(start));
        EXPECT_EQ(error, 0U);
        Deinit();
        EXPECT_THAT(NewLines(), ElementsAreArray(end));
        ExpectNothingLeft();
    }
    void ExpectNothingLeft() {
        EXPECT_THAT(LoadedCompanions(), IsEmpty());
        EXPECT_EQ(ThreadsOf(Library()), 0U);
        EXPECT_FALSE(OwnHandleCount() > handles_ && EachLifeLeavesAHandle());
        handles_ = OwnHandleCount();
    }
    // The system now and then opens something of its own; what the library leaves it leaves each time.
    bool EachLifeLeavesAHandle() {
        for (int i = 0; i < 4; ++i) {
            const std::size_t before = OwnHandleCount();
            Init(TARN_START_RESTART);
            Deinit();
            NewLines();
            if (OwnHandleCount() <= before) return false;
        }
        return true;
    }
    void With(const std::string& module, const std::function<void()>& hurt, const std::function<void()>& expect) {
        std::filesystem::copy_file(folder / module, folder / "whole");
        hurt();
        expect();
        std::filesystem::rename(folder / "whole", folder / module);
    }
    void SwitchScheduleOn() {
        profile.leading.profileSwitch = profile.leading.scheduleSwitch = 1;
        DeliverOneProfile();
    }

    // A restart of a library whose parental settings hold one profile: what it says before the worker is started.
    const Lines kStartWithProfile =
        Changed(Changed(Join({kLoadLines, {"ReadDNSCacheSettings", "ReleaseDNSCacheSettings empty"}, kReadLines}),
                        "SCInit 0", "SCInit 1"),
                "ReleasePCSettings empty", "ReleasePCSettings record");

 private:
    std::size_t handles_ = 0;
};

const Lines kRestart = Join({kLoadLines, {"ReadDNSCacheSettings", "ReleaseDNSCacheSettings empty"}, kReadLines});
const Lines kEnd = Join({kReleaseLines, kUnloadLines});

TEST_F(StartFailure, ANeededModuleThatIsMissing) {
    for (std::size_t i = 0; i < kNeeded.size(); ++i) {
        SCOPED_TRACE(kNeeded[i].file);
        With(
            kNeeded[i].file, [&] { RemoveModule(kNeeded[i].file); }, [&] { ExpectFailure(FailureAt(i, {})); });
    }
}

TEST_F(StartFailure, AFunctionOfANeededModuleThatIsMissing) {
    for (std::size_t i = 0; i < kNeeded.size(); ++i)
        for (const char* function : kNeeded[i].functions) {
            SCOPED_TRACE(function);
            const std::string& file = kNeeded[i].file;
            With(
                file, [&] { HideExport(file, function); },
                [&] {
                    ExpectFailure(FailureAt(i, {"load " + file, "unload " + file}));
                });
        }
}

TEST_F(StartFailure, AnInitialiserOfANeededModuleThatFails) {
    for (const auto& [index, initialiser] : {std::pair<std::size_t, const char*>{2, "PKSInit"}, {3, "SCInit"}}) {
        SCOPED_TRACE(initialiser);
        ScriptSetResult(initialiser, 0);
        ExpectFailure(FailureAt(index, Join({LoadOf(kNeeded[index]), {"unload " + kNeeded[index].file}})));
        ScriptSetResult(initialiser, 1);
    }
}

TEST_F(StartFailure, AnOptionalModuleIsLeftOut) {
    for (const ModuleLines& module : kOptional) {
        const Lines without = Without(kRestart, LoadOf(module));
        const Lines end = Without(kEnd, UnloadOf(module));
        const auto instead = [&](const Lines& lines) {
            const auto at = std::ranges::find(kRestart, "load " + module.file) - kRestart.begin();
            Lines start = without;
            start.insert(start.begin() + at, lines.begin(), lines.end());
            return start;
        };
        With(
            module.file, [&] { RemoveModule(module.file); }, [&] { ExpectLife(without, end); });
        for (const char* function : module.functions) {
            SCOPED_TRACE(function);
            With(
                module.file, [&] { HideExport(module.file, function); },
                [&] {
                    ExpectLife(instead({"load " + module.file, "unload " + module.file}), end);
                });
        }
        ScriptSetResult(module.started.front().c_str(), 0);
        ExpectLife(instead(Join({LoadOf(module), {"unload " + module.file}})), end);
        ScriptSetResult(module.started.front().c_str(), 1);
    }
}

TEST_F(StartFailure, TheShortLivedModulesMayBeMissing) {
    for (const char* file : {"isolate.dll", "OPTSTORE.DLL"})
        With(
            file, [&] { RemoveModule(file); }, [&] { ExpectLife(kRestart, kEnd); });
    const Lines agent = {"load agentst.dll", "GetYALStatus", "unload agentst.dll"};
    With(
        "agentst.dll", [&] { RemoveModule("agentst.dll"); }, [&] { ExpectLife(Without(kRestart, agent), kEnd); });
    With(
        "agentst.dll", [&] { HideExport("agentst.dll", "GetYALStatus"); },
        [&] { ExpectLife(Without(kRestart, {"GetYALStatus"}), kEnd); });
    ScriptSetResult("GetYALStatus", 0);
    ExpectLife(kRestart, kEnd);
}

TEST_F(StartFailure, AFailedReadLeavesOutItsReleaseOnly) {
    const std::pair<const char*, Lines> reads[] = {
        {"ReadBPUserWhiteList", {}},
        {"ReadBPStatus", {}},
        {"ReadIDSIPSStatus", {}},
        {"ReadIDSIPSSettings", {"ReleaseIDSIPSSettings empty"}},
        {"ReadAPStatus", {}},
        {"ReadBPSettings", {}},
        {"ReadPCSettings", {"ReleasePCSettings empty"}},
        {"ReadPCSystemControlSettings", {"ReleasePCSystemControlSettings empty"}},
        {"ReadBPInternalWhiteList", {}},
        {"ReadWSInternalWhiteList", {}},
        {"ReadAPSettings", {"ReleaseAPSettings empty"}},
        {"ReadBPReportPromptStatus", {}},
        {"ReadAPReportPromptStatus", {}},
        {"ReadIDSSettings", {}},
        {"ReadWebSecCloudStatus", {}},
        {"ReadDNSCacheSettings", {"ReleaseDNSCacheSettings empty"}}};
    for (const auto& [read, left] : reads) {
        SCOPED_TRACE(read);
        ScriptSetResult(read, 0);
        ExpectLife(Without(kRestart, left), kEnd);
        ScriptSetResult(read, 1);
    }
}

TEST_F(StartFailure, AFailedWriteStopsNoEnd) {
    for (const char* write : {"WriteDNSCacheSettings", "WritePCSystemControlSettings", "ResetBPUserWhitelist"}) {
        ScriptSetResult(write, 0);
        ExpectLife(kRestart, kEnd);
    }
    NewLines();
    EXPECT_TRUE(Init(TARN_START_FRESH));
    EXPECT_THAT(NewLines(), ElementsAreArray(Join({kLoadLines, {"ResetBPUserWhitelist"}, kReadLines})));
}

// ---- What only the system can refuse ----

constexpr DWORD kRefused = 1450;

// The ring's slots are aligned; nothing else of the library is as large.
void* __cdecl RefuseTheRing(std::size_t size, std::size_t alignment) {
    if (size >= std::size_t{TARN_DNS_RING_SLOTS} * sizeof(DnsAnswerEntry)) return nullptr;
    return _aligned_malloc(size, alignment);
}
HANDLE WINAPI RefuseEvents(SECURITY_ATTRIBUTES*, BOOL, BOOL, const wchar_t*) {
    SetLastError(kRefused);
    return nullptr;
}
HANDLE WINAPI RefuseThreads(SECURITY_ATTRIBUTES*, SIZE_T, LPTHREAD_START_ROUTINE, void*, DWORD, DWORD*) {
    SetLastError(kRefused);
    return nullptr;
}

TEST_F(StartFailure, WithoutMemoryForTheAnswersOnlyTheModulesAreUndone) {
    const ImportPatch patch(Library(), "_aligned_malloc", RefuseTheRing);
    ASSERT_TRUE(patch.IsInPlace());
    ExpectFailure(Join({kLoadLines, kUnloadLines}));
}

TEST_F(StartFailure, WithoutAnEventOrAThreadTheSettingsAreReleasedToo) {
    // The cell holds the system's error when the worker gives up, and 0 again when the settings are released.
    SwitchScheduleOn();
    const Lines lines = Join({kStartWithProfile, kEnd});
    {
        const ImportPatch patch(Library(), "CreateEventW", RefuseEvents);
        ASSERT_TRUE(patch.IsInPlace());
        ExpectFailure(lines, 0);
    }
    {
        const ImportPatch patch(Library(), "CreateThread", RefuseThreads);
        ASSERT_TRUE(patch.IsInPlace());
        ExpectFailure(lines, 0);
    }
    EXPECT_TRUE(Init(TARN_START_RESTART)) << "once the system gives them again";
}

TEST_F(StartFailure, WithoutAPathForTheDnsSwitchTheWorkerIsStoppedToo) {
    // The install folder goes, or becomes too long a path, while the last settings record is read.
    SwitchScheduleOn();
    const std::u16string registered = folder.u16string() + u"\\";
    const std::u16string paths[] = {u"", u"C:\\" + std::u16string(255, u'p') + u"\\",
                                    u"C:\\" + std::u16string(246, u'p') + u"\\"};
    for (const std::u16string& path : paths) {
        SCOPED_TRACE(path.size());
        std::function<void()> lose = [&] { path.empty() ? RemoveInstallPath() : SetInstallPath(path); };
        answers.listenerContext = &lose;
        answers.listener = [](void* context, const char* line) {
            if (std::string_view(line) == "ReadIDSSettings") (*static_cast<std::function<void()>*>(context))();
        };
        ExpectFailure(Join({kStartWithProfile, kEnd}), 0);
        answers.listener = nullptr;
        SetInstallPath(registered);
    }
    EXPECT_TRUE(Init(TARN_START_RESTART));
}

TEST_F(StartFailure, WithoutAnInstallFolderNoModuleIsLoaded) {
    RemoveInstallPath();
    ExpectFailure({});
    SetInstallPath(u"C:\\" + std::u16string(250, u'p') + u"\\");
    ExpectFailure({});
}

}  // namespace
}  // namespace tarn::system_test
