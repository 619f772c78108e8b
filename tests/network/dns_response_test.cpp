#include "network/dns_response.h"

#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarn::network {
namespace {

using Message = std::vector<std::uint8_t>;

void PutWord(Message& message, unsigned value) {
    message.push_back(static_cast<std::uint8_t>(value >> 8));
    message.push_back(static_cast<std::uint8_t>(value));
}

void PutName(Message& message, const std::string& name) {
    std::size_t start = 0;
    while (start < name.size()) {
        const std::size_t dot = std::min(name.find('.', start), name.size());
        message.push_back(static_cast<std::uint8_t>(dot - start));
        message.insert(message.end(), name.begin() + static_cast<std::ptrdiff_t>(start),
                       name.begin() + static_cast<std::ptrdiff_t>(dot));
        start = dot + 1;
    }
    message.push_back(0);
}

Message Question(const std::string& name, unsigned flags, unsigned answers) {
    Message message;
    PutWord(message, 0x1234);
    PutWord(message, flags);
    PutWord(message, 1);
    PutWord(message, answers);
    PutWord(message, 0);
    PutWord(message, 0);
    PutName(message, name);
    PutWord(message, 1);
    PutWord(message, 1);
    return message;
}

// What stands behind the name of an answer.
void PutRecord(Message& message, unsigned type, const Message& data, std::optional<unsigned> dataLength = {}) {
    PutWord(message, type);
    PutWord(message, 1);
    PutWord(message, 0);
    PutWord(message, 300);
    PutWord(message, dataLength.value_or(static_cast<unsigned>(data.size())));
    message.insert(message.end(), data.begin(), data.end());
}

void PutAnswer(Message& message, unsigned type, const Message& data, std::optional<unsigned> dataLength = {}) {
    PutWord(message, 0xC00C);
    PutRecord(message, type, data, dataLength);
}

// Parses a copy in its own heap block of exactly the message's size.
std::optional<DnsAnswerEntry> Parse(const Message& message, std::size_t length) {
    const auto block = std::make_unique<std::uint8_t[]>(length);
    std::memcpy(block.get(), message.data(), length);
    DnsAnswerEntry entry;
    if (!ParseDnsResponse({block.get(), length}, entry)) return std::nullopt;
    return entry;
}
std::optional<DnsAnswerEntry> Parse(const Message& message) {
    return Parse(message, message.size());
}

Message Typical() {
    Message message = Question("www.Example.org", 0x8180, 4);
    PutAnswer(message, 5, {3, 'c', 'd', 'n', 0xC0, 0x10});
    PutAnswer(message, 28, {0x20, 1, 0xD, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1});
    PutAnswer(message, 1, {192, 0, 2, 1});
    PutAnswer(message, 1, {192, 0, 2, 2});
    return message;
}

TEST(DnsResponse, Ipv4AddressesStandBeforeIpv6InAnswerOrder) {
    const auto entry = Parse(Typical());
    ASSERT_TRUE(entry);
    EXPECT_STREQ(entry->hostName, "www.Example.org") << "the letter case is kept";
    EXPECT_EQ(entry->addressCount, 3);
    EXPECT_EQ(entry->addresses[0].family, TARN_FAMILY_IPV4);
    EXPECT_EQ(entry->addresses[0].bytes[3], 1);
    EXPECT_EQ(entry->addresses[1].bytes[3], 2);
    EXPECT_EQ(entry->addresses[1].bytes[4], 0);
}

TEST(DnsResponse, EveryTruncationIsRefusedWithoutReadingPastTheEnd) {
    const Message message = Typical();
    for (std::size_t length = 0; length < message.size(); ++length) EXPECT_FALSE(Parse(message, length)) << length;
    EXPECT_TRUE(Parse(message, message.size()));
}

TEST(DnsResponse, FlagsWithoutAnyFurtherBitAreRefused) {
    for (const unsigned flags : {0x0000U, 0x8000U}) EXPECT_FALSE(Parse(Question("a.example", flags, 0))) << flags;
    for (const unsigned flags : {0x0001U, 0x8001U, 0x8180U, 0x0100U})
        EXPECT_TRUE(Parse(Question("a.example", flags, 0))) << flags;
}

TEST(DnsResponse, NoAnswersAreNoAddresses) {
    const auto entry = Parse(Question("a.example", 0x8180, 0));
    ASSERT_TRUE(entry) << "a message may end right behind its question";
    EXPECT_EQ(entry->addressCount, 0);
}

TEST(DnsResponse, LengthBounds) {
    Message shortest = Question("a", 0x8180, 0);
    EXPECT_FALSE(Parse(shortest, 12));
    Message padded = Question("a.example", 0x8180, 0);
    padded.resize(2047);
    EXPECT_TRUE(Parse(padded));
    padded.resize(2048);
    EXPECT_FALSE(Parse(padded));
}

TEST(DnsResponse, NameBounds) {
    const std::string label63(63, 'a');
    const std::string name255 = label63 + "." + label63 + "." + label63 + "." + std::string(62, 'b') + ".";
    // Four labels of 63, 63, 63 and 62 characters with their dots reach 255, one character more reaches 256.
    EXPECT_TRUE(Parse(Question(name255.substr(0, 254), 0x8180, 0)));
    const std::string name256 = label63 + "." + label63 + "." + label63 + "." + label63;
    EXPECT_TRUE(Parse(Question(name256, 0x8180, 0))) << "the last label ends at 255";
    EXPECT_FALSE(Parse(Question(name256 + ".c", 0x8180, 0)));
    EXPECT_FALSE(Parse(Question("", 0x8180, 0))) << "an empty name";
}

TEST(DnsResponse, TheQuestionFollowsNoCompressionPointer) {
    Message message = Question("a.example", 0x8180, 0);
    message[12] = 0xC0;  // taken as a label of 192 bytes, which run past the message
    EXPECT_FALSE(Parse(message));
}

TEST(DnsResponse, AnswerNamesMayBePointersOfAnyKindOrFullNames) {
    for (const unsigned pointer : {0xC00CU, 0xC01BU, 0xFFFFU}) {  // back, to itself, forward past the end
        Message message = Question("a.example", 0x8180, 1);
        const std::size_t at = message.size();
        PutAnswer(message, 1, {1, 2, 3, 4});
        message[at] = static_cast<std::uint8_t>(pointer >> 8);
        message[at + 1] = static_cast<std::uint8_t>(pointer);
        const auto entry = Parse(message);
        ASSERT_TRUE(entry) << pointer;
        EXPECT_EQ(entry->addressCount, 1);
    }
    Message full = Question("a.example", 0x8180, 1);
    PutName(full, "b.example");
    PutRecord(full, 1, {1, 2, 3, 4});
    const auto entry = Parse(full);
    ASSERT_TRUE(entry);
    EXPECT_STREQ(entry->hostName, "a.example");
    EXPECT_EQ(entry->addresses[0].bytes[3], 4);
}

// Only the two highest bits together make a pointer; every other length byte is a label's length, up to 191.
TEST(DnsResponse, AnAnswerNamesFirstByteBelow192IsALabelsLength) {
    for (const unsigned length : {0x3FU, 0x40U, 0x7FU, 0x80U, 0xBFU}) {
        Message message = Question("a.example", 0x8180, 1);
        message.push_back(static_cast<std::uint8_t>(length));
        message.insert(message.end(), length, 'x');
        message.push_back(0);
        PutRecord(message, 1, {1, 2, 3, 4});
        const auto entry = Parse(message);
        ASSERT_TRUE(entry) << length;
        EXPECT_EQ(entry->addressCount, 1) << length;
        EXPECT_EQ(entry->addresses[0].bytes[3], 4) << length;
        for (std::size_t cut = 1; cut <= length + 16; ++cut) ASSERT_FALSE(Parse(message, message.size() - cut)) << cut;
    }
    Message pointer = Question("a.example", 0x8180, 1);
    pointer.push_back(0xC0);
    pointer.push_back(0);
    PutRecord(pointer, 1, {1, 2, 3, 4});
    EXPECT_TRUE(Parse(pointer)) << "from 192 on it is a pointer of two bytes";
}

// An answer's name may be longer than the question's: labels and dots up to 260, the last dot being the NUL's place.
TEST(DnsResponse, AnAnswersNameHasItsOwnBound) {
    const auto withAnswerName = [](const std::vector<std::size_t>& labels) {
        Message message = Question("a.example", 0x8180, 1);
        for (const std::size_t label : labels) {
            message.push_back(static_cast<std::uint8_t>(label));
            message.insert(message.end(), label, 'x');
        }
        message.push_back(0);
        PutRecord(message, 1, {1, 2, 3, 4});
        return message;
    };
    EXPECT_TRUE(Parse(withAnswerName({191, 67}))) << "259 with the dot between, 260 with the last one";
    EXPECT_FALSE(Parse(withAnswerName({191, 68})));
    EXPECT_TRUE(Parse(withAnswerName({63, 63, 63, 63, 3}))) << "259 characters";
    EXPECT_FALSE(Parse(withAnswerName({63, 63, 63, 63, 4})));
    EXPECT_FALSE(Parse(withAnswerName({63, 63, 63, 63, 3, 1})));
}

TEST(DnsResponse, AnAnswerForTheRootIsRefused) {
    Message message = Question("a.example", 0x8180, 1);
    message.push_back(0);
    PutRecord(message, 1, {1, 2, 3, 4});
    EXPECT_FALSE(Parse(message));
    Message second = Question("a.example", 0x8180, 2);
    PutAnswer(second, 1, {1, 2, 3, 4});
    EXPECT_FALSE(Parse(second)) << "the second answer is missing";
    second.push_back(0);
    PutRecord(second, 1, {1, 2, 3, 4});
    EXPECT_FALSE(Parse(second)) << "and refused when it is the root's";
}

TEST(DnsResponse, DnsResponse_ARecord_IgnoresRdLength) {
    Message message = Question("a.example", 0x8180, 1);
    PutAnswer(message, 1, {9, 8, 7, 6}, 0);
    const auto zero = Parse(message);
    ASSERT_TRUE(zero);
    EXPECT_EQ(zero->addressCount, 1);
    EXPECT_EQ(zero->addresses[0].bytes[0], 9);
    Message three = Question("a.example", 0x8180, 1);
    PutAnswer(three, 1, {9, 8, 7}, 3);
    EXPECT_FALSE(Parse(three)) << "the fourth byte lies past the end";
    Message huge = Question("a.example", 0x8180, 1);
    PutAnswer(huge, 1, {9, 8, 7, 6}, 65535);
    EXPECT_FALSE(Parse(huge)) << "the next answer would start past the end";
}

TEST(DnsResponse, AaaaOfAnotherLengthIsSkipped) {
    for (const unsigned length : {0U, 3U, 15U, 17U}) {
        Message message = Question("a.example", 0x8180, 2);
        PutAnswer(message, 28, Message(length, 0xAB), length);
        PutAnswer(message, 1, {1, 2, 3, 4});
        const auto entry = Parse(message);
        ASSERT_TRUE(entry) << length;
        EXPECT_EQ(entry->addressCount, 1);
    }
    Message past = Question("a.example", 0x8180, 1);
    PutAnswer(past, 28, Message(17, 0xAB), 65535);
    EXPECT_FALSE(Parse(past));
}

TEST(DnsResponse, MoreAddressesThanSlotsAreCounted) {
    Message message = Question("a.example", 0x8180, 5);
    for (std::uint8_t i = 0; i < 5; ++i) PutAnswer(message, 1, {10, 0, 0, i});
    const auto entry = Parse(message);
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->addressCount, 5);
    EXPECT_EQ(entry->addresses[1].bytes[3], 1);
}

TEST(DnsResponse, FewerAnswersThanCountedAreRefused) {
    Message message = Question("a.example", 0x8180, 65535);
    PutAnswer(message, 1, {1, 2, 3, 4});
    EXPECT_FALSE(Parse(message));
}

}  // namespace
}  // namespace tarn::network
