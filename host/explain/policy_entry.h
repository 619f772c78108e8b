// One entry of a policy, as the explanation refers to it, and how people find it.
#ifndef TARN_HOST_EXPLAIN_POLICY_ENTRY_H
#define TARN_HOST_EXPLAIN_POLICY_ENTRY_H

#include <cstdint>
#include <string>
#include <string_view>

#include "host/deciding_entry.h"
#include "policy/policy.h"

namespace tarn::host {

enum class PolicyList : std::uint8_t {
    kWebSecurity,
    kBrowsingProtection,
    kUserWhiteList,
    kMaliciousSites,
    kThreats,
    kPhishingSites,
    kPhishingPaths,
    kSites,
    kPatterns,
    kInspectedHosts,
    kSchedule,
    kAllowedSites,
    kScheduleAllowedSites,
    kBlockedSites,
    kPacketSignatures,
    kIdsRules
};

// Numbers count from 0 in the order of the policy.
struct EntryRef {
    PolicyList list{};
    std::uint32_t number = 0;
    std::uint32_t inner = 0;  // of a threat or path: its number in the site
    std::uint32_t user = 0;   // of a list of an entry under parental.users
    bool operator==(const EntryRef&) const = default;
};

// The key of the list, such as "parental.users.blocked_sites".
std::string_view KeyOf(PolicyList list);
policy::Place PlaceOf(const policy::Policy& policy, const EntryRef& entry);
DecidingEntry Describe(const policy::Policy& policy, const EntryRef& entry);

}  // namespace tarn::host

#endif
