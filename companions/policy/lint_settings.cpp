// Categories without a name or a site, signatures and rules that an earlier one hides, features that nobody set.
#include <algorithm>
#include <charconv>
#include <map>
#include <set>

#include "policy/lint_rules.h"
#include "policy/site_judge.h"
#include "policy/values.h"

namespace tarn::policy {
namespace {

constexpr std::string_view kCategoryNames = "category_names.";

bool IsOwnCategory(std::uint16_t category) {
    return category == TARN_CATEGORY_MALICIOUS || category == TARN_CATEGORY_PHISHING;
}

// A number that is written in two ways, such as 2 and 02.
void NumbersWrittenTwice(Lint& lint) {
    std::map<std::uint16_t, std::string_view> written;
    for (auto key = lint.keys.lower_bound(std::string(kCategoryNames)); key != lint.keys.end(); ++key) {
        if (!key->starts_with(kCategoryNames)) break;
        const std::string_view digits = std::string_view(*key).substr(kCategoryNames.size());
        std::uint16_t number = 0;
        std::from_chars(digits.data(), digits.data() + digits.size(), number);
        const auto [at, isNew] = written.try_emplace(number, digits);
        if (!isNew)
            lint.Warn({}, fmt::format("category_names has \"{}\" and \"{}\", which are one number: only one name "
                                      "counts, so remove the other",
                                      at->second, digits));
    }
}

// Looked up in the categories of connections only then.
bool LooksUpCategories(const Policy& policy) {
    return policy.parental.mode == TARN_PC_ONE_FOR_ALL && !policy.parental.users.empty();
}

}  // namespace

void CategoryNumbers(Lint& lint) {
    NumbersWrittenTwice(lint);
    const Policy& policy = lint.policy;
    std::set<std::uint16_t> known;
    std::set<std::uint16_t> ofSites;
    const auto needName = [&](std::uint16_t category, Place place, std::string_view where) {
        if (IsOwnCategory(category) || policy.categoryNames.contains(category) || !known.insert(category).second)
            return;
        lint.Warn(place, fmt::format("{}: category {} has no name: write it under [category_names], or verdicts show "
                                     "none",
                                     where, category));
    };
    for (const CategorisedSite& site : policy.sites)
        for (const std::uint16_t category : site.categories) {
            ofSites.insert(category);
            needName(category, site.place, "sites");
        }
    for (const ParentalUser& user : policy.parental.users)
        for (const std::uint16_t category : user.blockedCategories) {
            constexpr const char* kKey = "parental.users.blocked_categories";
            if (IsOwnCategory(category)) {
                lint.Warn(user.place,
                          fmt::format("{} {} is passed over: features.{} blocks this category", kKey, category,
                                      category == TARN_CATEGORY_MALICIOUS ? "browsing_protection" : "anti_phishing"));
                continue;
            }
            needName(category, user.place, kKey);
            if (!ofSites.contains(category))
                lint.Warn(user.place, fmt::format("{} {} blocks nothing, because no entry of sites has this category",
                                                  kKey, category));
        }
}

void CategorisedSites(Lint& lint) {
    constexpr const char* kKey = "sites.address";
    const Policy& policy = lint.policy;
    const auto isName = [](const CategorisedSite& site) {
        return site.address.find_first_not_of("0123456789.") != std::string::npos;
    };
    FirstPlaces seen;
    for (const CategorisedSite& site : policy.sites) {
        const SiteAddress address = SplitSiteAddress(site.address);
        if (address.host.empty())
            lint.NeverMatches(kKey, site.place, site.address, "an address begins with a host");
        else if (address.host.find('*') != std::string::npos)
            lint.NeverMatches(kKey, site.place, site.address,
                              "\"*\" stands for nothing here; a host covers the domains below it");
        if (const auto [at, isNew] = seen.try_emplace(address.host + address.path, site.place); !isNew)
            lint.Warn(site.place,
                      fmt::format("{} \"{}\" is listed in {} already, which counts: put its categories there", kKey,
                                  site.address, lint.Line(at->second)));
    }
    const auto first = std::find_if(policy.sites.begin(), policy.sites.end(), isName);
    if (first != policy.sites.end() && !LooksUpCategories(policy))
        lint.Warn(first->place,
                  "sites: the categories of connections are looked up only with parental.mode = 1 and an "
                  "entry under parental.users");
    if (!policy.maliciousPatterns.empty() && !LooksUpCategories(policy))
        lint.Warn(policy.maliciousPatterns.front().place,
                  "malicious_patterns are asked of connections only with parental.mode = 1 and an entry under "
                  "parental.users");
}

void Signatures(Lint& lint) {
    FirstPlaces seen;  // bytes, then the port
    for (const PacketSignature& signature : lint.policy.packetSignatures) {
        const std::string bytes(signature.bytes.begin(), signature.bytes.end());
        const std::string key = bytes + fmt::format("\n{}", signature.port);
        auto before = seen.find(bytes + "\n0");
        if (before == seen.end()) before = seen.find(key);
        if (before != seen.end())
            lint.Warn(signature.place, fmt::format("packet_signatures: the signature in {} finds the same bytes first: "
                                                   "remove one, or put the one with a port in front",
                                                   lint.Line(before->second)));
        seen.try_emplace(key, signature.place);
    }
}

void IdsRuleNumbers(Lint& lint) {
    struct Covered {
        Place first{};
        bool everySystem = false;
        std::set<std::uint8_t> systems;
    };
    std::unordered_map<std::uint16_t, Covered> rules;
    for (const IdsRuleText& rule : lint.policy.idsRules) {
        const auto [at, isNew] = rules.try_emplace(rule.id, Covered{rule.place, false, {}});
        Covered& covered = at->second;
        const bool isCovered =
            covered.everySystem ||
            (!rule.systems.empty() && std::all_of(rule.systems.begin(), rule.systems.end(),
                                                  [&](auto one) { return covered.systems.contains(one); }));
        if (!isNew && isCovered)
            lint.Warn(rule.place, fmt::format("ids_rules: number {} stands in {} already, which counts: remove one, or "
                                              "write systems that the other does not have",
                                              rule.id, lint.Line(covered.first)));
        covered.everySystem |= rule.systems.empty();
        covered.systems.insert(rule.systems.begin(), rule.systems.end());
    }
}

void FeaturesThatAreNotSet(Lint& lint) {
    const Policy& policy = lint.policy;
    const auto need = [&lint](const auto& entries, const char* list, const char* feature) {
        if (!entries.empty() && !lint.keys.contains(std::string("features.") + feature))
            lint.Warn(entries.front().place,
                      fmt::format("{} without effect, because features.{} is not set: write true, or false if that "
                                  "is meant",
                                  list, feature));
    };
    need(policy.maliciousSites, "malicious_sites is", "browsing_protection");
    need(policy.maliciousPatterns, "malicious_patterns are", "browsing_protection");
    need(policy.phishingSites, "phishing_sites is", "anti_phishing");
    need(policy.packetSignatures, "packet_signatures are", "intrusion_prevention");
    need(policy.inspectedHosts, "https_inspection.blocked_hosts are", "https_inspection");
}

}  // namespace tarn::policy
