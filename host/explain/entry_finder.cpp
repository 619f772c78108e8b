#include "host/explain/entry_finder.h"

#include <algorithm>

#include "base/bounded_text.h"
#include "base/text.h"
#include "host/coverage.h"
#include "host/explain/asked_address.h"
#include "host/policy_check.h"
#include "host/policy_file.h"

namespace tarn::host {

namespace {

using Found = std::optional<EntryRef>;

template <std::size_t N>
std::string_view TextOf(const char (&field)[N]) {
    return base::FieldText(field, N);
}

Found First(PolicyList list, const EntryNumbers& numbers, std::uint32_t user = 0) {
    if (numbers.empty()) return std::nullopt;
    return EntryRef{list, numbers.front(), 0, user};
}

Found First(const std::vector<EntryRef>& entries) {
    return entries.empty() ? Found() : Found(entries.front());
}

// The request as its verdict tells it where it does: a connection may be judged by a name that only the library knows.
AskedAddress AskedOf(const JudgedRequest& request, std::string_view verdictText) {
    AskedAddress asked = AskedOf(request);
    return verdictText.empty() ? asked : AskedOfText(verdictText, asked);
}

bool Contains(const std::vector<std::uint16_t>& categories, std::uint16_t category) {
    return std::find(categories.begin(), categories.end(), category) != categories.end();
}

Found OfSite(const PolicyIndex& index, const AskedAddress& asked) {
    const auto number = index.FindSite(asked.url);
    return number ? Found(EntryRef{PolicyList::kSites, *number}) : std::nullopt;
}

Found OfMalicious(const PolicyIndex& index, const AskedAddress& asked) {
    Found found;
    if (!asked.isReported) found = First(index.FindMalicious(asked.host, asked.path));
    return found ? found : First(PolicyList::kPatterns, index.FindPatterns(asked.host + asked.path));
}

Found OfPhishing(const PolicyIndex& index, const AskedAddress& asked) {
    Found found;
    if (!asked.isReported) found = First(index.FindPhishing(asked.host, asked.path));
    return found ? found : OfSite(index, asked);
}

EntryNumbers Blocked(const BlockedSiteIndex& sites, const AskedAddress& asked) {
    EntryNumbers numbers = sites.Find(asked.host, asked.path, asked.server, asked.kind);
    if (numbers.empty() && !asked.addressText.empty())
        numbers = sites.Find(asked.addressText, asked.path, asked.server, TARN_KIND_TLS);
    return numbers;
}

// Of the user's own entry; with one for everybody, of the first.
Found OfBlockedSite(const PolicyIndex& index, const AskedAddress& asked, const Account& account) {
    const policy::Parental& parental = index.Policy().parental;
    for (std::uint32_t i = 0; i < parental.users.size(); ++i) {
        const policy::ParentalUser& user = parental.users[i];
        const bool isForAll = asked.isReported || parental.mode == TARN_PC_ONE_FOR_ALL;
        const bool counts = isForAll ? i == 0 : user.blockList && user.profile && user.sid == account.sid;
        if (!counts) continue;
        if (const Found found = First(PolicyList::kBlockedSites, Blocked(index.Users()[i].blocked, asked), i))
            return found;
    }
    return std::nullopt;
}

EntryNumbers Allowed(const AllowedSiteIndex& sites, const AskedAddress& asked) {
    EntryNumbers numbers = sites.FindHost(asked.host, asked.path, asked.kind);
    if (numbers.empty() && !asked.addressText.empty()) numbers = sites.FindText(asked.addressText, asked.kind);
    return numbers;
}

// Whether there is something in the categories that the internal white list of browsing protection can let pass.
bool LetsThreatsPass(const PolicyIndex& index, const AskedAddress& asked) {
    const policy::Policy& policy = index.Policy();
    if (policy.whiteLists.browsingProtection.empty()) return false;
    if (!asked.isReported && (policy.parental.mode != TARN_PC_ONE_FOR_ALL || IsPrivateServer(asked.server)))
        return false;
    const auto number = index.FindSite(asked.url);
    if (!number) return false;
    const auto considered = Considered(policy, *number);
    const policy::Features& features = policy.features;
    if (features.browsingProtection && Contains(considered, TARN_CATEGORY_MALICIOUS)) return true;
    if (features.antiPhishing && Contains(considered, TARN_CATEGORY_PHISHING)) return true;
    return asked.isReported && features.browsingProtection && !policy.sites[*number].categories.empty() &&
           !index.FindPatterns(asked.host + asked.path).empty();
}

// Why a request that is allowed without a reason is: the list that let it pass before other rules were asked, or let
// the category pass.
Found OfUndecided(const PolicyIndex& index, const AskedAddress& asked, bool isOutsideSchedule) {
    if (asked.hasNoVerdict) return std::nullopt;  // a hello without a name is let pass before any list is asked
    const policy::Policy& policy = index.Policy();
    const bool hasUsers = policy.parental.mode != TARN_PC_ABSENT && !index.Users().empty();
    Found found;
    if (!asked.isReported && !asked.hostAndPath.empty()) {
        found = First(PolicyList::kWebSecurity, index.WebSecurity().Find(asked.hostAndPath));
        if (!found && !asked.addressText.empty())
            found = First(PolicyList::kWebSecurity, index.WebSecurity().Find(asked.addressText));
    }
    if (!found && hasUsers && (asked.isReported || policy.parental.mode == TARN_PC_ONE_FOR_ALL))
        found = First(PolicyList::kAllowedSites, Allowed(index.Users().front().allowed, asked));
    if (!found && hasUsers && isOutsideSchedule)
        found = First(PolicyList::kScheduleAllowedSites, Allowed(index.Users().front().scheduleAllowed, asked));
    // A reported address needs no entry under parental.users for this.
    const bool isLookedUp = asked.isReported ? policy.parental.mode != TARN_PC_ABSENT : hasUsers;
    if (!found && isLookedUp && LetsThreatsPass(index, asked))
        found = First(PolicyList::kBrowsingProtection, index.BrowsingProtection().Find(asked.hostAndPath));
    return found;
}

// The white list that let a malicious or phishing site pass.
Found OfWhiteListed(const PolicyIndex& index, const AskedAddress& asked) {
    const Found found = First(PolicyList::kUserWhiteList, index.UserWhiteList().Find(asked.hostAndPath));
    return found ? found : First(PolicyList::kBrowsingProtection, index.BrowsingProtection().Find(asked.hostAndPath));
}

Found OfReason(const PolicyIndex& index, const AskedAddress& asked, const UrlVerdict& verdict, const Account& account) {
    switch (verdict.reason) {
        case TARN_REASON_MALICIOUS:
            return OfMalicious(index, asked);
        case TARN_REASON_MALICIOUS_CATEGORY:
        case TARN_REASON_PARENTAL_CATEGORY:
            return OfSite(index, asked);
        case TARN_REASON_PHISHING:
            return OfPhishing(index, asked);
        case TARN_REASON_SCHEDULE:
            return EntryRef{PolicyList::kSchedule};
        case TARN_REASON_PARENTAL_SITE:
            return OfBlockedSite(index, asked, account);
        case TARN_REASON_PHISHING_WHITE_LISTED:
        case TARN_REASON_MALICIOUS_WHITE_LISTED:
            return OfWhiteListed(index, asked);
        case TARN_REASON_HTTPS_INSPECTION:
            return First(PolicyList::kInspectedHosts, index.FindInspected(asked.host));
        case TARN_REASON_DEFAULT:
            return OfUndecided(index, asked, verdict.localTime.year != 0);
        default:
            return std::nullopt;
    }
}

// The part of a verdict's text that says what was asked.
std::string_view AskedTextOf(const UrlVerdict& verdict) {
    switch (verdict.reason) {
        case TARN_REASON_MALICIOUS:
        case TARN_REASON_MALICIOUS_CATEGORY:
        case TARN_REASON_MALICIOUS_WHITE_LISTED:
            return TextOf(verdict.text.threat.url);
        case TARN_REASON_PHISHING:
        case TARN_REASON_PHISHING_WHITE_LISTED:
        case TARN_REASON_PARENTAL_SITE:
        case TARN_REASON_PARENTAL_CATEGORY:
        case TARN_REASON_HTTPS_INSPECTION:
            return TextOf(verdict.text.url);
        default:
            return {};
    }
}

bool HasReference(const PolicyIndex& index, const EntryRef& entry) {
    return entry.list != PolicyList::kSchedule || !index.Policy().parental.users.empty();
}

std::optional<DecidingEntry> Described(const PolicyIndex& index, const Found& found) {
    if (!found || !HasReference(index, *found)) return std::nullopt;
    return index.Describe(*found);
}

std::optional<DecidingEntry> OfSignature(const PolicyIndex& index, const PacketAttack& attack, base::Bytes frame) {
    const auto& signatures = index.Policy().packetSignatures;
    const policy::PacketSignature* const found = policy::FindSignature(signatures, frame, attack.inbound);
    if (found == nullptr) return std::nullopt;
    return Described(index,
                     EntryRef{PolicyList::kPacketSignatures, static_cast<std::uint32_t>(found - &signatures[0])});
}

}  // namespace

EntryFinder::EntryFinder(policy::Policy policy, Account account)
    : account_(std::move(account)), index_(std::make_unique<const PolicyIndex>(std::move(policy))), isRead_(true) {}

const PolicyIndex* EntryFinder::Index() {
    if (!isRead_) {
        isRead_ = true;
        if (auto policy = read_()) index_ = std::make_unique<const PolicyIndex>(std::move(policy));
    }
    return index_.get();
}

std::optional<DecidingEntry> EntryFinder::Find(const JudgedRequest& request) {
    if (!request.judgement.isValid) return std::nullopt;
    const PolicyIndex* const index = Index();
    if (index == nullptr) return std::nullopt;
    const UrlVerdict& verdict = request.judgement.verdict;
    const bool isDns = request.protocol->name == "dns";
    if (isDns && verdict.reason == TARN_REASON_DEFAULT) return std::nullopt;  // the lists are not asked
    return Described(*index, OfReason(*index, AskedOf(request, AskedTextOf(verdict)), verdict, account_));
}

std::optional<DecidingEntry> EntryFinder::FindReported(std::string_view url, const Judgement& judgement) {
    if (!judgement.isValid || !base::StartsWithIgnoringCase(url, "https://")) return std::nullopt;
    const PolicyIndex* const index = Index();
    if (index == nullptr) return std::nullopt;
    return Described(*index, OfReason(*index, AskedOfReported(url), judgement.verdict, account_));
}

std::optional<DecidingEntry> EntryFinder::Find(const PacketAttack& attack, base::Bytes frame) {
    const PolicyIndex* const index = Index();
    if (index == nullptr) return std::nullopt;
    const policy::Policy& policy = index->Policy();
    switch (attack.verdict.reason) {
        case TARN_PACKET_REASON_REMOTE_DESKTOP:
        case TARN_PACKET_REASON_SMB:
        case TARN_PACKET_REASON_SQL_SERVER:
        case TARN_PACKET_REASON_MYSQL: {
            const auto site = index->FindSite(FormatIpAddress(attack.remote.address));
            if (site && Contains(policy.sites[*site].categories, TARN_CATEGORY_MALICIOUS))
                return Described(*index, EntryRef{PolicyList::kSites, *site});
            return OfSignature(*index, attack, frame);
        }
        case TARN_PACKET_REASON_RULE_EXCLUDED: {
            const auto rule = std::find_if(policy.idsRules.begin(), policy.idsRules.end(), [&](const auto& one) {
                return one.id == attack.verdict.ruleId && one.excluded;
            });
            if (rule == policy.idsRules.end()) return std::nullopt;
            const auto number = static_cast<std::uint32_t>(rule - policy.idsRules.begin());
            return Described(*index, EntryRef{PolicyList::kIdsRules, number});
        }
        default:
            return OfSignature(*index, attack, frame);
    }
}

EntryFinder FinderFor(Environment& environment, const LibraryOptions& options, std::ostream* progress) {
    Account account;
    environment.FindAccount({}, account);
    return {[&environment, options, progress]() -> std::shared_ptr<const policy::Policy> {
                const auto read = SharePolicyFile(PolicyPath(environment, options), SidsOf(environment), progress);
                if (!read || !read->mistakes.empty()) return nullptr;
                return {read, &read->policy};
            },
            std::move(account)};
}

}  // namespace tarn::host
