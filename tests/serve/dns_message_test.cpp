#include "host/serve/dns_message.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "serve/addresses.h"
#include "serve/dns_bytes.h"

namespace tarn::host::serve {
namespace {

using ByteList = std::vector<std::uint8_t>;

TEST(DnsMessageTest, ReadsTheQuestion) {
    const auto message = ParseDnsMessage(DnsQuery(0x1234, "WWW.Lantern.example", kDnsTypeAaaa));
    ASSERT_TRUE(message);
    EXPECT_EQ(message->id, 0x1234);
    EXPECT_FALSE(message->isResponse);
    EXPECT_EQ(message->question, (DnsQuestion{"www.lantern.example", kDnsTypeAaaa, kDnsClassIn}));
    EXPECT_EQ(message->questionEnd, 12U + 21 + 4);
    EXPECT_EQ(message->LargestUdpAnswer(), 512U);
}

TEST(DnsMessageTest, TellsNamesApartThatLookAlike) {
    // One label "a.b" and two labels "a", "b".
    const ByteList one = DnsWriter().Header(1, 0, {1, 0, 0, 0}).U8(3).U8('a').U8('.').U8('b').U8(0).U16(1).U16(1).bytes;
    const auto parsed = ParseDnsMessage(one);
    ASSERT_TRUE(parsed);
    EXPECT_EQ(parsed->question.name, "a\\046b");
    EXPECT_NE(parsed->question, ParseDnsMessage(DnsQuery(1, "a.b", 1))->question);
    EXPECT_EQ(ParseDnsMessage(DnsQuery(1, "", 1))->question.name, ".");
}

TEST(DnsMessageTest, ReadsWhatTheSenderTakesOverUdp) {
    for (const auto& [announced, taken] : {std::pair{4096U, 4096U}, std::pair{65000U, 4096U}, std::pair{100U, 512U}}) {
        ByteList query = DnsQuery(1, "a.example", 1);
        query[11] = 1;
        const ByteList option = DnsWriter().U8(0).U16(41).U16(announced).U32(0).U16(0).bytes;
        query.insert(query.end(), option.begin(), option.end());
        const auto message = ParseDnsMessage(query);
        ASSERT_TRUE(message);
        EXPECT_EQ(message->LargestUdpAnswer(), taken);
    }
}

TEST(DnsMessageTest, RefusesWhatIsCutAnywhere) {
    const ByteList answer = DnsAnswer(7, "www.lantern.example", kDnsTypeA, {192, 0, 2, 1});
    ASSERT_TRUE(ParseDnsMessage(answer));
    for (std::size_t length = 0; length < answer.size(); ++length) {
        const ByteList cut(answer.begin(), answer.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_FALSE(ParseDnsMessage(cut)) << length;
    }
}

struct Bad {
    const char* what;
    ByteList bytes;
};

TEST(DnsMessageTest, RefusesPointersThatLeadNowhereOrRound) {
    const auto withOwner = [](unsigned pointer) {
        return DnsWriter()
            .Header(1, 0x8180, {1, 1, 0, 0})
            .Name("a.example")  // 12 to 22, the question to 26, the owner at 27
            .U16(1)
            .U16(1)
            .U16(pointer)
            .Record(1, 60, {192, 0, 2, 1})
            .bytes;
    };
    ASSERT_TRUE(ParseDnsMessage(withOwner(0xC00C)));
    const Bad bads[] = {
        {"itself", withOwner(0xC000 | 27)},
        {"forward", withOwner(0xC000 | 35)},
        {"behind the end", withOwner(0xFFFF)},
        {"into the header", withOwner(0xC002)},
        {"question", DnsWriter().Header(1, 0x0100, {1, 0, 0, 0}).U16(0xC00C).U16(1).U16(1).bytes},
        {"two that point at each other", DnsWriter()
                                             .Header(1, 0x8180, {1, 2, 0, 0})
                                             .Name("a")
                                             .U16(1)
                                             .U16(1)
                                             .U16(0xC000 | 33)  // at 19
                                             .Record(1, 60, {1, 2})
                                             .U16(0xC000 | 19)  // at 33
                                             .Record(1, 60, {1, 2})
                                             .bytes},
        {"reserved label", DnsWriter().Header(1, 0x0100, {1, 0, 0, 0}).U8(0x41).U8('a').U8(0).U16(1).U16(1).bytes},
    };
    for (const Bad& bad : bads) EXPECT_FALSE(ParseDnsMessage(bad.bytes)) << bad.what;
}

TEST(DnsMessageTest, RefusesNamesThatAreTooLong) {
    const std::string label(63, 'a');
    const std::string longest = label + "." + label + "." + label + "." + std::string(61, 'b');
    EXPECT_TRUE(ParseDnsMessage(DnsQuery(1, longest, 1)));
    EXPECT_FALSE(ParseDnsMessage(DnsQuery(1, longest + "b", 1)));
    // A label that leads back to a name of the greatest length.
    ByteList answer = DnsWriter().Header(1, 0x8180, {1, 1, 0, 0}).Name(longest).U16(1).U16(1).bytes;
    const ByteList owner = DnsWriter().U8(1).U8('c').U16(0xC00C).Record(1, 60, {}).bytes;
    answer.insert(answer.end(), owner.begin(), owner.end());
    EXPECT_FALSE(ParseDnsMessage(answer));
}

TEST(DnsMessageTest, RefusesOtherCountsThanOneQuestion) {
    for (const unsigned count : {0U, 2U}) {
        ByteList query = DnsQuery(1, "a.example", 1);
        query[5] = static_cast<std::uint8_t>(count);
        EXPECT_FALSE(ParseDnsMessage(query)) << count;
    }
}

TEST(DnsMessageTest, AnswersWithAResult) {
    const ByteList answer = ComposeDnsResult(DnsQuery(0xBEEF, "bad.example", kDnsTypeA), DnsResult::kNoSuchName);
    const auto message = ParseDnsMessage(answer);
    ASSERT_TRUE(message);
    EXPECT_EQ(message->id, 0xBEEF);
    EXPECT_TRUE(message->isResponse);
    EXPECT_EQ(message->result, 3);
    EXPECT_EQ(message->question.name, "bad.example");
    EXPECT_FALSE(message->udpSize);
    EXPECT_TRUE(ParseDnsMessage(ComposeDnsTruncated(DnsQuery(1, "a.example", 1)))->isTruncated);
}

TEST(DnsMessageTest, AnswersTheHeaderAloneToWhatDoesNotParse) {
    ByteList query = DnsQuery(0xBEEF, "a.example", 1);
    query.resize(15);
    EXPECT_EQ(ComposeDnsResult(query, DnsResult::kFormatError),
              (ByteList{0xBE, 0xEF, 0x81, 0x81, 0, 0, 0, 0, 0, 0, 0, 0}));
    query.resize(11);
    EXPECT_TRUE(ComposeDnsResult(query, DnsResult::kFormatError).empty());
    EXPECT_FALSE(DnsIdOf(query));
}

TEST(DnsMessageTest, AnswersWithAnAddressWhereItsKindIsAsked) {
    const ByteList four = ComposeDnsAddress(DnsQuery(1, "bad.example", kDnsTypeA), Address("192.0.2.7"), 5);
    EXPECT_EQ(four, DnsWriter()
                        .Header(1, 0x8180, {1, 1, 0, 0})
                        .Name("bad.example")
                        .U16(1)
                        .U16(1)
                        .U16(0xC00C)
                        .Record(1, 5, {192, 0, 2, 7})
                        .bytes);
    const ByteList six = ComposeDnsAddress(DnsQuery(1, "bad.example", kDnsTypeAaaa), Address("2001:db8::7"), 5);
    EXPECT_EQ(six.size(), DnsQuery(1, "bad.example", 1).size() + 12 + 16);
    EXPECT_EQ(six[7], 1);
    EXPECT_TRUE(ParseDnsMessage(six));
    const ByteList other = ComposeDnsAddress(DnsQuery(1, "bad.example", kDnsTypeAaaa), Address("192.0.2.7"), 5);
    EXPECT_EQ(other[7], 0);
    EXPECT_TRUE(ParseDnsMessage(other));
    EXPECT_TRUE(ComposeDnsAddress(ByteList{1, 2, 3}, Address("192.0.2.7"), 5).empty());
}

TEST(DnsMessageTest, AnswersAQueryWithOptionsByOptions) {
    ByteList query = DnsQuery(1, "bad.example", kDnsTypeA);
    query[11] = 1;
    const ByteList option = DnsWriter().U8(0).U16(41).U16(4096).U32(0).U16(0).bytes;
    query.insert(query.end(), option.begin(), option.end());
    const auto refused = ParseDnsMessage(ComposeDnsResult(query, DnsResult::kNoSuchName));
    ASSERT_TRUE(refused && refused->udpSize);
    EXPECT_EQ(*refused->udpSize, 1232);
    const auto address = ParseDnsMessage(ComposeDnsAddress(query, Address("0.0.0.0"), 5));
    ASSERT_TRUE(address);
    EXPECT_TRUE(address->udpSize);
}

}  // namespace
}  // namespace tarn::host::serve
