// The walks that the published forms of the packet scan replace, for property tests and as the benchmarks' peers.
#ifndef TARN_TESTS_NETWORK_PLAIN_WALK_H
#define TARN_TESTS_NETWORK_PLAIN_WALK_H

#include <cstring>
#include <mutex>
#include <vector>

#include "tarn/companions.h"

#include "base/sync.h"

namespace tarn::network::plain {

// Growable array and insertion counter, walked from front to back.
class ReportedAttackerList {
 public:
    bool Contains(const IpAddressRecord& address) const {
        const std::lock_guard hold(lock_);
        for (const IpAddressRecord& record : records_)
            if (std::memcmp(record.bytes, address.bytes, 4) == 0) return true;
        return false;
    }
    void Add(const IpAddressRecord& address) {
        const std::lock_guard hold(lock_);
        if (counter_ >= 5000) {
            counter_ = 0;
            records_.clear();
        }
        records_.push_back(address);
        ++counter_;
    }

 private:
    mutable base::CriticalSection lock_;
    std::vector<IpAddressRecord> records_;
    std::size_t counter_ = 0;
};

inline const IdsRule* FindRule(const IdsSettingsRecord& record, std::uint16_t id) {
    for (std::uint32_t i = 0; i < record.ruleCount; ++i)
        if (record.rules[i].id == id) return &record.rules[i];
    return nullptr;
}

}  // namespace tarn::network::plain

#endif
