// The checks of module records: for each fault a record that shows it, and a healthy one that does not.
#include "host/companion_kit/record_checks.h"

#include <algorithm>
#include <cstring>
#include <gmock/gmock.h>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "base/hash.h"

namespace tarn::host {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

auto Says(const std::string& text) {
    return Field("text", &RecordFinding::text, HasSubstr(text));
}
auto Follows(const std::string& text) {
    return Field("consequence", &RecordFinding::consequence, HasSubstr(text));
}

// Memory that ends where a test says, and is whole otherwise; the sanitizers see any byte that is read beyond.
class KnownMemory : public RecordMemory {
 public:
    template <class Item>
    void Add(const std::vector<Item>& items) {
        blocks_[reinterpret_cast<std::uintptr_t>(items.data())] = items.size() * sizeof(Item);
    }
    template <class Item>
    void AddOne(const Item& item) {
        blocks_[reinterpret_cast<std::uintptr_t>(&item)] = sizeof(Item);
    }
    void AddText(const std::string& text) { blocks_[reinterpret_cast<std::uintptr_t>(text.data())] = text.size() + 1; }
    void AddBytes(const void* at, std::size_t size) { blocks_[reinterpret_cast<std::uintptr_t>(at)] = size; }
    [[nodiscard]] std::size_t Readable(const void* at, std::size_t size) const override {
        const auto place = reinterpret_cast<std::uintptr_t>(at);
        auto behind = blocks_.upper_bound(place);
        if (behind == blocks_.begin()) return 0;
        --behind;
        const std::uintptr_t end = behind->first + behind->second;
        return place >= end ? 0 : std::min<std::size_t>(size, end - place);
    }

 private:
    std::map<std::uintptr_t, std::size_t> blocks_;
};

// ---- Lists of URLs ----

struct UrlEntry {
    char text[TARN_URL_CAPACITY];
};

class UrlLists : public testing::Test {
 protected:
    explicit UrlLists() : entries(3) {
        for (UrlEntry& entry : entries) std::strcpy(entry.text, "shop.example/basket");
        memory.Add(entries);
    }
    RecordFindings Check(std::uint32_t count) {
        const UrlListRecord record{count, reinterpret_cast<char(*)[TARN_URL_CAPACITY]>(entries.data())};
        return CheckRecord(record, memory);
    }
    std::vector<UrlEntry> entries;
    KnownMemory memory;
};

TEST_F(UrlLists, AHealthyListHasNoFinding) {
    EXPECT_THAT(Check(3), IsEmpty());
    EXPECT_THAT(CheckRecord(UrlListRecord{0, nullptr}, memory), IsEmpty());
}

TEST_F(UrlLists, ATextWithoutItsEndIsFound) {
    std::memset(entries[1].text, 'a', sizeof entries[1].text);
    EXPECT_THAT(Check(3),
                ElementsAre(AllOf(Says("entry 2 has no NUL within its 1024 bytes"), Follows("last character"))));
}

TEST_F(UrlLists, ACountWithANullPointerIsFound) {
    EXPECT_THAT(CheckRecord(UrlListRecord{5, nullptr}, memory),
                ElementsAre(Says("the count is 5 and the pointer is null")));
}

TEST_F(UrlLists, ACountBeyondTheMemoryIsFoundAndNotRead) {
    EXPECT_THAT(Check(4), ElementsAre(Says("the count is 4, but the memory holds 3")));
    EXPECT_THAT(Check(0xFFFFFFFF), SizeIs(1));
}

TEST_F(UrlLists, AnEmptyEntryAndAnEntryWithASchemeAreFound) {
    entries[0].text[0] = '\0';
    std::strcpy(entries[2].text, "http://shop.example");
    EXPECT_THAT(Check(3), ElementsAre(Says("entry 1 is empty"), Says("has a scheme")));
}

TEST_F(UrlLists, TheManyOfAKindAreCounted) {
    entries.assign(50, UrlEntry{});
    memory.Add(entries);
    EXPECT_THAT(Check(50),
                ElementsAre(Says("entry 1"), Says("entry 2"), Says("entry 3"), Says("47 more of this kind")));
}

// ---- Lists of sites ----

class Sites : public testing::Test {
 protected:
    Sites() {
        AddHost("a.example");
        AddHost("b.example");
        std::sort(entries.begin(), entries.end(), [](const auto& one, const auto& other) {
            return std::uint32_t{one.hash} < std::uint32_t{other.hash};
        });
        std::strcpy(nodes[0].path, "/setup");
        std::strcpy(nodes[1].path, "/more");
        for (ThreatNode& node : nodes) std::strcpy(node.name, "Trojan");
        nodes[0].next = &nodes[1];
        entries[0].threats = nodes.data();
        memory.Add(nodes);
        memory.Add(entries);
    }
    void AddHost(const char* host) {
        hosts.push_back(std::make_unique<std::string>(host));
        memory.AddText(*hosts.back());
        entries.push_back({1, base::Crc32Of(std::string_view(host)), hosts.back()->data(), nullptr});
    }
    RecordFindings Check() {
        return CheckRecord(ThreatSiteList{static_cast<std::uint32_t>(entries.size()), entries.data()}, memory);
    }
    std::vector<std::unique_ptr<std::string>> hosts;
    std::vector<ThreatSiteEntry> entries;
    std::vector<ThreatNode> nodes{2};
    KnownMemory memory;
};

TEST_F(Sites, HealthyOnesHaveNoFinding) {
    EXPECT_THAT(Check(), IsEmpty());
}

TEST_F(Sites, AWrongHashIsFound) {
    entries[1].hash = entries[1].hash + 1;
    EXPECT_THAT(Check(), ElementsAre(AllOf(Says("and its CRC-32 is"), Follows("never found"))));
}

TEST_F(Sites, AHashThatDescendsIsFound) {
    std::swap(entries[0], entries[1]);
    EXPECT_THAT(Check(), ElementsAre(AllOf(Says("entry 2: its hash"), Follows("ascend"))));
}

TEST_F(Sites, CapitalLettersInAHostAreFound) {
    AddHost("C.example");
    memory.Add(entries);
    std::swap(entries[0], entries[2]);
    EXPECT_THAT(Check(), Contains(Says("the host C.example has capital letters")));
}

TEST_F(Sites, HostsThatAreNoneAreFound) {
    entries[0].host = nullptr;
    EXPECT_THAT(Check(), ElementsAre(AllOf(Says("entry 1: the host is null"), Follows("passes the entry over"))));
    entries[0].host = reinterpret_cast<char*>(16);
    EXPECT_THAT(Check(), ElementsAre(AllOf(Says("entry 1: the host cannot be read"), Follows("crash"))));
    const std::vector<char> open(8, 'x');
    memory.Add(open);
    entries[0].host = const_cast<char*>(open.data());
    EXPECT_THAT(Check(), ElementsAre(Says("no NUL within its 8 bytes of memory")));
    const std::vector<char> endless(5000, 'x');
    memory.Add(endless);
    entries[0].host = const_cast<char*>(endless.data());
    EXPECT_THAT(Check(), ElementsAre(Says("no NUL within 1024 bytes")));
}

TEST_F(Sites, AChainInALoopIsFoundAndEnds) {
    nodes[1].next = nodes.data();
    EXPECT_THAT(Check(), ElementsAre(Says("entry 1, threats: the chain runs in a loop behind node 2")));
    nodes[1].next = &nodes[1];
    EXPECT_THAT(Check(), ElementsAre(Says("loop behind node 2")));
}

TEST_F(Sites, AChainThatLeavesTheMemoryIsFound) {
    nodes[1].next = reinterpret_cast<ThreatNode*>(64);
    EXPECT_THAT(Check(), ElementsAre(AllOf(Says("node 3 cannot be read"), Follows("crash"))));
}

TEST_F(Sites, TextsOfThreatsAreChecked) {
    std::memset(nodes[0].name, 'n', sizeof nodes[0].name);
    std::memset(nodes[1].path, '/', sizeof nodes[1].path);
    EXPECT_THAT(Check(), ElementsAre(Says("threat 1: the name has no NUL"), Says("threat 2: the path has no NUL")));
    std::strcpy(nodes[1].path, "setup");
    EXPECT_THAT(Check(), Contains(Says("\"setup\" does not begin with \"/\"")));
}

TEST(PhishingSites, HashesAndPathsAreChecked) {
    KnownMemory memory;
    std::string host = "bank.example";
    memory.AddText(host);
    std::vector<PathListNode> nodes(1);
    std::strcpy(nodes[0].path, "/login");
    memory.Add(nodes);
    std::vector<PhishingSiteEntry> entries{{0, base::Crc32Of(host), host.data(), nodes.data()}};
    memory.Add(entries);
    const PhishingSiteList list{1, entries.data()};
    EXPECT_THAT(CheckRecord(list, memory), IsEmpty());
    nodes[0].next = nodes.data();
    std::strcpy(nodes[0].path, "login");
    entries[0].hash = 7;
    EXPECT_THAT(CheckRecord(list, memory), ElementsAre(Says("CRC-32"), Says("does not begin"), Says("loop")));
}

// ---- Rules, answers, sessions, categories ----

TEST(IdsRules, TextsNumbersAndSystemsAreChecked) {
    KnownMemory memory;
    std::vector<IdsRule> rules(2);
    std::vector<std::uint8_t> systems{TARN_SYSTEM_6_1, 0, TARN_SYSTEM_10_0};
    memory.Add(rules);
    memory.Add(systems);
    rules[0].id = 1;
    rules[1].id = 2;
    rules[1].systemCount = 2;
    rules[1].systems = systems.data();
    const IdsSettingsRecord record{2, 0, rules.data()};
    EXPECT_THAT(CheckRecord(record, memory), IsEmpty());
    rules[1].systemCount = 9;
    EXPECT_THAT(CheckRecord(record, memory), ElementsAre(Says("the memory holds 3")));
    rules[1].systems = nullptr;
    EXPECT_THAT(CheckRecord(record, memory), ElementsAre(Says("the pointer is null")));
    rules[1].systemCount = 0;
    rules[1].id = 1;
    EXPECT_THAT(CheckRecord(record, memory), ElementsAre(Says("rule 2: an earlier rule has the number 1, too")));
    rules[1].id = 2;
    systems[2] = 99;
    rules[1].systems = systems.data();
    rules[1].systemCount = 2;
    EXPECT_THAT(CheckRecord(record, memory), ElementsAre(Says("99 is no system")));
    systems[2] = TARN_SYSTEM_10_0;
    std::memset(static_cast<void*>(&rules[0].details), 0x41, sizeof rules[0].details);
    EXPECT_THAT(CheckRecord(record, memory),
                ElementsAre(Says("rule 1: the details field has no NUL within its 400 units")));
}

TEST(SavedAnswers, CountSlotAndHostsAreChecked) {
    KnownMemory memory;
    std::vector<DnsAnswerEntry> entries(2);
    memory.Add(entries);
    std::strcpy(entries[0].hostName, "shop.example");
    entries[0].addressCount = 1;
    DnsCacheRecord record{2, 0, entries.data()};
    EXPECT_THAT(CheckRecord(record, memory), IsEmpty());
    std::memset(entries[1].hostName, 'h', sizeof entries[1].hostName);
    EXPECT_THAT(CheckRecord(record, memory), IsEmpty());  // an empty slot
    entries[1].addressCount = 1;
    entries[0].addresses[0].family = 7;
    EXPECT_THAT(CheckRecord(record, memory),
                ElementsAre(Says("7 is no address family"), Says("entry 2: the host has no NUL")));
    record.count = 3001;
    EXPECT_THAT(CheckRecord(record, memory), Contains(AllOf(Says("the count is 3001"), Follows("ignores all"))));
    record = {0, 4000, nullptr};
    EXPECT_THAT(CheckRecord(record, memory), ElementsAre(Says("the next slot to write is 4000")));
}

TEST(SavedSessions, NamesAndCountAreChecked) {
    KnownMemory memory;
    std::vector<SavedSessionRecord> sessions(1);
    memory.Add(sessions);
    EXPECT_THAT(CheckRecord(PcSystemControlRecord{1, sessions.data()}, memory), IsEmpty());
    EXPECT_THAT(CheckRecord(PcSystemControlRecord{1, nullptr}, memory), SizeIs(1));
    EXPECT_THAT(CheckRecord(PcSystemControlRecord{2, sessions.data()}, memory),
                ElementsAre(Says("the memory holds 1")));
    std::memset(static_cast<void*>(&sessions[0].userName), 0x41, sizeof sessions[0].userName);
    EXPECT_THAT(CheckRecord(PcSystemControlRecord{1, sessions.data()}, memory),
                ElementsAre(Says("record 1: the name")));
}

TEST(Categories, NullAndTooFewAreFound) {
    KnownMemory memory;
    const std::vector<std::uint16_t> categories{2, 3};
    memory.Add(categories);
    EXPECT_THAT(CheckCategories(categories.data(), 2, memory), IsEmpty());
    EXPECT_THAT(CheckCategories(nullptr, 0, memory), IsEmpty());
    EXPECT_THAT(CheckCategories(nullptr, 2, memory), ElementsAre(Says("the pointer is null")));
    EXPECT_THAT(CheckCategories(categories.data(), 9, memory), ElementsAre(Says("the memory holds 2")));
}

TEST(Texts16, TheirEndIsFoundAnywhereInsideTheField) {
    const std::uint8_t bytes[] = {0x41, 0, 0, 0x41, 0, 0};
    EXPECT_TRUE(EndsInside16(bytes, 3));
    EXPECT_FALSE(EndsInside16(bytes, 2));
}

// ---- Parental control ----

class Parental : public testing::Test {
 protected:
    Parental() {
        memory.Add(entries);
        memory.Add(ranges);
        memory.Add(allowed);
        memory.Add(rules);
        memory.Add(categories);
        record.mode = TARN_PC_ONE_PER_USER;
        record.entryCount = 1;
        record.entries = entries.data();
        PcUserEntryRecord& entry = entries[0];
        entry.leading.sid[0] = 1;
        entry.leading.sid[1] = 5;
        entry.schedule[3] = {1, ranges.data()};
        entry.blockedCategories = {2, categories.data()};
        entry.siteRules = rules.data();
        entry.allowedSites = {2, allowed.data()};
        allowed[0].next = &allowed[1];
    }
    RecordFindings Check() { return CheckRecord(record, memory); }

    std::vector<PcUserEntryRecord> entries{1};
    std::vector<TimeRange> ranges{{8, 0, 20, 0}};
    std::vector<UserUrlEntry> allowed{3};
    std::vector<SiteRule> rules{1};
    std::vector<std::uint16_t> categories{4, 5};
    PcSettingsRecord record{};
    KnownMemory memory;
};

TEST_F(Parental, AHealthyRecordHasNoFinding) {
    EXPECT_THAT(Check(), IsEmpty());
}

TEST_F(Parental, AChainThatIsShorterOrLongerThanToldIsFound) {
    entries[0].allowedSites.count = 5;
    EXPECT_THAT(Check(),
                ElementsAre(AllOf(Says("the count is 5, and the chain ends behind 2"), Follows("ends where"))));
    entries[0].allowedSites.count = 2;
    allowed[1].next = &allowed[2];
    EXPECT_THAT(Check(), ElementsAre(AllOf(Says("the count is 2, and the chain is longer"), Follows("does not read"))));
    entries[0].allowedSites = {4, nullptr};
    EXPECT_THAT(Check(), ElementsAre(Says("the count is 4 and the pointer is null")));
}

TEST_F(Parental, SchedulesAreChecked) {
    ranges[0] = {24, 0, 25, 0};
    EXPECT_THAT(Check(), ElementsAre(AllOf(Says("no time of a day"), Follows("passes the range over"))));
    ranges[0] = {20, 0, 8, 0};
    EXPECT_THAT(Check(), ElementsAre(AllOf(Says("20:00 to 08:00 does not end"), Follows("nothing is allowed"))));
    entries[0].schedule[3].count = 2;
    EXPECT_THAT(Check(), Contains(Says("the memory holds 1")));
}

TEST_F(Parental, SitesAndTheirAddressesAreChecked) {
    rules[0].addressCount = 3;
    rules[0].next = rules.data();
    std::memset(rules[0].host, 'h', sizeof rules[0].host);
    EXPECT_THAT(Check(),
                ElementsAre(Says("blocked sites, site 1: the host has no NUL"), Says("the count is 3"), Says("loop")));
}

TEST_F(Parental, NumbersWithoutAMeaningAreFound) {
    record.mode = 3;
    record.strictness = 4;
    entries[0].leading.sid[0] = 0;
    categories.resize(1);
    memory.Add(categories);
    EXPECT_THAT(Check(), ElementsAre(Says("the mode is 3"), Says("the strictness is 4"), Says("identifier"),
                                     Says("blocked categories")));
}

TEST_F(Parental, TheOneEntryForAllIsReadWhateverTheCountSays) {
    record.mode = TARN_PC_ONE_FOR_ALL;
    record.entryCount = 0;
    EXPECT_THAT(Check(), ElementsAre(Says("the count is 0")));
    record.entryCount = 2;
    EXPECT_THAT(Check(), ElementsAre(Says("the memory holds 1")));
}

}  // namespace
}  // namespace tarn::host
