#include "host/explain/remedy.h"

#include <algorithm>
#include <fmt/format.h>
#include <functional>

namespace tarn::host {

namespace {

// As TOML writes it; hosts and paths hold little that needs an escape.
std::string Quoted(std::string_view text) {
    std::string quoted = "\"";
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\')
            quoted.append({'\\', c});
        else if (byte < 0x20 || byte == 0x7F)
            quoted += fmt::format("\\u{:04X}", byte);
        else
            quoted += c;
    }
    return quoted + '"';
}

struct Way {
    Remedy remedy;
    std::function<void(policy::Policy&)> apply;
};

std::string HostOf(const AskedAddress& asked) {
    const std::string_view host = asked.host;
    if (host.starts_with('[')) return std::string(host.substr(0, host.find(']') + 1));
    return std::string(host.substr(0, host.find(':')));
}

std::string WhichUser(const policy::Policy& policy) {
    return policy.parental.users.size() > 1 ? "below the first [[parental.users]]" : "at the end of the policy";
}

std::vector<Way> WaysToAllow(const policy::Policy& policy, const ScanQuestion& question) {
    const std::string host = HostOf(question.asked);
    const std::string& address = question.asked.hostAndPath;
    std::vector<Way> ways;
    const auto listed = [&](const char* key, std::vector<policy::ListedText> policy::WhiteLists::*list) {
        ways.push_back({{true, fmt::format("[white_lists]\n{} = [{}]", key, Quoted(address)),
                         fmt::format("in {} of [white_lists], with what stands there already", key)},
                        [=](policy::Policy& changed) { (changed.whiteLists.*list).push_back({address}); }});
    };
    listed("user", &policy::WhiteLists::user);
    ways.push_back({{true, fmt::format("[[parental.users.allowed_sites]]\nhost = {}", Quoted(host)), WhichUser(policy)},
                    [=](policy::Policy& changed) {
                        if (changed.parental.users.empty()) return;
                        policy::ParentalAllowedSite site;
                        site.host = host;
                        changed.parental.users.front().allowedSites.push_back(std::move(site));
                    }});
    listed("web_security", &policy::WhiteLists::webSecurity);
    listed("browsing_protection", &policy::WhiteLists::browsingProtection);
    return ways;
}

std::vector<Way> WaysToBlock(const policy::Policy& policy, const ScanQuestion& question) {
    std::string host = HostOf(question.asked);
    std::string bare = host.starts_with("www.") ? host.substr(4) : host;
    std::vector<Way> ways;
    const auto malicious = [=](policy::Policy& changed) {
        policy::MaliciousSite site;
        site.host = bare;
        auto& sites = changed.maliciousSites;
        // A host is listed once.
        std::erase_if(sites, [&](const policy::MaliciousSite& one) { return one.host == bare; });
        sites.push_back(std::move(site));
    };
    const auto known = std::find_if(policy.maliciousSites.begin(), policy.maliciousSites.end(),
                                    [&](const policy::MaliciousSite& one) { return one.host == bare; });
    const bool isKnown = known != policy.maliciousSites.end();
    const std::string text =
        isKnown ? "whole_site = true" : fmt::format("[[malicious_sites]]\nhost = {}", Quoted(bare));
    const std::string where =
        isKnown ? fmt::format("in the entry of line {}", known->place.line) : std::string("at the end of the policy");
    ways.push_back({{false, text, where}, malicious});
    ways.push_back(
        {{false, fmt::format("[[parental.users.blocked_sites]]\nhost = {}", Quoted(host)), WhichUser(policy)},
         [=](policy::Policy& changed) {
             if (changed.parental.users.empty()) return;
             policy::ParentalSiteRule rule;
             rule.host = host;
             // In front of what others say of the host, whose switches would count.
             auto& rules = changed.parental.users.front().siteRules;
             rules.push_back(std::move(rule));
         }});
    ways.push_back(
        {{false, text, where + ", with browsing_protection = true under [features]"}, [=](policy::Policy& changed) {
             changed.features.browsingProtection = true;
             malicious(changed);
         }});
    return ways;
}

bool IsWanted(const Outcome& outcome, bool allows) {
    return outcome.isVerdict && outcome.isBlocked != allows;
}

}  // namespace

std::optional<Remedy> FindRemedy(const PolicyIndex& index, const ScanQuestion& question, const Foretold& foretold) {
    const policy::Policy& policy = index.Policy();
    const bool allows = foretold.outcome.isVerdict && foretold.outcome.isBlocked;
    if (!allows && foretold.decider) {
        const DecidingEntry entry = index.Describe(*foretold.decider);
        return Remedy{false, {}, fmt::format("take out line {} of {}, which lets it pass", entry.line, entry.file)};
    }
    if (question.asked.host.empty()) return std::nullopt;
    for (const Way& way : allows ? WaysToAllow(policy, question) : WaysToBlock(policy, question)) {
        policy::Policy changed = policy;
        way.apply(changed);
        if (IsWanted(Foretell(PolicyIndex(std::move(changed)), question).outcome, allows)) return way.remedy;
    }
    return std::nullopt;
}

}  // namespace tarn::host
