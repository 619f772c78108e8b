// What the built library does at its boundary and nowhere else: the entry point, the host's error cell, reserved
// arguments, the files it opens.
#include <cwctype>
#include <fcntl.h>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <io.h>
#include <map>

#include "network/frame_bytes.h"
#include "smb/smb_frames.h"
#include "system/rules_fixture_win32.h"
#include "url/tls_hello.h"

namespace tarn::system_test {
namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class Boundary : public RulesFixture {
 protected:
    // Every settings export and every scan once, whatever they find.
    void UseEverything() {
        MakeMalicious("bad.example", "Worm");
        answers.idsIpsStatus.enabled = 1;
        ASSERT_TRUE(Init(TARN_START_RESTART));
        for (std::uint32_t setting = 0; setting <= 8; ++setting) EXPECT_EQ(Change(setting), 1U) << setting;
        EXPECT_EQ(Update(0x10FF), 1);
        EXPECT_TRUE(Visit("bad.example", "/x"));
        EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS));
        EXPECT_TRUE(Ask(url::TlsHello("shop.example")));
        BlockAddress("ids.example", "/x HTTP/1.1");
        const network::FrameBytes frame = network::MakeFrame({});
        PacketVerdict packet{};
        EXPECT_EQ(tarn.WSScanPacket(frame.data(), static_cast<std::uint32_t>(frame.size()), 1, 1, 0, &packet), 1);
        const smb::ByteList smbFrame = smb::FromClient(smb::Smb2TreeConnectRequest(u"\\\\server\\share"));
        SmbScanResult smbResult{};
        EXPECT_EQ(tarn.WSScanSMBPacket(smbFrame.data(), static_cast<std::uint32_t>(smbFrame.size()), 1, &smbResult), 1);
        tarn.WSShutDown(1, 2, 3, 4);
        Deinit();
    }
};

// ---- The entry point ----

std::vector<HMODULE> withoutThreadNotices;
BOOL noticesCanBeTurnedOff = TRUE;
BOOL WINAPI WatchedDisable(HMODULE module) {
    withoutThreadNotices.push_back(module);
    return noticesCanBeTurnedOff;
}

TEST_F(Boundary, AttachTurnsThreadNoticesOff) {
    // The library calls it while it is loaded, before its own imports could be patched: its way through kernel32 is.
    const ImportPatch patch(GetModuleHandleW(L"kernel32.dll"), "DisableThreadLibraryCalls", WatchedDisable);
    ASSERT_TRUE(patch.IsInPlace());
    for (const BOOL succeeds : {TRUE, FALSE}) {
        withoutThreadNotices.clear();
        noticesCanBeTurnedOff = succeeds;
        const std::filesystem::path copy = folder / (succeeds ? "first.dll" : "second.dll");
        std::filesystem::copy_file(BuiltTarn(), copy);
        const LoadedTarn loaded(copy);
        ASSERT_NE(loaded.Module(), nullptr) << "the entry point always succeeds";
        EXPECT_THAT(withoutThreadNotices, ElementsAre(loaded.Module()));
    }
}

// ---- Arguments of the modules ----

TEST_F(Boundary, EveryCallOfAStartAndAnEndHasTheHostsErrorCell) {
    answers.expectedErrorCell = &error;
    for (const bool mode : {false, true}) {
        ASSERT_TRUE(Init(mode ? 1 : 0));
        Deinit();
    }
    EXPECT_THAT(Journal(), Contains("SCInit 0"));
    EXPECT_THAT(Journal(), Each(Not(HasSubstr("error cell"))));
}

TEST_F(Boundary, ACellThatIsNotTheHostsIsNoticed) {
    const std::uint32_t another = 0;
    answers.expectedErrorCell = &another;
    ASSERT_TRUE(Init(TARN_START_RESTART));
    Deinit();
    const Lines lines = Journal();
    for (const char* read : {"ReadBPStatus", "ReadIDSSettings", "ReadDNSCacheSettings", "ReadPCSystemControlSettings",
                             "SCInit", "WritePCSystemControlSettings"})
        EXPECT_THAT(lines, Contains(std::string(read) + " other error cell"));
}

TEST_F(Boundary, ReservedArgumentsAreZero) {
    UseEverything();
    EXPECT_THAT(Journal(), Contains("ReadBPStatus"));
    EXPECT_THAT(Journal(), Each(Not(HasSubstr(" reserved "))));
    EXPECT_THAT(Journal(), Each(Not(HasSubstr("null error cell"))));
}

// ---- Files ----

std::vector<std::string> openedToWrite;
std::size_t openedFiles = 0;

HANDLE WINAPI WatchedCreateFile(const wchar_t* path, DWORD access, DWORD share, SECURITY_ATTRIBUTES* security,
                                DWORD disposition, DWORD flags, HANDLE pattern) {
    ++openedFiles;
    if ((access & ~static_cast<DWORD>(GENERIC_READ)) != 0 || disposition != OPEN_EXISTING)
        openedToWrite.push_back(std::filesystem::path(path).string());
    return CreateFileW(path, access, share, security, disposition, flags, pattern);
}
int __cdecl WatchedOpen(const wchar_t* path, int flags, ...) {
    ++openedFiles;
    if ((flags & (_O_WRONLY | _O_RDWR | _O_CREAT | _O_TRUNC | _O_APPEND)) != 0)
        openedToWrite.push_back(std::filesystem::path(path).string());
    return _wopen(path, flags);
}

// Every file of the folder with what it holds.
std::map<std::string, std::string> Contents(const std::filesystem::path& folder) {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        std::ifstream in(entry.path(), std::ios::binary);
        files[entry.path().string()] = {std::istreambuf_iterator<char>(in), {}};
    }
    return files;
}

TEST_F(Boundary, NoFileAndNoLogIsWritten) {
    WriteFile("proxyep.dat", std::string("00"));
    WriteFile("browskip.ini", std::string("[BROWSER_EXCLUSION_LIST]\r\nCOUNT=1\r\nNAMES=none.exe\r\n"));
    WriteProductData(5, 1);
    const ImportPatch createFile(Library(), "CreateFileW", WatchedCreateFile);
    const ImportPatch open(Library(), "_wopen", WatchedOpen);
    ASSERT_TRUE(createFile.IsInPlace() && open.IsInPlace());
    for (const char* name : {"fopen", "_wfopen", "DeleteFileW", "MoveFileExW", "WritePrivateProfileStringW"})
        EXPECT_FALSE(ImportPatch(Library(), name, WatchedOpen).IsInPlace()) << name;
    openedFiles = 0;
    openedToWrite.clear();
    const auto before = Contents(folder);
    UseEverything();
    EXPECT_GE(openedFiles, 2U) << "the proxy file and the product data are read";
    EXPECT_THAT(openedToWrite, IsEmpty());
    EXPECT_TRUE(Contents(folder) == before);
    for (const char* log : {"c:\\logs\\tarn.log", "c:\\logs\\zrlog.log"}) EXPECT_FALSE(std::filesystem::exists(log));
}

// ---- Locks ----

HANDLE WINAPI NoSemaphore(SECURITY_ATTRIBUTES*, LONG, LONG, const wchar_t*) {
    SetLastError(ERROR_NO_SYSTEM_RESOURCES);
    return nullptr;
}

TEST_F(Boundary, ALibraryWhoseLocksHaveNoSemaphoresStillJudges) {
    MakeMalicious("bad.example", "Worm");
    const std::filesystem::path copy = folder / "poor.dll";
    std::filesystem::copy_file(BuiltTarn(), copy);
    const auto loaded = [&] {
        const ImportPatch patch(GetModuleHandleW(L"kernel32.dll"), "CreateSemaphoreW", NoSemaphore);
        EXPECT_TRUE(patch.IsInPlace());
        return std::make_unique<LoadedTarn>(copy);
    }();
    const Exports& poor = loaded->Functions();
    ASSERT_NE(loaded->Module(), nullptr);
    ASSERT_EQ(poor.WSInit(TARN_START_RESTART, &error), 1);
    std::string text = "GET /x HTTP/1.1\r\nHost: bad.example\r\n\r\n";
    ScanRequest request{};
    request.data = reinterpret_cast<std::uint8_t*>(text.data());
    request.dataLength = static_cast<std::uint32_t>(text.size());
    request.remoteAddress = remote;
    request.kind = TARN_KIND_HTTP;
    EXPECT_EQ(poor.WSScanUrl(&request, &verdict, &prompt), 1);
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS));
    EXPECT_EQ(poor.WSDeinit(&error), 1);
}

}  // namespace
}  // namespace tarn::system_test
