#include "network/dns_answer_ring.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>

#include "base/bounded_text.h"
#include "base/hash.h"
#include "network/ip_address.h"

namespace tarn::network {
namespace {

constexpr std::size_t kWords = sizeof(DnsAnswerEntry) / sizeof(std::uint32_t);
static_assert(sizeof(DnsAnswerEntry) % sizeof(std::uint32_t) == 0);

// A full ring holds up to 6000 addresses, one and a half a set on average; one set in 50,000 then drops one. Fewer ways
// would make the walks of the slots most of the average cost.
constexpr std::size_t kSets = 4096;
constexpr std::size_t kWays = 8;  // one cache line of index entries
constexpr unsigned kTagBits = 20;

// One index entry: the stamp of a store and some bits of the address's hash. 0 = never used.
constexpr std::uint64_t MakeEntry(std::uint64_t stamp, std::uint64_t tag) {
    return (stamp << kTagBits) | tag;
}
constexpr std::uint64_t StampOf(std::uint64_t entry) {
    return entry >> kTagBits;
}
constexpr std::uint64_t TagOf(std::uint64_t entry) {
    return entry & ((1U << kTagBits) - 1);
}

// A way of a set together with what was seen there.
struct Way {
    base::Atomic<std::uint64_t>* entry = nullptr;
    std::uint64_t value = 0;
};

struct Place {
    std::size_t set;
    std::uint64_t tag;
};

Place PlaceOf(const IpAddressRecord& address) {
    std::array<std::uint64_t, 2> halves{};
    std::memcpy(halves.data(), address.bytes, address.family == TARN_FAMILY_IPV6 ? 16 : 4);
    const std::uint64_t hash = base::Mix64(halves[0] ^ address.family, halves[1]);
    return {hash % kSets, (hash >> 16) & ((1U << kTagBits) - 1)};
}

std::size_t AddressesIn(const DnsAnswerEntry& entry) {
    return std::min<std::size_t>(entry.addressCount, std::size(entry.addresses));
}

bool Holds(const DnsAnswerEntry& entry, const IpAddressRecord& address) {
    for (std::size_t i = 0; i < AddressesIn(entry); ++i)
        if (CompareIPAddress(entry.addresses[i], address)) return true;
    return false;
}

}  // namespace

// The entries stand in one block, the unit of the saved state. Scans touch its words only through AtomicRef.
struct DnsAnswerRing::Memory {
    std::array<std::uint32_t, kSlots * kWords> entries;
    std::array<base::Atomic<std::uint64_t>, kSlots> versions;  // 2 x stamp, odd while the slot is written
    alignas(64) std::array<std::array<base::Atomic<std::uint64_t>, kWays>, kSets> index;
    std::array<base::Atomic<std::uint64_t>, kSets> droppedUntil;  // below this stamp a set may lack a live address
};

DnsAnswerRing::DnsAnswerRing() = default;
DnsAnswerRing::~DnsAnswerRing() = default;

bool DnsAnswerRing::Allocate() {
    memory_.reset(new (std::nothrow) Memory());
    firstSlot_ = 0;
    position_.store(Pack({kFirstStamp, 0}));
    return memory_ != nullptr;
}

void DnsAnswerRing::Free() {
    memory_.reset();
    firstSlot_ = 0;
    position_.store(Pack({kFirstStamp, 0}));
}

std::size_t DnsAnswerRing::IndexSetOf(const IpAddressRecord& address) {
    return PlaceOf(address).set;
}

std::size_t DnsAnswerRing::SlotOf(std::uint64_t stamp) const {
    return static_cast<std::size_t>((firstSlot_ + stamp) % kSlots);  // kFirstStamp is a multiple of kSlots
}

void DnsAnswerRing::Restore(std::span<const DnsAnswerEntry> entries, std::uint16_t writeIndex) {
    if (!memory_) return;
    const auto index = static_cast<std::uint16_t>(writeIndex > kSlots ? writeIndex % kSlots : writeIndex);
    firstSlot_ = index % kSlots;
    position_.store(Pack({kFirstStamp, index}));
    // The 3000 stamps before the first run from the oldest slot to the newest, so that restored answers age as before.
    for (std::uint64_t stamp = kFirstStamp - kSlots; stamp < kFirstStamp; ++stamp) {
        const std::size_t slot = SlotOf(stamp);
        if (slot >= entries.size()) continue;
        if (WriteSlot(stamp, entries[slot])) IndexEntry(stamp, entries[slot]);
    }
}

DnsCacheRecord DnsAnswerRing::Saved() const {
    DnsCacheRecord record{};
    if (!memory_) return record;
    record.count = kSlots;
    record.writeIndex = Unpack(position_.load()).writeIndex;
    record.entries = reinterpret_cast<DnsAnswerEntry*>(memory_->entries.data());
    return record;
}

void DnsAnswerRing::Store(const DnsAnswerEntry& entry) {
    if (!memory_) return;
    const std::uint64_t stamp = ClaimStamp();
    if (WriteSlot(stamp, entry)) IndexEntry(stamp, entry);
}

std::uint64_t DnsAnswerRing::ClaimStamp() {
    std::uint64_t packed = position_.load();
    for (;;) {
        const Position mine = Unpack(packed);
        const auto next = static_cast<std::uint16_t>(mine.writeIndex % kSlots + 1);
        if (position_.compare_exchange_weak(packed, Pack({mine.stamp + 1, next}))) return mine.stamp;
    }
}

// The words are stored with release order behind the odd version, and loaded with acquire order before the version is
// read again, so a reader that saw one new word also sees that the version changed.
bool DnsAnswerRing::WriteSlot(std::uint64_t stamp, const DnsAnswerEntry& entry) {
    const std::size_t slot = SlotOf(stamp);
    base::Atomic<std::uint64_t>& version = memory_->versions[slot];
    std::uint64_t seen = version.load();
    // Only a store that was overtaken by a whole round of 3000 meets another one here: the newer answer stays, and one
    // that is being written is left to its writer.
    do {
        if ((seen & 1) != 0 || seen / 2 > stamp) return false;
    } while (!version.compare_exchange_weak(seen, stamp * 2 + 1));
    std::array<std::uint32_t, kWords> words;
    std::memcpy(words.data(), &entry, sizeof entry);
    std::uint32_t* target = &memory_->entries[slot * kWords];
    for (std::size_t i = 0; i < kWords; ++i)
        base::AtomicRef<std::uint32_t>(target[i]).store(words[i], std::memory_order_release);
    version.store(stamp * 2, std::memory_order_release);
    return true;
}

bool DnsAnswerRing::ReadSlot(std::size_t slot, DnsAnswerEntry& entry) const {
    const base::Atomic<std::uint64_t>& version = memory_->versions[slot];
    const std::uint64_t before = version.load(std::memory_order_acquire);
    if ((before & 1) != 0) return false;
    std::array<std::uint32_t, kWords> words;
    std::uint32_t* source = &memory_->entries[slot * kWords];
    for (std::size_t i = 0; i < kWords; ++i)
        words[i] = base::AtomicRef<std::uint32_t>(source[i]).load(std::memory_order_acquire);
    if (version.load(std::memory_order_relaxed) != before) return false;
    std::memcpy(&entry, words.data(), sizeof entry);
    return true;
}

void DnsAnswerRing::IndexEntry(std::uint64_t stamp, const DnsAnswerEntry& entry) {
    for (std::size_t i = 0; i < AddressesIn(entry); ++i) IndexAddress(stamp, entry.addresses[i]);
}

// Takes, in this order: the way of an older answer with the same address, a way whose answer has left the ring, the way
// of the oldest answer. A way is never given to an older answer than it has: a store that is late leaves the entry of a
// newer answer with its address alone, and does without one in a set of newer answers.
void DnsAnswerRing::IndexAddress(std::uint64_t stamp, const IpAddressRecord& address) {
    const Place place = PlaceOf(address);
    const std::uint64_t entry = MakeEntry(stamp, place.tag);
    for (;;) {
        Way gone;
        Way oldest;
        Way same;
        for (auto& way : memory_->index[place.set]) {
            const Way candidate{&way, way.load()};
            if (candidate.value == 0 || StampOf(candidate.value) + kSlots <= stamp) {
                gone = candidate;
                continue;
            }
            DnsAnswerEntry other;
            if (TagOf(candidate.value) == place.tag && ReadSlot(SlotOf(StampOf(candidate.value)), other) &&
                Holds(other, address)) {
                if (candidate.value >= entry) return;
                same = candidate;
            }
            if (oldest.entry == nullptr || candidate.value < oldest.value) oldest = candidate;
        }
        Way chosen = same.entry != nullptr ? same : gone.entry != nullptr ? gone : oldest;
        if (chosen.entry == oldest.entry && same.entry == nullptr) {
            NoteDropped(place.set, std::min(StampOf(chosen.value), stamp));
            if (chosen.value > entry) return;
        }
        if (chosen.entry->compare_exchange_strong(chosen.value, entry)) return;
    }
}

// Until the answer of this stamp leaves the ring, its address may be missing in the set.
void DnsAnswerRing::NoteDropped(std::size_t set, std::uint64_t stamp) {
    base::Atomic<std::uint64_t>& until = memory_->droppedUntil[set];
    const std::uint64_t leaves = stamp + kSlots;
    std::uint64_t now = until.load();
    while (now < leaves && !until.compare_exchange_weak(now, leaves)) continue;
}

DnsAnswerRing::Answer DnsAnswerRing::AskIndex(const IpAddressRecord& address, std::uint64_t nextStamp,
                                              DnsAnswerEntry& entry) const {
    const Place place = PlaceOf(address);
    std::uint64_t newest = 0;
    bool found = false;
    for (const auto& way : memory_->index[place.set]) {
        const std::uint64_t value = way.load(std::memory_order_acquire);
        if (value == 0 || TagOf(value) != place.tag || StampOf(value) + kSlots < nextStamp) continue;
        if (!found || StampOf(value) > newest) newest = StampOf(value);
        found = true;
    }
    const bool dropped = memory_->droppedUntil[place.set].load(std::memory_order_acquire) >= nextStamp;
    if (!found) return dropped ? Answer::kUnknown : Answer::kNo;
    if (!ReadSlot(SlotOf(newest), entry) || !Holds(entry, address)) return Answer::kUnknown;
    return Answer::kYes;
}

bool DnsAnswerRing::Walk(const IpAddressRecord& address, std::uint16_t writeIndex, DnsAnswerEntry& entry) const {
    for (std::size_t back = 1; back <= kSlots; ++back) {
        const std::size_t slot = (writeIndex + kSlots - back) % kSlots;
        if (ReadSlot(slot, entry) && Holds(entry, address)) return true;
    }
    return false;
}

bool DnsAnswerRing::FindHostByAddress(const IpAddressRecord& address, char* host, std::size_t capacity) const {
    if (!memory_) return false;
    const Position position = Unpack(position_.load());
    if (position.writeIndex == 0) return false;
    DnsAnswerEntry entry;
    Answer answer = AskIndex(address, position.stamp, entry);
    if (answer == Answer::kUnknown) answer = Walk(address, position.writeIndex, entry) ? Answer::kYes : Answer::kNo;
    if (answer == Answer::kNo) return false;
    return base::Succeeded(base::CopyText(host, capacity, base::FieldText(entry.hostName, sizeof entry.hostName)));
}

}  // namespace tarn::network
