// What a scan decided, for comparisons: EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS)). A failure names both
// sides in words, such as "blocked, reason 2 (malicious)".
#ifndef TARN_TESTS_SUPPORT_VERDICT_MATCHERS_H
#define TARN_TESTS_SUPPORT_VERDICT_MATCHERS_H

#include <cstdint>
#include <gmock/gmock.h>
#include <ostream>
#include <string>
#include <utility>

#include "tarn/records.h"

#include "network/rule_details.h"

namespace tarn {

// The two fields of a URL verdict that every scan writes. A value: it is compared with == and by EXPECT_THAT alike.
struct UrlDecision {
    std::uint32_t allow;
    std::uint32_t reason;

    bool operator==(const UrlDecision&) const = default;
};

inline UrlDecision Blocks(std::uint32_t reason) {
    return {TARN_BLOCK, reason};
}
inline UrlDecision Allows(std::uint32_t reason) {
    return {TARN_ALLOW, reason};
}
inline UrlDecision StopsBeforeCategories() {
    return {TARN_STOPPED_BEFORE_CATEGORIES, TARN_REASON_DEFAULT};
}

inline UrlDecision DecisionOf(const UrlVerdict& verdict) {
    return {verdict.allow, verdict.reason};
}

inline const char* UrlReasonName(std::uint32_t reason) {
    switch (reason) {
        case TARN_REASON_PHISHING:
            return "phishing";
        case TARN_REASON_MALICIOUS_CATEGORY:
            return "malicious category";
        case TARN_REASON_MALICIOUS:
            return "malicious";
        case TARN_REASON_SCHEDULE:
            return "schedule";
        case TARN_REASON_PARENTAL_SITE:
            return "parental site";
        case TARN_REASON_PARENTAL_CATEGORY:
            return "parental category";
        case TARN_REASON_PHISHING_WHITE_LISTED:
            return "phishing, white-listed";
        case TARN_REASON_MALICIOUS_WHITE_LISTED:
            return "malicious, white-listed";
        case TARN_REASON_HTTPS_INSPECTION:
            return "HTTPS inspection";
        case TARN_REASON_IDS_BLOCKED:
            return "IDS-blocked";
        case TARN_REASON_DEFAULT:
            return "default";
        default:
            return "unknown";
    }
}

inline std::ostream& operator<<(std::ostream& out, const UrlDecision& decision) {
    switch (decision.allow) {
        case TARN_BLOCK:
            out << "blocked";
            break;
        case TARN_ALLOW:
            out << "allowed";
            break;
        case TARN_STOPPED_BEFORE_CATEGORIES:
            out << "stopped before the categories";
            break;
        default:
            out << "allow " << decision.allow;
            break;
    }
    return out << ", reason " << decision.reason << " (" << UrlReasonName(decision.reason) << ")";
}

// A decision and the URL that stands in the verdict. Without one it is a decision of a rule whose URL is not compared.
struct UrlDecisionWithUrl {
    UrlDecisionWithUrl(const UrlDecision& made, std::string text = {}) : decision(made), url(std::move(text)) {}

    UrlDecision decision;
    std::string url;

    bool operator==(const UrlDecisionWithUrl&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const UrlDecisionWithUrl& made) {
    return out << made.decision << ", URL '" << made.url << "'";
}

// The same of a packet verdict, whose action and reasons are numbered in their own way.
struct PacketDecision {
    std::uint32_t action;
    std::uint32_t reason;

    bool operator==(const PacketDecision&) const = default;
};

inline PacketDecision BlocksPacket(std::uint32_t reason) {
    return {TARN_PACKET_BLOCK, reason};
}

inline PacketDecision DecisionOf(const PacketVerdict& verdict) {
    return {verdict.action, verdict.reason};
}

inline const char* PacketReasonName(std::uint32_t reason) {
    switch (reason) {
        case TARN_PACKET_REASON_KNOWN_ATTACK:
            return "texts withheld";
        case TARN_PACKET_REASON_RULE_EXCLUDED:
            return "rule excluded";
        case TARN_PACKET_REASON_REMOTE_DESKTOP:
            return "Remote Desktop";
        case TARN_PACKET_REASON_SMB:
            return "SMB";
        case TARN_PACKET_REASON_SQL_SERVER:
            return "SQL Server";
        case TARN_PACKET_REASON_MYSQL:
            return "MySQL";
        default:
            return "unknown";
    }
}

inline std::ostream& operator<<(std::ostream& out, const PacketDecision& decision) {
    switch (decision.action) {
        case TARN_PACKET_BLOCK:
            out << "blocked";
            break;
        case TARN_PACKET_ALLOW:
            out << "allowed";
            break;
        default:
            out << "action " << decision.action;
            break;
    }
    return out << ", reason " << decision.reason << " (" << PacketReasonName(decision.reason) << ")";
}

}  // namespace tarn

#endif
