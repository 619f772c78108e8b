#include "network/reported_attackers.h"

#include <cstring>
#include <mutex>

namespace tarn::network {
namespace {

std::uint32_t RawIpv4(const IpAddressRecord& address) {
    std::uint32_t number = 0;
    std::memcpy(&number, address.bytes, sizeof number);
    return number;
}

}  // namespace

std::size_t ReportedAttackerList::SlotOf(std::uint32_t address) const {
    constexpr std::uint32_t kGoldenRatio = 0x9E3779B1;  // Fibonacci hashing: spreads the neighbours of one network
    std::size_t slot = (address * kGoldenRatio) >> (32 - kSlotBits);
    while (slots_[slot].generation == generation_ && slots_[slot].address != address) slot = (slot + 1) % kSlots;
    return slot;
}

bool ReportedAttackerList::Contains(const IpAddressRecord& address) const {
    const std::uint32_t number = RawIpv4(address);
    const std::lock_guard hold(lock_);
    return slots_[SlotOf(number)].generation == generation_;
}

void ReportedAttackerList::Add(const IpAddressRecord& address) {
    const std::uint32_t number = RawIpv4(address);
    const std::lock_guard hold(lock_);
    // QUIRK: entries do not expire one by one; the insertion after the 5000th empties the whole list first, and an
    // address that was added twice counts twice.  Test: TheFiveThousandAndFirstEmptiesTheList
    if (insertions_ >= kMaxInsertions) {
        insertions_ = 0;
        ++generation_;
    }
    slots_[SlotOf(number)] = {number, generation_};
    ++insertions_;
}

}  // namespace tarn::network
