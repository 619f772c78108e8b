// Blocked addresses asked and added by threads at once: a scan is stopped at each of its steps in turn, and while it
// holds the list other scans must pass and a new address must wait.
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "system/scan_fixture_win32.h"
#include "system/stopped_call_win32.h"

namespace tarn::system_test {
namespace {

class BlockedAddressThreads : public ScanRecords {
 protected:
    // Each thread has records of its own.
    void ExpectBlocked() const {
        std::string data = "GET /dir/file HTTP/1.1\r\nHost: bad.example\r\n\r\n";
        ScanRequest request{};
        request.data = reinterpret_cast<std::uint8_t*>(data.data());
        request.dataLength = static_cast<std::uint32_t>(data.size());
        request.remoteAddress = {TARN_FAMILY_IPV4, {203, 0, 113, 5}};
        request.kind = TARN_KIND_HTTP;
        UrlVerdict own{};
        PromptBytes ownPrompt{};
        EXPECT_EQ(tarn.WSScanUrl(&request, &own, &ownPrompt), 1);
        EXPECT_EQ(own.reason, std::uint32_t{TARN_REASON_IDS_BLOCKED});
    }
    void Add(const std::string& host) const {
        IdsBlockRequest request{};
        std::memcpy(request.hostName, host.c_str(), host.size());
        std::memcpy(request.requestText, "/x", 2);
        EXPECT_EQ(tarn.WSAddURLToIDSBlockedList(&request), 1);
    }
};

TEST_F(BlockedAddressThreads, ScansAskTheListTogetherAndANewAddressWaitsForThem) {
    answers.idsIpsStatus.enabled = 1;
    ASSERT_TRUE(Init());
    BlockAddress("bad.example", "/dir/file");
    int additionsThatWaited = 0;
    for (std::size_t step = 0;; ++step) {
        SCOPED_TRACE(step);
        ASSERT_LT(step, 1000U);
        std::unique_ptr<OtherCall> other;  // what waits for the stopped scan ends behind it
        const StoppedCall scan(Library(), step, [this] { ExpectBlocked(); });
        ASSERT_TRUE(scan.IsInPlace());
        if (!scan.IsStopped()) break;
        other = std::make_unique<OtherCall>(Library(), [this] { ExpectBlocked(); });
        ASSERT_TRUE(other->IsInPlace());
        ASSERT_FALSE(other->Waits()) << "another scan must not wait for this one";
        const std::string host = "new" + std::to_string(step) + ".example";
        other.reset();
        other = std::make_unique<OtherCall>(Library(), [this, host] { Add(host); });
        if (other->Waits()) ++additionsThatWaited;
    }
    EXPECT_GE(additionsThatWaited, 1) << "no step was made while the list was held";
}

}  // namespace
}  // namespace tarn::system_test
