// What a policy file says, as plain data: the knowledge behind the reference companion modules.
// policy_reader reads it from a file, policy_records turns it into records. Plain values that own their texts.
#ifndef TARN_COMPANIONS_POLICY_POLICY_H
#define TARN_COMPANIONS_POLICY_POLICY_H

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tarn/companions.h"

#include "policy/serve_table.h"

namespace tarn::policy {

// Where an entry stands: one of Policy::files, and the line in it.
struct Place {
    std::uint32_t file = 0;
    std::uint32_t line = 0;  // from 1; 0 when it stands nowhere
};

// An entry of a list of texts.
struct ListedText {
    std::string text;
    Place place{};
};

struct Features {
    bool browsingProtection = false;
    bool antiPhishing = false;
    bool intrusionPrevention = false;
    bool cloudLookup = true;
    bool httpsInspection = false;
    std::uint8_t agentStatus = 0;
};

struct Notices {
    PromptBytes browsingProtection{};
    PromptBytes antiPhishing{};
};

struct WhiteLists {
    std::vector<ListedText> webSecurity;
    std::vector<ListedText> browsingProtection;
    std::vector<ListedText> user;
};

struct Threat {
    std::string name;
    std::string path;  // empty: the site as a whole
    Place place{};
};

struct MaliciousSite {
    std::string host;
    bool wholeSite = true;
    std::vector<Threat> threats;  // none for a site of a list: see Policy::listThreats
    Place place{};
};

struct PhishingSite {
    std::string host;
    bool wholeSite = true;
    std::vector<ListedText> paths;
    Place place{};
};

// A host, or a host and the beginning of a path, with its categories.
struct CategorisedSite {
    std::string address;
    std::vector<std::uint16_t> categories;
    Place place{};
};

struct PacketSignature {
    std::uint16_t port = 0;           // local TCP port, 0 = any
    std::vector<std::uint8_t> bytes;  // searched in the frame
    std::uint32_t reason = 0;
    bool block = true;
    Place place{};
};

struct IdsRuleText {
    std::uint16_t id = 0;
    bool excluded = false;
    std::string name;
    std::string description;
    std::string details;
    std::vector<std::uint8_t> systems;
    Place place{};
};

struct ManagedClient {
    std::string server;
    bool disableOnlineLookup = false;
};

struct ParentalSiteRule {
    std::string host;
    std::string path;
    std::uint8_t flag = 1;
    std::uint8_t kind = 1;
    std::uint8_t subdomains = 0;
    std::vector<IpAddressRecord> addresses;  // IPv4 as a host-order number
    Place place{};
};

struct ParentalAllowedSite {
    std::string host;
    std::string path;
    std::uint8_t kind = 1;
    bool subdomains = true;
    Place place{};
};

struct ParentalUser {
    std::string account;  // as the policy writes it
    std::array<std::uint8_t, 68> sid{};
    bool profile = true;
    bool blockList = false;
    bool categories = false;
    bool schedule = false;
    bool controlled = false;
    bool exempt = false;
    bool hourGrid = false;
    std::array<std::vector<TimeRange>, 7> times;  // Sunday first
    std::array<std::array<bool, 24>, 7> hours{};  // by weekday
    std::array<std::uint16_t, 7> allowance{};     // hours a day
    std::vector<std::uint16_t> blockedCategories;
    std::vector<ParentalSiteRule> siteRules;
    std::vector<ParentalAllowedSite> allowedSites;
    std::vector<ParentalAllowedSite> scheduleAllowedSites;
    Place place{};
};

struct Parental {
    std::uint8_t mode = TARN_PC_ABSENT;
    std::uint8_t strictness = 0;
    PromptBytes prompt{};
    std::vector<ParentalUser> users;
};

struct Policy {
    std::vector<std::string> files;  // as messages name them; the first is the policy itself, the others are lists
    std::vector<std::string> listThreats;  // by file: what the malicious sites of that list are called, all alike
    Features features;
    Notices notices;
    WhiteLists whiteLists;
    std::vector<MaliciousSite> maliciousSites;
    std::vector<PhishingSite> phishingSites;
    std::map<std::uint16_t, std::string> categoryNames;
    std::vector<CategorisedSite> sites;
    std::vector<ListedText> maliciousPatterns;
    std::vector<PacketSignature> packetSignatures;
    std::vector<IdsRuleText> idsRules;
    std::uint8_t idsAlert = 0;
    std::vector<ListedText> inspectedHosts;
    ManagedClient managedClient;
    Parental parental;
    ServeTable serve;  // of the host, not of the modules
};

}  // namespace tarn::policy

#endif
