#include "policy/policy_reader.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>
#include <unordered_set>

#include "policy/serve_reader.h"
#include "policy/values.h"

namespace tarn::policy {
namespace {

constexpr TextBound kUrl{TARN_URL_CAPACITY};
constexpr TextBound kHost{256};

void ReadPrompt(Section& section, std::string_view key, PromptBytes& prompt) {
    section.Table(key, [&](Section& inner) {
        inner.Read("report", prompt.report, 0, 255);
        inner.Read("prompt", prompt.prompt, 0, 255);
    });
}

void ReadFeatures(Section& section, Features& features) {
    section.Read("browsing_protection", features.browsingProtection);
    section.Read("anti_phishing", features.antiPhishing);
    section.Read("intrusion_prevention", features.intrusionPrevention);
    section.Read("cloud_lookup", features.cloudLookup);
    section.Read("https_inspection", features.httpsInspection);
    section.Read("agent_status", features.agentStatus, 0, 255);
}

// A host text in lower case; a second entry for the same host is a mistake.
void NeedHost(Section& section, std::string& host, std::unordered_set<std::string>& seen) {
    section.Need("host", host, kHost);
    host = LowerCase(host);
    if (host.empty()) return;
    if (host.find_first_of("/:? ") != std::string::npos)
        section.Complain(
            *section.Find("host"),
            fmt::format("\"{}\" is no host; allowed: a name or address alone, such as shop.example", host));
    if (!seen.insert(host).second)
        section.Complain(*section.Find("host"),
                         fmt::format("\"{}\" is listed above already; add its paths there", host));
}

void ReadMaliciousSites(Section& top, std::vector<MaliciousSite>& sites) {
    std::unordered_set<std::string> seen;
    top.Tables("malicious_sites", [&](Section& section) {
        MaliciousSite site;
        NeedHost(section, site.host, seen);
        section.Read("whole_site", site.wholeSite);
        std::string siteThreat;
        section.Read("threat", siteThreat, {50});
        section.Tables("threats", [&](Section& inner) {
            Threat threat;
            inner.Need("name", threat.name, {50});
            inner.Need("path", threat.path, {200});
            threat.place = inner.Where();
            site.threats.push_back(std::move(threat));
        });
        if (!siteThreat.empty()) site.threats.push_back({siteThreat, "", PlaceOf(*section.Find("threat"))});
        site.place = section.Where();
        sites.push_back(std::move(site));
    });
}

void ReadPhishingSites(Section& top, std::vector<PhishingSite>& sites) {
    std::unordered_set<std::string> seen;
    top.Tables("phishing_sites", [&](Section& section) {
        PhishingSite site;
        NeedHost(section, site.host, seen);
        section.Read("whole_site", site.wholeSite);
        section.Read("paths", site.paths, kUrl);
        site.place = section.Where();
        sites.push_back(std::move(site));
    });
}

void ReadCategories(Section& top, Policy& policy) {
    top.Table("category_names", [&](Section& section) {
        section.Each([&](std::string_view key, const toml::node& value) {
            std::uint16_t number = 0;
            const auto [end, error] = std::from_chars(key.data(), key.data() + key.size(), number);
            std::string name;
            if (error != std::errc{} || end != key.data() + key.size())
                section.Complain(value, fmt::format("\"{}\" is no category; allowed: a number from 0 to 65535", key));
            else if (section.CheckText(key, value, name, {100}))
                policy.categoryNames[number] = name;
        });
    });
    top.Tables("sites", [&](Section& section) {
        CategorisedSite site;
        section.Need("address", site.address, kUrl);
        site.address = LowerCase(site.address);
        section.Read("categories", site.categories, 0, 65535);
        site.place = section.Where();
        policy.sites.push_back(std::move(site));
    });
}

void ReadPacketSignatures(Section& top, std::vector<PacketSignature>& signatures) {
    top.Tables("packet_signatures", [&](Section& section) {
        PacketSignature signature;
        std::string text;
        std::string hex;
        section.Read("port", signature.port, 0, 65535);
        section.Read("text", text, {256});
        section.Read("hex", hex, {512});
        section.Read("reason", signature.reason, 0, 4294967295);
        section.Read("block", signature.block);
        signature.bytes.assign(text.begin(), text.end());
        signature.place = section.Where();
        if (!hex.empty() && !BytesOfHex(hex, signature.bytes))
            section.Complain(*section.Find("hex"), "hex is no run of byte pairs; allowed: such as \"de ad be ef\"");
        if (text.empty() == hex.empty())
            section.Complain(section.Whole(), "a packet signature needs either text or hex");
        signatures.push_back(std::move(signature));
    });
}

void ReadIdsRules(Section& top, std::vector<IdsRuleText>& rules) {
    top.Tables("ids_rules", [&](Section& section) {
        IdsRuleText rule;
        section.Read("id", rule.id, 0, 65535);
        section.Read("excluded", rule.excluded);
        section.Read("name", rule.name, {50, true});
        section.Read("description", rule.description, {150, true});
        section.Read("details", rule.details, {400, true});
        section.Read("systems", rule.systems, 0, 255);
        if (rule.systems.size() > 255) section.Complain(*section.Find("systems"), "at most 255 systems are allowed");
        rule.place = section.Where();
        rules.push_back(std::move(rule));
    });
}

void ReadTop(Section& top, ReadPolicy& read, const FindSid& findSid, ListFiles* files) {
    Policy& policy = read.policy;
    top.Table("features", [&](Section& section) { ReadFeatures(section, policy.features); });
    top.Table("notices", [&](Section& section) {
        ReadPrompt(section, "browsing_protection", policy.notices.browsingProtection);
        ReadPrompt(section, "anti_phishing", policy.notices.antiPhishing);
    });
    top.Table("white_lists", [&](Section& section) {
        section.Read("web_security", policy.whiteLists.webSecurity, kUrl);
        section.Read("browsing_protection", policy.whiteLists.browsingProtection, kUrl);
        section.Read("user", policy.whiteLists.user, kUrl);
    });
    ReadMaliciousSites(top, policy.maliciousSites);
    ReadPhishingSites(top, policy.phishingSites);
    ReadCategories(top, policy);
    top.Read("malicious_patterns", policy.maliciousPatterns, kUrl);
    ReadPacketSignatures(top, policy.packetSignatures);
    ReadIdsRules(top, policy.idsRules);
    top.Table("ids", [&](Section& section) { section.Read("alert", policy.idsAlert, 0, 255); });
    top.Table("https_inspection",
              [&](Section& section) { section.Read("blocked_hosts", policy.inspectedHosts, kHost); });
    top.Table("managed_client", [&](Section& section) {
        section.Read("server", policy.managedClient.server, {260, true});
        section.Read("disable_online_lookup", policy.managedClient.disableOnlineLookup);
    });
    top.Table("parental", [&](Section& section) {
        ReadPrompt(section, "notice", policy.parental.prompt);
        ReadParental(section, policy.parental, findSid, read.warnings, read.parental);
    });
    top.Table("serve", [&](Section& section) { ReadServe(section, policy.serve); });
    read.leavesOutAccounts = !read.warnings.empty();
    ReadIncludes(top, policy, files, read.lists, read.warnings);
}

void CollectKeys(const toml::table& table, const std::string& prefix, std::set<std::string>& keys) {
    for (const auto& [name, value] : table) {
        const std::string key = prefix + std::string(name.str());
        if (const toml::table* inner = value.as_table())
            CollectKeys(*inner, key + ".", keys);
        else if (const toml::array* array = value.as_array(); array == nullptr || !array->empty())
            keys.insert(key);
    }
}

void SortByPlace(std::vector<Mistake>& mistakes) {
    std::stable_sort(mistakes.begin(), mistakes.end(), [](const Mistake& a, const Mistake& b) {
        if (a.file.empty() != b.file.empty()) return a.file.empty();
        // Those of lists stand in the order of the lists already.
        return a.file.empty() && std::pair(a.line, a.column) < std::pair(b.line, b.column);
    });
}

}  // namespace

ReadPolicy ParsePolicy(std::string_view text, const FindSid& findSid, ListFiles* files) {
    ReadPolicy result;
    result.policy.files = {std::string(kPolicyFile)};
    toml::table table;
    try {
        table = toml::parse(text);
    } catch (const toml::parse_error& error) {
        result.mistakes.push_back(
            {error.source().begin.line, error.source().begin.column, std::string(error.description())});
        return result;
    }
    {
        Section top(table, "", result.mistakes);
        ReadTop(top, result, findSid, files);
    }
    SortByPlace(result.mistakes);
    SortByPlace(result.warnings);
    CollectKeys(table, "", result.keys);
    if (result.keys.empty() && result.mistakes.empty())
        result.warnings.push_back({0, 0, "the file sets nothing, so nothing is blocked"});
    return result;
}

bool LosesEverything(const ReadPolicy& before, const ReadPolicy& after) {
    return !before.keys.empty() && std::none_of(before.keys.begin(), before.keys.end(),
                                                [&](const std::string& key) { return after.keys.contains(key); });
}

std::string Describe(std::string_view fileName, const Mistake& mistake) {
    if (!mistake.file.empty()) fileName = mistake.file;
    if (mistake.line == 0) return fmt::format("{}: {}", fileName, mistake.text);
    if (mistake.column == 0) return fmt::format("{}:{}: {}", fileName, mistake.line, mistake.text);
    return fmt::format("{}:{}:{}: {}", fileName, mistake.line, mistake.column, mistake.text);
}

std::string DescribeWarning(std::string_view fileName, const Mistake& warning) {
    return Describe(fileName, {warning.line, warning.column, "warning: " + warning.text, warning.file});
}

}  // namespace tarn::policy
