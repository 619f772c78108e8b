#include "host/explain/site_lists.h"

#include <algorithm>

#include "base/text.h"

namespace tarn::host {

namespace {

EntryNumbers Sorted(EntryNumbers numbers) {
    std::sort(numbers.begin(), numbers.end());
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
    return numbers;
}

void Add(EntryNumbers& found, const EntryNumbers& more) {
    found.insert(found.end(), more.begin(), more.end());
}

}  // namespace

WhiteListIndex::WhiteListIndex(const std::vector<policy::ListedText>& entries, bool withSubstrings)
    : isInternal_(withSubstrings) {
    for (std::uint32_t i = 0; i < entries.size(); ++i) {
        std::string text = base::Lowered(base::WithoutTrailingSlash(entries[i].text));
        if (text.empty()) continue;
        if (!isInternal_ || text.front() != '*') {
            beginnings_[std::move(text)].push_back(i);
        } else if (text.size() > 1) {
            text.erase(0, 1);
            substringLengths_.insert(text.size());
            substrings_[std::move(text)].push_back(i);
        }
    }
}

bool WhiteListIndex::EndsAt(std::string_view text, std::size_t at) const {
    return isInternal_ ? EndsPartAt(text, at) : EndsSegmentAt(text, at);
}

EntryNumbers WhiteListIndex::Find(std::string_view hostAndPath) const {
    EntryNumbers found;
    if (beginnings_.empty() && substrings_.empty()) return found;
    const std::string lowered = base::Lowered(hostAndPath);
    const std::string_view text = lowered;
    for (std::size_t end = 1; end <= text.size(); ++end) {
        if (!EndsAt(text, end)) continue;
        if (const auto entry = beginnings_.find(text.substr(0, end)); entry != beginnings_.end())
            Add(found, entry->second);
        for (const std::size_t length : substringLengths_) {
            if (length > end) break;
            const auto entry = substrings_.find(text.substr(end - length, length));
            // Only the first place counts at which the text stands.
            if (entry != substrings_.end() && text.find(entry->first) == end - length) Add(found, entry->second);
        }
    }
    return Sorted(std::move(found));
}

AllowedSiteIndex::AllowedSiteIndex(const std::vector<policy::ParentalAllowedSite>& sites) {
    for (std::uint32_t i = 0; i < sites.size(); ++i) {
        const policy::ParentalAllowedSite& site = sites[i];
        std::string host = base::Lowered(site.host);
        lengths_.insert(host.size());
        if (!site.path.empty()) {
            withPaths_[std::move(host)].push_back({i, false, base::Lowered(base::WithoutTrailingSlash(site.path))});
            continue;
        }
        const Entry entry{i, site.kind == TARN_SITE_SECURE, {}};
        if (site.subdomains) domains_[host].push_back(entry);
        beginnings_[std::move(host)].push_back(entry);
    }
}

void AllowedSiteIndex::AddHosts(std::string_view text, bool isSecure, EntryNumbers& found) const {
    const auto add = [&](const Entries& entries, std::string_view key) {
        const auto listed = entries.find(key);
        if (listed == entries.end()) return;
        for (const Entry& entry : listed->second)
            if (isSecure || !entry.isSecureOnly) found.push_back(entry.number);
    };
    for (const std::size_t length : lengths_) {
        if (length > text.size()) break;
        add(beginnings_, text.substr(0, length));
    }
    for (std::size_t at = 1; at < text.size() && !domains_.empty(); ++at) {
        if (text[at - 1] != '.' && text[at] != '.') continue;
        const std::string_view domain = text.substr(at);
        if (text.find(domain) == at) add(domains_, domain);
    }
}

template <class PathBehind>
void AllowedSiteIndex::AddPaths(std::string_view text, PathBehind pathBehind, EntryNumbers& found) const {
    if (withPaths_.empty()) return;
    for (const std::size_t length : lengths_) {
        if (length > text.size()) break;
        const auto listed = withPaths_.find(text.substr(0, length));
        if (listed == withPaths_.end()) continue;
        const std::string_view path = pathBehind(length);
        for (const Entry& entry : listed->second)
            if (path.starts_with(entry.path) && EndsPartAt(path, entry.path.size())) found.push_back(entry.number);
    }
}

EntryNumbers AllowedSiteIndex::FindHost(std::string_view host, std::string_view path, std::uint8_t kind) const {
    if (lengths_.empty()) return {};
    EntryNumbers found;
    const std::string text = base::Lowered(host);
    const std::string loweredPath = base::Lowered(path);
    AddHosts(text, kind == TARN_KIND_TLS || kind == TARN_KIND_HTTP_SECURE, found);
    AddPaths(
        text, [&](std::size_t) { return std::string_view(loweredPath); }, found);
    return Sorted(std::move(found));
}

EntryNumbers AllowedSiteIndex::FindText(std::string_view given, std::uint8_t kind) const {
    if (lengths_.empty()) return {};
    EntryNumbers found;
    const std::string text = base::Lowered(given);
    AddHosts(text, kind == TARN_KIND_TLS || kind == TARN_KIND_HTTP_SECURE, found);
    AddPaths(
        text, [&](std::size_t length) { return std::string_view(text).substr(length); }, found);
    return Sorted(std::move(found));
}

}  // namespace tarn::host
