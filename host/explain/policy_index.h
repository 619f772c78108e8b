// A policy with an index of each of its lists: which entries match what a request is asked with.
// Any thread may ask.
#ifndef TARN_HOST_EXPLAIN_POLICY_INDEX_H
#define TARN_HOST_EXPLAIN_POLICY_INDEX_H

#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "host/explain/blocked_site_index.h"
#include "host/explain/policy_entry.h"
#include "host/explain/site_lists.h"
#include "policy/site_judge.h"

namespace tarn::host {

class PolicyIndex {
 public:
    explicit PolicyIndex(policy::Policy policy);
    explicit PolicyIndex(std::shared_ptr<const policy::Policy> policy);
    PolicyIndex(const PolicyIndex&) = delete;
    PolicyIndex& operator=(const PolicyIndex&) = delete;

    [[nodiscard]] const policy::Policy& Policy() const { return policy_; }
    [[nodiscard]] DecidingEntry Describe(const EntryRef& entry) const { return host::Describe(policy_, entry); }

    // host: in lower case. The site, or, of a site that is not listed as a whole, the threats with such a path.
    [[nodiscard]] std::vector<EntryRef> FindMalicious(std::string_view host, std::string_view path) const;
    [[nodiscard]] std::vector<EntryRef> FindPhishing(std::string_view host, std::string_view path) const;
    // The entry of sites that counts for a host or URL.
    [[nodiscard]] std::optional<std::uint32_t> FindSite(std::string_view hostOrUrl) const;
    [[nodiscard]] EntryNumbers FindPatterns(std::string_view hostAndPath) const;
    [[nodiscard]] EntryNumbers FindInspected(std::string_view host) const;

    struct User {
        explicit User(const policy::ParentalUser& user)
            : blocked(user.siteRules), allowed(user.allowedSites), scheduleAllowed(user.scheduleAllowedSites) {}
        BlockedSiteIndex blocked;
        AllowedSiteIndex allowed;
        AllowedSiteIndex scheduleAllowed;
    };
    [[nodiscard]] const std::vector<User>& Users() const { return users_; }
    [[nodiscard]] const WhiteListIndex& WebSecurity() const { return webSecurity_; }
    [[nodiscard]] const WhiteListIndex& BrowsingProtection() const { return browsingProtection_; }
    [[nodiscard]] const WhiteListIndex& UserWhiteList() const { return userWhiteList_; }

 private:
    std::shared_ptr<const policy::Policy> shared_;
    const policy::Policy& policy_;
    WhiteListIndex webSecurity_;
    WhiteListIndex browsingProtection_;
    WhiteListIndex userWhiteList_;
    TextMap<std::uint32_t> malicious_;
    TextMap<std::uint32_t> phishing_;
    policy::CategoryIndex sites_;
    TextMap<EntryNumbers> inspected_;
    std::vector<User> users_;
};

// The categories of an entry of sites that count: the leading ones, as many as the strictness says.
std::vector<std::uint16_t> Considered(const policy::Policy& policy, std::uint32_t site);

}  // namespace tarn::host

#endif
