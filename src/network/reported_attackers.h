// The remote addresses that were already reported as brute-force attackers, so that each is categorised and described
// to the host once. Any thread may call; one critical section guards the whole list.
#ifndef TARN_NETWORK_REPORTED_ATTACKERS_H
#define TARN_NETWORK_REPORTED_ATTACKERS_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "tarn/records.h"

#include "base/sync.h"

namespace tarn::network {

// Lives as long as the library stays loaded: no end and no change of settings empties it. Asking and adding take the
// critical section one call at a time and allocate nothing; asking costs the same with an empty and a full list.
class ReportedAttackerList {
 public:
    static constexpr std::size_t kMaxInsertions = 5000;

    // Only the four IPv4 bytes are compared.
    [[nodiscard]] bool Contains(const IpAddressRecord& address) const;

    // Two threads may both add the same new attacker; the second insertion counts like any other.
    void Add(const IpAddressRecord& address);

 private:
    // A hash table with linear probing and a generation counter: a slot of an older generation is free, so that
    // emptying touches no slot.
    struct Slot {
        std::uint32_t address;  // as the four bytes stand
        std::uint32_t generation;
    };
    static constexpr int kSlotBits = 13;
    static constexpr std::size_t kSlots = std::size_t{1} << kSlotBits;
    static_assert(kMaxInsertions * 3 < kSlots * 2, "a third stays free, so that a probe ends soon");

    // The slot that holds address, or the free one where it belongs.
    [[nodiscard]] std::size_t SlotOf(std::uint32_t address) const;

    mutable base::CriticalSection lock_;
    std::array<Slot, kSlots> slots_{};
    std::uint32_t generation_ = 1;
    std::size_t insertions_ = 0;
};

}  // namespace tarn::network

#endif
