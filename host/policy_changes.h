// What differs between two states of a policy file, and which notices tell the library about it.
#ifndef TARN_HOST_POLICY_CHANGES_H
#define TARN_HOST_POLICY_CHANGES_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "policy/list_reader.h"

namespace tarn::host {

// One value, or one entry of a list: "white_lists.user['shop.example']", "malicious_sites[shop.example].whole_site".
struct PolicyChange {
    std::string key;
    std::string before;
    std::string after;
};

// Whether it is one of the table [serve], which a running server read when it started.
bool CountsAtRestart(const PolicyChange& change);

struct PolicyChanges {
    std::vector<PolicyChange> changes;  // in the order of their keys
    std::vector<std::uint32_t> kinds;   // for WSSettingsChanged, in the order of the calls
    std::uint32_t updated = 0;          // the mask for WSUpdateSettingsChanged; 0 = no call
};

// Both texts are policies without mistakes; with them the lists that they include. A list that changed is one change,
// "malicious_sites[lists/ads.txt]", however many entries differ.
PolicyChanges ComparePolicies(std::string_view before, std::string_view after,
                              const std::vector<policy::IncludedList>& listsBefore = {},
                              const std::vector<policy::IncludedList>& listsAfter = {});

// "features.anti_phishing: false, was true", "malicious_sites[shop.example]: added",
// "serve.unknown: 'refuse', was not set (counts when serve starts again)"
std::string DescribeChange(const PolicyChange& change);

}  // namespace tarn::host

#endif
