// What real clients and name servers sent, cut at every byte, through WSScanUrl of the built library. Its spare byte is
// the last that may be touched: the next one faults.
#include <gtest/gtest.h>

#include "captures/captured_payloads.h"
#include "system/guarded_block_win32.h"
#include "system/scan_fixture_win32.h"

namespace tarn::system_test {
namespace {

class HostileScans : public ScanRecords {
 protected:
    HostileScans() {
        MakeMalicious("bad.example", "Worm");
        MakePhishing("phish.example");
        url::ProfileShape shape;
        shape.sites = {{"games.example", "/x", 0}};
        TakeProfiles({shape});
    }
    // Of all lengths of all payloads, how many scans failed; each leaves the verdict as it was preset.
    std::size_t FailuresOf(const std::string& payloadKind) {
        static const captures::Payloads payloads = captures::ReadPayloads(TARN_CAPTURE_FOLDER);
        std::size_t failures = 0;
        std::size_t scans = 0;
        for (const std::string& payload : payloads.at(payloadKind))
            for (std::size_t length = 1; length <= payload.size(); ++length, ++scans)
                if (!JudgeAtTheEdge(payload.substr(0, length))) ++failures;
        EXPECT_GT(scans, 1000U);
        return failures;
    }
    bool JudgeAtTheEdge(const std::string& data) {
        ScanRequest request{};
        request.processId = kNobody;
        request.data = memory_.Place(data, 1);
        request.dataLength = static_cast<std::uint32_t>(data.size());
        request.remoteAddress = remote;
        request.remotePort = static_cast<std::uint16_t>((remotePort >> 8) | (remotePort << 8));
        request.kind = kind;
        std::memset(static_cast<void*>(&verdict), kCallersByte, sizeof verdict);
        const bool result = tarn.WSScanUrl(&request, &verdict, &prompt) == 1;
        if (request.data[data.size()] != 0) ADD_FAILURE() << "no NUL behind " << data.size();
        if (!result && Verdict() != Allows(TARN_REASON_DEFAULT)) ADD_FAILURE() << Verdict() << " of " << data.size();
        return result;
    }

 private:
    GuardedBlock memory_;
};

TEST_F(HostileScans, CutRequestsCommandsAndHellosAreDecided) {
    // With one entry per user no category is looked up, and nothing else can fail.
    answers.pcSettings.mode = TARN_PC_ONE_PER_USER;
    ASSERT_TRUE(Init());
    EXPECT_EQ(FailuresOf("http"), 0U);
    kind = TARN_KIND_FTP;
    EXPECT_EQ(FailuresOf("ftp"), 0U);
    kind = TARN_KIND_TLS;
    remotePort = 443;
    EXPECT_EQ(FailuresOf("tls"), 0U);
}

TEST_F(HostileScans, CutAnswersFailUntilTheyAreWhole) {
    RemoveModule("tlsinsp.dll");
    ASSERT_TRUE(Init());
    remotePort = 53;
    const std::size_t failures = FailuresOf("dns");
    EXPECT_GT(failures, 58U * 12U);
    const captures::Payloads payloads = captures::ReadPayloads(TARN_CAPTURE_FOLDER);
    std::size_t whole = 0;
    for (const std::string& message : payloads.at("dns")) whole += JudgeAtTheEdge(message) ? 1 : 0;
    EXPECT_EQ(whole, 56U) << "two came over TCP, behind a length";
}

TEST_F(HostileScans, EmptyAndNullDataAreRefusedUntouched) {
    ASSERT_TRUE(Init());
    EXPECT_FALSE([&] {
        ScanRequest request{};
        std::memset(static_cast<void*>(&verdict), kCallersByte, sizeof verdict);
        request.dataLength = 9;
        return tarn.WSScanUrl(&request, &verdict, &prompt) == 1;
    }());
    EXPECT_EQ(verdict.allow, 0xCDCDCDCDU);
    std::uint8_t byte = 'G';
    ScanRequest request{};
    request.data = &byte;
    EXPECT_EQ(tarn.WSScanUrl(&request, &verdict, &prompt), 0);
    EXPECT_EQ(byte, 'G');
}

}  // namespace
}  // namespace tarn::system_test
