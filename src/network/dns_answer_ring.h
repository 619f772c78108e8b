// The last 3000 DNS answers, so that a connection made by address can still be judged by the name that it came from.
// The ring owns its memory. Any threads store and look up at once; Allocate, Free and Restore run alone.
#ifndef TARN_NETWORK_DNS_ANSWER_RING_H
#define TARN_NETWORK_DNS_ANSWER_RING_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "tarn/companions.h"

#include "base/atomic.h"

namespace tarn::network {

// No lock: each slot is a seqlock, whose version is odd while the slot is written, so that a look-up never returns a
// torn answer. A set-associative index leads from an address to the newest slot that holds it, so that a look-up costs
// the same with an empty and a full ring. Slots and index entries only ever give way to newer answers, in whatever
// order overlapping stores come to an end. A set that was too small remembers that it dropped an address, and the
// look-up then walks the slots.
class DnsAnswerRing {
 public:
    static constexpr std::size_t kSlots = TARN_DNS_RING_SLOTS;

    DnsAnswerRing();
    ~DnsAnswerRing();
    DnsAnswerRing(const DnsAnswerRing&) = delete;
    DnsAnswerRing& operator=(const DnsAnswerRing&) = delete;

    // An empty ring of 876,000 bytes; false without memory.
    bool Allocate();
    void Free();

    // Takes up to 3000 saved entries from slot 0 on, and the write index (above 3000: modulo 3000), into an empty ring.
    void Restore(std::span<const DnsAnswerEntry> entries, std::uint16_t writeIndex);

    // What is saved: all slots and the write index. Without memory the entries are null and the count is 0.
    [[nodiscard]] DnsCacheRecord Saved() const;

    void Store(const DnsAnswerEntry& entry);

    // The name of the newest answer that holds address; host has room for capacity characters. False when there is
    // none and for a name that does not fit (which is cut).
    bool FindHostByAddress(const IpAddressRecord& address, char* host, std::size_t capacity) const;

    // How tests let the steps of two stores overlap, and crowd a set of the index.
    struct TestAccess;

 private:
    struct Memory;

    // The steps of Store, one after the other: the place in time of this answer, its slot, its index entries. WriteSlot
    // is false when the slot has a newer answer or is being written.
    [[nodiscard]] std::uint64_t ClaimStamp();
    bool WriteSlot(std::uint64_t stamp, const DnsAnswerEntry& entry);
    void IndexEntry(std::uint64_t stamp, const DnsAnswerEntry& entry);
    // The set of the index that an address belongs to.
    [[nodiscard]] static std::size_t IndexSetOf(const IpAddressRecord& address);

    // A store's place in time and the write index after it, changed as one.
    struct Position {
        std::uint64_t stamp;       // of the next store; slot and stamp of a store belong together
        std::uint16_t writeIndex;  // 0 to 3000
    };
    static constexpr std::uint64_t kFirstStamp = 2 * kSlots;  // restored answers have the 3000 stamps before
    static constexpr std::uint64_t Pack(Position position) { return (position.stamp << 16) | position.writeIndex; }
    static constexpr Position Unpack(std::uint64_t packed) {
        return {packed >> 16, static_cast<std::uint16_t>(packed & 0xFFFF)};
    }

    [[nodiscard]] std::size_t SlotOf(std::uint64_t stamp) const;
    bool ReadSlot(std::size_t slot, DnsAnswerEntry& entry) const;
    void IndexAddress(std::uint64_t stamp, const IpAddressRecord& address);
    void NoteDropped(std::size_t set, std::uint64_t stamp);

    enum class Answer { kNo, kYes, kUnknown };
    Answer AskIndex(const IpAddressRecord& address, std::uint64_t nextStamp, DnsAnswerEntry& entry) const;
    bool Walk(const IpAddressRecord& address, std::uint16_t writeIndex, DnsAnswerEntry& entry) const;

    std::unique_ptr<Memory> memory_;
    base::Atomic<std::uint64_t> position_{Pack({kFirstStamp, 0})};
    std::size_t firstSlot_ = 0;  // slot of kFirstStamp, the first store after Allocate or Restore
};

}  // namespace tarn::network

#endif
