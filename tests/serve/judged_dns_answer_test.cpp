// DNS answers as the library gets them: its own reader understands each.
#include "host/serve/judged_dns_answer.h"

#include <gtest/gtest.h>

#include "host/serve/dns_message.h"
#include "serve/dns_bytes.h"
#include "serve/serve_world.h"

namespace tarn::host::serve {
namespace {

using Message = std::vector<std::uint8_t>;

// An answer of that many records, which follow.
DnsWriter Begin(unsigned count, unsigned type = kDnsTypeA, unsigned flags = 0x8180) {
    DnsWriter writer;
    writer.Header(7, flags, {1, count, 0, 0}).Name("bad.example").U16(type).U16(1);
    return writer;
}

TEST(JudgedDnsAnswer, IsTheAnswerWhereItHasThatFormAlready) {
    const Message answer = DnsAnswer(7, "bad.example", kDnsTypeA, {192, 0, 2, 1});
    EXPECT_EQ(JudgedDnsAnswer(answer), answer);
}

TEST(JudgedDnsAnswer, HasTheAddressesWhateverTheServersFormIs) {
    const Message plain = DnsAnswer(7, "bad.example", kDnsTypeA, {192, 0, 2, 1});
    DnsWriter flags = Begin(1, kDnsTypeA, 0x8000);  // not recursive
    flags.U16(0xC00C).Record(kDnsTypeA, 60, {192, 0, 2, 1});
    EXPECT_EQ(JudgedDnsAnswer(flags.bytes), plain);
    DnsWriter owner = Begin(1);  // labels, then a pointer
    owner.U8(3).U8('b').U8('a').U8('d').U16(0xC010).Record(kDnsTypeA, 60, {192, 0, 2, 1});
    EXPECT_EQ(JudgedDnsAnswer(owner.bytes), plain);
    DnsWriter broken = Begin(2);  // a record whose address is too short
    broken.U16(0xC00C).Record(kDnsTypeA, 60, {1, 2}).U16(0xC00C).Record(kDnsTypeA, 60, {192, 0, 2, 1});
    EXPECT_EQ(JudgedDnsAnswer(broken.bytes), plain);
}

TEST(JudgedDnsAnswer, FitsHoweverLongTheAnswerIs) {
    DnsWriter writer = Begin(300);
    for (unsigned i = 0; i < 300; ++i) writer.U16(0xC00C).Record(kDnsTypeA, 60, {192, 0, 2, 1});
    const Message judged = JudgedDnsAnswer(writer.bytes);
    EXPECT_LE(judged.size(), 2047U);
    EXPECT_GT(judged.size(), 2000U);
    EXPECT_TRUE(ParseDnsMessage(judged)) << "it announces as many records as it has";
}

TEST(JudgedDnsAnswer, HasTheAddressesThatAServiceHintsAt) {
    // Priority 1, no other name; ALPN, then hints of both kinds.
    const Message data{0, 1, 0, 0, 1, 0, 3, 2, 'h', '2', 0, 4, 0, 4, 192, 0, 2, 1};
    DnsWriter writer = Begin(1, 65);
    writer.U16(0xC00C).Record(65, 60, data);
    DnsWriter judged = Begin(1, 65);
    judged.U16(0xC00C).Record(kDnsTypeA, 60, {192, 0, 2, 1});
    EXPECT_EQ(JudgedDnsAnswer(writer.bytes), judged.bytes);
}

TEST(JudgedDnsAnswer, LeavesWhatIsNoMessageAsItIs) {
    const Message rubbish{1, 2, 3};
    EXPECT_EQ(JudgedDnsAnswer(rubbish), rubbish);
}

// Gives no verdict at all.
class SilentLibrary : public BlockingLibrary {
 public:
    Judgement ScanUrl(std::uint8_t, base::Bytes, const Endpoint&) override { return {}; }
};

TEST(JudgedDnsAnswer, FollowsTheSettingsWithoutAVerdict) {
    SilentLibrary library;
    EventHub hub;
    ServeSettings settings;
    Filter filter({library, hub, settings, {}, [] { return TarnSystemTime{}; }});
    const Message answer = DnsAnswer(7, "bad.example", kDnsTypeA, {192, 0, 2, 1});
    EXPECT_FALSE(filter.JudgeDnsAnswer(answer, Loopback(), Loopback(), 1).isBlocked);
    settings.refusesUnknown = true;
    EXPECT_TRUE(filter.JudgeDnsAnswer(answer, Loopback(), Loopback(), 1).isBlocked);
    EXPECT_FALSE(filter.JudgeDnsAnswer(Begin(0).bytes, Loopback(), Loopback(), 1).isBlocked) << "it holds nothing";
}

}  // namespace
}  // namespace tarn::host::serve
