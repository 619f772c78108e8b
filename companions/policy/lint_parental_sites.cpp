// Parental sites that never match, that another entry hides, or that an allowed one lets pass.
#include "policy/lint_rules.h"
#include "policy/values.h"

namespace tarn::policy {
namespace {

constexpr const char* kBlockedHost = "parental.users.blocked_sites.host";
constexpr const char* kBlockedPath = "parental.users.blocked_sites.path";
constexpr std::uint8_t kWholeSite = 1;

void JudgeHost(Lint& lint, const char* key, Place place, const std::string& text) {
    const std::string_view scheme = SchemeOf(text);
    const std::string_view rest = WithoutSlashAtEnd(std::string_view(text).substr(scheme.size()));
    if (rest.starts_with('*'))
        lint.NeverMatches(key, place, text,
                          "\"*\" stands for nothing here; subdomains = true covers the domains below");
    else if (rest.find('/') != std::string_view::npos)
        lint.NeverMatches(key, place, text, "a host holds no path: write host and path apart");
    else if (rest.size() != text.size() && !rest.empty())
        lint.NeverMatches(key, place, text, "a host stands alone, without scheme or \"/\"", std::string(rest));
}

// The wider entry of one user that blocks host as a whole, on every connection.
struct WholeSites {
    FirstPlaces exact;
    FirstPlaces withDomains;

    explicit WholeSites(const std::vector<ParentalSiteRule>& rules) {
        FirstPlaces seen;
        for (const ParentalSiteRule& rule : rules) {
            const std::string host = LowerCase(rule.host);
            const bool isFirst = seen.try_emplace(host, rule.place).second;
            if (rule.subdomains == 1 && isFirst) withDomains.try_emplace(host, rule.place);
            if (rule.flag == kWholeSite && rule.kind != TARN_SITE_SECURE) exact.try_emplace(host, rule.place);
        }
    }

    [[nodiscard]] const Place* Above(std::string_view host) const {
        while (ToDomainAbove(host))
            if (const auto found = withDomains.find(std::string(host)); found != withDomains.end())
                return &found->second;
        return nullptr;
    }
};

void JudgePath(Lint& lint, const ParentalSiteRule& rule, const WholeSites& whole) {
    const std::string& path = rule.path;
    if (rule.kind == TARN_SITE_SECURE)
        lint.Warn(rule.place,
                  fmt::format("{} \"{}\" does not count, because kind = 2 blocks the whole site", kBlockedPath, path));
    else if (rule.subdomains == 1)
        lint.Warn(rule.place, fmt::format("{} \"{}\" does not count, because subdomains = true blocks every path",
                                          kBlockedPath, path));
    else if (path.find_first_of("?#") != std::string::npos)
        lint.NeverMatches(kBlockedPath, rule.place, path,
                          "a path is compared without what stands behind \"?\" or \"#\"");
    else if (!path.starts_with('/'))
        lint.NeverMatches(kBlockedPath, rule.place, path, "a path begins with \"/\"", "/" + path);
    else if (const auto wider = whole.exact.find(LowerCase(rule.host)); wider != whole.exact.end())
        lint.Warn(rule.place, fmt::format("{} \"{}\" changes nothing: the entry in {} blocks all of {}", kBlockedPath,
                                          path, lint.Line(wider->second), rule.host));
}

}  // namespace

void ParentalHosts(Lint& lint) {
    for (const ParentalUser& user : lint.parental.users) {
        for (const ParentalSiteRule& rule : user.siteRules) {
            JudgeHost(lint, kBlockedHost, rule.place, rule.host);
            if (rule.host.ends_with('.'))
                lint.NeverMatches(kBlockedHost, rule.place, rule.host, "no host with a \".\" at its end is looked up",
                                  rule.host.substr(0, rule.host.size() - 1));
        }
        for (const auto& site : user.allowedSites)
            JudgeHost(lint, "parental.users.allowed_sites.host", site.place, site.host);
        for (const auto& site : user.scheduleAllowedSites)
            JudgeHost(lint, "parental.users.schedule_allowed_sites.host", site.place, site.host);
    }
}

void ParentalPaths(Lint& lint) {
    for (const ParentalUser& user : lint.parental.users) {
        const WholeSites whole(user.siteRules);
        for (const ParentalSiteRule& rule : user.siteRules) {
            if (!rule.path.empty()) JudgePath(lint, rule, whole);
            // One entry of a host stands for its paths, so only a host that has none anywhere blocks nothing.
            const bool hasNothing = rule.path.empty() && rule.flag != kWholeSite && rule.subdomains == 0 &&
                                    rule.kind != TARN_SITE_SECURE && rule.addresses.empty();
            if (hasNothing)
                lint.NeverMatches(kBlockedHost, rule.place, rule.host,
                                  "whole_site is false and the entry has no path: write path, or whole_site = true");
        }
        const auto judgeAllowed = [&lint](const char* key, const std::vector<ParentalAllowedSite>& sites) {
            for (const ParentalAllowedSite& site : sites) {
                if (site.path.empty()) continue;
                if (site.path.starts_with('/') && site.path.find_first_of("?#") != std::string::npos)
                    lint.NeverMatches(key, site.place, site.path,
                                      "a path is compared without what stands behind \"?\" or \"#\"");
                else if (!site.path.starts_with('/'))
                    lint.Warn(site.place, fmt::format("{} \"{}\" matches no path of a connection, because those begin "
                                                      "with \"/\": write \"/{}\"",
                                                      key, site.path, site.path));
            }
        };
        judgeAllowed("parental.users.allowed_sites.path", user.allowedSites);
        judgeAllowed("parental.users.schedule_allowed_sites.path", user.scheduleAllowedSites);
    }
}

void ParentalSitesTwice(Lint& lint) {
    for (const ParentalUser& user : lint.parental.users) {
        const WholeSites whole(user.siteRules);
        struct First {
            Place place{};
            bool subdomains = false;
        };
        std::unordered_map<std::string, First> hosts;
        FirstPlaces seen;  // host and path
        for (const ParentalSiteRule& rule : user.siteRules) {
            const std::string host = LowerCase(rule.host);
            const auto [first, isFirstOfHost] = hosts.try_emplace(host, First{rule.place, rule.subdomains == 1});
            const auto [same, isNew] = seen.try_emplace(host + "\n" + LowerCase(rule.path), rule.place);
            if (!isFirstOfHost && rule.subdomains == 1 && !first->second.subdomains)
                lint.Warn(rule.place, fmt::format("{} \"{}\": subdomains = true does not count here, because only the "
                                                  "first entry of a host says so: write it in {}",
                                                  kBlockedHost, rule.host, lint.Line(first->second.place)));
            else if (!isNew && rule.addresses.empty())
                lint.Warn(rule.place, fmt::format("{} \"{}\" is listed in {} already: remove one", kBlockedHost,
                                                  rule.host, lint.Line(same->second)));
            else if (const Place* wider = whole.Above(host); wider != nullptr && rule.addresses.empty())
                lint.Warn(rule.place, fmt::format("{} \"{}\" changes nothing: the entry in {} blocks the domain above "
                                                  "with all below it",
                                                  kBlockedHost, rule.host, lint.Line(*wider)));
        }
    }
}

void ParentalSitesLetPass(Lint& lint) {
    const Parental& parental = lint.parental;
    if (parental.mode != TARN_PC_ONE_FOR_ALL || parental.users.empty()) return;
    const ParentalUser& user = parental.users.front();
    FirstPlaces allowed;
    FirstPlaces allowedBelow;
    for (const ParentalAllowedSite& site : user.allowedSites) {
        if (!site.path.empty() || site.kind == TARN_SITE_SECURE) continue;
        allowed.try_emplace(LowerCase(site.host), site.place);
        if (site.subdomains) allowedBelow.try_emplace(LowerCase(site.host), site.place);
    }
    for (const ParentalSiteRule& rule : user.siteRules) {
        const std::string lower = LowerCase(rule.host);
        auto found = allowed.find(lower);
        bool isAllowed = found != allowed.end();
        for (std::string_view host = lower; !isAllowed && ToDomainAbove(host);) {
            found = allowedBelow.find(std::string(host));
            isAllowed = found != allowedBelow.end();
        }
        if (isAllowed)
            lint.Warn(rule.place, fmt::format("{} \"{}\" is never blocked: allowed_sites lets it pass in {}",
                                              kBlockedHost, rule.host, lint.Line(found->second)));
    }
}

}  // namespace tarn::policy
