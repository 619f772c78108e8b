// The steps of a scan that ask for the categories of a site, and the patterns for those that have none.
#include <fmt/format.h>

#include "host/explain/step_answers.h"

namespace tarn::host::steps {

namespace {

// Why categories are not looked up, or what ends the look-up; nothing when they are.
std::optional<StepAnswer> WhyNoLookUp(const PolicyIndex& index, const ScanQuestion& question) {
    const policy::Policy& policy = index.Policy();
    const AskedAddress& asked = question.asked;
    if (asked.url.empty()) return Ends(kAllowed, "nothing to look up: " + asked.whyNot);
    if (!asked.isReported && !IsOneForAll(policy)) return Off("categories need parental.mode = 1");
    if (!asked.isReported && !HasUsers(policy)) return Off("categories need an entry under parental.users");
    const bool firstAsks = HasUsers(policy) && policy.parental.users.front().categories;
    if (!firstAsks && !policy.features.browsingProtection && !policy.features.antiPhishing)
        return Off("nothing that is on needs categories");
    if (asked.url.starts_with('[')) return Ends(kNoVerdict, "no categories of an IPv6 address");
    return std::nullopt;
}

// The entry of sites that counts, with its leading categories.
struct SiteFound {
    std::vector<EntryRef> entries;
    std::vector<std::uint16_t> considered;
    bool hasCategories = false;
};

SiteFound LookUp(const PolicyIndex& index, const AskedAddress& asked) {
    SiteFound found;
    const auto number = index.FindSite(asked.url);
    if (!number) return found;
    found.entries = {{PolicyList::kSites, *number}};
    found.considered = Considered(index.Policy(), *number);
    found.hasCategories = !index.Policy().sites[*number].categories.empty();
    return found;
}

StepAnswer ThreatCategory(const PolicyIndex& index, const ScanQuestion& question, std::uint16_t category, bool isOn,
                          std::uint32_t reason, std::uint32_t whiteListedReason) {
    if (auto none = WhyNoLookUp(index, question)) return std::move(*none);
    if (!isOn) return Off(category == TARN_CATEGORY_MALICIOUS ? "browsing_protection is off" : "anti_phishing is off");
    SiteFound site = LookUp(index, question.asked);
    if (!Contains(site.considered, category)) return Nothing(fmt::format("not in category {}", category));
    StepAnswer answer = Match(std::move(site.entries), Blocked(reason));
    answer = LetPass(std::move(answer), UserListed(index, question), {true, false, whiteListedReason});
    return LetPass(std::move(answer), InternallyListed(index, question), kAllowed);
}

}  // namespace

StepAnswer MaliciousCategory(const PolicyIndex& index, const ScanQuestion& question) {
    return ThreatCategory(index, question, TARN_CATEGORY_MALICIOUS, index.Policy().features.browsingProtection,
                          TARN_REASON_MALICIOUS_CATEGORY, TARN_REASON_MALICIOUS_WHITE_LISTED);
}

StepAnswer PhishingCategory(const PolicyIndex& index, const ScanQuestion& question) {
    return ThreatCategory(index, question, TARN_CATEGORY_PHISHING, index.Policy().features.antiPhishing,
                          TARN_REASON_PHISHING, TARN_REASON_PHISHING_WHITE_LISTED);
}

StepAnswer Patterns(const PolicyIndex& index, const ScanQuestion& question) {
    if (auto none = WhyNoLookUp(index, question)) return std::move(*none);
    if (!index.Policy().features.browsingProtection) return Off("browsing_protection is off");
    const AskedAddress& asked = question.asked;
    const bool hasCategories = LookUp(index, asked).hasCategories;
    if (hasCategories != asked.isReported)
        return Nothing(hasCategories ? "not for a site with categories" : "not for a site without categories");
    std::vector<EntryRef> entries;
    Append(entries, PolicyList::kPatterns, index.FindPatterns(asked.host + asked.path));
    const Outcome whiteListed{true, false, TARN_REASON_MALICIOUS_WHITE_LISTED};
    StepAnswer answer = Match(std::move(entries), Blocked(TARN_REASON_MALICIOUS));
    answer = LetPass(std::move(answer), UserListed(index, question), whiteListed);
    return LetPass(std::move(answer), InternallyListed(index, question), asked.isReported ? kAllowed : whiteListed);
}

StepAnswer BlockedCategories(const PolicyIndex& index, const ScanQuestion& question) {
    if (auto none = WhyNoLookUp(index, question)) return std::move(*none);
    const policy::Policy& policy = index.Policy();
    const SiteFound site = LookUp(index, question.asked);
    if (!site.hasCategories) return Nothing("a site without categories");
    for (std::uint32_t i = 0; i < UsersThatCount(policy); ++i) {
        if (question.asked.isReported && i != 0) break;  // the first entry alone
        const policy::ParentalUser& user = policy.parental.users[i];
        if (!user.categories || (!user.profile && !question.asked.isReported)) continue;
        for (const std::uint16_t category : site.considered) {
            if (category == TARN_CATEGORY_MALICIOUS || category == TARN_CATEGORY_PHISHING) continue;
            if (!Contains(user.blockedCategories, category)) continue;
            StepAnswer answer = Match(site.entries, Blocked(TARN_REASON_PARENTAL_CATEGORY));
            answer.note = fmt::format("category {} is blocked", category);
            return answer;
        }
    }
    return Nothing("none of its categories is blocked");
}

}  // namespace tarn::host::steps
