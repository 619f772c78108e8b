// The ring of DNS answers without its lock: every order of stores and look-ups, with every value that a load may give.
// The ring is compiled anew for this with two slots and one set of two ways, so that the second round begins at once.
#include <cstring>
#include <gtest/gtest.h>
#include <optional>
#include <string>

#include "network/dns_answer_ring.h"
#include "order/explorer/search.h"
#include "order/explorer/sync_explored.h"
#include "order/record.h"

namespace tarn::network {

struct DnsAnswerRing::TestAccess {
    static std::uint64_t ClaimStamp(DnsAnswerRing& ring) { return ring.ClaimStamp(); }
    static bool WriteSlot(DnsAnswerRing& ring, std::uint64_t stamp, const DnsAnswerEntry& entry) {
        return ring.WriteSlot(stamp, entry);
    }
    static void IndexEntry(DnsAnswerRing& ring, std::uint64_t stamp, const DnsAnswerEntry& entry) {
        ring.IndexEntry(stamp, entry);
    }
    static bool ReadSlot(const DnsAnswerRing& ring, std::size_t slot, DnsAnswerEntry& entry) {
        return ring.ReadSlot(slot, entry);
    }
    static std::uint64_t Position(const DnsAnswerRing& ring) { return ring.position_.load(); }
    static constexpr std::uint64_t kFirstStamp = DnsAnswerRing::kFirstStamp;
    static constexpr std::size_t kRound = DnsAnswerRing::kSlots;
};

}  // namespace tarn::network

namespace tarn::order {
namespace {

using Ring = network::DnsAnswerRing;
using Access = Ring::TestAccess;
static_assert(Access::kRound == 2, "this is not the small ring");

// Entries differ in their names and in the first bytes of their addresses alone, in words that are watched. The first
// and the last word of a name are far apart, and so begin and end what can be torn.
constexpr std::size_t kNameWords[] = {0, 62};

IpAddressRecord Address(std::uint8_t number) {
    IpAddressRecord record{};
    record.bytes[0] = number;
    return record;
}

// Has the address, and when it is crowded another one with 10 more.
DnsAnswerEntry Answer(char name, std::uint8_t address, bool crowded = false) {
    DnsAnswerEntry entry{};
    entry.addressCount = crowded ? 2 : 1;
    std::memset(entry.hostName + 1, '.', 249);
    for (const std::size_t word : kNameWords) entry.hostName[4 * word] = name;
    entry.addresses[0] = Address(address);
    if (crowded) entry.addresses[1] = Address(static_cast<std::uint8_t>(address + 10));
    return entry;
}

// The name of an answer that is whole, '?' for one that is made of two.
char NameOf(const DnsAnswerEntry& entry) {
    const char name = entry.hostName[0];
    return entry.hostName[4 * kNameWords[1]] == name ? name : '?';
}

class RingTrial : public Trial {
 public:
    RingTrial() {
        BeginSync({});
        EXPECT_TRUE(ring.Allocate());
    }

 protected:
    static World& world() { return *World::Current(); }

    // From here on every access to the names, and to the first word of the addresses, is a step.
    void WatchWords(bool addressesToo) {
        const DnsCacheRecord saved = ring.Saved();
        const auto* words = reinterpret_cast<const std::uint32_t*>(saved.entries);
        constexpr std::size_t kWords = sizeof(DnsAnswerEntry) / sizeof *words;
        for (std::size_t slot = 0; slot < Access::kRound; ++slot) {
            // A word holds bytes 4n to 4n + 3 of the entry; the name begins at byte 2, the bytes of the
            // two addresses at 259 and 276.
            for (const std::size_t word : kNameWords) Watch(words + slot * kWords + (2 + 4 * word) / 4);
            if (!addressesToo) continue;
            Watch(words + slot * kWords + 259 / 4);
            Watch(words + slot * kWords + 276 / 4);
        }
    }
    // The name that the ring gives for an address, ' ' for none.
    [[nodiscard]] char Find(std::uint8_t address) const {
        char host[260];
        if (!ring.FindHostByAddress(Address(address), host, sizeof host)) return ' ';
        return host[0] == host[4 * kNameWords[1]] ? host[0] : '?';
    }
    // Of a slot: ' ' when it cannot be read now.
    [[nodiscard]] char Read(std::size_t slot) const {
        DnsAnswerEntry entry;
        return Access::ReadSlot(ring, slot, entry) ? NameOf(entry) : ' ';
    }

    Ring ring;

 private:
    static void Watch(const std::uint32_t* word) { world().SharedMemory().Watch(word, world().NewObject(), *word); }
};

// Each thread claims its place in time.
class ClaimTrial final : public RingTrial {
 public:
    ClaimTrial() {
        world().SharedMemory().AllowFailures(1);
        for (std::uint64_t& stamp : stamps_)
            world().AddThread("writer", [this, &stamp] { stamp = Access::ClaimStamp(ring); });
    }
    void AtEnd() override {
        std::uint64_t sum = 0;
        for (const std::uint64_t& stamp : stamps_) {
            sum += stamp;
            for (const std::uint64_t& other : stamps_)
                world().Require(&other == &stamp || other != stamp, "two stores have one place in time");
        }
        world().Require(sum == 3 * Access::kFirstStamp + 3, "a place in time was left out");
        const std::uint64_t next = Access::Position(ring);
        world().Require(next >> 16 == Access::kFirstStamp + 3 && (next & 0xFFFF) == 1, "the next place is another one");
    }

 private:
    std::uint64_t stamps_[3] = {};
};

// Two writers of one slot, a round apart, and two look-ups into it, one behind the other.
class SlotTrial final : public RingTrial {
 public:
    SlotTrial() {
        EXPECT_TRUE(Access::WriteSlot(ring, Access::kFirstStamp, Answer('0', 1)));
        WatchWords(false);
        world().SharedMemory().AllowFailures(1);
        Write('1', 1);
        Write('2', 2);
        world().AddThread("reader", [this] {
            const char first = Read(0);
            const char second = Read(0);
            world().Require(first != '?' && second != '?', "a torn answer was read");
            world().Require(first == ' ' || second == ' ' || second >= first,
                            "an older answer came behind a newer one");
        });
    }
    void AtEnd() override {
        const char last = Read(0);
        world().Require(written_[1] || written_[2], "neither store has written");
        world().Require(last == (written_[2] ? '2' : '1'), "the newer answer is not what stays");
    }

 private:
    void Write(char name, std::uint64_t rounds) {
        world().AddThread(std::string("writer ") + name, [this, name, rounds] {
            written_[rounds] = Access::WriteSlot(ring, Access::kFirstStamp + rounds * Access::kRound, Answer(name, 1));
        });
    }

    bool written_[3] = {};
};

// The ring holds an answer; others are stored whole while one look-up or several go on.
class StoreTrial final : public RingTrial {
 public:
    struct Plan {
        std::string before;                                 // stored before it begins: a name for each, address 1
        std::vector<std::pair<char, std::uint8_t>> stores;  // each by a thread: name and address
        bool looksUp = false;                               // a thread looks address 1 up meanwhile
        std::string mayFind;                                // what it may find then
        bool crowded = false;                               // more addresses than the index has room for
    };

    explicit StoreTrial(const Plan& plan) : plan_(plan) {
        for (const char name : plan.before) ring.Store(Answer(name, 1, plan.crowded));
        WatchWords(true);
        for (const auto& [name, address] : plan.stores)
            world().AddThread(std::string("writer ") + name,
                              [this, name = name, address = address] { Store(name, address); });
        if (plan.looksUp)
            world().AddThread("reader", [this] {
                const char name = Find(1);
                world().Require(plan_.mayFind.find(name) != std::string::npos,
                                std::string("a look-up found '") + name + "'");
            });
    }

    // Behind everything the ring answers as a walk from the newest place in time to the oldest would.
    void AtEnd() override {
        for (const auto& [ignored, address] : plan_.stores) {
            const char expected = NewestOf(address);
            const char name = Find(address);
            world().Require(name == expected,
                            std::string("at the end '") + name + "' is found, not '" + expected + "'");
        }
    }

 private:
    void Store(char name, std::uint8_t address) {
        const std::uint64_t stamp = Access::ClaimStamp(ring);
        const DnsAnswerEntry entry = Answer(name, address, plan_.crowded);
        if (Access::WriteSlot(ring, stamp, entry)) Access::IndexEntry(ring, stamp, entry);
    }
    // What stands in the slots, the newest first.
    [[nodiscard]] char NewestOf(std::uint8_t address) const {
        const std::size_t writeIndex = Access::Position(ring) & 0xFFFF;
        for (std::size_t back = 1; back <= Access::kRound; ++back) {
            DnsAnswerEntry entry;
            if (!Access::ReadSlot(ring, (writeIndex + Access::kRound - back) % Access::kRound, entry)) continue;
            if (entry.addresses[0].bytes[0] == address) return NameOf(entry);
        }
        return ' ';
    }

    const Plan plan_;
};

void ExpectHolds(const Found& found, std::uint64_t atLeast) {
    Record(found);
    EXPECT_EQ(found.failure, "");
    EXPECT_GE(found.ends, atLeast);
}
void ExpectStoresHold(const StoreTrial::Plan& plan, std::uint64_t atLeast) {
    ExpectHolds(ExploreOrders([&] { return std::make_unique<StoreTrial>(plan); }), atLeast);
}

TEST(RingOrder, ThreeStoresClaimThreePlaces) {
    ExpectHolds(ExploreOrders([] { return std::make_unique<ClaimTrial>(); }), 6);
}

TEST(RingOrder, TwoWritersOfASlotAndAReader) {
    ExpectHolds(ExploreOrders([] { return std::make_unique<SlotTrial>(); }), 100);
}

TEST(RingOrder, AnAnswerIsFoundWhileANewerOneIsStored) {
    ExpectStoresHold({"0", {{'1', 1}}, true, "01"}, 4);
}

TEST(RingOrder, TwoStoresOfOneAddress) {
    ExpectStoresHold({"", {{'1', 1}, {'2', 1}}, false, ""}, 10);
}

TEST(RingOrder, TwoStoresOfTwoAddressesIntoAFullRing) {
    ExpectStoresHold({"00", {{'1', 1}, {'2', 2}}, false, ""}, 10);
}

TEST(RingOrder, TwoStoresThatCrowdTheIndex) {
    ExpectStoresHold({"", {{'1', 1}, {'2', 2}}, false, "", true}, 10);
}

TEST(RingOrder, AnAnswerIsFoundWhileAnOlderOneIsOverwritten) {
    ExpectStoresHold({"00", {{'1', 1}}, true, "01"}, 4);
}

}  // namespace
}  // namespace tarn::order
