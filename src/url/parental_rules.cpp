#include <algorithm>

#include "base/bounded_text.h"
#include "modules/categorisation.h"
#include "url/rules.h"

namespace tarn::url {
namespace {

const parental::PcUserEntry& Profile(const ScanContext& context, std::size_t index) {
    return context.parental.Entries()[index];
}

bool Allows(const lists::AllowedSites& sites, const ScanState& scan) {
    const std::uint8_t kind = scan.request.kind;
    if (sites.MatchesHost(scan.hostKeys, scan.parsed.path.View(), kind)) return true;
    // A URL that an extension reports has no address.
    return kind == TARN_KIND_TLS && !scan.addressText.Empty() && sites.MatchesUrl(scan.addressKeys, kind);
}

bool ListsSite(const lists::BlockedSites& sites, const ScanState& scan) {
    const IpAddressRecord& address = scan.request.remoteAddress;
    const std::uint8_t kind = scan.request.kind;
    const std::string_view path = scan.parsed.path.View();
    if (sites.MatchWithWwwVariant(scan.hostKeys, path, address, kind) == lists::Lookup::kHit) return true;
    return kind == TARN_KIND_TLS &&
           sites.MatchWithWwwVariant(scan.addressKeys, path, address, TARN_KIND_TLS) == lists::Lookup::kHit;
}

bool IsOneForAll(const ScanContext& context) {
    return context.parental.mode == TARN_PC_ONE_FOR_ALL;
}

bool BelongsTo(const ScanContext& context, std::size_t profile, const machine::ProcessUser& user) {
    return std::ranges::equal(Profile(context, profile).leading.sid, user.sid);
}

// The profile to go on with behind one that lists the site but belongs to somebody else: the user's own when it lies
// further on, otherwise simply the next.
std::size_t ProfileBehind(const ScanContext& context, std::size_t profile, const machine::ProcessUser& user) {
    const std::size_t count = context.parental.Entries().size();
    for (std::size_t next = profile + 1; next < count; ++next)
        if (BelongsTo(context, next, user)) return next;
    return profile + 1;
}

}  // namespace

Step FirstProfileAllowedList(ScanState& scan) {
    const lists::PublishedProfiles& profiles = scan.context.profiles;
    return !profiles.empty() && Allows(profiles.front().allowed, scan) ? Step::kDone : Step::kContinue;
}

Step ParentalAllowedList(ScanState& scan) {
    return IsOneForAll(scan.context) ? FirstProfileAllowedList(scan) : Step::kContinue;
}

Step ParentalSchedule(ScanState& scan) {
    const ScanContext& context = scan.context;
    if (context.profiles.empty()) return Step::kContinue;
    if (context.scheduleAllows.IsSet()) return Step::kContinue;

    scan.verdict.localTime = context.clock.Now();
    if (Allows(context.profiles.front().scheduleAllowed, scan)) return Step::kDone;
    machine::ProcessUser user;
    context.processes.GetProcessUser(scan.request.processId, user);
    WriteUserName(scan.verdict, user);
    return Decide(scan, TARN_BLOCK, TARN_REASON_SCHEDULE, context.parental.prompt);
}

bool JudgesSites(const ScanContext& context, std::size_t profile) {
    const PcUserLeading& leading = Profile(context, profile).leading;
    return leading.blockListSwitch != 0 && leading.profileSwitch != 0 && !context.profiles[profile].sites.Empty();
}

Step BlockParentalSite(ScanState& scan, std::string_view url, const machine::ProcessUser& user) {
    WriteUrl(scan.verdict, url);
    WriteUserName(scan.verdict, user);
    return Decide(scan, TARN_BLOCK, TARN_REASON_PARENTAL_SITE, scan.context.parental.prompt);
}

Step ParentalBlockLists(ScanState& scan) {
    const ScanContext& context = scan.context;
    const std::size_t count = context.profiles.size();
    std::size_t profile = 0;
    while (profile < count) {
        if (!JudgesSites(context, profile) || !ListsSite(context.profiles[profile].sites, scan)) {
            ++profile;
            continue;
        }
        machine::ProcessUser user;
        if (!context.processes.GetProcessUser(scan.request.processId, user)) return Step::kContinue;
        if (IsOneForAll(context) || BelongsTo(context, profile, user))
            return BlockParentalSite(scan, scan.hostAndPath.View(), user);
        profile = ProfileBehind(context, profile, user);
    }
    return Step::kContinue;
}

std::optional<std::uint16_t> BlockedCategory(std::span<const std::uint16_t> considered,
                                             std::span<const std::uint16_t> blocked) {
    for (const std::uint16_t category : considered) {
        if (category == TARN_CATEGORY_MALICIOUS || category == TARN_CATEGORY_PHISHING) continue;
        if (std::ranges::find(blocked, category) != blocked.end()) return category;
    }
    return std::nullopt;
}

// The category's name stays empty when the module does not give it.
Step BlockParentalCategory(ScanState& scan, std::uint16_t category, const machine::ProcessUser& user) {
    UrlVerdict& verdict = scan.verdict;
    modules::CategoryName name;
    modules::ReadCategoryName(scan.context.companions.categorisation, category, name);
    WriteUrl(verdict, scan.parsed.url.View());
    verdict.categoryId = category;
    base::StoreField<sizeof verdict.categoryName / sizeof(char16_t)>(verdict.categoryName, base::FieldText(name));
    WriteUserName(verdict, user);
    return Decide(scan, TARN_BLOCK, TARN_REASON_PARENTAL_CATEGORY, scan.context.parental.prompt);
}

Step ParentalCategories(ScanState& scan, std::span<const std::uint16_t> considered) {
    const ScanContext& context = scan.context;
    machine::ProcessUser user;
    bool asked = false;
    for (std::size_t i = 0; i < context.parental.Entries().size(); ++i) {
        const parental::PcUserEntry& profile = Profile(context, i);
        if (profile.leading.categorySwitch == 0 || profile.leading.profileSwitch == 0) continue;
        const std::optional<std::uint16_t> category = BlockedCategory(considered, profile.blockedCategories.View());
        if (!category) continue;
        if (!asked) context.processes.GetProcessUser(scan.request.processId, user);
        asked = true;
        if (!IsOneForAll(context) && !BelongsTo(context, i, user)) continue;

        return BlockParentalCategory(scan, *category, user);
    }
    return Step::kContinue;
}

}  // namespace tarn::url
