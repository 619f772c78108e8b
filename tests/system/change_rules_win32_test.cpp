// Settings changes and updated files: what fails, what a failure leaves, and which module gets the host's values.
#include <cstring>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include "system/fake_windows_version_win32.h"
#include "system/rules_fixture_win32.h"

namespace tarn::system_test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

const Lines kReloadCategorisation = {"SCDeinit",     "unload sitecls.dll", "load sitecls.dll", "ReadWebSecCloudStatus",
                                     "ReadBPStatus", "ReadAPStatus",       "ReadPCSettings",   "SCInit 0"};

class ChangeRules : public RulesFixture {
 protected:
    bool CategorisationIsLoaded() const { return GetModuleHandleA("sitecls.dll") != nullptr; }
    bool InspectionIsLoaded() const { return GetModuleHandleA("tlsinsp.dll") != nullptr; }
};

// ---- Statuses ----

TEST_F(ChangeRules, ABrowsingProtectionStatusThatCannotBeReadIsOffAndReloadsNothing) {
    answers.bpStatus = 1;
    ASSERT_TRUE(Init(TARN_START_RESTART));
    EXPECT_EQ(FeatureStatus(), 1);
    ScriptSetResult("ReadBPStatus", 0);
    NewLines();
    EXPECT_EQ(Change(TARN_SETTINGS_BROWSING_PROTECTION), 0U);
    EXPECT_THAT(NewLines(), ElementsAre("ReadBPStatus"));
    EXPECT_EQ(FeatureStatus(), 0);
}

TEST_F(ChangeRules, ABrowsingProtectionPromptThatCannotBeReadReloadsNothing) {
    MakeMalicious("bad.example", "Worm");
    ASSERT_TRUE(Init(TARN_START_RESTART));
    ScriptSetResult("ReadBPReportPromptStatus", 0);
    NewLines();
    EXPECT_EQ(Change(TARN_SETTINGS_BROWSING_PROTECTION), 0U);
    EXPECT_THAT(NewLines(), ElementsAre("ReadBPStatus", "ReadBPReportPromptStatus"));
    ASSERT_TRUE(Visit("bad.example", "/x"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS)) << "the status was read";
    EXPECT_EQ(Prompt(), "0 0");
}

TEST_F(ChangeRules, AnIntrusionPreventionStatusThatCannotBeReadTurnsTheFeatureOff) {
    answers.idsIpsStatus.enabled = 1;
    ASSERT_TRUE(Init(TARN_START_RESTART));
    BlockAddress("ids.example", "/x HTTP/1.1");
    ASSERT_TRUE(Visit("ids.example", "/x"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_IDS_BLOCKED));
    ScriptSetResult("ReadIDSIPSStatus", 0);
    EXPECT_EQ(Change(TARN_SETTINGS_IDS_STATUS), 0U);
    ASSERT_TRUE(Visit("ids.example", "/x"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
    const std::uint8_t frame[60] = {};
    PacketVerdict packet{};
    NewLines();
    EXPECT_EQ(tarn.WSScanPacket(frame, sizeof frame, 1, 1, 0, &packet), 1);
    EXPECT_THAT(NewLines(), IsEmpty()) << "the signatures are not asked";
}

// ---- Everything ----

void* __cdecl NoRing(std::size_t size, std::size_t alignment) {
    if (size >= std::size_t{TARN_DNS_RING_SLOTS} * sizeof(DnsAnswerEntry)) return nullptr;
    return _aligned_malloc(size, alignment);
}

TEST_F(ChangeRules, WithoutMemoryForTheAnswersAChangeOfEverythingEndsBehindTheRelease) {
    ASSERT_TRUE(Init(TARN_START_RESTART));
    const ImportPatch patch(Library(), "_aligned_malloc", NoRing);
    ASSERT_TRUE(patch.IsInPlace());
    NewLines();
    EXPECT_EQ(Change(TARN_SETTINGS_EVERYTHING), 0U);
    EXPECT_THAT(NewLines(), ElementsAreArray(kReleaseLines)) << "nothing is read, nothing reloaded";
    EXPECT_TRUE(CategorisationIsLoaded());
}

TEST_F(ChangeRules, AnEndBehindAFailedChangeOfEverythingWritesTheEmptyRing) {
    ASSERT_TRUE(Init(TARN_START_RESTART));
    ScriptSetResult("SCInit", 0);
    EXPECT_EQ(Change(TARN_SETTINGS_EVERYTHING), 0U);
    NewLines();
    answers.savedDnsIndex = 99;
    Deinit();
    EXPECT_THAT(NewLines(), Contains("WriteDNSCacheSettings error 0"));
    EXPECT_EQ(answers.savedDnsIndex, 0);
}

// ---- HTTPS inspection ----

TEST_F(ChangeRules, AFailedReloadOfCategorisationLeavesInspectionUnloaded) {
    for (const std::uint32_t setting : {6U, 7U}) {
        ASSERT_TRUE(Init(TARN_START_RESTART));
        ASSERT_TRUE(InspectionIsLoaded());
        ScriptSetResult("SCInit", 0);
        NewLines();
        EXPECT_EQ(Change(setting), 0U) << setting;
        EXPECT_THAT(NewLines(), Not(Contains("load tlsinsp.dll")));
        EXPECT_FALSE(InspectionIsLoaded());
        ScriptSetResult("SCInit", 1);
    }
}

TEST_F(ChangeRules, WhereInspectionMayNotRunItsChangeReloadsCategorisationOnly) {
    FakeWindowsVersion windows(Library());
    ASSERT_TRUE(windows.IsInPlace());
    windows.Reported().productType = VER_NT_SERVER;
    ASSERT_TRUE(Init(TARN_START_RESTART));
    EXPECT_FALSE(InspectionIsLoaded());
    for (const std::uint32_t setting : {6U, 7U}) {
        NewLines();
        EXPECT_EQ(Change(setting), 1U);
        EXPECT_THAT(NewLines(), ElementsAreArray(kReloadCategorisation)) << setting;
    }
}

TEST_F(ChangeRules, UpdatedHttpsInspection_IsLoadedWhateverTheSystem) {
    FakeWindowsVersion windows(Library());
    ASSERT_TRUE(windows.IsInPlace());
    windows.Reported().productType = VER_NT_SERVER;
    ASSERT_TRUE(Init(TARN_START_RESTART));
    NewLines();
    EXPECT_EQ(Update(TARN_UPDATED_HTTPS_INSPECTION), 1);
    EXPECT_THAT(NewLines(), ElementsAre("load tlsinsp.dll", "IntializeSSL"));
    EXPECT_EQ(Update(TARN_UPDATED_HTTPS_INSPECTION), 1);
    EXPECT_THAT(NewLines(), ElementsAre("DeIntializeSSL", "unload tlsinsp.dll", "load tlsinsp.dll", "IntializeSSL"));
    EXPECT_EQ(Change(TARN_SETTINGS_HTTPS_INSPECTION), 1U);
    EXPECT_TRUE(InspectionIsLoaded()) << "a change does not touch it on such a system";
    NewLines();
    Deinit();
    EXPECT_THAT(NewLines(), ElementsAreArray(Join({kReleaseLines, kUnloadLines}))) << "the end unloads it all the same";
}

// ---- Updated modules that do not load ----

TEST_F(ChangeRules, AnUpdatedModuleThatDoesNotLoadIsAFailure) {
    const std::pair<std::uint32_t, const char*> updates[] = {{0x04, "sitecls.dll"}, {0x80, "sitecls.dll"},
                                                             {0x01, "pktsig.dll"},  {0x02, "setrd.dll"},
                                                             {0x10, "tlsinsp.dll"}, {0x20, "statrd.dll"}};
    ModuleLoads loads(Library());
    ASSERT_TRUE(loads.IsInPlace());
    for (const auto& [bit, file] : updates) {
        SCOPED_TRACE(bit);
        ASSERT_TRUE(Init(TARN_START_RESTART));
        loads.Refuse(file);
        NewLines();
        EXPECT_EQ(Update(bit | 0x1000), 0);
        EXPECT_THAT(NewLines(), Not(Contains("ReadIDSSettings"))) << "nothing behind it is handled";
        EXPECT_THAT(LoadedCompanions(), Not(Contains(file)));
        loads.Refuse("");
    }
}

TEST_F(ChangeRules, AnUpdatedPatternModuleThatDoesNotLoadIsNone) {
    ModuleLoads loads(Library());
    ASSERT_TRUE(Init(TARN_START_RESTART));
    loads.Refuse("urlsig.dll");
    NewLines();
    EXPECT_EQ(Update(TARN_UPDATED_URL_PATTERNS | TARN_UPDATED_IDS_RULES), 1);
    EXPECT_THAT(NewLines(), Contains("ReadIDSSettings"));
    EXPECT_THAT(LoadedCompanions(), Not(Contains("urlsig.dll")));
}

TEST_F(ChangeRules, IdsRulesThatCannotBeReadAreCleared) {
    IdsRule rule{};
    rule.id = 7;
    rule.name[0] = u'A';
    answers.idsSettings = {1, 0, &rule};
    MakeEveryFrameAnAttack();
    ASSERT_TRUE(Init(TARN_START_RESTART));
    EXPECT_EQ(RuleNameOf(7), u"A");
    ScriptSetResult("ReadIDSSettings", 0);
    EXPECT_EQ(Update(TARN_UPDATED_IDS_RULES), 1);
    EXPECT_EQ(RuleNameOf(7), u"");
}

TEST_F(ChangeRules, RecordsAreKeptOverTheReloadOfTheirReaderAndReleasedOnce) {
    MakeMalicious("bad.example", "Worm");
    LetUserAllow("good.example");
    LetWebSecurityAllow("inner.example");
    ASSERT_TRUE(Init(TARN_START_RESTART));
    NewLines();
    EXPECT_EQ(Update(TARN_UPDATED_SETTINGS_READER | TARN_UPDATED_STATUS_READER), 1);
    EXPECT_THAT(NewLines(), ElementsAre("unload setrd.dll", "load setrd.dll", "unload statrd.dll", "load statrd.dll"));
    Deinit();
    Lines releases;
    for (const std::string& line : NewLines())
        if (line.starts_with("Release")) releases.push_back(line);
    EXPECT_THAT(releases, ElementsAre("ReleaseWSInternalWhiteList record", "ReleaseBPSettings record",
                                      "ReleaseBPUserWhiteList record", "ReleaseIDSSettings empty"));
}

// ---- The host's three values ----

struct Passing {
    const char* name;
    std::uint32_t kind;
    Lines missing;  // modules that are not loaded when the change comes
    std::string first;

    friend std::ostream& operator<<(std::ostream& out, const Passing& passing) { return out << passing.name; }
};

class PassedValues : public ChangeRules, public testing::WithParamInterface<Passing> {
 protected:
    void Lose(const std::string& file) {
        const std::pair<const char*, std::uint32_t> bits[] = {
            {"sitecls.dll", 0x04}, {"setrd.dll", 0x02}, {"tlsinsp.dll", 0x10}, {"statrd.dll", 0x20}};
        const ModuleLoads loads(Library());
        ModuleLoads::Refuse(file);
        for (const auto& [name, bit] : bits) {
            if (file == name) {
                EXPECT_EQ(Update(bit), 0);
            }
        }
        EXPECT_THAT(LoadedCompanions(), Not(Contains(file)));
    }
};

TEST_P(PassedValues, ReachTheFirstCallThatIsReallyMade) {
    ASSERT_TRUE(Init(TARN_START_RESTART));
    for (const std::string& file : GetParam().missing) Lose(file);
    NewLines();
    answers.firstCallNotesPassed = 1;
    Change(GetParam().kind);
    const Lines lines = NewLines();
    // The loading of a module is no call.
    const auto first = std::ranges::find_if(lines, [](const std::string& line) { return !line.starts_with("load "); });
    ASSERT_NE(first, lines.end());
    EXPECT_EQ(*first, GetParam().first + " passed 11 22 33");
    // And only that one: what stands behind the arguments of a later call is not the host's by intention.
    EXPECT_EQ(std::ranges::count_if(lines, [](const std::string& line) { return line.find(" passed ") != line.npos; }),
              1);
}

const Passing kPassings[] = {
    {"0", 0, {}, "ReadAPStatus"},
    {"1", 1, {}, "ReadBPStatus"},
    {"2", 2, {}, "ReadIDSIPSStatus"},
    {"3", 3, {}, "ReleaseBPUserWhiteList"},
    {"4", 4, {}, "WritePCSystemControlSettings"},
    {"5", 5, {}, "ReadIDSIPSSettings"},
    {"6", 6, {}, "DeIntializeSSL"},
    {"7", 7, {}, "DeIntializeSSL"},
    {"8", 8, {}, "ReleaseWSInternalWhiteList"},
    {"6WithoutInspection", 6, {"tlsinsp.dll"}, "SCDeinit"},
    {"7WithoutInspection", 7, {"tlsinsp.dll"}, "SCDeinit"},
    {"6WithNeither", 6, {"tlsinsp.dll", "sitecls.dll"}, "ReadWebSecCloudStatus"},
    {"7WithNeither", 7, {"tlsinsp.dll", "sitecls.dll"}, "ReadWebSecCloudStatus"},
    {"6WithoutTheStatusReaderToo", 6, {"tlsinsp.dll", "sitecls.dll", "statrd.dll"}, "SCInit"},
    {"8WithoutTheSettingsReader", 8, {"setrd.dll"}, "WriteDNSCacheSettings"},
    {"8WithoutBothReaders", 8, {"setrd.dll", "statrd.dll"}, "GetYALStatus"},
};

INSTANTIATE_TEST_SUITE_P(Kinds, PassedValues, testing::ValuesIn(kPassings),
                         [](const auto& passing) { return std::string("Kind") + passing.param.name; });

}  // namespace
}  // namespace tarn::system_test
