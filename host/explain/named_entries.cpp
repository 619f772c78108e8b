#include "host/explain/named_entries.h"

#include <algorithm>

#include "base/text.h"

namespace tarn::host {

namespace {

constexpr std::string_view kWww = "www.";

std::string_view WithoutWww(std::string_view host) {
    return host.starts_with(kWww) ? host.substr(kWww.size()) : host;
}

// The host that a listed text begins with.
std::string_view HostOf(std::string_view text) {
    if (const std::size_t scheme = text.find("://"); scheme != std::string_view::npos) text.remove_prefix(scheme + 3);
    if (text.starts_with('[')) return text.substr(0, text.find(']') + 1);
    return text.substr(0, text.find_first_of(":/?#"));
}

class Naming {
 public:
    Naming(const policy::Policy& policy, const AskedAddress& asked)
        : policy_(policy), host_(base::Lowered(HostOf(asked.host))), server_(FormatIpAddress(asked.server)) {
        if (asked.isReported) server_.clear();
    }

    std::vector<EntryRef> Find() {
        if (host_.empty() && server_.empty()) return {};
        AddTexts(PolicyList::kWebSecurity, policy_.whiteLists.webSecurity);
        AddTexts(PolicyList::kBrowsingProtection, policy_.whiteLists.browsingProtection);
        AddTexts(PolicyList::kUserWhiteList, policy_.whiteLists.user);
        AddThreats();
        Add(PolicyList::kSites, policy_.sites, [](const auto& site) { return HostOf(site.address); });
        AddTexts(PolicyList::kInspectedHosts, policy_.inspectedHosts);
        const auto hostOf = [](const auto& site) { return std::string_view(site.host); };
        for (std::uint32_t i = 0; i < policy_.parental.users.size(); ++i) {
            const policy::ParentalUser& user = policy_.parental.users[i];
            Add(PolicyList::kAllowedSites, user.allowedSites, hostOf, i);
            Add(PolicyList::kScheduleAllowedSites, user.scheduleAllowedSites, hostOf, i);
            Add(PolicyList::kBlockedSites, user.siteRules, hostOf, i);
        }
        return std::move(found_);
    }

 private:
    [[nodiscard]] bool Names(std::string_view given) const {
        const std::string listed = base::Lowered(given);
        if (listed.empty()) return false;
        if (listed == server_ || WithoutWww(listed) == WithoutWww(host_)) return true;
        // What stands for "www." stands for no other domain below.
        return host_.size() > listed.size() && host_.ends_with(listed) &&
               host_[host_.size() - listed.size() - 1] == '.';
    }

    template <class Items, class HostOfItem>
    void Add(PolicyList list, const Items& items, HostOfItem hostOfItem, std::uint32_t user = 0) {
        for (std::uint32_t i = 0; i < items.size(); ++i)
            if (Names(hostOfItem(items[i]))) found_.push_back({list, i, 0, user});
    }

    void AddTexts(PolicyList list, const std::vector<policy::ListedText>& texts) {
        Add(list, texts, [](const policy::ListedText& listed) { return HostOf(listed.text); });
    }

    void AddThreats() {
        for (std::uint32_t i = 0; i < policy_.maliciousSites.size(); ++i) {
            const policy::MaliciousSite& site = policy_.maliciousSites[i];
            if (!Names(site.host)) continue;
            found_.push_back({PolicyList::kMaliciousSites, i});
            for (std::uint32_t k = 0; k < site.threats.size(); ++k)
                if (!site.threats[k].path.empty()) found_.push_back({PolicyList::kThreats, i, k});
        }
        for (std::uint32_t i = 0; i < policy_.phishingSites.size(); ++i) {
            const policy::PhishingSite& site = policy_.phishingSites[i];
            if (!Names(site.host)) continue;
            found_.push_back({PolicyList::kPhishingSites, i});
            for (std::uint32_t k = 0; k < site.paths.size(); ++k) found_.push_back({PolicyList::kPhishingPaths, i, k});
        }
    }

    const policy::Policy& policy_;
    std::string host_;
    std::string server_;
    std::vector<EntryRef> found_;
};

}  // namespace

std::vector<EntryRef> FindNamed(const policy::Policy& policy, const AskedAddress& asked) {
    return Naming(policy, asked).Find();
}

}  // namespace tarn::host
