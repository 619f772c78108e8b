// Parental settings for URL scan tests: profiles with their switches, sites and categories, owned by the test.
// The library copies them by its own code; nothing here stands in for it.
#ifndef TARN_TESTS_URL_PROFILE_RECORDS_H
#define TARN_TESTS_URL_PROFILE_RECORDS_H

#include <cstring>
#include <deque>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tarn/companions.h"

#include "parental/settings_copy.h"

namespace tarn::url {

struct ProfileSite {
    std::string host;
    std::string path;
    std::uint8_t flag = 1;
    std::uint8_t kind = 1;
    std::uint8_t extra = 0;
    std::vector<IpAddressRecord> addresses{};
};

// A host with its subdomains, or with a path below which it is allowed.
struct ProfileAllowed {
    ProfileAllowed(std::string allowedHost, std::string allowedPath = "", std::uint8_t allowedKind = 0)
        : host(std::move(allowedHost)), path(std::move(allowedPath)), kind(allowedKind) {}
    ProfileAllowed(const char* allowedHost) : ProfileAllowed(std::string(allowedHost)) {}

    std::string host;
    std::string path;
    std::uint8_t kind;
};

struct ProfileShape {
    std::uint8_t sid = 1;  // first byte of the identifier
    bool profileSwitch = true;
    std::uint8_t blockListSwitch = 1;
    std::uint8_t categorySwitch = 0;
    std::vector<ProfileSite> sites{};
    std::vector<ProfileAllowed> allowed{};
    std::vector<ProfileAllowed> scheduleAllowed{};
    std::vector<std::uint16_t> blockedCategories{};
};

class ProfileRecords {
 public:
    explicit ProfileRecords(const std::vector<ProfileShape>& shapes, std::uint8_t mode = TARN_PC_ONE_FOR_ALL,
                            std::uint8_t strictness = 0) {
        for (const ProfileShape& shape : shapes) entries_.push_back(EntryOf(shape));
        record_.mode = mode;
        record_.strictness = strictness;
        record_.prompt = {31, 32};
        record_.entryCount = static_cast<std::uint32_t>(entries_.size());
        record_.entries = entries_.data();
    }
    [[nodiscard]] const PcSettingsRecord& Record() const { return record_; }

 private:
    template <std::size_t N>
    static void Put(char (&field)[N], const std::string& text) {
        std::memcpy(field, text.data(), std::min(text.size(), N));
    }

    PcUserEntryRecord EntryOf(const ProfileShape& shape) {
        PcUserEntryRecord entry{};
        entry.leading.sid[0] = shape.sid;
        entry.leading.profileSwitch = shape.profileSwitch ? 1 : 0;
        entry.leading.blockListSwitch = shape.blockListSwitch;
        entry.leading.categorySwitch = shape.categorySwitch;
        entry.siteRules = RulesOf(shape.sites);
        entry.allowedSites = ListOf(shape.allowed);
        entry.scheduleAllowedSites = ListOf(shape.scheduleAllowed);
        categories_.push_back(shape.blockedCategories);
        entry.blockedCategories = {static_cast<std::uint32_t>(categories_.back().size()), categories_.back().data()};
        return entry;
    }

    SiteRule* RulesOf(const std::vector<ProfileSite>& sites) {
        SiteRule* next = nullptr;
        for (auto site = sites.rbegin(); site != sites.rend(); ++site) {
            SiteRule& rule = rules_.emplace_back();
            rule = {};
            Put(rule.host, site->host);
            Put(rule.path, site->path);
            rule.flag = site->flag;
            rule.kind = site->kind;
            rule.extra = site->extra;
            addresses_.push_back(site->addresses);
            rule.addressCount = static_cast<std::uint32_t>(addresses_.back().size());
            rule.addresses = addresses_.back().data();
            rule.next = next;
            next = &rule;
        }
        return next;
    }

    UserUrlList ListOf(const std::vector<ProfileAllowed>& hosts) {
        UserUrlEntry* next = nullptr;
        for (auto host = hosts.rbegin(); host != hosts.rend(); ++host) {
            UserUrlEntry& entry = urls_.emplace_back();
            entry = {};
            Put(entry.host, host->host);
            Put(entry.path, host->path);
            entry.kind = host->kind;
            entry.hostOnly = host->path.empty() ? 1 : 0;
            entry.includeSubdomains = 1;
            entry.next = next;
            next = &entry;
        }
        return {static_cast<std::uint32_t>(hosts.size()), next};
    }

    PcSettingsRecord record_{};
    std::vector<PcUserEntryRecord> entries_;
    std::deque<SiteRule> rules_;
    std::deque<UserUrlEntry> urls_;
    std::deque<std::vector<IpAddressRecord>> addresses_;
    std::deque<std::vector<std::uint16_t>> categories_;
};

}  // namespace tarn::url

#endif
