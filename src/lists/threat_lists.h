// The malicious sites and the phishing sites in the form that scans ask.
// Publish copies the record. Any number of threads may ask while nobody publishes or clears.
#ifndef TARN_LISTS_THREAT_LISTS_H
#define TARN_LISTS_THREAT_LISTS_H

#include <cstdint>
#include <optional>
#include <string_view>
#include <type_traits>
#include <vector>

#include "tarn/companions.h"

#include "lists/host_index.h"
#include "lists/path_sets.h"
#include "lists/radix_tree.h"
#include "lists/site_sets.h"

namespace tarn::lists {

// In both lists an entry whose hash is not the CRC-32 of its host is never found, and the order of the entries counts
// among those of one host only.

class MaliciousList {
 public:
    void Publish(const ThreatSiteList& record);
    void Clear() noexcept { *this = {}; }

    // The name of the threat behind host (without "www.") and path; it may be empty and lives until the next Publish or
    // Clear. Nothing when the site is not listed.
    [[nodiscard]] std::optional<std::string_view> Find(const HostKey& host, std::string_view path) const noexcept;

 private:
    struct Site {
        SiteSets::Range sets;
        bool wholeSite;
        std::uint32_t siteName;
    };
    struct Name {
        std::uint32_t at;  // in nameTexts_
        std::uint8_t length;
    };
    class Builder;

    [[nodiscard]] std::string_view NameText(std::uint32_t number) const {
        return {nameTexts_.data() + names_[number].at, names_[number].length};
    }

    HostIndex hosts_;   // number: index in sites_
    PrefixTree paths_;  // payload: number of the name; in one set the lowest is the first in list order
    SiteSets sets_;     // those of one site in list order
    std::vector<Site> sites_;
    std::vector<Name> names_;  // the first one is empty
    std::vector<char> nameTexts_;
};
static_assert(std::is_nothrow_move_assignable_v<MaliciousList>);

class PhishingList {
 public:
    void Publish(const PhishingSiteList& record);
    void Clear() noexcept { *this = {}; }
    [[nodiscard]] bool Matches(const HostKey& host, std::string_view path) const noexcept;

 private:
    struct Site {
        PathSets::Range paths;
        bool wholeSite = false;
    };

    HostIndex hosts_;  // number: index in sites_
    PathSets paths_;
    std::vector<Site> sites_;
};
static_assert(std::is_nothrow_move_assignable_v<PhishingList>);

}  // namespace tarn::lists

#endif
