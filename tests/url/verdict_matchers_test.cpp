// What the comparisons of verdicts tell apart, and what a failed one says.
#include "support/verdict_matchers.h"

#include <gtest/gtest.h>

namespace tarn {
namespace {

using testing::Not;
using testing::PrintToString;

TEST(UrlDecisions, DifferInTheAnswerAndInTheReason) {
    UrlVerdict verdict{};
    verdict.allow = TARN_BLOCK;
    verdict.reason = TARN_REASON_MALICIOUS;
    EXPECT_THAT(DecisionOf(verdict), Blocks(TARN_REASON_MALICIOUS));
    EXPECT_THAT(DecisionOf(verdict), Not(Blocks(TARN_REASON_PHISHING)));
    EXPECT_THAT(DecisionOf(verdict), Not(Allows(TARN_REASON_MALICIOUS)));
    verdict.allow = TARN_STOPPED_BEFORE_CATEGORIES;
    verdict.reason = TARN_REASON_DEFAULT;
    EXPECT_THAT(DecisionOf(verdict), StopsBeforeCategories());
    EXPECT_THAT(DecisionOf(verdict), Not(Allows(TARN_REASON_DEFAULT)));
}

TEST(UrlDecisions, ArePrintedByNumberAndName) {
    EXPECT_EQ(PrintToString(Blocks(TARN_REASON_MALICIOUS)), "blocked, reason 2 (malicious)");
    EXPECT_EQ(PrintToString(Allows(TARN_REASON_DEFAULT)), "allowed, reason 26 (default)");
    EXPECT_EQ(PrintToString(StopsBeforeCategories()), "stopped before the categories, reason 26 (default)");
    EXPECT_EQ(PrintToString(UrlDecision{7, 99}), "allow 7, reason 99 (unknown)");
    EXPECT_EQ(PrintToString(UrlDecisionWithUrl(Blocks(TARN_REASON_PHISHING), "a.example")),
              "blocked, reason 0 (phishing), URL 'a.example'");
}

TEST(PacketDecisions, DifferInTheActionAndInTheReason) {
    PacketVerdict verdict{};
    verdict.action = TARN_PACKET_BLOCK;
    verdict.reason = TARN_PACKET_REASON_SMB;
    EXPECT_THAT(DecisionOf(verdict), BlocksPacket(TARN_PACKET_REASON_SMB));
    EXPECT_THAT(DecisionOf(verdict), Not(BlocksPacket(TARN_PACKET_REASON_MYSQL)));
    verdict.action = TARN_PACKET_ALLOW;
    EXPECT_THAT(DecisionOf(verdict), Not(BlocksPacket(TARN_PACKET_REASON_SMB)));
    EXPECT_EQ(PrintToString(DecisionOf(verdict)), "allowed, reason 25 (SMB)");
}

}  // namespace
}  // namespace tarn
