#include "network/dns_answer_ring.h"

#include <atomic>
#include <chrono>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "network/ip_address.h"
#include "network/ip_literals.h"

namespace tarn::network {

struct DnsAnswerRing::TestAccess {
    static std::size_t IndexSetOf(const IpAddressRecord& address) { return DnsAnswerRing::IndexSetOf(address); }
    static std::uint64_t ClaimStamp(DnsAnswerRing& ring) { return ring.ClaimStamp(); }
    static bool WriteSlot(DnsAnswerRing& ring, std::uint64_t stamp, const DnsAnswerEntry& entry) {
        return ring.WriteSlot(stamp, entry);
    }
    static void IndexEntry(DnsAnswerRing& ring, std::uint64_t stamp, const DnsAnswerEntry& entry) {
        ring.IndexEntry(stamp, entry);
    }
};

namespace {

using RingAccess = DnsAnswerRing::TestAccess;

IpAddressRecord Ipv6(std::uint8_t last) {
    IpAddressRecord record{};
    record.family = TARN_FAMILY_IPV6;
    record.bytes[0] = 0x20;
    record.bytes[15] = last;
    return record;
}

DnsAnswerEntry Answer(const std::string& host, const std::vector<IpAddressRecord>& addresses) {
    DnsAnswerEntry entry{};
    entry.addressCount = static_cast<std::uint16_t>(addresses.size());
    std::memcpy(entry.hostName, host.data(), host.size());
    for (std::size_t i = 0; i < addresses.size() && i < 2; ++i) entry.addresses[i] = addresses[i];
    return entry;
}

std::string Find(const DnsAnswerRing& ring, const IpAddressRecord& address) {
    char host[260] = "untouched";
    return ring.FindHostByAddress(address, host, sizeof host) ? host : "(none)";
}

// The addresses from 1 on that share a set of the index with it.
std::vector<IpAddressRecord> AddressesOfOneSet(std::size_t count) {
    std::vector<IpAddressRecord> addresses;
    for (std::uint32_t number = 1; addresses.size() < count; ++number)
        if (RingAccess::IndexSetOf(Ipv4Record(number)) == RingAccess::IndexSetOf(Ipv4Record(1)))
            addresses.push_back(Ipv4Record(number));
    return addresses;
}

// Answers for other addresses; they share one, so that they crowd no set.
void StoreOthers(DnsAnswerRing& ring, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) ring.Store(Answer("other", {Ipv4Record(0x0B000000)}));
}

// A store that stops between its steps while other threads store, as the scheduler may stop it.
class StoppedStore {
 public:
    StoppedStore(DnsAnswerRing& ring, const DnsAnswerEntry& entry)
        : ring_(ring), entry_(entry), stamp_(RingAccess::ClaimStamp(ring)) {}
    StoppedStore& Write() {
        RingAccess::WriteSlot(ring_, stamp_, entry_);
        return *this;
    }
    void Index() { RingAccess::IndexEntry(ring_, stamp_, entry_); }

 private:
    DnsAnswerRing& ring_;
    const DnsAnswerEntry entry_;
    const std::uint64_t stamp_;
};

TEST(DnsAnswerRing, AnEmptyRingFindsNothing) {
    DnsAnswerRing ring;
    EXPECT_EQ(Find(ring, Ipv4Record(1)), "(none)");
    ASSERT_TRUE(ring.Allocate());
    EXPECT_EQ(Find(ring, Ipv4Record(1)), "(none)");
    EXPECT_EQ(Find(ring, Ipv4Record(0)), "(none)") << "empty slots hold no address";
}

TEST(DnsAnswerRing, BothAddressesAndBothFamiliesAreFound) {
    DnsAnswerRing ring;
    ASSERT_TRUE(ring.Allocate());
    ring.Store(Answer("two.example", {Ipv4Record(7), Ipv6(9)}));
    EXPECT_EQ(Find(ring, Ipv4Record(7)), "two.example");
    EXPECT_EQ(Find(ring, Ipv6(9)), "two.example");
    EXPECT_EQ(Find(ring, Ipv6(8)), "(none)");
}

TEST(DnsAnswerRing, OnlyTheTwoKeptAddressesCount) {
    DnsAnswerRing ring;
    ASSERT_TRUE(ring.Allocate());
    DnsAnswerEntry many = Answer("many.example", {Ipv4Record(1), Ipv4Record(2)});
    many.addressCount = 65535;
    ring.Store(many);
    EXPECT_EQ(Find(ring, Ipv4Record(2)), "many.example");
    EXPECT_EQ(Find(ring, Ipv4Record(3)), "(none)");
}

TEST(DnsAnswerRing, TheNewestAnswerForAnAddressWins) {
    DnsAnswerRing ring;
    ASSERT_TRUE(ring.Allocate());
    for (int i = 0; i < 50; ++i) ring.Store(Answer("answer" + std::to_string(i), {Ipv4Record(7)}));
    EXPECT_EQ(Find(ring, Ipv4Record(7)), "answer49");
}

TEST(DnsAnswerRing, AfterThreeThousandAndOneTheFirstSlotHoldsTheNewest) {
    DnsAnswerRing ring;
    ASSERT_TRUE(ring.Allocate());
    for (std::uint32_t i = 0; i < 3001; ++i)
        ring.Store(Answer("host" + std::to_string(i), {Ipv4Record(1000 + i), Ipv4Record(5)}));
    const DnsCacheRecord saved = ring.Saved();
    EXPECT_EQ(saved.count, 3000);
    EXPECT_EQ(saved.writeIndex, 1);
    EXPECT_STREQ(saved.entries[0].hostName, "host3000");
    EXPECT_EQ(Find(ring, Ipv4Record(5)), "host3000");
    EXPECT_EQ(Find(ring, Ipv4Record(1000)), "(none)") << "overwritten";
    EXPECT_EQ(Find(ring, Ipv4Record(1001)), "host1");
}

TEST(DnsAnswerRing, ANameWithoutNulEndsAtItsLastByte) {
    DnsAnswerRing ring;
    ASSERT_TRUE(ring.Allocate());
    DnsAnswerEntry entry = Answer("", {Ipv4Record(1)});
    std::memset(entry.hostName, 'x', sizeof entry.hostName);
    ring.Store(entry);
    EXPECT_EQ(Find(ring, Ipv4Record(1)), std::string(255, 'x'));
    char small[4];
    EXPECT_FALSE(ring.FindHostByAddress(Ipv4Record(1), small, sizeof small)) << "a name that does not fit is cut";
    EXPECT_STREQ(small, "xxx");
}

TEST(DnsAnswerRing, ARestoredRingIsSearchedNewestFirst) {
    std::vector<DnsAnswerEntry> saved(3000);
    for (std::uint32_t i = 0; i < saved.size(); ++i) saved[i] = Answer("slot" + std::to_string(i), {Ipv4Record(9)});
    const struct {
        std::uint16_t writeIndex;
        const char* newest;
    } cases[] = {{1, "slot0"}, {5, "slot4"}, {3000, "slot2999"}, {3001, "slot0"}, {65535, "slot2534"}};
    for (const auto& c : cases) {
        DnsAnswerRing ring;
        ASSERT_TRUE(ring.Allocate());
        ring.Restore(saved, c.writeIndex);
        EXPECT_EQ(Find(ring, Ipv4Record(9)), c.newest) << c.writeIndex;
        ring.Store(Answer("fresh", {Ipv4Record(9)}));
        EXPECT_EQ(Find(ring, Ipv4Record(9)), "fresh") << c.writeIndex;
    }
}

TEST(DnsAnswerRing, WithAWriteIndexOfZeroNothingIsFoundUntilTheNextStore) {
    std::vector<DnsAnswerEntry> saved(10, Answer("old", {Ipv4Record(9)}));
    DnsAnswerRing ring;
    ASSERT_TRUE(ring.Allocate());
    ring.Restore(saved, 0);
    EXPECT_EQ(Find(ring, Ipv4Record(9)), "(none)");
    ring.Store(Answer("new", {Ipv4Record(1)}));
    EXPECT_EQ(Find(ring, Ipv4Record(9)), "old");
}

// A plain walk over the slots, newest first.
class PlainRing {
 public:
    void Store(const DnsAnswerEntry& entry) {
        index_ = index_ % 3000;
        slots_[index_++] = entry;
    }
    std::string Find(const IpAddressRecord& address) const {
        if (index_ == 0) return "(none)";
        for (std::size_t i = index_; i-- > 0;)
            if (Holds(slots_[i], address)) return slots_[i].hostName;
        for (std::size_t i = 3000; i-- > index_;)
            if (Holds(slots_[i], address)) return slots_[i].hostName;
        return "(none)";
    }

 private:
    static bool Holds(const DnsAnswerEntry& entry, const IpAddressRecord& address) {
        for (int i = 0; i < entry.addressCount && i < 2; ++i)
            if (CompareIPAddress(entry.addresses[i], address)) return true;
        return false;
    }
    std::vector<DnsAnswerEntry> slots_{3000};
    std::size_t index_ = 0;
};

TEST(DnsAnswerRing, AgreesWithThePlainWalkOnGeneratedAnswers) {
    std::mt19937 random(20240611);
    for (const std::uint32_t range : {50U, 4000U, 20000U}) {
        DnsAnswerRing ring;
        ASSERT_TRUE(ring.Allocate());
        PlainRing plain;
        for (int step = 0; step < 12000; ++step) {
            std::vector<IpAddressRecord> addresses;
            for (std::uint32_t i = 0; i < 1 + random() % 2; ++i)
                addresses.push_back(Ipv4Record(static_cast<std::uint32_t>(random() % range)));
            const DnsAnswerEntry entry = Answer("host" + std::to_string(step), addresses);
            ring.Store(entry);
            plain.Store(entry);
            const IpAddressRecord asked = Ipv4Record(static_cast<std::uint32_t>(random() % range));
            ASSERT_EQ(Find(ring, asked), plain.Find(asked)) << "range " << range << ", step " << step;
        }
    }
}

// More addresses than a set of the index has ways: what it drops the walk still finds, until its answer is overwritten.
TEST(DnsAnswerRing, AddressesThatCrowdOneSetOfTheIndexAreAllFound) {
    std::vector<IpAddressRecord> crowd = AddressesOfOneSet(40);
    const IpAddressRecord stranger = crowd.back();
    crowd.pop_back();

    DnsAnswerRing ring;
    ASSERT_TRUE(ring.Allocate());
    for (std::size_t i = 0; i < crowd.size(); ++i) ring.Store(Answer("crowd" + std::to_string(i), {crowd[i]}));
    for (std::size_t i = 0; i < crowd.size(); ++i) EXPECT_EQ(Find(ring, crowd[i]), "crowd" + std::to_string(i));
    EXPECT_EQ(Find(ring, stranger), "(none)");

    // The newest answer counts for a dropped address too.
    ring.Store(Answer("newest", {crowd[0]}));
    EXPECT_EQ(Find(ring, crowd[0]), "newest");
    for (std::uint32_t i = 0; i < DnsAnswerRing::kSlots - 1; ++i)
        ring.Store(Answer("later", {Ipv4Record(0x0B000000 + i)}));
    EXPECT_EQ(Find(ring, crowd[0]), "newest");
    EXPECT_EQ(Find(ring, crowd[1]), "(none)");
    ring.Store(Answer("last", {stranger}));
    EXPECT_EQ(Find(ring, crowd[0]), "(none)");
    EXPECT_EQ(Find(ring, stranger), "last");
}

TEST(DnsAnswerRing, ADroppedAddressIsFoundUntilItsAnswerLeavesTheRing) {
    const std::vector<IpAddressRecord> crowd = AddressesOfOneSet(9);
    DnsAnswerRing ring;
    ASSERT_TRUE(ring.Allocate());
    for (std::size_t i = 0; i < crowd.size(); ++i) ring.Store(Answer("crowd" + std::to_string(i), {crowd[i]}));
    StoreOthers(ring, DnsAnswerRing::kSlots - crowd.size());
    EXPECT_EQ(Find(ring, crowd[0]), "crowd0") << "in the oldest slot";
    StoreOthers(ring, 1);
    EXPECT_EQ(Find(ring, crowd[0]), "(none)");
    EXPECT_EQ(Find(ring, crowd[1]), "crowd1");
}

TEST(DnsAnswerRing, NewestWinsAfterOverlappingStores) {
    DnsAnswerRing ring;
    ASSERT_TRUE(ring.Allocate());
    StoppedStore older(ring, Answer("older", {Ipv4Record(7)}));
    older.Write();
    EXPECT_EQ(Find(ring, Ipv4Record(7)), "(none)") << "not stored yet";
    ring.Store(Answer("newer", {Ipv4Record(7)}));
    older.Index();
    EXPECT_EQ(Find(ring, Ipv4Record(7)), "newer");
    // With one more answer the older one leaves the ring, with two the newer one.
    StoreOthers(ring, DnsAnswerRing::kSlots - 2);
    EXPECT_EQ(Find(ring, Ipv4Record(7)), "newer");
    StoreOthers(ring, 1);
    EXPECT_EQ(Find(ring, Ipv4Record(7)), "newer");
    StoreOthers(ring, 1);
    EXPECT_EQ(Find(ring, Ipv4Record(7)), "(none)");
}

TEST(DnsAnswerRing, NewestWinsWhenBothStoresAreIndexedLate) {
    DnsAnswerRing ring;
    ASSERT_TRUE(ring.Allocate());
    StoppedStore older(ring, Answer("older", {Ipv4Record(7), Ipv4Record(8)}));
    StoppedStore newer(ring, Answer("newer", {Ipv4Record(7)}));
    newer.Write().Index();
    older.Write().Index();
    EXPECT_EQ(Find(ring, Ipv4Record(7)), "newer");
    EXPECT_EQ(Find(ring, Ipv4Record(8)), "older") << "its other address is indexed nevertheless";
    ring.Store(Answer("newest", {Ipv4Record(8)}));
    EXPECT_EQ(Find(ring, Ipv4Record(8)), "newest");
}

// A set of the index is full of newer answers when a late store comes to it.
TEST(DnsAnswerRing, ALateStoreTakesNoWayFromANewerAnswer) {
    const std::vector<IpAddressRecord> crowd = AddressesOfOneSet(9);
    DnsAnswerRing ring;
    ASSERT_TRUE(ring.Allocate());
    StoppedStore late(ring, Answer("late", {crowd[8]}));
    late.Write();
    for (std::size_t i = 0; i < 8; ++i) ring.Store(Answer("crowd" + std::to_string(i), {crowd[i]}));
    late.Index();
    EXPECT_EQ(Find(ring, crowd[8]), "late") << "by the walk";
    for (std::size_t i = 0; i < 8; ++i) EXPECT_EQ(Find(ring, crowd[i]), "crowd" + std::to_string(i));
    StoreOthers(ring, DnsAnswerRing::kSlots - 9);
    EXPECT_EQ(Find(ring, crowd[8]), "late") << "by the walk, as long as its answer is in the ring";
    // Now the late answer has left it; the eight are still there, and found although the walk is over.
    StoreOthers(ring, 1);
    EXPECT_EQ(Find(ring, crowd[8]), "(none)");
    for (std::size_t i = 0; i < 8; ++i) EXPECT_EQ(Find(ring, crowd[i]), "crowd" + std::to_string(i));
}

TEST(DnsAnswerRing, AStoreOvertakenByAWholeRoundLeavesTheNewerAnswerInItsSlot) {
    DnsAnswerRing ring;
    ASSERT_TRUE(ring.Allocate());
    StoppedStore late(ring, Answer("late", {Ipv4Record(7)}));
    StoreOthers(ring, DnsAnswerRing::kSlots - 1);
    ring.Store(Answer("newest", {Ipv4Record(8)}));
    late.Write().Index();
    EXPECT_EQ(Find(ring, Ipv4Record(8)), "newest");
    EXPECT_EQ(Find(ring, Ipv4Record(7)), "(none)");
    EXPECT_STREQ(ring.Saved().entries[0].hostName, "newest");
}

// Each thread stores its own address and one that all share; what is found at last is what was claimed last.
TEST(DnsAnswerRing, StoresOfOneAddressByManyThreadsEndWithTheNewest) {
    constexpr std::size_t kThreads = 4;
    constexpr std::size_t kStores = 200;  // together fewer than the ring has slots
    for (int round = 0; round < 20; ++round) {
        DnsAnswerRing ring;
        ASSERT_TRUE(ring.Allocate());
        std::atomic<std::size_t> ready{0};
        std::vector<std::thread> threads;
        for (std::uint32_t thread = 0; thread < kThreads; ++thread)
            threads.emplace_back([&, thread] {
                ++ready;
                while (ready.load() < kThreads) std::this_thread::yield();
                for (std::size_t i = 0; i < kStores; ++i)
                    ring.Store(Answer(std::to_string(thread), {Ipv4Record(7), Ipv4Record(100 + thread)}));
            });
        for (std::thread& thread : threads) thread.join();
        ASSERT_EQ(Find(ring, Ipv4Record(7)), ring.Saved().entries[kThreads * kStores - 1].hostName);
        for (std::uint32_t thread = 0; thread < kThreads; ++thread)
            ASSERT_EQ(Find(ring, Ipv4Record(100 + thread)), std::to_string(thread));
    }
}

TEST(DnsAnswerRing, WritersAndReadersNeverSeeATornSlot) {
    DnsAnswerRing ring;
    ASSERT_TRUE(ring.Allocate());
    std::atomic<bool> stop{false};
    std::atomic<int> torn{0};
    std::atomic<int> found{0};
    std::vector<std::thread> threads;
    for (int reader = 0; reader < 2; ++reader)
        threads.emplace_back([&] {
            while (!stop.load()) {
                for (std::uint32_t i = 0; i < 26; ++i) {
                    char host[260];
                    if (!ring.FindHostByAddress(Ipv4Record(i), host, sizeof host)) continue;
                    ++found;
                    // A whole name is one letter repeated, the letter of its address.
                    const std::string whole(200, static_cast<char>('a' + i));
                    if (whole != host) ++torn;
                }
            }
        });
    std::vector<std::thread> writers;
    for (std::uint32_t writer = 0; writer < 2; ++writer)
        writers.emplace_back([&, writer] {
            for (std::uint32_t i = 0; i < 8000; ++i) {
                const std::uint32_t letter = (i + writer) % 26;
                ring.Store(Answer(std::string(200, static_cast<char>('a' + letter)), {Ipv4Record(letter)}));
            }
        });
    for (std::thread& writer : writers) writer.join();
    const auto limit = std::chrono::steady_clock::now() + std::chrono::minutes(1);
    while (found.load() == 0 && std::chrono::steady_clock::now() < limit) std::this_thread::yield();
    EXPECT_NE(found.load(), 0);
    stop.store(true);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(torn.load(), 0);
}

}  // namespace
}  // namespace tarn::network
