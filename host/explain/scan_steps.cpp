#include "host/explain/scan_steps.h"

#include <algorithm>
#include <fmt/format.h>

#include "base/text.h"
#include "host/coverage.h"
#include "host/explain/step_answers.h"
#include "host/explain/week_times.h"

namespace tarn::host {

namespace {

using namespace steps;

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

StepAnswer NeedsParentalControl(const PolicyIndex& index, const ScanQuestion&) {
    if (index.Policy().parental.mode != TARN_PC_ABSENT) return Nothing("parental control is on");
    return Ends(kNoVerdict, "without parental control reported addresses get no verdict");
}

using List = PolicyList;
constexpr List kWebSecurityLists[] = {List::kWebSecurity};
constexpr List kAllowedLists[] = {List::kAllowedSites};
constexpr List kScheduleLists[] = {List::kSchedule, List::kScheduleAllowedSites};
constexpr List kBlockedLists[] = {List::kBlockedSites};
constexpr List kMaliciousLists[] = {List::kMaliciousSites, List::kThreats, List::kUserWhiteList};
constexpr List kPhishingLists[] = {List::kPhishingSites, List::kPhishingPaths, List::kUserWhiteList};
constexpr List kInspectedLists[] = {List::kInspectedHosts};
constexpr List kThreatLists[] = {List::kSites, List::kUserWhiteList, List::kBrowsingProtection};
constexpr List kPatternLists[] = {List::kPatterns, List::kUserWhiteList, List::kBrowsingProtection};
constexpr List kCategoryLists[] = {List::kSites};

constexpr ScanStep kConnection[] = {
    {"the request", Request},
    {"internal white list", WebSecurity, kWebSecurityLists},
    {"management server", ManagementServer},
    {"parental allowed list", AllowedSites, kAllowedLists},
    {"parental schedule", Schedule, kScheduleLists},
    {"video-sharing exception", VideoSharing},
    {"parental block lists", BlockedSites, kBlockedLists},
    {"private address", PrivateAddress},
    {"malicious list", MaliciousSite, kMaliciousLists},
    {"phishing list", PhishingSite, kPhishingLists},
    {"intrusion prevention", ReportedByHost},
    {"HTTPS inspection", HttpsInspection, kInspectedLists},
    {"malicious category", MaliciousCategory, kThreatLists},
    {"phishing category", PhishingCategory, kThreatLists},
    {"malicious patterns", Patterns, kPatternLists},
    {"blocked categories", BlockedCategories, kCategoryLists},
};

constexpr ScanStep kReported[] = {
    {"the address", Request},
    {"parental control", NeedsParentalControl},
    {"parental allowed list", AllowedSites, kAllowedLists},
    {"parental block list", ReportedBlockedSites, kBlockedLists},
    {"malicious category", MaliciousCategory, kThreatLists},
    {"phishing category", PhishingCategory, kThreatLists},
    {"malicious patterns", Patterns, kPatternLists},
    {"blocked categories", BlockedCategories, kCategoryLists},
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

bool IsLookedUp(const PolicyIndex& index, const ScanQuestion& question, const EntryRef& entry) {
    const policy::Policy& policy = index.Policy();
    if (entry.list == PolicyList::kUserWhiteList && question.isUserListEmpty) return false;
    if ((entry.list == PolicyList::kAllowedSites || entry.list == PolicyList::kScheduleAllowedSites) && entry.user != 0)
        return false;  // of the first entry alone
    if (entry.list == PolicyList::kBlockedSites) {
        const policy::ParentalUser& user = policy.parental.users[entry.user];
        const bool isForAll = question.asked.isReported || IsOneForAll(policy);
        if (isForAll ? entry.user != 0 : user.sid != question.account.sid) return false;
        if (!question.asked.isReported && (!user.blockList || !user.profile)) return false;
    }
    const std::span<const ScanStep> steps = StepsOf(question);
    return std::any_of(steps.begin(), steps.end(), [&](const ScanStep& step) {
        return std::find(step.lists.begin(), step.lists.end(), entry.list) != step.lists.end() &&
               !step.ask(index, question).isOff;
    });
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
