#include "host/explain/scan_steps.h"

#include <algorithm>
#include <fmt/format.h>

#include "base/text.h"
#include "host/coverage.h"
#include "host/explain/week_times.h"

namespace tarn::host {

namespace {

constexpr Outcome kAllowed{true, false, TARN_REASON_DEFAULT};
constexpr Outcome kNoVerdict{};

constexpr Outcome Blocked(std::uint32_t reason) {
    return {true, true, reason};
}

StepAnswer Off(std::string why) {
    StepAnswer answer;
    answer.isOff = true;
    answer.note = std::move(why);
    return answer;
}

StepAnswer Nothing(std::string why) {
    StepAnswer answer;
    answer.note = std::move(why);
    return answer;
}

// What holds without an entry of the policy.
StepAnswer Ends(const Outcome& outcome, std::string why) {
    StepAnswer answer;
    answer.outcome = outcome;
    answer.note = std::move(why);
    return answer;
}

// Decides when something matches.
StepAnswer Match(std::vector<EntryRef> entries, const Outcome& outcome) {
    StepAnswer answer;
    answer.entries = std::move(entries);
    if (answer.entries.empty())
        answer.note = "not listed";
    else
        answer.outcome = outcome;
    return answer;
}

void Append(std::vector<EntryRef>& entries, PolicyList list, const EntryNumbers& numbers, std::uint32_t user = 0) {
    for (const std::uint32_t number : numbers) entries.push_back({list, number, 0, user});
}

bool HasUsers(const policy::Policy& policy) {
    return policy.parental.mode != TARN_PC_ABSENT && !policy.parental.users.empty();
}

bool IsOneForAll(const policy::Policy& policy) {
    return policy.parental.mode == TARN_PC_ONE_FOR_ALL;
}

// With one for all the library takes over the first entry alone.
std::uint32_t UsersThatCount(const policy::Policy& policy) {
    if (!HasUsers(policy)) return 0;
    return IsOneForAll(policy) ? 1 : static_cast<std::uint32_t>(policy.parental.users.size());
}

bool Contains(const std::vector<std::uint16_t>& categories, std::uint16_t category) {
    return std::find(categories.begin(), categories.end(), category) != categories.end();
}

StepAnswer Request(const PolicyIndex&, const ScanQuestion& question) {
    const AskedAddress& asked = question.asked;
    if (asked.whyNot.empty()) return Nothing("host and path are known");
    if (!asked.hasNoVerdict) return Nothing(asked.whyNot);
    // A hello that names nobody is let pass; what does not fit gets no verdict.
    const bool isHello = asked.kind == TARN_KIND_TLS && !asked.isReported;
    return Ends(isHello && asked.host.empty() ? kAllowed : kNoVerdict, asked.whyNot);
}

StepAnswer WebSecurity(const PolicyIndex& index, const ScanQuestion& question) {
    const AskedAddress& asked = question.asked;
    std::vector<EntryRef> entries;
    if (!asked.hostAndPath.empty()) {
        Append(entries, PolicyList::kWebSecurity, index.WebSecurity().Find(asked.hostAndPath));
        if (!asked.addressText.empty())
            Append(entries, PolicyList::kWebSecurity, index.WebSecurity().Find(asked.addressText));
    }
    return Match(std::move(entries), kAllowed);
}

StepAnswer ManagementServer(const PolicyIndex& index, const ScanQuestion& question) {
    const std::string& server = index.Policy().managedClient.server;
    if (server.empty()) return Off("managed_client.server is not set");
    if (base::EqualIgnoringCase(server, question.asked.host))
        return Nothing("it is the server: let pass where a managed client is installed");
    return Nothing("another host");
}

std::vector<EntryRef> Allowed(const AllowedSiteIndex& sites, PolicyList list, const AskedAddress& asked) {
    std::vector<EntryRef> entries;
    Append(entries, list, sites.FindHost(asked.host, asked.path, asked.kind));
    if (asked.kind == TARN_KIND_TLS && !asked.addressText.empty())
        Append(entries, list, sites.FindText(asked.addressText, asked.kind));
    return entries;
}

StepAnswer AllowedSites(const PolicyIndex& index, const ScanQuestion& question) {
    if (!HasUsers(index.Policy())) return Off("no parental control");
    if (!question.asked.isReported && !IsOneForAll(index.Policy())) return Off("asked with parental.mode = 1 alone");
    return Match(Allowed(index.Users().front().allowed, PolicyList::kAllowedSites, question.asked), kAllowed);
}

StepAnswer Schedule(const PolicyIndex& index, const ScanQuestion& question) {
    if (!HasUsers(index.Policy())) return Off("no parental control");
    const policy::ParentalUser& first = index.Policy().parental.users.front();
    if (!first.schedule || !first.profile) return Off("the schedule of the first entry is off");
    if (IsAllowedTime(first, question.now)) return Nothing("inside the allowed time");
    std::vector<EntryRef> allowed =
        Allowed(index.Users().front().scheduleAllowed, PolicyList::kScheduleAllowedSites, question.asked);
    if (!allowed.empty()) return Match(std::move(allowed), kAllowed);
    StepAnswer answer = Match({{PolicyList::kSchedule}}, Blocked(TARN_REASON_SCHEDULE));
    answer.note = "outside the allowed time";
    return answer;
}

StepAnswer VideoSharing(const PolicyIndex& index, const ScanQuestion& question) {
    constexpr std::string_view kSite = "youtube.com";
    if (index.Policy().features.agentStatus == 0) return Off("features.agent_status is 0");
    if (base::FindIgnoringCase(question.asked.hostAndPath, kSite) == std::string_view::npos)
        return Nothing("another site");
    return Ends(kAllowed, "the video-sharing site, with features.agent_status");
}

void AppendBlocked(const PolicyIndex& index, const AskedAddress& asked, std::uint32_t user,
                   std::vector<EntryRef>& entries) {
    const BlockedSiteIndex& sites = index.Users()[user].blocked;
    EntryNumbers numbers = sites.Find(asked.host, asked.path, asked.server, asked.kind);
    if (numbers.empty() && !asked.addressText.empty() && !sites.Empty())
        numbers = sites.Find(asked.addressText, asked.path, asked.server, TARN_KIND_TLS);
    Append(entries, PolicyList::kBlockedSites, numbers, user);
}

StepAnswer BlockedSites(const PolicyIndex& index, const ScanQuestion& question) {
    const policy::Policy& policy = index.Policy();
    if (!HasUsers(policy)) return Off("no parental control");
    std::vector<EntryRef> entries;
    bool isAnyOn = false;
    const auto& users = policy.parental.users;
    // Behind an entry of somebody else that lists the site, the user's own is next when there is one.
    for (std::uint32_t i = 0; i < UsersThatCount(policy); ++i) {
        if (!users[i].blockList || !users[i].profile) continue;
        isAnyOn = true;
        std::vector<EntryRef> found;
        AppendBlocked(index, question.asked, i, found);
        const bool counts = IsOneForAll(policy) || users[i].sid == question.account.sid;
        if (counts) entries.insert(entries.end(), found.begin(), found.end());
    }
    if (!isAnyOn) return Off("no entry has profile and block_list");
    return Match(std::move(entries), Blocked(TARN_REASON_PARENTAL_SITE));
}

StepAnswer ReportedBlockedSites(const PolicyIndex& index, const ScanQuestion& question) {
    constexpr std::size_t kMaxHost = 259;
    if (!HasUsers(index.Policy())) return Off("no entry under parental.users");
    if (!index.Policy().parental.users.front().blockList) return Off("the first entry has no block_list");
    if (question.asked.host.size() > kMaxHost) return Ends(kNoVerdict, "host longer than 259 characters");
    std::vector<EntryRef> entries;
    AppendBlocked(index, question.asked, 0, entries);
    return Match(std::move(entries), Blocked(TARN_REASON_PARENTAL_SITE));
}

StepAnswer PrivateAddress(const PolicyIndex&, const ScanQuestion& question) {
    const IpAddress& server = question.asked.server;
    if (!IsPrivateServer(server)) return Nothing(fmt::format("{} is public", FormatIpAddress(server)));
    return Ends(kAllowed, fmt::format("{} is a private address", FormatIpAddress(server)));
}

// The user's white list turns a block into an allowing reason.
std::vector<EntryRef> UserListed(const PolicyIndex& index, const ScanQuestion& question) {
    std::vector<EntryRef> entries;
    if (!question.isUserListEmpty)
        Append(entries, PolicyList::kUserWhiteList, index.UserWhiteList().Find(question.asked.hostAndPath));
    return entries;
}

std::vector<EntryRef> InternallyListed(const PolicyIndex& index, const ScanQuestion& question) {
    std::vector<EntryRef> entries;
    Append(entries, PolicyList::kBrowsingProtection, index.BrowsingProtection().Find(question.asked.hostAndPath));
    return entries;
}

StepAnswer LetPass(StepAnswer answer, const std::vector<EntryRef>& whiteListed, const Outcome& outcome) {
    if (whiteListed.empty() || !answer.outcome) return answer;
    answer.outcome = outcome;
    answer.decider = whiteListed.front();
    answer.entries.insert(answer.entries.end(), whiteListed.begin(), whiteListed.end());
    return answer;
}

StepAnswer MaliciousSite(const PolicyIndex& index, const ScanQuestion& question) {
    constexpr std::size_t kMaxHost = 255;
    if (!index.Policy().features.browsingProtection) return Off("browsing_protection is off");
    if (question.asked.host.size() > kMaxHost) return Ends(kNoVerdict, "host longer than 255 characters");
    return LetPass(Match(index.FindMalicious(question.asked.host, question.asked.path), Blocked(TARN_REASON_MALICIOUS)),
                   UserListed(index, question), {true, false, TARN_REASON_MALICIOUS_WHITE_LISTED});
}

StepAnswer PhishingSite(const PolicyIndex& index, const ScanQuestion& question) {
    if (!index.Policy().features.antiPhishing) return Off("anti_phishing is off");
    return LetPass(Match(index.FindPhishing(question.asked.host, question.asked.path), Blocked(TARN_REASON_PHISHING)),
                   UserListed(index, question), {true, false, TARN_REASON_PHISHING_WHITE_LISTED});
}

StepAnswer ReportedByHost(const PolicyIndex& index, const ScanQuestion&) {
    if (!index.Policy().features.intrusionPrevention) return Off("intrusion_prevention is off");
    return Nothing("no attack was reported in this run");
}

StepAnswer HttpsInspection(const PolicyIndex& index, const ScanQuestion& question) {
    if (!index.Policy().features.httpsInspection) return Off("https_inspection is off");
    if (question.asked.kind != TARN_KIND_TLS) return Nothing("TLS connections alone");
    std::vector<EntryRef> entries;
    Append(entries, PolicyList::kInspectedHosts, index.FindInspected(question.asked.host));
    return Match(std::move(entries), Blocked(TARN_REASON_HTTPS_INSPECTION));
}

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

StepAnswer NeedsParentalControl(const PolicyIndex& index, const ScanQuestion&) {
    if (index.Policy().parental.mode != TARN_PC_ABSENT) return Nothing("parental control is on");
    return Ends(kNoVerdict, "without parental control reported addresses get no verdict");
}

constexpr ScanStep kConnection[] = {
    {"the request", Request},
    {"internal white list", WebSecurity},
    {"management server", ManagementServer},
    {"parental allowed list", AllowedSites},
    {"parental schedule", Schedule},
    {"video-sharing exception", VideoSharing},
    {"parental block lists", BlockedSites},
    {"private address", PrivateAddress},
    {"malicious list", MaliciousSite},
    {"phishing list", PhishingSite},
    {"intrusion prevention", ReportedByHost},
    {"HTTPS inspection", HttpsInspection},
    {"malicious category", MaliciousCategory},
    {"phishing category", PhishingCategory},
    {"malicious patterns", Patterns},
    {"blocked categories", BlockedCategories},
};

constexpr ScanStep kReported[] = {
    {"the address", Request},
    {"parental control", NeedsParentalControl},
    {"parental allowed list", AllowedSites},
    {"parental block list", ReportedBlockedSites},
    {"malicious category", MaliciousCategory},
    {"phishing category", PhishingCategory},
    {"malicious patterns", Patterns},
    {"blocked categories", BlockedCategories},
};

}  // namespace

Outcome OutcomeOf(const Judgement& judgement) {
    if (!judgement.isValid) return {};
    return {true, judgement.verdict.allow == TARN_BLOCK, judgement.verdict.reason};
}

std::span<const ScanStep> StepsOf(const ScanQuestion& question) {
    if (question.asked.isReported) return kReported;
    return kConnection;
}

Foretold Foretell(const PolicyIndex& index, const ScanQuestion& question) {
    const std::span<const ScanStep> steps = StepsOf(question);
    for (std::size_t i = 0; i < steps.size(); ++i) {
        const StepAnswer answer = steps[i].ask(index, question);
        if (!answer.outcome) continue;
        std::optional<EntryRef> decider = answer.decider;
        if (!decider && !answer.entries.empty()) decider = answer.entries.front();
        return {*answer.outcome, decider, i};
    }
    return {kAllowed, std::nullopt, std::nullopt};
}

}  // namespace tarn::host
