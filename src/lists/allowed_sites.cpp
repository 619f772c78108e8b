#include "lists/allowed_sites.h"

#include <algorithm>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "base/bounded_text.h"
#include "base/chain.h"
#include "base/text.h"

namespace tarn::lists {
namespace {

constexpr auto kAnyLength = [](std::size_t) { return true; };
constexpr auto kAnyPayload = [](std::size_t, std::uint32_t) { return true; };

bool IsSecure(std::uint8_t mode) {
    return mode == TARN_KIND_TLS || mode == TARN_KIND_HTTP_SECURE;
}

// Whether a pattern of this length that text ends with stands behind a ".".
bool StandsBehindDot(std::string_view text, std::size_t length) {
    return text[text.size() - length] == '.' || text[text.size() - length - 1] == '.';
}

// What Publish collects before the trees are built; the texts are in lower case.
struct HostPatterns {
    std::vector<PrefixTree::Pattern> starts;
    std::vector<SuffixTree::Pattern> domains;
};

}  // namespace

bool IsDomainOrSubdomain(std::string_view host, std::string_view pattern, std::uint8_t allowSubdomain) {
    const std::size_t at = base::FindIgnoringCase(host, pattern);
    if (at == std::string_view::npos) return false;
    // QUIRK: a pattern also matches every host that merely begins with it.  Test: PatternMatchesWhatBeginsWithIt
    if (at == 0) return true;
    return allowSubdomain == 1 && at + pattern.size() == host.size() && StandsBehindDot(host, pattern.size());
}

void AllowedSites::Publish(const UserUrlList& record) {
    std::deque<std::string> texts;
    HostPatterns everywhere;
    HostPatterns secureOnly;
    std::map<std::string, std::vector<PrefixTree::Pattern>> pathsOfHosts;
    base::ForEachNode(record.first, record.count, [&](const UserUrlEntry& entry) {
        std::string host = base::Lowered(base::FieldText(entry.host, sizeof entry.host));
        if (host.empty()) return;
        if (entry.hostOnly == 1) {
            const std::string_view kept = texts.emplace_back(std::move(host));
            HostPatterns& patterns = entry.kind == TARN_SITE_SECURE ? secureOnly : everywhere;
            patterns.starts.push_back({kept, 0});
            if (entry.includeSubdomains == 1) patterns.domains.push_back({kept, 0});
        } else {
            // QUIRK: an entry with a path applies in every mode, whatever its kind.
            // Test: EntriesWithPathsIgnoreTheirKind
            const std::string_view path = base::FieldText(entry.path, sizeof entry.path);
            const std::string_view kept = texts.emplace_back(base::Lowered(base::WithoutTrailingSlash(path)));
            pathsOfHosts[std::move(host)].push_back({kept, 0});
        }
    });

    AllowedSites list;
    list.starts_ = PrefixFilter(everywhere.starts.size() + secureOnly.starts.size() + pathsOfHosts.size());
    list.domains_ = base::KeyFilter(everywhere.domains.size() + secureOnly.domains.size());
    for (const auto& [host, paths] : pathsOfHosts) list.starts_.Add(host);
    const auto add = [&list](const HostPatterns& patterns) {
        for (const PrefixTree::Pattern& start : patterns.starts) list.starts_.Add(start.text);
        for (const SuffixTree::Pattern& domain : patterns.domains)
            list.domains_.Add(HostHash(domain.text.substr(domain.text.starts_with('.') ? 1 : 0)));
        return Hosts{list.prefixes_.Add(patterns.starts), list.suffixes_.Add(patterns.domains)};
    };
    list.everywhere_ = add(everywhere);
    list.secureOnly_ = add(secureOnly);
    std::vector<PrefixTree::Pattern> hosts;
    hosts.reserve(pathsOfHosts.size());
    for (const auto& [host, paths] : pathsOfHosts) hosts.push_back({host, list.prefixes_.Add(paths)});
    list.hostsWithPaths_ = list.prefixes_.Add(hosts);
    *this = std::move(list);
}

// A domain is found behind a dot of the host, or with the dot that it begins with.
bool AllowedSites::MayMatch(const HostKeys& host) const {
    if (starts_.Empty()) return false;
    if (host.HasUpper() || host.HasMoreDots() || starts_.MayMatch(host.Text())) return true;
    return std::ranges::any_of(host.BehindDots(), [this](std::uint32_t hash) { return domains_.MayHold(hash); });
}

bool AllowedSites::HoldsHost(const Hosts& hosts, std::string_view text) const {
    if (prefixes_.Walk(hosts.starts, text.data(), text.size(), kAnyLength, kAnyPayload)) return true;
    const auto standsBehindDot = [text](std::size_t length) {
        return length < text.size() && StandsBehindDot(text, length);
    };
    const auto isFirst = [text](std::size_t length, std::uint32_t) {
        const std::size_t at = text.size() - length;
        return base::FindText(text, text.substr(at)) == at;
    };
    return suffixes_.Walk(hosts.domains, text.data() + text.size(), text.size(), standsBehindDot, isFirst);
}

// pathBehind(length) gives the path to test when the host text took length characters.
template <class PathBehind>
bool AllowedSites::HoldsPath(std::string_view text, PathBehind pathBehind) const {
    const auto holds = [&](std::size_t length, std::uint32_t root) {
        const std::string_view path = pathBehind(length);
        const auto ends = [path](std::size_t at) { return EndsUrlPart(path, at); };
        return prefixes_.Walk(root, path.data(), path.size(), ends, kAnyPayload);
    };
    return prefixes_.Walk(hostsWithPaths_, text.data(), text.size(), kAnyLength, holds);
}

bool AllowedSites::MatchesHost(const HostKeys& host, std::string_view path, std::uint8_t mode) const noexcept {
    if (!MayMatch(host)) return false;
    const PaddedText paddedHost(host.Text(), LetterCase::kFolded);
    if (!paddedHost.Fits()) return false;
    const std::string_view text = paddedHost.View();
    if (HoldsHost(everywhere_, text) || (IsSecure(mode) && HoldsHost(secureOnly_, text))) return true;
    if (hostsWithPaths_ == PrefixTree::kNone) return false;
    const PaddedText paddedPath(path, LetterCase::kFolded);
    return paddedPath.Fits() && HoldsPath(text, [&](std::size_t) { return paddedPath.View(); });
}

bool AllowedSites::MatchesUrl(const HostKeys& url, std::uint8_t mode) const noexcept {
    if (!MayMatch(url)) return false;
    const PaddedText padded(url.Text(), LetterCase::kFolded);
    if (!padded.Fits()) return false;
    const std::string_view text = padded.View();
    if (HoldsHost(everywhere_, text) || (IsSecure(mode) && HoldsHost(secureOnly_, text))) return true;
    return HoldsPath(text, [text](std::size_t length) { return text.substr(length); });
}

}  // namespace tarn::lists
