// WSScanSMBPacket of the built library: requests that are ignored, the width of the keys, and what an end forgets.
#include <cstring>
#include <functional>
#include <gtest/gtest.h>

#include "smb/smb_frames.h"
#include "system/import_patch_win32.h"
#include "system/system_fixture_win32.h"

namespace tarn::system_test {
namespace {

using smb::ByteList;
using smb::Smb1Keys;
using smb::Smb2Keys;

constexpr std::uint32_t kDenied = 0xC0000022;

class SmbRules : public SystemFixture {
 protected:
    bool Client(const ByteList& message) { return ScanFrame(smb::FromClient(message)); }
    bool Server(const ByteList& message) { return ScanFrame(smb::FromServer(message)); }
    // The name of the file that the last frame reported.
    std::string Reported() const {
        if (result.resultKind != TARN_SMB_FILE_EVENT) return "";
        std::string name;
        for (std::size_t i = 0; i < sizeof result.fileName; i += 2) {
            char16_t unit = 0;
            std::memcpy(&unit, reinterpret_cast<const char*>(&result.fileName) + i, sizeof unit);
            if (unit == u'\0') break;
            name += static_cast<char>(unit);
        }
        return name;
    }
    void Connect() {
        ASSERT_TRUE(Client(smb::Smb2TreeConnectRequest(u"share")));
        ASSERT_TRUE(Server(smb::Smb2TreeConnectResponse()));
        ASSERT_TRUE(Client(smb::Smb1TreeConnectRequest(u"share")));
        ASSERT_TRUE(Server(smb::Smb1TreeConnectReply()));
    }
    // Whether a create on the connected tree is still reported.
    bool Follows2(std::uint64_t id = 90) {
        const Smb2Keys keys{id};
        EXPECT_TRUE(Client(smb::Smb2CreateRequest(u"file", keys)));
        return Server(smb::Smb2CreateResponse(2, keys)) && Reported() == "file";
    }
    bool Follows1(std::uint16_t id = 90) {
        const Smb1Keys keys{id};
        EXPECT_TRUE(Client(smb::Smb1CreateRequest(u"file", keys)));
        return Server(smb::Smb1CreateReply(2, keys)) && Reported() == "file";
    }
    void LeavePendingRequests() {
        ASSERT_TRUE(Client(smb::Smb2CreateRequest(u"parked", Smb2Keys{70})));
        ASSERT_TRUE(Client(smb::Smb1CreateRequest(u"parked", Smb1Keys{70})));
    }
    // That neither a pending request nor a tree is left of what Connect and LeavePendingRequests did.
    void ExpectEmptyTables() {
        EXPECT_FALSE(Server(smb::Smb2CreateResponse(2, Smb2Keys{70}))) << "its request was forgotten";
        EXPECT_FALSE(Server(smb::Smb1CreateReply(2, Smb1Keys{70})));
        EXPECT_FALSE(Follows2()) << "its tree was forgotten";
        EXPECT_FALSE(Follows1());
    }
    void ExpectFullTables() {
        EXPECT_TRUE(Server(smb::Smb2CreateResponse(2, Smb2Keys{70})));
        EXPECT_EQ(Reported(), "parked");
        EXPECT_TRUE(Server(smb::Smb1CreateReply(2, Smb1Keys{70})));
        EXPECT_EQ(Reported(), "parked");
    }

    SmbScanResult result{};

 private:
    bool ScanFrame(const ByteList& frame) {
        std::memset(static_cast<void*>(&result), 0x5A, sizeof result);
        return tarn.WSScanSMBPacket(frame.data(), static_cast<std::uint32_t>(frame.size()), 0, &result) == 1;
    }
};

TEST_F(SmbRules, LogoffAndTreeDisconnectRequestsAreIgnoredWhateverTheirStatus) {
    ASSERT_TRUE(Init());
    Connect();
    for (const std::uint32_t status : {0U, kDenied}) {
        Smb2Keys keys2;
        keys2.status = status;
        Smb1Keys keys1;
        keys1.status = status;
        for (const std::uint16_t command : {std::uint16_t{2}, std::uint16_t{4}}) {
            EXPECT_TRUE(Client(smb::Smb2Simple(command, false, keys2))) << command << " " << status;
            EXPECT_TRUE(Follows2());
        }
        for (const std::uint8_t command : {std::uint8_t{0x74}, std::uint8_t{0x71}}) {
            EXPECT_TRUE(Client(smb::Smb1Simple(command, false, keys1))) << int{command} << " " << status;
            EXPECT_TRUE(Follows1());
        }
    }
    EXPECT_FALSE(Client(smb::Smb2CreateRequest(u"file", Smb2Keys{91, 0xABCD, 0x1122334455667788, kDenied})))
        << "the others are refused with a status";
    EXPECT_FALSE(Client(smb::Smb1CreateRequest(u"file", Smb1Keys{91, 0xC3B2, 0x44EB, kDenied})));
}

TEST_F(SmbRules, AllBitsOfAMessageIdCount) {
    ASSERT_TRUE(Init());
    Connect();
    const std::uint64_t low = 9;
    for (unsigned bit = 4; bit < 64; ++bit) {
        const std::uint64_t other = low | std::uint64_t{1} << bit;
        ASSERT_TRUE(Client(smb::Smb2CreateRequest(u"low", Smb2Keys{low})));
        ASSERT_TRUE(Client(smb::Smb2CreateRequest(u"other", Smb2Keys{other})));
        EXPECT_TRUE(Server(smb::Smb2CreateResponse(2, Smb2Keys{other}))) << bit;
        EXPECT_EQ(Reported(), "other") << bit;
        EXPECT_TRUE(Server(smb::Smb2CreateResponse(2, Smb2Keys{low}))) << bit;
        EXPECT_EQ(Reported(), "low") << bit;
    }
}

TEST_F(SmbRules, AnEndForgetsRequestsAndTrees) {
    ASSERT_TRUE(Init());
    Connect();
    LeavePendingRequests();
    tarn.WSShutDown(0, 0, 0, 0);
    ExpectFullTables();
    LeavePendingRequests();
    Deinit();
    ExpectEmptyTables();
}

// What happens while start-up makes its last step, after the tables were emptied.
std::function<void()> duringLastStep;
LSTATUS WINAPI QueryMeanwhile(HKEY key, const wchar_t* name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* size) {
    if (duringLastStep) duringLastStep();
    return RegQueryValueExW(key, name, reserved, type, data, size);
}

TEST_F(SmbRules, AStartThatFailsInItsLastStepForgetsThemToo) {
    const ImportPatch registry(Library(), "RegQueryValueExW", QueryMeanwhile);
    ASSERT_TRUE(registry.IsInPlace());
    int followed = 0;
    duringLastStep = [&] {
        Connect();
        LeavePendingRequests();
        ++followed;
    };
    // Only the last question of the folder fails: that for the DNS switch.
    const std::u16string tooLong = u"C:\\" + std::u16string(246, u'p') + u"\\";
    std::function<void()> lose = [&] { SetInstallPath(tooLong); };
    answers.listenerContext = &lose;
    answers.listener = [](void* context, const char* line) {
        if (std::string_view(line) == "ReadIDSSettings") (*static_cast<std::function<void()>*>(context))();
    };
    EXPECT_FALSE(Init(TARN_START_RESTART));
    answers.listener = nullptr;
    duringLastStep = nullptr;
    EXPECT_GE(followed, 1) << "frames came in while the last step asked";
    ExpectEmptyTables();
}

}  // namespace
}  // namespace tarn::system_test
