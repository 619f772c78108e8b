// Condemned addresses asked and added by threads at once: a scan is stopped at each of its comparisons in turn, and
// while it holds the list other scans must pass and a new address must wait.
#include <atomic>
#include <cstring>
#include <gtest/gtest.h>
#include <semaphore>
#include <string>
#include <thread>
#include <windows.h>

#include "system/import_patch_win32.h"
#include "system/scan_fixture_win32.h"

namespace tarn::system_test {
namespace {

// The thread that is stopped at one of its comparisons.
struct Stopped {
    std::atomic<DWORD> thread = 0;
    std::size_t comparisonsLeft = 0;
    std::binary_semaphore here{0};  // stopped, or at its end
    std::binary_semaphore goOn{0};
    bool wasStopped = false;
};
Stopped stopped;

// The thread that is let run meanwhile.
struct Prober {
    std::atomic<DWORD> thread = 0;
    std::binary_semaphore here{0};  // waiting, or at its end
    bool waited = false;
};
Prober prober;

int __cdecl Compare(const void* a, const void* b, std::size_t size) {
    if (GetCurrentThreadId() == stopped.thread && !stopped.wasStopped && stopped.comparisonsLeft-- == 0) {
        stopped.wasStopped = true;
        stopped.here.release();
        stopped.goOn.acquire();
    }
    return std::memcmp(a, b, size);
}

DWORD WINAPI WaitFor(HANDLE object, DWORD milliseconds) {
    if (GetCurrentThreadId() == prober.thread && !prober.waited) {
        prober.waited = true;
        prober.here.release();
    }
    return WaitForSingleObject(object, milliseconds);
}

class CondemnedThreads : public ScanRecords {
 protected:
    // Each thread has records of its own.
    bool IsBlocked() const {
        std::string data = "GET /dir/file HTTP/1.1\r\nHost: bad.example\r\n\r\n";
        ScanRequest request{};
        request.data = reinterpret_cast<std::uint8_t*>(data.data());
        request.dataLength = static_cast<std::uint32_t>(data.size());
        request.remoteAddress = {TARN_FAMILY_IPV4, {203, 0, 113, 5}};
        request.kind = TARN_KIND_HTTP;
        UrlVerdict own{};
        PromptBytes ownPrompt{};
        return tarn.WSScanUrl(&request, &own, &ownPrompt) == 1 && own.reason == TARN_REASON_IDS_BLOCKED;
    }
    bool Adds(const std::string& host) const {
        IdsBlockRequest request{};
        std::memcpy(request.hostName, host.c_str(), host.size());
        std::memcpy(request.requestText, "/x", 2);
        return tarn.WSAddURLToIDSBlockedList(&request) == 1;
    }
    // Runs work to its end while the stopped scan stands where it is, or until work waits for it.
    template <class Work>
    static bool Waits(Work work, std::thread& thread) {
        prober.waited = false;
        thread = std::thread([work] {
            prober.thread = GetCurrentThreadId();
            EXPECT_TRUE(work());
            prober.thread = 0;
            if (!prober.waited) prober.here.release();
        });
        prober.here.acquire();
        return prober.waited;
    }
};

TEST_F(CondemnedThreads, ScansAskTheListTogetherAndANewAddressWaitsForThem) {
    const ImportPatch comparing(Library(), "memcmp", Compare);
    const ImportPatch waiting(Library(), "WaitForSingleObject", WaitFor);
    ASSERT_TRUE(comparing.IsInPlace() && waiting.IsInPlace());
    answers.idsIpsStatus.enabled = 1;
    ASSERT_TRUE(Init());
    Condemn("bad.example", "/dir/file");
    int additionsThatWaited = 0;
    for (std::size_t comparison = 0;; ++comparison) {
        SCOPED_TRACE(comparison);
        ASSERT_LT(comparison, 1000U);
        stopped.comparisonsLeft = comparison;
        stopped.wasStopped = false;
        std::thread scan([&] {
            stopped.thread = GetCurrentThreadId();
            EXPECT_TRUE(IsBlocked());
            stopped.thread = 0;
            if (!stopped.wasStopped) stopped.here.release();
        });
        stopped.here.acquire();
        const bool isOver = !stopped.wasStopped;
        std::thread other;
        std::thread addition;
        if (!isOver) {
            EXPECT_FALSE(Waits([&] { return IsBlocked(); }, other)) << "another scan must not wait for this one";
            const std::string host = "new" + std::to_string(comparison) + ".example";
            if (Waits([&, host] { return Adds(host); }, addition)) ++additionsThatWaited;
            stopped.goOn.release();
        }
        scan.join();
        if (other.joinable()) other.join();
        if (addition.joinable()) addition.join();
        if (isOver) break;
    }
    EXPECT_GE(additionsThatWaited, 1) << "no comparison was made while the list was held";
}

}  // namespace
}  // namespace tarn::system_test
