// The lists of texts and allowed sites of a policy, asked which of their entries match: what docs/policy.md says of
// them, by hash, so that the cost of a question does not grow with a list. Any thread may ask.
#ifndef TARN_HOST_EXPLAIN_SITE_LISTS_H
#define TARN_HOST_EXPLAIN_SITE_LISTS_H

#include <set>
#include <string_view>
#include <vector>

#include "host/explain/text_keys.h"
#include "policy/policy.h"

namespace tarn::host {

// Beginnings of host and path. With substrings an entry that begins with "*" is found anywhere.
class WhiteListIndex {
 public:
    WhiteListIndex(const std::vector<policy::ListedText>& entries, bool withSubstrings);
    [[nodiscard]] EntryNumbers Find(std::string_view hostAndPath) const;

 private:
    [[nodiscard]] bool EndsAt(std::string_view text, std::size_t at) const;

    bool isInternal_;
    TextMap<EntryNumbers> beginnings_;
    TextMap<EntryNumbers> substrings_;
    std::set<std::size_t> substringLengths_;
};

// The sites that an entry under parental.users allows.
class AllowedSiteIndex {
 public:
    explicit AllowedSiteIndex(const std::vector<policy::ParentalAllowedSite>& sites);
    // kind: of the connection.
    [[nodiscard]] EntryNumbers FindHost(std::string_view host, std::string_view path, std::uint8_t kind) const;
    // A text that host and path stand in together, such as the address of a TLS connection.
    [[nodiscard]] EntryNumbers FindText(std::string_view given, std::uint8_t kind) const;

 private:
    struct Entry {
        std::uint32_t number;
        bool isSecureOnly;
        std::string path;
    };
    using Entries = TextMap<std::vector<Entry>>;
    void AddHosts(std::string_view text, bool isSecure, EntryNumbers& found) const;
    template <class PathBehind>
    void AddPaths(std::string_view text, PathBehind pathBehind, EntryNumbers& found) const;

    Entries beginnings_;
    Entries domains_;
    Entries withPaths_;
    std::set<std::size_t> lengths_;  // of the hosts of all three
};

}  // namespace tarn::host

#endif
