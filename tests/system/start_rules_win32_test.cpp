// What a start clears, restores and decides, and what an end leaves, where another step would hide that it is missing.
#include <cstring>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "machine/win32_owners.h"
#include "smb/smb_frames.h"
#include "system/footprint_win32.h"
#include "system/rules_fixture_win32.h"

namespace tarn::system_test {
namespace {

using testing::ElementsAreArray;
using testing::IsEmpty;

class StartRules : public RulesFixture {
 protected:
    // The library is brought to ask its lists without a start: nothing but the status reader and one change.
    bool FindsAddressWithoutAStart() {
        answers.idsIpsStatus.enabled = 1;
        EXPECT_EQ(Update(TARN_UPDATED_STATUS_READER), 1);
        EXPECT_EQ(Change(TARN_SETTINGS_IDS_STATUS), 1U);
        EXPECT_TRUE(Visit("ids.example", "/x"));
        return Verdict() == Blocks(TARN_REASON_IDS_BLOCKED);
    }
    void Add() { BlockAddress("ids.example", "/x HTTP/1.1"); }
};

// ---- The list of blocked addresses ----

TEST_F(StartRules, AnAddressAddedBeforeAnyStartIsFound) {
    Add();
    EXPECT_TRUE(FindsAddressWithoutAStart());
}

TEST_F(StartRules, TheFirstStartForgetsTheAddresses) {
    answers.idsIpsStatus.enabled = 1;
    Add();
    ASSERT_TRUE(Init(TARN_START_RESTART));
    ASSERT_TRUE(Visit("ids.example", "/x"));
    EXPECT_THAT(Verdict(), Allows(TARN_REASON_DEFAULT));
}

TEST_F(StartRules, AnEndForgetsTheAddresses) {
    ASSERT_TRUE(Init(TARN_START_RESTART));
    Add();
    Deinit();
    EXPECT_FALSE(FindsAddressWithoutAStart());
}

// ---- The SMB tables ----

class SmbTables : public RulesFixture, public testing::WithParamInterface<int> {
 protected:
    std::uint32_t ResultOf(const smb::ByteList& frame, bool fromClient) {
        SmbScanResult result{};
        tarn.WSScanSMBPacket(frame.data(), static_cast<std::uint32_t>(frame.size()), fromClient ? 0 : 1, &result);
        return result.resultKind;
    }
    void AskForAFile() {
        const bool second = GetParam() == 2;
        ResultOf(smb::FromClient(second ? smb::Smb2TreeConnectRequest(u"\\\\server\\share")
                                        : smb::Smb1TreeConnectRequest(u"\\\\server\\share")),
                 true);
        ResultOf(smb::FromServer(second ? smb::Smb2TreeConnectResponse() : smb::Smb1TreeConnectReply()), false);
        ResultOf(
            smb::FromClient(second ? smb::Smb2CreateRequest(u"report.doc") : smb::Smb1CreateRequest(u"report.doc")),
            true);
    }
    bool TheAnswerIsReported() {
        return ResultOf(smb::FromServer(GetParam() == 2 ? smb::Smb2CreateResponse(2) : smb::Smb1CreateReply(2)),
                        false) != kNothing;
    }
    static constexpr std::uint32_t kNothing = 1;
};

TEST_P(SmbTables, AFileAskedForBeforeAnyStartIsReported) {
    AskForAFile();
    EXPECT_TRUE(TheAnswerIsReported());
}

TEST_P(SmbTables, TheFirstStartForgetsWhatWasAskedFor) {
    AskForAFile();
    ASSERT_TRUE(Init(TARN_START_RESTART));
    EXPECT_FALSE(TheAnswerIsReported());
}

TEST_P(SmbTables, AnEndForgetsWhatWasAskedFor) {
    ASSERT_TRUE(Init(TARN_START_RESTART));
    AskForAFile();
    Deinit();
    EXPECT_FALSE(TheAnswerIsReported());
}

std::function<void()>* beforeLastFolder = nullptr;
LONG WINAPI LoseTheFolder(HKEY root, const wchar_t* key, DWORD options, REGSAM access, HKEY* opened) {
    if (beforeLastFolder == nullptr) return RegOpenKeyExW(root, key, options, access, opened);
    (*std::exchange(beforeLastFolder, nullptr))();
    return ERROR_FILE_NOT_FOUND;
}

TEST_P(SmbTables, AStartThatFailsAtItsLastStepForgetsWhatWasAskedFor) {
    // The tables are ready and the switch of the DNS rule is looked for: a frame comes in, and the folder is not found.
    const ImportPatch patch(Library(), "RegOpenKeyExW", LoseTheFolder);
    ASSERT_TRUE(patch.IsInPlace());
    bool asked = false;
    std::function<void()> ask = [&] {
        AskForAFile();
        asked = true;
    };
    answers.listenerContext = &ask;
    answers.listener = [](void* context, const char* line) {
        if (std::string_view(line) == "ReadIDSSettings")
            beforeLastFolder = static_cast<std::function<void()>*>(context);
    };
    EXPECT_FALSE(Init(TARN_START_RESTART));
    answers.listener = nullptr;
    EXPECT_TRUE(asked);
    EXPECT_FALSE(TheAnswerIsReported());
}

INSTANTIATE_TEST_SUITE_P(Versions, SmbTables, testing::Values(1, 2),
                         [](const auto& version) { return "Smb" + std::to_string(version.param); });

// ---- Saved answers ----

TEST_F(StartRules, SavedAnswersWithoutACountOrWithoutEntriesAreNotRestored) {
    std::vector<DnsAnswerEntry> entries(5);
    const std::pair<DnsCacheRecord, std::uint16_t> records[] = {
        {{5, 7, entries.data()}, 7}, {{5, 7, nullptr}, 0}, {{0, 7, entries.data()}, 0}, {{0, 7, nullptr}, 0}};
    for (const auto& [saved, expectedIndex] : records) {
        answers.dnsCache = saved;
        ASSERT_TRUE(Init(TARN_START_RESTART));
        EXPECT_THAT(NewLines(), testing::Contains(testing::StartsWith("ReleaseDNSCacheSettings")));
        Deinit();
        EXPECT_EQ(answers.savedDnsIndex, expectedIndex) << saved.count << (saved.entries == nullptr ? " null" : "");
        EXPECT_EQ(answers.savedDnsCount, 3000);
    }
}

// ---- Browser exclusions ----

TEST_F(StartRules, AFailedStartForgetsTheExclusionList) {
    MakeMalicious("bad.example", "Worm");
    ExcludeThisProgram();
    const auto actedOn = [&] {
        NewLines();
        EXPECT_TRUE(Visit("bad.example", "/x"));
        EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS));
        return !NewLines().empty();
    };
    ASSERT_TRUE(Init(TARN_START_RESTART));
    EXPECT_FALSE(actedOn()) << "this program is in the list";
    Deinit();
    ScriptSetResult("PKSInit", 0);
    EXPECT_FALSE(Init(TARN_START_RESTART));
    EXPECT_EQ(Update(TARN_UPDATED_SETTINGS_READER | TARN_UPDATED_STATUS_READER), 1);
    EXPECT_EQ(Update(TARN_UPDATED_BROWSING_PROTECTION), 1);
    EXPECT_EQ(Change(TARN_SETTINGS_BROWSING_PROTECTION), 1U);
    EXPECT_TRUE(actedOn());
}

// ---- A managed client ----

bool managed = false;
SC_HANDLE WINAPI ServiceOfAManagedClient(SC_HANDLE, const wchar_t*, DWORD) {
    if (managed) return OpenSCManagerW(nullptr, nullptr, GENERIC_READ);  // any handle that the library can close
    SetLastError(ERROR_SERVICE_DOES_NOT_EXIST);
    return nullptr;
}

TEST_F(StartRules, AMachineThatIsNoLongerManagedLosesItsServer) {
    WriteProductData(5, 1);
    RegisterAgent(L"HOSTASVC501.EXE");
    MakeMalicious("server.example", "Worm");
    const std::u16string address = u"server.example";
    std::ranges::copy(address, answers.serverAddress);
    const ImportPatch patch(Library(), "OpenServiceW", ServiceOfAManagedClient);
    ASSERT_TRUE(patch.IsInPlace());
    const auto serverPasses = [&] {
        EXPECT_TRUE(Visit("server.example", "/x"));
        return Verdict() == Allows(TARN_REASON_DEFAULT);
    };
    managed = true;
    answers.expectedErrorCell = &error;
    ASSERT_TRUE(Init(2));
    EXPECT_THAT(NewLines(), testing::Contains("ReadEPSServerIP 260"));
    EXPECT_TRUE(serverPasses());
    managed = false;
    ASSERT_TRUE(Init(TARN_START_FRESH));
    const Lines lines = NewLines();
    EXPECT_THAT(lines, testing::Not(testing::Contains("ReadEPSServerIP 260")));
    EXPECT_THAT(lines, testing::Contains("ResetBPUserWhitelist"));
    EXPECT_THAT(lines, testing::Each(testing::Not(testing::HasSubstr("error cell"))));
    EXPECT_FALSE(serverPasses());
}

// ---- A library that is not ready ----

TEST_F(StartRules, OnALibraryThatOnlyHoldsModulesAStartReleasesAndWritesNothing) {
    EXPECT_EQ(Update(TARN_UPDATED_SETTINGS_READER | TARN_UPDATED_STATUS_READER), 1);
    NewLines();
    ASSERT_TRUE(Init(TARN_START_RESTART));
    EXPECT_THAT(NewLines(), ElementsAreArray(Join({{"unload statrd.dll", "unload setrd.dll"}, kRestartLines})));
}

TEST_F(StartRules, OnALibraryThatOnlyHoldsModulesASavedRingIsKept) {
    std::vector<DnsAnswerEntry> entries(3);
    answers.dnsCache = {3, 3, entries.data()};
    answers.savedDnsIndex = 99;
    EXPECT_EQ(Update(TARN_UPDATED_SETTINGS_READER | TARN_UPDATED_STATUS_READER), 1);
    ASSERT_TRUE(Init(TARN_START_RESTART));
    EXPECT_EQ(answers.savedDnsIndex, 99) << "nothing was saved";
    Deinit();
    EXPECT_EQ(answers.savedDnsIndex, 3);
}

}  // namespace
}  // namespace tarn::system_test
