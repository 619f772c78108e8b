#include <array>
#include <cstdint>
#include <fmt/format.h>

#include "companions/given_lists.h"
#include "companions/loader_keys.h"
#include "policy/policy_reader.h"

namespace tarn::policy {
namespace {

std::string Shown(bool value) {
    return value ? "true" : "false";
}
template <class Number>
std::string ShownNumber(Number value) {
    return fmt::format("{}", std::uint64_t{value});
}
template <class Container>
std::string ShownList(const Container& values) {
    return values.empty() ? "none" : "something";
}

void AddPrompt(std::map<std::string, std::string>& defaults, const std::string& table, const PromptBytes& prompt) {
    defaults[table + ".report"] = ShownNumber(prompt.report);
    defaults[table + ".prompt"] = ShownNumber(prompt.prompt);
}

void AddAllowed(std::map<std::string, std::string>& defaults, const std::string& table,
                const ParentalAllowedSite& site) {
    defaults[table + ".path"] = ShownList(site.path);
    defaults[table + ".kind"] = ShownNumber(site.kind);
    defaults[table + ".subdomains"] = Shown(site.subdomains);
}

void AddUser(std::map<std::string, std::string>& defaults, const ParentalUser& user) {
    const std::string table = "parental.users.";
    defaults[table + "account"] = user.sid == decltype(user.sid){} ? "none" : "something";
    defaults[table + "profile"] = Shown(user.profile);
    defaults[table + "block_list"] = Shown(user.blockList);
    defaults[table + "categories"] = Shown(user.categories);
    defaults[table + "blocked_categories"] = ShownList(user.blockedCategories);
    defaults[table + "controlled"] = Shown(user.controlled);
    defaults[table + "exempt"] = Shown(user.exempt);
    defaults[table + "use_hour_grid"] = Shown(user.hourGrid);
    defaults[table + "schedule.on"] = Shown(user.schedule);
    std::size_t number = 0;
    for (const char* day : {"sunday", "monday", "tuesday", "wednesday", "thursday", "friday", "saturday"}) {
        defaults[table + "schedule." + day] = ShownList(user.times.at(number));
        defaults[table + "hours." + day] = user.hours.at(number) == std::array<bool, 24>{} ? "none" : "something";
        defaults[table + "allowance." + day] = ShownNumber(user.allowance.at(number));
        ++number;
    }
    const ParentalSiteRule& rule = user.siteRules.at(0);
    defaults[table + "blocked_sites.path"] = ShownList(rule.path);
    defaults[table + "blocked_sites.whole_site"] = Shown(rule.flag == 1);
    defaults[table + "blocked_sites.subdomains"] = Shown(rule.subdomains == 1);
    defaults[table + "blocked_sites.kind"] = ShownNumber(rule.kind);
    defaults[table + "blocked_sites.addresses"] = ShownList(rule.addresses);
    AddAllowed(defaults, table + "allowed_sites", user.allowedSites.at(0));
    AddAllowed(defaults, table + "schedule_allowed_sites", user.scheduleAllowedSites.at(0));
}

}  // namespace

std::map<std::string, std::string> LoaderDefaults() {
    const Policy policy = ParsePolicy(
                              "malicious_sites = [{host = 'h'}]\nphishing_sites = [{host = 'h'}]\n"
                              "sites = [{address = 'h'}]\npacket_signatures = [{text = 'x'}]\nids_rules = [{}]\n"
                              "[[parental.users]]\nblocked_sites = [{host = 'h'}]\nallowed_sites = [{host = 'h'}]\n"
                              "schedule_allowed_sites = [{host = 'h'}]\n")
                              .policy;
    GivenLists files(std::map<std::string, std::string>{{"name.txt", "a.example"}});
    const ReadPolicy including = ParsePolicy("include = [{files = 'name.txt'}]", {}, &files);
    const IncludedList& list = including.lists.at(0);
    const PacketSignature& signature = policy.packetSignatures.at(0);
    const IdsRuleText& rule = policy.idsRules.at(0);
    std::map<std::string, std::string> defaults{
        {"include.list", list.list},
        {"include.threat", list.threat == "name" ? "the file's name" : list.threat},
        {"include.categories", ShownList(list.categories)},
        {"include.format", list.format},
        {"malicious_patterns", ShownList(policy.maliciousPatterns)},
        {"features.browsing_protection", Shown(policy.features.browsingProtection)},
        {"features.anti_phishing", Shown(policy.features.antiPhishing)},
        {"features.intrusion_prevention", Shown(policy.features.intrusionPrevention)},
        {"features.cloud_lookup", Shown(policy.features.cloudLookup)},
        {"features.https_inspection", Shown(policy.features.httpsInspection)},
        {"features.agent_status", ShownNumber(policy.features.agentStatus)},
        {"white_lists.web_security", ShownList(policy.whiteLists.webSecurity)},
        {"white_lists.browsing_protection", ShownList(policy.whiteLists.browsingProtection)},
        {"white_lists.user", ShownList(policy.whiteLists.user)},
        {"malicious_sites.whole_site", Shown(policy.maliciousSites.at(0).wholeSite)},
        {"malicious_sites.threat", ShownList(policy.maliciousSites.at(0).threats)},
        {"phishing_sites.whole_site", Shown(policy.phishingSites.at(0).wholeSite)},
        {"phishing_sites.paths", ShownList(policy.phishingSites.at(0).paths)},
        {"category_names.NUMBER", ShownList(policy.categoryNames)},
        {"sites.categories", ShownList(policy.sites.at(0).categories)},
        {"https_inspection.blocked_hosts", ShownList(policy.inspectedHosts)},
        {"ids.alert", ShownNumber(policy.idsAlert)},
        {"packet_signatures.port", ShownNumber(signature.port)},
        {"packet_signatures.text", "none"},  // one of the two is needed
        {"packet_signatures.hex", "none"},
        {"packet_signatures.reason", ShownNumber(signature.reason)},
        {"packet_signatures.block", Shown(signature.block)},
        {"ids_rules.id", ShownNumber(rule.id)},
        {"ids_rules.excluded", Shown(rule.excluded)},
        {"ids_rules.name", ShownList(rule.name)},
        {"ids_rules.description", ShownList(rule.description)},
        {"ids_rules.details", ShownList(rule.details)},
        {"ids_rules.systems", ShownList(rule.systems)},
        {"serve.proxy", policy.serve.proxy},
        {"serve.socks", policy.serve.socks},
        {"serve.dns", policy.serve.dns},
        {"serve.status", policy.serve.status},
        {"serve.dns_upstream", ShownList(policy.serve.dnsUpstream)},
        {"serve.dns_refused", policy.serve.dnsRefused},
        {"serve.block_page_address", ShownList(policy.serve.blockPageAddress)},
        {"serve.unknown", policy.serve.unknown},
        {"serve.drain_seconds", ShownNumber(policy.serve.drainSeconds)},
        {"serve.head_seconds", ShownNumber(policy.serve.headSeconds)},
        {"serve.silence_seconds", ShownNumber(policy.serve.silenceSeconds)},
        {"serve.idle_seconds", ShownNumber(policy.serve.idleSeconds)},
        {"serve.connections", ShownNumber(policy.serve.connections)},
        {"serve.events", ShownList(policy.serve.events)},
        {"serve.events_megabytes", ShownNumber(policy.serve.eventsMegabytes)},
        {"serve.events_files", ShownNumber(policy.serve.eventsFiles)},
        {"serve.hosts", ShownList(policy.serve.hosts)},
        {"managed_client.server", ShownList(policy.managedClient.server)},
        {"managed_client.disable_online_lookup", Shown(policy.managedClient.disableOnlineLookup)},
        {"parental.mode", ShownNumber(policy.parental.mode)},
        {"parental.strictness", ShownNumber(policy.parental.strictness)},
    };
    AddPrompt(defaults, "notices.browsing_protection", policy.notices.browsingProtection);
    AddPrompt(defaults, "notices.anti_phishing", policy.notices.antiPhishing);
    AddPrompt(defaults, "parental.notice", policy.parental.prompt);
    AddUser(defaults, policy.parental.users.at(0));
    return defaults;
}

}  // namespace tarn::policy
