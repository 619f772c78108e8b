// Every list that a URL scan asks, with the same number of made-up entries in each, as the records of the modules.
#ifndef TARN_BENCH_URL_LIST_RECORDS_H
#define TARN_BENCH_URL_LIST_RECORDS_H

#include <deque>
#include <string>
#include <vector>

#include "tarn/companions.h"

#include "lists/record_owners.h"
#include "url/made_up_sites.h"

namespace tarn::url {

class ListRecords {
 public:
    explicit ListRecords(std::size_t entries) {
        SiteCorpus corpus(20);
        for (std::size_t i = 0; i < entries; ++i) {
            // A third of the white lists' entries are searched anywhere in a URL, as far as the list knows that.
            webSecurity_.Add((i % 3 == 0 ? "*" : "") + corpus.Host() + (i % 2 == 0 ? corpus.Path() : "/"));
            browsingProtection_.Add((i % 3 == 0 ? "*" : "") + corpus.Host() + corpus.Path());
            user_.Add(corpus.Host() + (i % 2 == 0 ? corpus.Path() : "/"));
            malicious_.Add(corpus.Host(), i % 2 == 0, {{"Threat", corpus.Path()}});
            phishingHosts_.push_back(corpus.UnlistedHost() + ".invalid");  // on no other list
            phishing_.Add(phishingHosts_.back(), i % 2 == 0, {corpus.Path()});
            allowed_.Add(corpus.Host(), corpus.Path(), i % 2 == 0, i % 8 == 0 ? 2 : 1, 1);
            scheduleAllowed_.Add(corpus.Host(), corpus.Path(), i % 2 == 0, 1, 1);
            AddRule(corpus, i);
        }
        malicious_.Sort();
        phishing_.Sort();
        profile_.leading.profileSwitch = 1;
        profile_.leading.blockListSwitch = 1;
        profile_.leading.categorySwitch = 1;
        profile_.siteRules = rules_.empty() ? nullptr : &rules_.front();
        profile_.allowedSites = allowed_.Record();
        profile_.scheduleAllowedSites = scheduleAllowed_.Record();
        profile_.blockedCategories = {static_cast<std::uint32_t>(std::size(categories_)), categories_};
    }
    ListRecords(const ListRecords&) = delete;
    ListRecords& operator=(const ListRecords&) = delete;

    [[nodiscard]] UrlListRecord WebSecurity() { return webSecurity_.Record(); }
    [[nodiscard]] UrlListRecord BrowsingProtection() { return browsingProtection_.Record(); }
    [[nodiscard]] UrlListRecord User() { return user_.Record(); }
    [[nodiscard]] ThreatSiteList Malicious() { return malicious_.Record(); }
    [[nodiscard]] PhishingSiteList Phishing() { return phishing_.Record(); }
    [[nodiscard]] UserUrlList Allowed() { return allowed_.Record(); }
    [[nodiscard]] PcSettingsRecord Parental() {
        PcSettingsRecord record{};
        record.mode = TARN_PC_ONE_FOR_ALL;
        record.entryCount = 1;
        record.entries = &profile_;
        return record;
    }
    // Every second one is listed as a whole.
    [[nodiscard]] const std::string& PhishingHost(std::size_t i) const {
        return phishingHosts_[2 * i % phishingHosts_.size()];
    }

 private:
    // Blocked sites of all sorts: whole hosts, whole domains, paths; one in eight with an address.
    void AddRule(SiteCorpus& corpus, std::size_t i) {
        SiteRule& rule = rules_.emplace_back();
        base::CopyText(rule.host, sizeof rule.host, corpus.Host());
        rule.kind = 1;
        rule.flag = i % 2 == 0 ? 1 : 0;
        rule.extra = i % 4 == 0 ? 1 : 0;
        if (i % 2 != 0) base::CopyText(rule.path, sizeof rule.path, corpus.Path());
        if (i % 8 == 0) {
            IpAddressRecord& address = addresses_.emplace_back();
            const auto number = static_cast<std::uint32_t>(0x0B000000 + i);
            std::memcpy(address.bytes, &number, sizeof number);
            rule.addresses = &address;
            rule.addressCount = 1;
        }
        if (rules_.size() > 1) rules_[rules_.size() - 2].next = &rule;
    }

    lists::UrlListOwner webSecurity_;
    lists::UrlListOwner browsingProtection_;
    lists::UrlListOwner user_;
    lists::ThreatListOwner malicious_;
    lists::PhishingListOwner phishing_;
    std::vector<std::string> phishingHosts_;
    lists::UserListOwner allowed_;
    lists::UserListOwner scheduleAllowed_;
    std::deque<SiteRule> rules_;
    std::deque<IpAddressRecord> addresses_;
    std::uint16_t categories_[8] = {50, 51, 52, 53, 54, 55, 56, 57};
    PcUserEntryRecord profile_{};
};

// A pair for the list of blocked addresses.
inline IdsBlockRequest BlockedAddress(SiteCorpus& corpus) {
    const std::string host = corpus.Host();
    IdsBlockRequest request{};
    base::CopyText(request.hostName, sizeof request.hostName, host);
    base::CopyText(request.requestText, sizeof request.requestText, host + corpus.Path() + " HTTP/1.1");
    return request;
}

}  // namespace tarn::url

#endif
