#include "host/verdict_words.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>
#include <fmt/format.h>
#include <iterator>
#include <utility>

#include "base/bounded_text.h"
#include "host/printable_text.h"

namespace tarn::host {

namespace {

constexpr std::pair<std::uint32_t, std::string_view> kReasons[] = {
    {TARN_REASON_PHISHING, "phishing site"},
    {TARN_REASON_MALICIOUS_CATEGORY, "malicious category"},
    {TARN_REASON_MALICIOUS, "malicious site"},
    {TARN_REASON_SCHEDULE, "outside the allowed time"},
    {TARN_REASON_PARENTAL_SITE, "site blocked by parental control"},
    {TARN_REASON_PARENTAL_CATEGORY, "category blocked by parental control"},
    {TARN_REASON_PHISHING_WHITE_LISTED, "phishing site, white-listed"},
    {TARN_REASON_MALICIOUS_WHITE_LISTED, "malicious site, white-listed"},
    {TARN_REASON_HTTPS_INSPECTION, "HTTPS inspection"},
    {TARN_REASON_IDS_BLOCKED, "blocked by intrusion prevention"},
    {TARN_REASON_DEFAULT, "no rule decided"},
};

constexpr std::pair<std::uint32_t, std::string_view> kAttacks[] = {
    {TARN_PACKET_REASON_RULE_EXCLUDED, "rule excluded by the user"},
    {TARN_PACKET_REASON_REMOTE_DESKTOP, "attack on remote desktop"},
    {TARN_PACKET_REASON_SMB, "attack on SMB"},
    {TARN_PACKET_REASON_SQL_SERVER, "attack on SQL Server"},
    {TARN_PACKET_REASON_MYSQL, "attack on MySQL"},
};

template <std::size_t N>
std::string Narrow(const char (&field)[N]) {
    return std::string(base::FieldText(field, N));
}

// The fields of UTF-16 text may stand at odd addresses.
template <std::size_t N>
std::string Wide(const void* field) {
    std::array<char16_t, N> copy{};
    std::memcpy(copy.data(), field, sizeof copy);
    return ToUtf8(base::FieldText(copy));
}

std::string ThreatAndUrl(const ThreatText& threat) {
    const std::string name = Narrow(threat.name);
    const std::string url = Narrow(threat.url);
    return name.empty() ? url : fmt::format("{}: {}", name, url);
}

std::string CategoryText(const UrlVerdict& verdict) {
    const std::string name = Wide<100>(&verdict.categoryName);
    const std::uint32_t id = verdict.categoryId;
    return name.empty() ? fmt::format("category {}: {}", id, Narrow(verdict.text.url))
                        : fmt::format("category {} ({}): {}", id, name, Narrow(verdict.text.url));
}

std::string LocalTimeText(const UrlVerdict& verdict) {
    const TarnSystemTime time = verdict.localTime;
    return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}", +time.year, +time.month, +time.day, +time.hour,
                       +time.minute, +time.second);
}

}  // namespace

std::string_view StateWord(const Judgement& judgement) {
    if (!judgement.isValid) return "no verdict";
    switch (judgement.verdict.allow) {
        case TARN_BLOCK:
            return "BLOCKED";
        case TARN_ALLOW:
            return "allowed";
        case TARN_STOPPED_BEFORE_CATEGORIES:
            return "stopped";
        default:
            return "unknown";
    }
}

std::string_view VerdictName(const Judgement& judgement) {
    if (!judgement.isValid) return "none";
    return IsBlocked(judgement) ? "blocked" : "allowed";
}

std::string_view ReasonWords(std::uint32_t reason) {
    for (const auto& [number, words] : kReasons)
        if (number == reason) return words;
    return "a reason without a meaning";
}

std::string RuleText(const UrlVerdict& verdict) {
    switch (verdict.reason) {
        case TARN_REASON_PARENTAL_SITE:
        case TARN_REASON_HTTPS_INSPECTION:
        case TARN_REASON_PHISHING:
        case TARN_REASON_PHISHING_WHITE_LISTED:
            return Narrow(verdict.text.url);
        case TARN_REASON_MALICIOUS:
        case TARN_REASON_MALICIOUS_WHITE_LISTED:
            return ThreatAndUrl(verdict.text.threat);
        case TARN_REASON_MALICIOUS_CATEGORY:
            return Narrow(verdict.text.threat.url);
        case TARN_REASON_PARENTAL_CATEGORY:
            return CategoryText(verdict);
        case TARN_REASON_IDS_BLOCKED:
            return Narrow(verdict.blockedHost) + Narrow(verdict.blockedPath);
        case TARN_REASON_SCHEDULE:
            return LocalTimeText(verdict);
        default:
            return {};
    }
}

std::string ThreatName(const UrlVerdict& verdict) {
    return verdict.reason == TARN_REASON_MALICIOUS ? Narrow(verdict.text.threat.name) : std::string();
}

std::string CategoryName(const UrlVerdict& verdict) {
    if (verdict.reason != TARN_REASON_PARENTAL_CATEGORY) return {};
    const std::string name = Wide<100>(&verdict.categoryName);
    return name.empty() ? fmt::format("{}", +verdict.categoryId) : name;
}

std::string_view AttackWords(std::uint32_t reason) {
    for (const auto& [number, words] : kAttacks)
        if (number == reason) return words;
    return "packet signature";
}

bool IsServiceAttack(std::uint32_t reason) {
    return reason != TARN_PACKET_REASON_RULE_EXCLUDED &&
           std::any_of(std::begin(kAttacks), std::end(kAttacks),
                       [&](const auto& attack) { return attack.first == reason; });
}

std::string AttackRule(const PacketVerdict& verdict) {
    return Wide<50>(&verdict.ruleName);
}

std::string AttackDescription(const PacketVerdict& verdict) {
    return Wide<150>(&verdict.description);
}

std::string AttackDetails(const PacketVerdict& verdict) {
    return Wide<400>(&verdict.details);
}

// The other outcomes of a server leave the action as the caller had it.
std::string_view FileWord(const SmbScanResult& event) {
    switch (event.createAction) {
        case 1:
            return "created";
        case 2:
            return "replaced";
        default:
            return "superseded";
    }
}

std::string FileShare(const SmbScanResult& event) {
    return Wide<260>(&event.sharePath);
}

std::string FileName(const SmbScanResult& event) {
    return Wide<260>(&event.fileName);
}

std::string Grouped(std::uint64_t number) {
    std::string text = fmt::format("{}", number);
    for (std::size_t at = text.size(); at > 3;) text.insert(at -= 3, ",");
    return text;
}

std::string CutFramesWords(const ReplayTotals& replay) {
    return fmt::format(
        "{} of {} frames are cut ({} of up to {} bytes), and what stands behind the cut was not judged; capture whole "
        "frames (snap length 0)",
        Grouped(replay.cutFrames), Grouped(replay.frames), Grouped(replay.mostKept), Grouped(replay.mostOriginal));
}

IpAddress AddressOf(std::uint32_t networkOrder) {
    IpAddress address;
    std::memcpy(address.bytes.data(), &networkOrder, sizeof networkOrder);
    return address;
}

std::string RuleUser(const UrlVerdict& verdict) {
    switch (verdict.reason) {
        case TARN_REASON_SCHEDULE:
        case TARN_REASON_PARENTAL_SITE:
        case TARN_REASON_PARENTAL_CATEGORY:
        case TARN_REASON_HTTPS_INSPECTION:
            return Wide<260>(&verdict.userName);
        default:
            return {};
    }
}

}  // namespace tarn::host
