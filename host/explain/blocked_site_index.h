// The blocked sites of one entry under parental.users, asked which of them match: what docs/policy.md says of them, by
// hash. A host that several entries list is one for the library, which is why an entry knows all that made it.
// Any thread may ask.
#ifndef TARN_HOST_EXPLAIN_BLOCKED_SITE_INDEX_H
#define TARN_HOST_EXPLAIN_BLOCKED_SITE_INDEX_H

#include <map>
#include <string_view>
#include <vector>

#include "host/capture/ip_address.h"
#include "host/explain/text_keys.h"
#include "policy/policy.h"

namespace tarn::host {

class BlockedSiteIndex {
 public:
    explicit BlockedSiteIndex(const std::vector<policy::ParentalSiteRule>& rules);
    [[nodiscard]] bool Empty() const { return listed_.empty(); }
    // address: of the connection, asked when the host is an address. kind: of the connection. With and without "www.".
    [[nodiscard]] EntryNumbers Find(std::string_view host, std::string_view path, const IpAddress& address,
                                    std::uint8_t kind) const;

 private:
    static constexpr std::size_t kNoChain = static_cast<std::size_t>(-1);
    struct Rule {
        std::uint32_t number;
        bool isWhole;  // whether it is what lists the exact host
    };
    struct Listed {
        std::string text;
        std::uint8_t kind = 0;
        bool exactHost = false;
        bool wholeDomain = false;
        std::size_t chain = kNoChain;
        std::vector<Rule> rules;
    };
    struct Path {
        std::string text;
        std::uint32_t number;
    };
    struct Address {
        std::uint8_t kind;
        bool exactHost;
        std::size_t chain;
        std::uint32_t number;
    };

    void Add(const policy::ParentalSiteRule& rule, std::uint32_t number);
    std::size_t Append(Listed listed);
    void AddMatches(std::string_view host, std::string_view path, const IpAddress& address, bool isTls,
                    EntryNumbers& found) const;
    void AddLabels(std::string_view labels, bool isAddress, std::string_view host, std::string_view path, bool isTls,
                   EntryNumbers& found) const;
    void AddPaths(std::size_t chain, std::string_view path, EntryNumbers& found) const;

    std::vector<Listed> listed_;
    TextMap<std::vector<std::size_t>> byText_;  // the newest last
    std::vector<std::vector<Path>> chains_;
    std::map<IpAddress, Address> addresses_;  // the first entry of each
};

}  // namespace tarn::host

#endif
