#include "scan_world.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "fakes/clocks.h"
#include "fakes/no_modules.h"
#include "fakes/processes.h"
#include "policy/policy_reader.h"
#include "policy/policy_records.h"
#include "policy/site_judge.h"
#include "scan_modules.h"
#include "support/project_files.h"

namespace tarn::fuzz {
namespace {

enum Fact : std::uint8_t {
    kUserKnown = 1,
    kScheduleForbids = 2,
    kManaged = 4,
    kDnsBlocks = 8,
    kModuleFails = 16,
    kAgentStatus = 32,
    kCategoriesOnly = 64,  // none of the lists of the policy
    kProfileOff = 128,
};

policy::Policy ReadDefaultPolicy() {
    std::ifstream file(DefaultPolicyFile(), std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    policy::ReadPolicy read = policy::ParsePolicy(text);
    Require(!text.empty() && read.mistakes.empty(), "the default policy is read");
    return std::move(read.policy);
}

IdsBlockRequest BlockedAddress() {
    IdsBlockRequest request{};
    base::CopyText(request.requestText, sizeof request.requestText, "/attack/kit.js http/1.1");
    base::CopyText(request.hostName, sizeof request.hostName, "www.blocked.example");
    return request;
}

}  // namespace

namespace {

struct Field {
    std::size_t at;
    std::size_t size;
};
constexpr Field kUrl{offsetof(UrlVerdict, text), TARN_URL_CAPACITY};
constexpr Field kThreat{offsetof(UrlVerdict, text), sizeof(ThreatText)};
constexpr Field kThreatUrl{offsetof(UrlVerdict, text) + offsetof(ThreatText, url), TARN_URL_CAPACITY};
constexpr Field kCategory{offsetof(UrlVerdict, categoryId),
                          sizeof(UrlVerdict::categoryId) + sizeof(UrlVerdict::categoryName)};
constexpr Field kUser{offsetof(UrlVerdict, userName), sizeof(UrlVerdict::userName)};
constexpr Field kBlocked{offsetof(UrlVerdict, blockedPath),
                         sizeof(UrlVerdict::blockedPath) + sizeof(UrlVerdict::blockedHost)};
constexpr Field kTime{offsetof(UrlVerdict, localTime), sizeof(UrlVerdict::localTime)};

struct WrittenFields {
    std::uint32_t reason;
    bool hasPrompt;
    std::array<Field, 3> fields;
};
constexpr WrittenFields kWritten[] = {
    {TARN_REASON_PHISHING, true, {kUrl}},
    {TARN_REASON_PHISHING_WHITE_LISTED, true, {kUrl}},
    {TARN_REASON_MALICIOUS, true, {kThreat}},
    {TARN_REASON_MALICIOUS_WHITE_LISTED, true, {kThreat}},
    {TARN_REASON_MALICIOUS_CATEGORY, true, {kThreatUrl}},
    {TARN_REASON_SCHEDULE, true, {kUser, kTime}},
    {TARN_REASON_PARENTAL_SITE, true, {kUrl, kUser}},
    {TARN_REASON_PARENTAL_CATEGORY, true, {kUrl, kUser, kCategory}},
    {TARN_REASON_HTTPS_INSPECTION, false, {kUrl, kUser}},
    {TARN_REASON_IDS_BLOCKED, false, {kBlocked}},
    {TARN_REASON_DEFAULT, false, {}},
};

// A verdict was full of one byte; beside the two numbers a rule writes the fields of its reason and no other.
void RequireUnwritten(const ScanOutcome& outcome) {
    const std::uint32_t reason = outcome.verdict.reason;  // a copy: the record is packed
    const auto* const written = std::ranges::find(kWritten, reason, &WrittenFields::reason);
    Require(written != std::end(kWritten), "the reason is known");
    std::array<std::uint8_t, sizeof(UrlVerdict)> bytes;
    std::memcpy(bytes.data(), &outcome.verdict, bytes.size());
    std::fill_n(bytes.begin(), offsetof(UrlVerdict, text), kUnwrittenByte);
    for (const Field& field : written->fields)
        std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(field.at), field.size, kUnwrittenByte);
    Require(std::ranges::count(bytes, kUnwrittenByte) == std::ssize(bytes), "a reason writes its own fields alone");
    Require(written->hasPrompt || (outcome.prompt.report == kUnwrittenByte && outcome.prompt.prompt == kUnwrittenByte),
            "the prompt is written by its own reasons alone");
}

}  // namespace

class ScanWorld::Modules final : public fakes::NoModules {
 public:
    void* Load(const char16_t*) override {
        ++scriptedModules.loaded;
        return this;
    }
    void* Find(void*, const char*) override { return reinterpret_cast<void*>(ScriptedQuarantine); }
    void Free(void*) override { --scriptedModules.loaded; }
};

ScanChoice::ScanChoice(Pieces& pieces) {
    constexpr std::uint16_t kPorts[] = {80, 443, 21, 53};
    const std::uint8_t first = pieces.Byte();
    kind = first % 6;
    stopBeforeCategories = first >> 7;
    port = kPorts[(first >> 4) % 4];
    facts = pieces.Byte();
    const std::uint8_t family = pieces.Byte();
    remote.family = family % 2;
    const Bytes bytes = pieces.Take(4);
    std::ranges::copy(bytes, remote.bytes);
    if (remote.family == TARN_FAMILY_IPV6) remote.bytes[15] = pieces.Byte();
}

ScanWorld& ScanWorld::Instance() {
    static ScanWorld world;
    return world;
}

ScanWorld::ScanWorld() {
    static const policy::Policy kPolicy = ReadDefaultPolicy();
    static const policy::CategoryIndex kCategories(kPolicy.sites);
    scriptedModules.policy = &kPolicy;
    scriptedModules.categories = &kCategories;
    BindScriptedModules(inputs_.companions);
    inputs_.settings.bpStatus = inputs_.settings.apStatus = inputs_.settings.idsIpsStatus = 1;
    inputs_.settings.bpPrompt = {11, 12};
    inputs_.settings.apPrompt = {21, 22};
    inputs_.managedClient.serverAddress = {u'c', u'o', u'n', u's', u'o', u'l', u'e'};
    Require(inputs_.dnsRing.Allocate(), "there is memory for the ring");

    PcSettingsRecord record{};
    Require(policy::BuildParental(kPolicy, record) && parental::CopyPcSettings(record, inputs_.parental),
            "there is memory");
    policy::ReleaseParental(record);
    inputs_.profiles = lists::PublishProfiles(inputs_.parental);
    inputs_.idsBlockedList.Add(BlockedAddress());
}

void ScanWorld::Reset(const ScanChoice& choice) {
    const auto publishUrls = [](auto& list, const std::vector<policy::ListedText>& entries) {
        UrlListRecord record{};
        Require(policy::BuildUrlList(entries, record), "there is memory");
        list.Publish(record);
        policy::ReleaseUrlList(record);
    };
    const bool hadLists = (facts_ & kCategoriesOnly) == 0;
    static bool isPublished = false;
    facts_ = choice.facts;
    if (const bool hasLists = (facts_ & kCategoriesOnly) == 0; !isPublished || hasLists != hadLists) {
        isPublished = true;
        inputs_.lists = {};
        if (hasLists) {
            publishUrls(inputs_.lists.webSecurityInternal, scriptedModules.policy->whiteLists.webSecurity);
            publishUrls(inputs_.lists.browsingProtectionInternal,
                        scriptedModules.policy->whiteLists.browsingProtection);
            publishUrls(inputs_.lists.user, scriptedModules.policy->whiteLists.user);
            ThreatSiteList threats{};
            Require(policy::BuildThreatSites(*scriptedModules.policy, threats), "there is memory");
            inputs_.lists.malicious.Publish(threats);
            policy::ReleaseThreatSites(threats);
            PhishingSiteList phishing{};
            Require(policy::BuildPhishingSites(*scriptedModules.policy, phishing), "there is memory");
            inputs_.lists.phishing.Publish(phishing);
            policy::ReleasePhishingSites(phishing);
        }
    }
    inputs_.browsingProtection.Clear();
    if (inputs_.dnsRing.Saved().writeIndex != 0) {
        inputs_.dnsRing.Free();
        Require(inputs_.dnsRing.Allocate(), "there is memory for the ring");
    }
    inputs_.allows.Write([&](bool& allows) { allows = (facts_ & kScheduleForbids) == 0; });
    inputs_.managedClient.installed = (facts_ & kManaged) != 0;
    inputs_.dnsBlockSwitch = (facts_ & kDnsBlocks) != 0 ? 1 : 0;
    inputs_.settings.agentStatus = (facts_ & kAgentStatus) != 0 ? 1 : 0;
    if (inputs_.parental.entries.size() != 0)
        inputs_.parental.entries[0].leading.profileSwitch = (facts_ & kProfileOff) != 0 ? 0 : 1;
    scriptedModules.fail = (facts_ & kModuleFails) != 0;
}

ScanOutcome ScanWorld::Run(Scan scan, const ScanChoice& choice, ExactBlock& data) {
    ScanRequest request{};
    request.processId = 4711;
    request.data = data.Data();
    request.dataLength = static_cast<std::uint32_t>(data.View().size());
    request.remoteAddress = choice.remote;
    request.remotePort = static_cast<std::uint16_t>((choice.port >> 8) | (choice.port << 8));
    request.stopBeforeCategories = choice.stopBeforeCategories;
    request.kind = choice.kind;
    ScanOutcome outcome;
    std::memset(&outcome.verdict, kUnwrittenByte, sizeof outcome.verdict);
    outcome.prompt = {kUnwrittenByte, kUnwrittenByte};
    fakes::OneProgram processes;
    processes.userKnown = (facts_ & kUserKnown) != 0;
    processes.user.sid = {};
    Modules system;
    const fakes::FixedClock clock;
    outcome.isValid =
        scan(inputs_.Context(system, processes, clock), request, outcome.verdict, outcome.prompt, &outcome.endedBy);
    Require(scriptedModules.unreleased == 0, "every category list is released");
    Require(scriptedModules.loaded == 0, "every module is freed");
    return outcome;
}

void RequireOutcome(const ScanOutcome& outcome) {
    if (!outcome.isValid) return;
    const UrlVerdict& verdict = outcome.verdict;
    RequireUnwritten(outcome);
    constexpr std::array<std::uint32_t, 3> kAllows{TARN_BLOCK, TARN_ALLOW, TARN_STOPPED_BEFORE_CATEGORIES};
    const std::uint32_t allow = verdict.allow;  // a copy: the record is packed
    Require(std::ranges::find(kAllows, allow) != kAllows.end(), "the answer is known");
    Require(allow == TARN_ALLOW || !outcome.endedBy.empty(), "what is not allowed was ended by a rule");
    switch (verdict.reason) {
        case TARN_REASON_MALICIOUS:
        case TARN_REASON_MALICIOUS_WHITE_LISTED:
        case TARN_REASON_MALICIOUS_CATEGORY:
            Require(IsTerminated<char>(&verdict.text.threat.url, sizeof verdict.text.threat.url),
                    "the URL of a threat is terminated");
            Require(verdict.reason == TARN_REASON_MALICIOUS_CATEGORY ||
                        IsTerminated<char>(&verdict.text.threat.name, sizeof verdict.text.threat.name) ||
                        verdict.reason == TARN_REASON_MALICIOUS_WHITE_LISTED,
                    "the name of a threat is terminated");
            break;
        case TARN_REASON_PARENTAL_SITE:
        case TARN_REASON_HTTPS_INSPECTION:
        case TARN_REASON_PARENTAL_CATEGORY:
            Require(IsTerminated<char16_t>(&verdict.userName, sizeof verdict.userName),
                    "the user's name is terminated");
            Require(IsTerminated<char>(&verdict.text.url, sizeof verdict.text.url), "the URL is terminated");
            break;
        case TARN_REASON_PHISHING:
        case TARN_REASON_PHISHING_WHITE_LISTED:
            Require(IsTerminated<char>(&verdict.text.url, sizeof verdict.text.url), "the URL is terminated");
            break;
        case TARN_REASON_IDS_BLOCKED:
            Require(IsTerminated<char>(&verdict.blockedHost, sizeof verdict.blockedHost) &&
                        IsTerminated<char>(&verdict.blockedPath, sizeof verdict.blockedPath),
                    "both texts are terminated");
            break;
        case TARN_REASON_SCHEDULE:
            Require(
                IsTerminated<char16_t>(&verdict.userName, sizeof verdict.userName) && verdict.localTime.year == 2026,
                "user and time are written");
            break;
        default:
            Require(verdict.reason == TARN_REASON_DEFAULT, "the reason is known");
            Require(verdict.allow != TARN_BLOCK, "nothing is blocked without a reason");
    }
}

}  // namespace tarn::fuzz
