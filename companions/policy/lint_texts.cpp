// What white lists, malicious patterns and hosts beyond ASCII can never match, and what a white list takes from others.
#include <algorithm>
#include <set>

#include "policy/lint_rules.h"
#include "policy/values.h"

namespace tarn::policy {
namespace {

// A text with a host that the library compares: where it stands, and which part of it the host is.
struct HostText {
    const char* key;
    Place place;
    std::string_view text;
    std::size_t at;      // of the host in text
    std::size_t length;  // of the host
};

HostText WholeHost(const char* key, Place place, std::string_view text) {
    return {key, place, text, 0, text.size()};
}

// The host of a text that begins with one, behind a scheme and "*" or "*.".
HostText LeadingHost(const char* key, Place place, std::string_view text) {
    std::size_t at = SchemeOf(text).size();
    if (text.substr(at).starts_with('*')) ++at;
    if (text.substr(at).starts_with('.')) ++at;
    return {key, place, text, at, std::min(text.find('/', at), text.size()) - at};
}

std::vector<HostText> HostsOf(const Policy& policy) {
    std::vector<HostText> hosts;
    for (const auto& site : policy.maliciousSites)
        hosts.push_back(WholeHost("malicious_sites.host", site.place, site.host));
    for (const auto& site : policy.phishingSites)
        hosts.push_back(WholeHost("phishing_sites.host", site.place, site.host));
    for (const auto& host : policy.inspectedHosts)
        hosts.push_back(WholeHost("https_inspection.blocked_hosts", host.place, host.text));
    for (const auto& site : policy.sites) hosts.push_back(LeadingHost("sites.address", site.place, site.address));
    for (const NamedWhiteList& list : WhiteListsOf(policy))
        for (const ListedText& entry : list.entries) hosts.push_back(LeadingHost(list.key, entry.place, entry.text));
    for (const ParentalUser& user : policy.parental.users) {
        for (const auto& site : user.siteRules)
            hosts.push_back(LeadingHost("parental.users.blocked_sites.host", site.place, site.host));
        for (const auto& site : user.allowedSites)
            hosts.push_back(LeadingHost("parental.users.allowed_sites.host", site.place, site.host));
        for (const auto& site : user.scheduleAllowedSites)
            hosts.push_back(LeadingHost("parental.users.schedule_allowed_sites.host", site.place, site.host));
    }
    return hosts;
}

// A white list as it is compared: each entry in lower case without its trailing "/".
FirstPlaces PrefixesOf(const std::vector<ListedText>& entries) {
    FirstPlaces places;
    for (const ListedText& entry : entries) places.try_emplace(LowerCase(WithoutSlashAtEnd(entry.text)), entry.place);
    return places;
}

// The entry that lets host and path pass, itself or a whole part of the text's beginning.
const Place* EntryThatCovers(const FirstPlaces& list, std::string_view hostAndPath) {
    std::string_view text = WithoutSlashAtEnd(hostAndPath);
    do {
        if (const auto found = list.find(std::string(text)); found != list.end()) return &found->second;
    } while (ToPathAbove(text));
    return nullptr;
}

}  // namespace

void InternationalHosts(Lint& lint) {
    // A host that stands in one of these lists twice is a mistake.
    std::set<std::pair<std::string_view, std::string>> threats;
    for (const auto& site : lint.policy.maliciousSites) threats.emplace("malicious_sites.host", site.host);
    for (const auto& site : lint.policy.phishingSites) threats.emplace("phishing_sites.host", site.host);
    for (const HostText& host : HostsOf(lint.policy)) {
        const std::string name(host.text.substr(host.at, host.length));
        if (IsAscii(name)) continue;
        const std::optional<std::string> sent = lint.AsciiForm(name);
        if (!sent) {
            lint.NeverMatches(host.key, host.place, host.text,
                              "letters beyond ASCII are sent in the \"xn--\" form, and this name has none");
            continue;
        }
        constexpr const char* kWhy = "letters beyond ASCII are sent in the \"xn--\" form";
        const std::string_view key = host.key;
        const bool isThreat = key == "malicious_sites.host" || key == "phishing_sites.host";
        if (isThreat && !threats.emplace(key, *sent).second) {
            lint.NeverMatches(host.key, host.place, host.text,
                              fmt::format("{}, and \"{}\" is listed: move its paths there", kWhy, *sent));
            continue;
        }
        std::string mended(host.text);
        mended.replace(host.at, host.length, *sent);
        lint.NeverMatches(host.key, host.place, host.text, kWhy, std::move(mended));
    }
}

void WhiteListTexts(Lint& lint) {
    for (const NamedWhiteList& list : WhiteListsOf(lint.policy)) {
        for (const auto& [text, place] : list.entries) {
            const std::string_view scheme = SchemeOf(text);
            const std::string_view rest = std::string_view(text).substr(scheme.size());
            const std::string_view host = rest.substr(0, rest.find('/'));
            if (!scheme.empty() && !WithoutSlashAtEnd(rest).empty())
                lint.NeverMatches(list.key, place, text, "an address is compared without its scheme",
                                  std::string(WithoutSlashAtEnd(rest)));
            else if (text == "*" && list.takesStar)
                lint.NeverMatches(list.key, place, text, "\"*\" needs a text behind it, which is searched anywhere");
            else if (text.starts_with('*') && !list.takesStar)
                lint.NeverMatches(list.key, place, text,
                                  "this list knows no \"*\": each entry is the beginning of host and path");
            else if (!text.starts_with('*') && host.empty())
                lint.NeverMatches(list.key, place, text, "an entry begins with a host");
            else if (host.find('*', 1) != std::string_view::npos)
                lint.NeverMatches(list.key, place, text, "\"*\" stands for something only in front, where known");
            else if (list.key == std::string_view("white_lists.web_security") &&
                     rest.find_first_of("?#") != std::string_view::npos)
                lint.NeverMatches(list.key, place, text,
                                  "an address is compared without what stands behind \"?\" or \"#\"");
            else if (list.key == std::string_view("white_lists.web_security") && !host.starts_with('[') &&
                     host.find(':') != std::string_view::npos)
                lint.NeverMatches(list.key, place, text, "a host is compared without its port");
        }
    }
}

void DoubledWhiteListTexts(Lint& lint) {
    for (const NamedWhiteList& list : WhiteListsOf(lint.policy)) {
        const FirstPlaces places = PrefixesOf(list.entries);
        FirstPlaces seen;
        for (const auto& [text, place] : list.entries) {
            const std::string lower = LowerCase(WithoutSlashAtEnd(text));
            if (const auto [at, isNew] = seen.try_emplace(lower, place); !isNew) {
                lint.Warn(
                    place,
                    fmt::format("{} \"{}\" is listed in {} already: remove one", list.key, text, lint.Line(at->second)),
                    Repair{list.key, place, text, {}});
                continue;
            }
            std::string_view above = lower;
            if (lower.starts_with('*') || !ToPathAbove(above)) continue;
            if (const Place* wider = EntryThatCovers(places, above))
                lint.Warn(place, fmt::format("{} \"{}\" changes nothing: the entry in {} covers it", list.key, text,
                                             lint.Line(*wider)));
        }
    }
}

// The user's own list is not asked here: letting blocked sites pass, and saying so, is what it is for.
void BlockedEntriesLetPass(Lint& lint) {
    const Policy& policy = lint.policy;
    const FirstPlaces places = PrefixesOf(policy.whiteLists.webSecurity);
    const auto judge = [&](const char* key, Place place, const std::string& shown, std::string_view hostAndPath,
                           const std::string& butFor = {}) {
        const Place* entry = EntryThatCovers(places, hostAndPath);
        if (entry != nullptr)
            lint.Warn(place, fmt::format("{} \"{}\" is never blocked{}: white_lists.web_security lets it pass in {}",
                                         key, shown, butFor, lint.Line(*entry)));
        return entry != nullptr;
    };
    for (const MaliciousSite& site : policy.maliciousSites) {
        // The entry covers the host with "www." in front, the white list does not.
        const std::string www = "www." + site.host;
        const bool isBlockedWithWww = EntryThatCovers(places, www) == nullptr;
        const bool isCovered =
            judge("malicious_sites.host", site.place, site.host, site.host, isBlockedWithWww ? ", but for " + www : "");
        if (isCovered || site.wholeSite) continue;
        for (const Threat& threat : site.threats)
            if (threat.path.size() > 1)
                judge("malicious_sites.threats.path", threat.place, threat.path, site.host + LowerCase(threat.path));
    }
    for (const PhishingSite& site : policy.phishingSites) {
        if (judge("phishing_sites.host", site.place, site.host, site.host) || site.wholeSite) continue;
        for (const ListedText& path : site.paths)
            judge("phishing_sites.paths", path.place, path.text, site.host + path.text);
    }
    for (const ListedText& host : policy.inspectedHosts)
        judge("https_inspection.blocked_hosts", host.place, host.text, LowerCase(host.text));
}

void Patterns(Lint& lint) {
    constexpr const char* kKey = "malicious_patterns";
    FirstPlaces seen;
    for (const auto& [text, place] : lint.policy.maliciousPatterns) {
        if (text.find_first_not_of('*') == std::string::npos)
            lint.Warn(place, fmt::format("{} \"{}\" matches every site without a category", kKey, text));
        else if (!SchemeOf(text).empty())
            lint.NeverMatches(kKey, place, text, "it is searched in host and path, without the scheme",
                              text.substr(SchemeOf(text).size()));
        if (const auto [at, isNew] = seen.try_emplace(LowerCase(text), place); !isNew)
            lint.Warn(place,
                      fmt::format("{} \"{}\" is listed in {} already: remove one", kKey, text, lint.Line(at->second)),
                      Repair{kKey, place, text, {}});
    }
}

void InspectedHosts(Lint& lint) {
    constexpr const char* kKey = "https_inspection.blocked_hosts";
    FirstPlaces seen;
    for (const auto& [text, place] : lint.policy.inspectedHosts) {
        const std::string_view scheme = SchemeOf(text);
        const std::string_view rest = WithoutSlashAtEnd(std::string_view(text).substr(scheme.size()));
        if (rest.find_first_of("/:*? ") != std::string_view::npos)
            lint.NeverMatches(kKey, place, text, "an entry is a host alone, compared as a whole");
        else if (rest.size() != text.size() && !rest.empty())
            lint.NeverMatches(kKey, place, text, "an entry is a host alone", std::string(rest));
        if (const auto [at, isNew] = seen.try_emplace(LowerCase(text), place); !isNew)
            lint.Warn(place,
                      fmt::format("{} \"{}\" is listed in {} already: remove one", kKey, text, lint.Line(at->second)),
                      Repair{kKey, place, text, {}});
    }
}

}  // namespace tarn::policy
