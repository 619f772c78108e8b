// The malicious sites and the phishing sites in the form that scans ask.
// What a hit leads to, and which white list has a say, is decided by the scan.
#ifndef TARN_LISTS_THREAT_LISTS_H
#define TARN_LISTS_THREAT_LISTS_H

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "tarn/companions.h"

#include "lists/pattern_tree.h"
#include "lists/site_hosts.h"

namespace tarn::lists {

// In both lists an entry whose hash is not the CRC-32 of its host is never found, and the order of the entries counts
// among those of one host only.

class MaliciousList {
 public:
    void Publish(const ThreatSiteList& record);
    void Clear() { *this = {}; }

    // The name of the threat behind host (without "www.") and path; it may be empty and lives until the next Publish or
    // Clear. Nothing when the site is not listed.
    [[nodiscard]] std::optional<std::string_view> Find(std::string_view host, std::string_view path) const noexcept;

 private:
    struct Site {
        PrefixTree::Root paths = PrefixTree::kNone;  // payload: number of the name
        bool wholeSite = false;
        std::uint32_t siteName = 0;
    };
    struct Name {
        std::uint32_t at;  // in nameTexts_
        std::uint8_t length;
    };
    class Collector;

    [[nodiscard]] std::string_view NameText(std::uint32_t number) const {
        return {nameTexts_.data() + names_[number].at, names_[number].length};
    }

    SiteHosts hosts_;  // number: index in sites_
    PrefixTree paths_;
    std::vector<Site> sites_;
    std::vector<Name> names_;  // the first one is empty
    std::vector<char> nameTexts_;
};

class PhishingList {
 public:
    void Publish(const PhishingSiteList& record);
    void Clear() { *this = {}; }
    [[nodiscard]] bool Matches(std::string_view host, std::string_view path) const noexcept;

 private:
    struct Site {
        PrefixTree::Root paths = PrefixTree::kNone;
        bool wholeSite = false;
    };

    SiteHosts hosts_;  // number: index in sites_
    PrefixTree paths_;
    std::vector<Site> sites_;
};

}  // namespace tarn::lists

#endif
