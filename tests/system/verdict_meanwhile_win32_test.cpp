// The verdict of a malicious request while the action against its program runs, and when that action runs out of
// memory: it is written before, and stays.
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <string_view>
#include <utility>
#include <windows.h>

#include "system/import_patch_win32.h"
#include "system/site_records_win32.h"

namespace tarn::system_test {
namespace {

using url::ProfileShape;

std::size_t allocationsLeft = SIZE_MAX;  // until one fails

// One of the library's own allocations fails. Were all to fail, the C++ run-time would end the process, since it needs
// memory for what it throws.
void* __cdecl Allocate(std::size_t size) {
    if (allocationsLeft == SIZE_MAX) return std::malloc(size);
    return allocationsLeft-- == 0 ? nullptr : std::malloc(size);
}

// The record and what it said when the isolation module was asked.
struct SeenVerdict {
    const UrlVerdict* host;
    UrlVerdict seen{};
    int times = 0;

    static void Note(void* context, const char* line) {
        auto& self = *static_cast<SeenVerdict*>(context);
        if (!std::string_view(line).starts_with("ZRQuarantineFile ")) return;
        std::memcpy(&self.seen, self.host, sizeof self.seen);
        ++self.times;
    }
};

class VerdictMeanwhile : public SiteRecords {
 protected:
    VerdictMeanwhile() : seen_{&verdict} {
        ListMalicious({{"bad.example", true, {{"", "Worm"}}}});
        answers.listener = SeenVerdict::Note;
        answers.listenerContext = &seen_;
    }
    ~VerdictMeanwhile() override { answers.listener = nullptr; }
    // The verdict stands when the module is asked, and is the same afterwards.
    void ExpectWrittenFirst(const std::string& host, const ExpectedVerdict& expected) {
        ASSERT_TRUE(Init());
        seen_.times = 0;
        ASSERT_TRUE(Visit(host, "/x"));
        EXPECT_EQ(seen_.times, 1);
        EXPECT_EQ(expected.Difference(seen_.seen), "") << "while the module is asked";
        EXPECT_EQ(expected.Difference(verdict), "");
    }
    // Without the n-th allocation of the scan, for every n that the scan comes to.
    void ExpectKeptWithoutMemory(const std::string& host, const ExpectedVerdict& expected) {
        const ImportPatch patch(Library(), "malloc", Allocate);
        ASSERT_TRUE(patch.IsInPlace());
        bool hasFailed = true;
        for (std::size_t allocation = 0; hasFailed; ++allocation) {
            ASSERT_LT(allocation, 100U);
            ASSERT_TRUE(Init());
            allocationsLeft = allocation;
            const bool result = Visit(host, "/x");
            hasFailed = std::exchange(allocationsLeft, SIZE_MAX) == SIZE_MAX;
            EXPECT_TRUE(allocation != 0 || hasFailed) << "the action allocates nothing: look for what else may fail";
            EXPECT_TRUE(result) << "a failed action is only that; allocation " << allocation;
            EXPECT_EQ(expected.Difference(verdict), "") << allocation;
            EXPECT_EQ(Prompt(), "3 4") << allocation;
            EXPECT_EQ(GetModuleHandleA("isolate.dll"), nullptr) << allocation;
        }
    }

    const ExpectedVerdict site_ =
        ExpectedVerdict(Blocks(TARN_REASON_MALICIOUS)).ThreatName("Worm").ThreatUrl("bad.example/x");
    const ExpectedVerdict pattern_ =
        ExpectedVerdict(Blocks(TARN_REASON_MALICIOUS)).ThreatName("Malicious Url").ThreatUrl("a.example/x");
    const ExpectedVerdict category_ = ExpectedVerdict(Blocks(TARN_REASON_MALICIOUS_CATEGORY)).ThreatUrl("a.example/x");

 private:
    SeenVerdict seen_;
};

TEST_F(VerdictMeanwhile, AMaliciousSiteIsBlockedBeforeItsProgramIsActedOn) {
    ExpectWrittenFirst("bad.example", site_);
}

TEST_F(VerdictMeanwhile, AMaliciousPatternIsBlockedBeforeItsProgramIsActedOn) {
    TakeProfiles({ProfileShape{}});
    answers.malicious = 1;
    ExpectWrittenFirst("a.example", pattern_);
}

TEST_F(VerdictMeanwhile, AMaliciousCategoryIsBlockedBeforeItsProgramIsActedOn) {
    TakeProfiles({ProfileShape{}});
    Categorise({2});
    ExpectWrittenFirst("a.example", category_);
}

TEST_F(VerdictMeanwhile, AMaliciousSiteStaysBlockedWithoutMemoryForTheAction) {
    ExpectKeptWithoutMemory("bad.example", site_);
}

TEST_F(VerdictMeanwhile, AMaliciousPatternStaysBlockedWithoutMemoryForTheAction) {
    TakeProfiles({ProfileShape{}});
    answers.malicious = 1;
    ExpectKeptWithoutMemory("a.example", pattern_);
}

TEST_F(VerdictMeanwhile, AMaliciousCategoryStaysBlockedWithoutMemoryForTheAction) {
    TakeProfiles({ProfileShape{}});
    Categorise({2});
    ExpectKeptWithoutMemory("a.example", category_);
}

}  // namespace
}  // namespace tarn::system_test
