// DNS answers about one address stored by two threads at once, through the built library: one is stopped at each of its
// steps in turn while the other stores its answer, and the newer one of the two must be found.
#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "system/scan_fixture_win32.h"
#include "system/stopped_call_win32.h"
#include "url/dns_message.h"
#include "url/tls_hello.h"

namespace tarn::system_test {
namespace {

class DnsThreads : public ScanRecords {
 protected:
    DnsThreads() {
        MakeMalicious("bad.example", "Worm");
        processId = kNobody;  // no program is acted on
    }
    // Each thread has records of its own.
    void Store(const std::string& name) const {
        std::string data = url::DnsResponse(name, {kAddress});
        data += '\0';
        ScanRequest request{};
        request.data = reinterpret_cast<std::uint8_t*>(data.data());
        request.dataLength = static_cast<std::uint32_t>(data.size() - 1);
        request.remotePort = 53 << 8;
        UrlVerdict own{};
        PromptBytes ownPrompt{};
        EXPECT_EQ(tarn.WSScanUrl(&request, &own, &ownPrompt), 1);
    }
    // The name that a hello to the address gets is the bad one.
    bool FindsBad() {
        kind = TARN_KIND_TLS;
        remotePort = 443;
        EXPECT_TRUE(Ask(url::TlsHello("")));
        return Verdict() == Blocks(TARN_REASON_MALICIOUS);
    }
    // The names that were saved in the first slots, the older one first.
    std::string SavedName(std::size_t slot) const { return answers.savedDnsNames[slot]; }
};

TEST_F(DnsThreads, TheNewerOfTwoAnswersStoredAtOnceIsFound) {
    int overtaken = 0;
    for (const char* first : {"bad.example", "good.example"}) {
        const std::string second = std::string(first) == "bad.example" ? "good.example" : "bad.example";
        for (std::size_t step = 0;; ++step) {
            SCOPED_TRACE(testing::Message() << first << " stopped at step " << step);
            ASSERT_LT(step, 10000U);
            ASSERT_TRUE(Init());
            Store("before.example");
            bool isOver = false;
            {
                const StoppedCall stopped(Library(), step, [this, first] { Store(first); });
                ASSERT_TRUE(stopped.IsInPlace());
                isOver = !stopped.IsStopped();
                if (!isOver) {
                    const OtherCall other(Library(), [this, second] { Store(second); });
                    ASSERT_FALSE(other.Waits()) << "answers are stored without waiting";
                }
            }
            if (isOver) break;
            const bool foundBad = FindsBad();
            Deinit();
            ASSERT_EQ(SavedName(0), "before.example");
            EXPECT_EQ(foundBad, SavedName(2) == "bad.example") << "the newer one is " << SavedName(2);
            if (SavedName(1) == first) ++overtaken;
        }
    }
    EXPECT_GE(overtaken, 1) << "no step stood between taking the place and the end";
}

}  // namespace
}  // namespace tarn::system_test
