#include "host/explain/policy_entry.h"

#include <fmt/format.h>

namespace tarn::host {

namespace {

// How an entry is written, as far as that tells it from others.
struct Facts {
    policy::Place place;
    std::string text;
};

Facts OfAllowedSite(const policy::ParentalAllowedSite& site) {
    return {site.place, site.host + site.path};
}

std::string BytesAsText(const policy::PacketSignature& signature) {
    constexpr std::size_t kShown = 64;
    std::string text;
    for (std::size_t i = 0; i < signature.bytes.size() && i < kShown; ++i) {
        const std::uint8_t byte = signature.bytes[i];
        if (byte < 0x20 || byte > 0x7E) {
            std::string hex;
            for (std::size_t k = 0; k < signature.bytes.size() && k < kShown; ++k)
                hex += fmt::format("{}{:02x}", k == 0 ? "" : " ", signature.bytes[k]);
            return hex;
        }
        text += static_cast<char>(byte);
    }
    return text;
}

Facts FactsOf(const policy::Policy& policy, const EntryRef& entry) {
    const auto ofText = [](const policy::ListedText& listed) { return Facts{listed.place, listed.text}; };
    const auto user = [&]() -> const policy::ParentalUser& { return policy.parental.users[entry.user]; };
    switch (entry.list) {
        case PolicyList::kWebSecurity:
            return ofText(policy.whiteLists.webSecurity[entry.number]);
        case PolicyList::kBrowsingProtection:
            return ofText(policy.whiteLists.browsingProtection[entry.number]);
        case PolicyList::kUserWhiteList:
            return ofText(policy.whiteLists.user[entry.number]);
        case PolicyList::kMaliciousSites:
            return {policy.maliciousSites[entry.number].place, policy.maliciousSites[entry.number].host};
        case PolicyList::kThreats: {
            const policy::MaliciousSite& site = policy.maliciousSites[entry.number];
            return {site.threats[entry.inner].place, site.host + site.threats[entry.inner].path};
        }
        case PolicyList::kPhishingSites:
            return {policy.phishingSites[entry.number].place, policy.phishingSites[entry.number].host};
        case PolicyList::kPhishingPaths: {
            const policy::PhishingSite& site = policy.phishingSites[entry.number];
            return {site.paths[entry.inner].place, site.host + site.paths[entry.inner].text};
        }
        case PolicyList::kSites:
            return {policy.sites[entry.number].place, policy.sites[entry.number].address};
        case PolicyList::kPatterns:
            return ofText(policy.maliciousPatterns[entry.number]);
        case PolicyList::kInspectedHosts:
            return ofText(policy.inspectedHosts[entry.number]);
        case PolicyList::kSchedule:
            return {user().place, user().account.empty() ? "the first entry" : user().account};
        case PolicyList::kAllowedSites:
            return OfAllowedSite(user().allowedSites[entry.number]);
        case PolicyList::kScheduleAllowedSites:
            return OfAllowedSite(user().scheduleAllowedSites[entry.number]);
        case PolicyList::kBlockedSites: {
            const policy::ParentalSiteRule& rule = user().siteRules[entry.number];
            return {rule.place, rule.host + rule.path};
        }
        case PolicyList::kPacketSignatures:
            return {policy.packetSignatures[entry.number].place, BytesAsText(policy.packetSignatures[entry.number])};
        case PolicyList::kIdsRules:
            return {policy.idsRules[entry.number].place,
                    fmt::format("{} {}", policy.idsRules[entry.number].id, policy.idsRules[entry.number].name)};
    }
    return {};
}

}  // namespace

std::string_view KeyOf(PolicyList list) {
    switch (list) {
        case PolicyList::kWebSecurity:
            return "white_lists.web_security";
        case PolicyList::kBrowsingProtection:
            return "white_lists.browsing_protection";
        case PolicyList::kUserWhiteList:
            return "white_lists.user";
        case PolicyList::kMaliciousSites:
            return "malicious_sites";
        case PolicyList::kThreats:
            return "malicious_sites.threats";
        case PolicyList::kPhishingSites:
            return "phishing_sites";
        case PolicyList::kPhishingPaths:
            return "phishing_sites.paths";
        case PolicyList::kSites:
            return "sites";
        case PolicyList::kPatterns:
            return "malicious_patterns";
        case PolicyList::kInspectedHosts:
            return "https_inspection.blocked_hosts";
        case PolicyList::kSchedule:
            return "parental.users.schedule";
        case PolicyList::kAllowedSites:
            return "parental.users.allowed_sites";
        case PolicyList::kScheduleAllowedSites:
            return "parental.users.schedule_allowed_sites";
        case PolicyList::kBlockedSites:
            return "parental.users.blocked_sites";
        case PolicyList::kPacketSignatures:
            return "packet_signatures";
        case PolicyList::kIdsRules:
            return "ids_rules";
    }
    return "";
}

policy::Place PlaceOf(const policy::Policy& policy, const EntryRef& entry) {
    return FactsOf(policy, entry).place;
}

DecidingEntry Describe(const policy::Policy& policy, const EntryRef& entry) {
    const Facts facts = FactsOf(policy, entry);
    DecidingEntry described{std::string(KeyOf(entry.list)), facts.text, {}, facts.place.line};
    if (facts.place.file < policy.files.size()) described.file = policy.files[facts.place.file];
    return described;
}

}  // namespace tarn::host
