// Lists from the modules, in the form that scans ask, against plain walks over their records.
#include <algorithm>
#include <deque>
#include <string>
#include <vector>

#include "base/text.h"
#include "lists/allowed_sites.h"
#include "lists/blocked_sites.h"
#include "lists/plain_walk.h"
#include "lists/record_owners.h"
#include "lists/threat_lists.h"
#include "lists/white_lists.h"
#include "parental/site_tables.h"
#include "targets.h"

namespace tarn::fuzz {
namespace {

constexpr std::size_t kMostEntries = 32;

// A line "host path", either of which may be empty.
struct Site {
    explicit Site(std::string_view line) {
        const std::size_t blank = std::min(line.find(' '), line.size());
        host = line.substr(0, blank);
        path = line.substr(std::min(blank + 1, line.size()));
    }
    std::string host;
    std::string path;
};

struct Entry {
    std::uint8_t choice;
    Site site;
};

// Lines that begin with a character of choice up to an empty line are entries, those behind it are questions.
struct Lines {
    explicit Lines(Bytes input) {
        Pieces pieces(input);
        while (!pieces.AtEnd() && entries.size() < kMostEntries) {
            const std::string_view line = pieces.Line();
            if (line.empty()) break;
            entries.push_back({static_cast<std::uint8_t>(line[0]), Site(line.substr(1))});
        }
        while (!pieces.AtEnd() && questions.size() < kMostEntries) questions.emplace_back(pieces.Line());
        // Whatever is listed is asked for, too. The texts of a scan are in lower case and as long as fits its buffers.
        for (const Entry& entry : entries) questions.push_back(entry.site);
        for (Site& site : questions) {
            site.host.resize(std::min<std::size_t>(site.host.size(), TARN_HOST_CAPACITY - 1));
            site.path.resize(std::min(site.path.size(), TARN_URL_CAPACITY - 1 - site.host.size()));
            base::LowerAscii(site.host.data(), site.host.size());
            base::LowerAscii(site.path.data(), site.path.size());
        }
    }
    std::vector<Entry> entries;
    std::vector<Site> questions;
};

constexpr std::uint8_t kModes[] = {1, 2, 3, 4};

IpAddressRecord AddressFor(const Site& site) {
    IpAddressRecord address{};
    address.family = site.host.find(':') == std::string::npos ? TARN_FAMILY_IPV4 : TARN_FAMILY_IPV6;
    std::copy_n(site.path.begin(), std::min<std::size_t>(site.path.size(), 16), address.bytes);
    return address;
}

template <std::size_t N>
void PutField(char (&field)[N], std::string_view text) {
    std::memcpy(field, text.data(), std::min(text.size(), N));  // a text that fills its field has no NUL
}

}  // namespace

void SiteRules(Bytes input) {
    const Lines lines(input);
    std::deque<SiteRule> rules;
    std::deque<std::vector<IpAddressRecord>> addresses;
    std::size_t addressCount = 0;
    for (const auto& [choice, site] : lines.entries) {
        SiteRule& rule = rules.emplace_back();
        rule = {};
        PutField(rule.host, site.host);
        PutField(rule.path, site.path);
        rule.flag = choice & 1;
        rule.kind = choice >> 1 & 3;
        rule.extra = choice >> 3 & 1;
        if ((choice & 0x10) != 0) {
            addresses.push_back({AddressFor(site)});
            rule.addressCount = 1;
            rule.addresses = addresses.back().data();
            ++addressCount;
        }
        if (rules.size() > 1) rules[rules.size() - 2].next = &rule;
    }
    parental::SiteTables tables;
    Require(parental::BuildSiteTables(rules.empty() ? nullptr : &rules.front(), tables), "there is memory");
    Require(tables.hosts.size() <= rules.size() + 2 * addressCount, "a rule makes one host, an address two");
    Require(tables.addresses.size() <= addressCount, "an address makes one entry");
    const auto hosts = tables.hosts.View();
    for (std::size_t i = 0; i < hosts.size(); ++i) {
        Require(hosts[i].hash == base::Crc32Of(std::string_view(hosts[i].text)), "a host stands under its hash");
        Require(i == 0 || hosts[i - 1].hash >= hosts[i].hash, "the hosts are sorted");
    }

    lists::BlockedSites published;
    published.Publish(hosts, tables.addresses.View());
    const lists::plain::SiteTables plain{hosts, tables.addresses.View()};
    for (const Site& site : lines.questions)
        for (const std::uint8_t mode : kModes) {
            const IpAddressRecord address = AddressFor(site);
            Require(published.Match(site.host, site.path, address, mode) ==
                        lists::plain::MatchHostList(site.host, site.path, address, mode, plain),
                    "the host table answers like the plain walk");
            Require(published.MatchWithWwwVariant(site.host, site.path, address, mode) ==
                        lists::plain::MatchHostWithWwwVariant(site.host, site.path, address, mode, plain),
                    "the host table answers like the plain walk, with and without www");
        }
}

void AllowedSites(Bytes input) {
    const Lines lines(input);
    lists::UserListOwner owner;
    for (const auto& [choice, site] : lines.entries) {
        UserUrlEntry& entry = owner.Add("", "", (choice & 1) != 0, choice >> 1 & 3, choice >> 3 & 1);
        PutField(entry.host, site.host);
        PutField(entry.path, site.path);
    }
    UserUrlList record = owner.Record();
    lists::AllowedSites published;
    published.Publish(record);
    for (const Site& site : lines.questions)
        for (const std::uint8_t mode : kModes) {
            Require(published.MatchesHost(site.host, site.path, mode) ==
                        lists::plain::MatchUserListByHost(site.host, site.path, mode, record),
                    "the allowed hosts answer like the plain walk");
            const std::string whole = site.host + site.path;
            Require(published.MatchesUrl(whole, mode) == lists::plain::MatchUserListByUrl(whole, mode, record),
                    "the allowed URLs answer like the plain walk");
        }
}

void UrlLists(Bytes input) {
    const Lines lines(input);
    lists::UrlListOwner owner;
    for (const auto& [choice, site] : lines.entries) {
        if (choice == '#')
            owner.AddWithoutNul(site.host.empty() ? 'a' : site.host[0]);
        else
            owner.Add((choice == '*' ? "*" : "") + site.host + site.path);
    }
    const UrlListRecord record = owner.Record();
    lists::InternalWhiteList patterns;
    lists::UserWhiteList prefixes;
    patterns.Publish(record);
    prefixes.Publish(record);
    for (const Site& site : lines.questions) {
        const std::string whole = site.host + site.path;
        Require(patterns.Matches(whole) == lists::plain::MatchUrlList(whole, record),
                "the internal white list answers like the plain walk");
        Require(prefixes.Matches(whole) == lists::plain::MatchPrefixWhiteList(whole, record),
                "the user's white list answers like the plain walk");
    }
}

void ThreatLists(Bytes input) {
    const Lines lines(input);
    lists::ThreatListOwner malicious;
    lists::PhishingListOwner phishing;
    for (const auto& [choice, site] : lines.entries) {
        // The host is a pointer to a text, so it holds no NUL.
        const std::string host = site.host.substr(0, site.host.find('\0'));
        std::vector<lists::Threat> threats;
        std::vector<std::string> paths;
        for (std::string_view rest = site.path; !rest.empty();) {
            const std::size_t end = std::min(rest.find(' '), rest.size());
            threats.push_back({"Threat " + std::to_string(threats.size()), std::string(rest.substr(0, end))});
            paths.emplace_back(rest.substr(0, end));
            rest.remove_prefix(std::min(end + 1, rest.size()));
        }
        malicious.Add(host, (choice & 1) != 0, threats);
        phishing.Add(host, (choice & 1) != 0, paths);
    }
    malicious.Sort();
    phishing.Sort();
    const ThreatSiteList threatRecord = malicious.Record();
    const PhishingSiteList phishingRecord = phishing.Record();
    lists::MaliciousList maliciousList;
    lists::PhishingList phishingList;
    maliciousList.Publish(threatRecord);
    phishingList.Publish(phishingRecord);
    for (const Site& site : lines.questions) {
        const auto found = maliciousList.Find(site.host, site.path);
        const auto expected = lists::plain::FindMalicious(site.host, site.path, threatRecord);
        Require(found.has_value() == expected.has_value() && (!found || *found == *expected),
                "the malicious list answers like the plain walk");
        Require(phishingList.Matches(site.host, site.path) ==
                    lists::plain::MatchPhishing(site.host, site.path, phishingRecord),
                "the phishing list answers like the plain walk");
    }
}

}  // namespace tarn::fuzz
