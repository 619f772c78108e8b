// What differs between two states of a policy file, and which notices tell the library about it.
// Sending them is left to policy_follower.h.
#ifndef TARN_HOST_POLICY_CHANGES_H
#define TARN_HOST_POLICY_CHANGES_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::host {

struct PolicyChange {
    std::string key;  // "features.browsing_protection"
    std::string before;
    std::string after;
};

struct PolicyChanges {
    std::vector<PolicyChange> changes;  // in the order of their keys
    std::vector<std::uint32_t> kinds;   // for WSSettingsChanged, in the order of the calls
    std::uint32_t updated = 0;          // the mask for WSUpdateSettingsChanged; 0 = no call
};

// Both texts are policies without mistakes.
PolicyChanges ComparePolicies(std::string_view before, std::string_view after);

}  // namespace tarn::host

#endif
