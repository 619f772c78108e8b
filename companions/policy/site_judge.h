// What a policy says of one site, packet or URL: categories, malicious patterns, packet signatures.
// The modules hand the library's questions on and its answers back.
#ifndef TARN_COMPANIONS_POLICY_SITE_JUDGE_H
#define TARN_COMPANIONS_POLICY_SITE_JUDGE_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "policy/policy.h"

namespace tarn::policy {

// The host and the path of a text such as "https://shop.example:8080/a?b", in lower case.
struct SiteAddress {
    std::string host;  // without port and dots at its end
    std::string path;
};
SiteAddress SplitSiteAddress(std::string_view text);

// Categories by host, domain or URL: the longest path of the host itself counts, else that of the nearest domain above.
class CategoryIndex {
 public:
    explicit CategoryIndex(const std::vector<CategorisedSite>& sites);
    // A host or URL, with or without scheme, port, query. Empty for a site that is not listed.
    [[nodiscard]] std::span<const std::uint16_t> Find(std::string_view hostOrUrl) const;

 private:
    struct Place {
        std::string path;
        std::vector<std::uint16_t> categories;
    };
    std::unordered_map<std::string, std::vector<Place>> places_;  // by host; longest path first
};

// Whether a text matches a pattern in which "*" stands for any run of characters; a pattern without one may stand
// anywhere. Letter case does not count.
bool MatchesPattern(std::string_view text, std::string_view pattern);

// The first signature whose bytes the frame holds and whose port is the frame's local TCP port.
const PacketSignature* FindSignature(const std::vector<PacketSignature>& signatures,
                                     std::span<const std::uint8_t> frame, bool inbound);

}  // namespace tarn::policy

#endif
