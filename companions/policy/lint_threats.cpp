// What malicious_sites and phishing_sites can never match.
#include <algorithm>
#include <cstring>
#include <unordered_set>

#include "policy/lint_rules.h"
#include "policy/values.h"

namespace tarn::policy {
namespace {

constexpr const char* kMaliciousHost = "malicious_sites.host";
constexpr const char* kPhishingHost = "phishing_sites.host";

// An address of a network whose servers no list below the parental ones is asked about.
bool IsPrivateAddress(std::string_view host) {
    IpAddressRecord address{};
    if (host.find(':') != std::string_view::npos || !AddressOfText(host, address)) return false;
    std::uint32_t number = 0;
    std::memcpy(&number, address.bytes, sizeof number);
    struct Network {
        std::uint32_t first;
        std::uint32_t last;
    };
    constexpr Network kPrivate[] = {{0x0A000001, 0x0AFFFFFE},   // 10/8
                                    {0xAC100001, 0xAC1FFFFE},   // 172.16/12
                                    {0xC0A80001, 0xC0A8FFFE},   // 192.168/16
                                    {0xA9FE0001, 0xA9FEFFFE}};  // 169.254/16
    return std::any_of(std::begin(kPrivate), std::end(kPrivate),
                       [number](const Network& network) { return number >= network.first && number <= network.last; });
}

// What keeps a path of a list from being met in a request; for a path that only lacks its "/", the mended one.
void JudgePath(Lint& lint, const char* key, Place place, const std::string& path) {
    if (path.find_first_of("?#") != std::string::npos)
        lint.NeverMatches(key, place, path, "a path is compared without what stands behind \"?\" or \"#\"");
    else if (!path.starts_with('/'))
        lint.NeverMatches(key, place, path, "a path begins with \"/\"", "/" + path);
}

// The one place where a text was listed before, if so.
const Place* ListedBefore(FirstPlaces& seen, std::string text, Place place) {
    const auto [at, isNew] = seen.try_emplace(std::move(text), place);
    return isNew ? nullptr : &at->second;
}

}  // namespace

void HostsWithWww(Lint& lint) {
    std::unordered_set<std::string_view> hosts;
    for (const MaliciousSite& site : lint.policy.maliciousSites) hosts.insert(site.host);
    for (const MaliciousSite& site : lint.policy.maliciousSites) {
        if (!site.host.starts_with("www.") || site.host.size() == 4) continue;
        const std::string bare = site.host.substr(4);
        constexpr const char* kWhy = "hosts are compared without \"www.\"";
        if (!hosts.insert(bare).second) {
            lint.NeverMatches(kMaliciousHost, site.place, site.host,
                              fmt::format("{}; \"{}\", which covers it, is listed: move its paths there", kWhy, bare));
            continue;
        }
        hosts.insert(site.host);
        lint.NeverMatches(kMaliciousHost, site.place, site.host, kWhy, bare);
    }
}

void HostsWithDot(Lint& lint) {
    const auto judge = [&lint](const char* key, const auto& sites) {
        for (const auto& site : sites)
            if (site.host.ends_with('.'))
                lint.Warn(site.place, fmt::format("{} \"{}\" matches only who writes the dot at the end: write \"{}\"",
                                                  key, site.host, site.host.substr(0, site.host.size() - 1)));
    };
    judge(kMaliciousHost, lint.policy.maliciousSites);
    judge(kPhishingHost, lint.policy.phishingSites);
}

void PrivateAddresses(Lint& lint) {
    constexpr const char* kWhy =
        "servers in private networks are let pass before this list is asked; parental.users.blocked_sites is asked "
        "for them";
    const auto judge = [&lint](const char* key, Place place, const std::string& host) {
        if (IsPrivateAddress(host)) lint.NeverMatches(key, place, host, kWhy);
    };
    for (const MaliciousSite& site : lint.policy.maliciousSites) judge(kMaliciousHost, site.place, site.host);
    for (const PhishingSite& site : lint.policy.phishingSites) judge(kPhishingHost, site.place, site.host);
    for (const ListedText& host : lint.policy.inspectedHosts)
        judge("https_inspection.blocked_hosts", host.place, host.text);
}

void SitesWithNothingToMatch(Lint& lint) {
    constexpr const char* kWhy = "whole_site is false and no path is listed";
    for (const MaliciousSite& site : lint.policy.maliciousSites) {
        const bool hasPath = std::any_of(site.threats.begin(), site.threats.end(),
                                         [](const Threat& threat) { return !threat.path.empty(); });
        if (!site.wholeSite && !hasPath)
            lint.NeverMatches(kMaliciousHost, site.place, site.host,
                              fmt::format("{}: write whole_site = true, or its paths under threats", kWhy));
    }
    for (const PhishingSite& site : lint.policy.phishingSites)
        if (!site.wholeSite && site.paths.empty())
            lint.NeverMatches(kPhishingHost, site.place, site.host,
                              fmt::format("{}: write whole_site = true, or its paths under paths", kWhy));
}

void ThreatPaths(Lint& lint) {
    constexpr const char* kKey = "malicious_sites.threats.path";
    for (const MaliciousSite& site : lint.policy.maliciousSites) {
        FirstPlaces seen;
        for (const Threat& threat : site.threats) {
            if (threat.path.empty()) continue;
            JudgePath(lint, kKey, threat.place, threat.path);
            if (threat.path == "/" && !site.wholeSite)
                lint.NeverMatches(kKey, threat.place, threat.path,
                                  "\"/\" alone stands for the whole site: write whole_site = true");
            if (const Place* first = ListedBefore(seen, LowerCase(threat.path), threat.place))
                lint.Warn(threat.place,
                          fmt::format("{} \"{}\" of {} is listed in {} already, whose name counts: remove one", kKey,
                                      threat.path, site.host, lint.Line(*first)));
        }
    }
}

void PhishingPaths(Lint& lint) {
    constexpr const char* kKey = "phishing_sites.paths";
    for (const PhishingSite& site : lint.policy.phishingSites) {
        FirstPlaces seen;
        FirstPlaces places;
        for (const ListedText& path : site.paths) places.try_emplace(path.text, path.place);
        for (const ListedText& path : site.paths) {
            JudgePath(lint, kKey, path.place, path.text);
            if (const std::string lower = LowerCase(path.text); lower != path.text && path.text.starts_with('/'))
                lint.NeverMatches(kKey, path.place, path.text, "the paths of requests are compared in lower case",
                                  lower);
            if (const Place* first = ListedBefore(seen, path.text, path.place)) {
                lint.Warn(path.place,
                          fmt::format("{} \"{}\" of {} is listed in {} already: remove one", kKey, path.text, site.host,
                                      lint.Line(*first)),
                          Repair{kKey, path.place, path.text, {}});
                continue;
            }
            if (site.wholeSite) {
                lint.Warn(path.place, fmt::format("{} \"{}\" changes nothing, because whole_site lists all of {}: "
                                                  "write whole_site = false, or remove it",
                                                  kKey, path.text, site.host));
                continue;
            }
            std::string_view above = WithoutSlashAtEnd(path.text);
            while (ToPathAbove(above) && !above.empty()) {
                const auto wider = places.find(std::string(above));
                if (wider == places.end()) continue;
                lint.Warn(path.place, fmt::format("{} \"{}\" changes nothing: \"{}\" in {} covers it", kKey, path.text,
                                                  above, lint.Line(wider->second)));
                break;
            }
        }
    }
}

}  // namespace tarn::policy
