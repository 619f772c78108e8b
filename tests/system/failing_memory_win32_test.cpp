// Each allocation of a start and of each settings change fails in turn: nothing crashes, every record goes back to its
// module exactly once, no block is lost, and the library can be used afterwards.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>

#include "system/library_memory_win32.h"
#include "system/rules_fixture_win32.h"

namespace tarn::system_test {
namespace {

using testing::IsEmpty;
using url::ProfileShape;

class FailingMemory : public RulesFixture {
 protected:
    static constexpr std::ptrdiff_t kMostAllocations = 3000;
    using Balance = std::map<std::string, int>;

    void SetUp() override {
        ASSERT_TRUE(memory_.Counts());
        MakeMalicious("bad.example", "Worm");
        MakePhishing("phish.example");
        LetUserAllow("user.example");
        LetBrowsingProtectionAllow("inner.example");
        LetWebSecurityAllow("web.example");
        ProfileShape shape;
        shape.sites = {{"games.example", "/chess"}, {"chat.example", ""}};
        shape.allowed = {"school.example"};
        shape.scheduleAllowed = {"help.example"};
        shape.blockedCategories = {7};
        TakeProfiles({shape});
        Schedule({kWholeDay, kWholeDay, kWholeDay, kWholeDay, kWholeDay, kWholeDay, kWholeDay});
        for (IdsRule& rule : rules_) rule.id = 7;
        rules_[1].systemCount = 1;
        rules_[1].systems = systems_;
        answers.idsSettings = {2, 0, rules_};
        answers.idsIpsSettings.flags = 1;
        answers.dnsCache = {3, 3, saved_};
        sessions_[0].sid[0] = sessions_[0].sid[1] = 1;
        answers.systemControl = {1, sessions_};
        WriteFile("browskip.ini", std::string("[BROWSER_EXCLUSION_LIST]\r\nCOUNT=2\r\nNAMES=" + std::string(40, 'n') +
                                              "|none.exe\r\n"));
    }
    void TearDown() override { LibraryMemory::FailAllocation(0); }

    // The records that the modules gave and did not get back. Two are theirs for good: the browsing-protection internal
    // white list, and the parental record that the decision on the online look-up reads.
    Balance Outstanding() {
        Balance balance;
        std::string before;
        for (const std::string& line : Journal()) {
            const bool forDecision = line == "ReadPCSettings" && before == "ReadAPStatus";
            if (line.starts_with("Read") && !forDecision && kReleased.contains(line.substr(4)))
                ++balance[line.substr(4)];
            if (line.starts_with("Release") && line.ends_with(" record")) --balance[line.substr(7, line.size() - 14)];
            before = line;
        }
        std::erase_if(balance, [](const auto& record) { return record.second == 0; });
        return balance;
    }
    void ExpectAUsableLibrary() {
        ASSERT_TRUE(Init(TARN_START_RESTART));
        ASSERT_TRUE(Visit("bad.example", "/x"));
        EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS));
    }

    const std::map<std::string, int> kReleased = {
        {"WSInternalWhiteList", 0}, {"BPSettings", 0},       {"APSettings", 0},
        {"BPUserWhiteList", 0},     {"IDSSettings", 0},      {"IDSIPSSettings", 0},
        {"PCSettings", 0},          {"DNSCacheSettings", 0}, {"PCSystemControlSettings", 0}};

 private:
    LibraryMemory memory_{Library()};
    IdsRule rules_[2] = {};
    std::uint8_t systems_[2] = {100, 0};
    DnsAnswerEntry saved_[3] = {};
    SavedSessionRecord sessions_[1] = {};
};

TEST_F(FailingMemory, AnyAllocationOfAStart) {
    ExpectAUsableLibrary();
    Deinit();
    EXPECT_THAT(Outstanding(), IsEmpty());
    // The first exception of a thread leaves what the run-time library keeps about exceptions.
    LibraryMemory::FailAllocation(1);
    Init(TARN_START_RESTART);
    LibraryMemory::FailAllocation(0);
    Deinit();
    const std::ptrdiff_t blocks = LibraryMemory::Blocks();
    std::ptrdiff_t number = 1;
    for (; number < kMostAllocations; ++number) {
        SCOPED_TRACE("allocation " + std::to_string(number));
        LibraryMemory::FailAllocation(number);
        const bool started = Init(TARN_START_RESTART);
        const bool failed = LibraryMemory::HasFailed();
        LibraryMemory::FailAllocation(0);
        if (!failed) {
            EXPECT_TRUE(started);
            break;
        }
        if (!started) {
            EXPECT_THAT(LoadedCompanions(), IsEmpty());
            EXPECT_THAT(Outstanding(), IsEmpty()) << "nothing of a failed start stays";
        }
        Deinit();
        EXPECT_THAT(LoadedCompanions(), IsEmpty());
        EXPECT_THAT(Outstanding(), IsEmpty());
        EXPECT_EQ(LibraryMemory::Blocks(), blocks);
        if (HasFailure()) break;
        ExpectAUsableLibrary();
        Deinit();
    }
    EXPECT_GT(number, 20) << "allocations were made to fail";
    RecordProperty("allocations", static_cast<int>(number - 1));
}

struct ChangeCase {
    std::string name;
    bool isMask;
    std::uint32_t value;
    bool allocates;  // it publishes a list

    friend std::ostream& operator<<(std::ostream& out, const ChangeCase& change) { return out << change.name; }
};

class FailingMemoryOfAChange : public FailingMemory, public testing::WithParamInterface<ChangeCase> {};

TEST_P(FailingMemoryOfAChange, AnyAllocation) {
    const ChangeCase& change = GetParam();
    ExpectAUsableLibrary();
    const Balance kept = Outstanding();
    std::ptrdiff_t number = 1;
    for (; number < kMostAllocations; ++number) {
        SCOPED_TRACE("allocation " + std::to_string(number));
        LibraryMemory::FailAllocation(number);
        const bool changed = change.isMask ? Update(change.value) == 1 : Change(change.value) != 0;
        const bool failed = LibraryMemory::HasFailed();
        LibraryMemory::FailAllocation(0);
        if (!failed) {
            EXPECT_TRUE(changed);
            break;
        }
        ExpectAUsableLibrary();
        EXPECT_EQ(Outstanding(), kept);
        if (HasFailure()) break;
    }
    EXPECT_EQ(number > 1, change.allocates) << "allocations were made to fail";
    RecordProperty("allocations", static_cast<int>(number - 1));
    Deinit();
    EXPECT_THAT(Outstanding(), IsEmpty());
}

std::vector<ChangeCase> Changes() {
    const std::vector<std::uint32_t> allocating = {3, 4, 8};
    std::vector<ChangeCase> cases;
    for (std::uint32_t setting = 0; setting <= 8; ++setting)
        cases.push_back(
            {"Kind" + std::to_string(setting), false, setting, std::ranges::count(allocating, setting) == 1});
    for (const auto& [name, bit] : {std::pair<const char*, std::uint32_t>{"BrowsingProtection", 0x40},
                                    {"Categorisation", 0x04},
                                    {"UrlPatterns", 0x08},
                                    {"PacketSignatures", 0x01},
                                    {"SettingsReader", 0x02},
                                    {"HttpsInspection", 0x10},
                                    {"StatusReader", 0x20},
                                    {"IdsSettings", 0x1000},
                                    {"All", 0x10FF}})
        cases.push_back({std::string("Mask") + name, true, bit, (bit & 0x1040) != 0});
    return cases;
}

INSTANTIATE_TEST_SUITE_P(Changes, FailingMemoryOfAChange, testing::ValuesIn(Changes()),
                         [](const auto& change) { return change.param.name; });

}  // namespace
}  // namespace tarn::system_test
