// Settings records in which every list has an entry, for a FakeModules to deliver.
// They own all that they point to and must outlive the modules' use of them.
#ifndef TARN_TESTS_API_FULL_SETTINGS_H
#define TARN_TESTS_API_FULL_SETTINGS_H

#include <array>
#include <cstring>
#include <string>

#include "tarn/companions.h"

#include "base/hash.h"
#include "fakes/fake_modules.h"

namespace tarn::api {

struct FullSettings {
    static constexpr std::uint16_t kWriteIndex = 2;

    FullSettings() {
        std::strcpy(white[0], "white.example");
        std::strcpy(user[0], "excused.example");
        std::strcpy(node.name, "Test.Threat");
        std::strcpy(node.path, "/bad");
        threat = {0, base::Crc32Of(maliciousHost), maliciousHost.data(), &node};
        std::strcpy(path.path, "/login");
        phish = {0, base::Crc32Of(phishingHost), phishingHost.data(), &path};
        rule.id = 7;
        rule.systemCount = 1;
        rule.systems = &ruleSystem;
        for (DnsAnswerEntry& answer : answers) {
            answer.addressCount = 1;
            std::strcpy(answer.hostName, "answer.example");
            answer.addresses[0] = {TARN_FAMILY_IPV4, {203, 0, 113, 9}};
        }
        for (std::size_t i = 0; i < accounts.size(); ++i) {
            const std::array<std::uint8_t, 12> sid{1, 1, 0, 0, 0, 0, 0, 5, static_cast<std::uint8_t>(20 + i)};
            std::memcpy(accounts[i].sid, sid.data(), sid.size());
            accounts[i].lastUpdate = 1000000;
        }
        FillEntry();
    }
    FullSettings(const FullSettings&) = delete;
    FullSettings& operator=(const FullSettings&) = delete;

    void GiveTo(fakes::FakeModules& modules) {
        modules.Give("ReadBPStatus", std::uint8_t{1});
        modules.Give("ReadAPStatus", std::uint8_t{1});
        modules.Give("ReadIDSIPSStatus", IdsIpsStatus{1, {}});
        IdsIpsSettings ids{};
        ids.flags = 0x00AA0000;
        modules.Give("ReadIDSIPSSettings", ids);
        modules.Give("ReadBPReportPromptStatus", PromptBytes{1, 2});
        modules.Give("ReadAPReportPromptStatus", PromptBytes{3, 4});
        modules.Give("ReadBPUserWhiteList", UrlListRecord{1, user});
        modules.Give("ReadBPInternalWhiteList", UrlListRecord{1, white});
        modules.Give("ReadWSInternalWhiteList", UrlListRecord{1, white});
        modules.Give("ReadBPSettings", ThreatSiteList{1, &threat});
        modules.Give("ReadAPSettings", PhishingSiteList{1, &phish});
        modules.Give("ReadIDSSettings", IdsSettingsRecord{1, 0, &rule});
        modules.Give("ReadDNSCacheSettings",
                     DnsCacheRecord{static_cast<std::uint16_t>(answers.size()), kWriteIndex, answers.data()});
        modules.Give("ReadPCSystemControlSettings",
                     PcSystemControlRecord{static_cast<std::uint32_t>(accounts.size()), accounts.data()});
        modules.Give("ReadPCSettings", Parental());
    }
    PcSettingsRecord Parental() {
        PcSettingsRecord record{};
        record.mode = TARN_PC_ONE_FOR_ALL;
        record.entryCount = 1;
        record.entries = &entry;
        return record;
    }

    std::string maliciousHost = "malicious.example";
    std::string phishingHost = "phishing.example";
    char white[1][TARN_URL_CAPACITY] = {};
    char user[1][TARN_URL_CAPACITY] = {};
    ThreatNode node{};
    ThreatSiteEntry threat{};
    PathListNode path{};
    PhishingSiteEntry phish{};
    IdsRule rule{};
    std::uint8_t ruleSystem = 100;
    std::array<DnsAnswerEntry, 2> answers{};
    std::array<SavedSessionRecord, 2> accounts{};
    TimeRange wholeDay{0, 0, 23, 59};
    std::uint16_t category = 40;
    IpAddressRecord siteAddress{TARN_FAMILY_IPV4, {7, 113, 0, 203}};
    SiteRule site{};
    UserUrlEntry allowed{};
    PcUserEntryRecord entry{};

 private:
    void FillEntry() {
        entry.leading.profileSwitch = entry.leading.scheduleSwitch = entry.leading.blockListSwitch = 1;
        for (auto& day : entry.schedule) day = {1, &wholeDay};
        entry.blockedCategories = {1, &category};
        entry.otherCategories = {1, &category};
        std::strcpy(site.host, "games.example");
        site.addressCount = 1;
        site.addresses = &siteAddress;
        std::strcpy(allowed.host, "school.example");
        entry.siteRules = &site;
        entry.allowedSites = {1, &allowed};
        entry.scheduleAllowedSites = {1, &allowed};
    }
};

}  // namespace tarn::api

#endif
