#include "host/serve/socks_message.h"

#include <gtest/gtest.h>
#include <string>

namespace tarn::host::serve {
namespace {

base::Bytes BytesOf(const std::string& text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

std::string Text(std::initializer_list<int> bytes) {
    std::string text;
    for (const int byte : bytes) text += static_cast<char>(byte);
    return text;
}

// CONNECT to port 443 of the address that kind and bytes are.
std::string Connect(int kind, const std::string& address, int command = 1) {
    return Text({5, command, 0, kind}) + address + Text({0x01, 0xBB});
}

std::string Named(const std::string& name) {
    return static_cast<char>(name.size()) + name;
}

TEST(SocksMessageTest, ReadsAGreetingWhoseEndIsKnown) {
    const SocksGreeting greeting = ReadSocksGreeting(BytesOf(Text({5, 2, 2, 0}) + "more"));
    EXPECT_EQ(greeting.state, SocksState::kDone);
    EXPECT_EQ(greeting.length, 4U);
    EXPECT_TRUE(greeting.acceptsNoLogin);
    EXPECT_FALSE(ReadSocksGreeting(BytesOf(Text({5, 1, 2}))).acceptsNoLogin);
    EXPECT_FALSE(ReadSocksGreeting(BytesOf(Text({5, 0}))).acceptsNoLogin);
    for (const std::string& cut : {Text({}), Text({5}), Text({5, 2}), Text({5, 2, 0})})
        EXPECT_EQ(ReadSocksGreeting(BytesOf(cut)).state, SocksState::kMore) << cut.size();
    EXPECT_EQ(ReadSocksGreeting(BytesOf(Text({4, 1}))).state, SocksState::kOther);
    EXPECT_EQ(ReadSocksGreeting(BytesOf("GET / HTTP/1.1")).state, SocksState::kOther);
}

struct Row {
    std::string bytes;
    std::string host;
};

TEST(SocksMessageTest, ReadsEachKindOfAddressCutAnywhere) {
    const Row rows[] = {
        {Connect(1, Text({192, 0, 2, 1})), "192.0.2.1"},
        {Connect(4, Text({0x20, 1, 0x0D, 0xB8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1})), "2001:db8::1"},
        {Connect(3, Named("www.lantern.example")), "www.lantern.example"},
        {Connect(3, Named("2001:DB8:0::1")), "2001:db8::1"},
        {Connect(4, std::string(10, '\0') + Text({255, 255, 203, 0, 113, 9})), "203.0.113.9"},
        {Connect(3, Named("::ffff:203.0.113.9")), "203.0.113.9"},
    };
    for (const Row& row : rows) {
        const SocksRequest request = ReadSocksRequest(BytesOf(row.bytes + "more"));
        EXPECT_EQ(request.state, SocksState::kDone) << row.host;
        EXPECT_EQ(request.code, SocksCode::kDone) << row.host;
        EXPECT_EQ(request.target, (Target{row.host, 443}));
        EXPECT_EQ(request.length, row.bytes.size());
        for (std::size_t length = 0; length < row.bytes.size(); ++length) {
            const std::string cut = row.bytes.substr(0, length);
            EXPECT_EQ(ReadSocksRequest(BytesOf(cut)).state, SocksState::kMore) << row.host << length;
        }
    }
}

TEST(SocksMessageTest, RefusesWithTheCodeThatSaysWhy) {
    const auto code = [](const std::string& bytes) { return ReadSocksRequest(BytesOf(bytes)).code; };
    EXPECT_EQ(code(Connect(1, Text({192, 0, 2, 1}), 2)), SocksCode::kUnknownCommand);
    EXPECT_EQ(code(Connect(1, Text({192, 0, 2, 1}), 3)), SocksCode::kUnknownCommand);
    EXPECT_EQ(code(Connect(2, "")), SocksCode::kUnknownAddress);
    EXPECT_EQ(code(Text({5, 1, 0, 1, 192, 0, 2, 1, 0, 0})), SocksCode::kFailure) << "port 0";
    for (const char* name : {"", "a b", "a/b", "a:80", "a\nb", "[a]", "a@b",
                             "b\xAA"
                             "d.example"})
        EXPECT_EQ(code(Connect(3, Named(name))), SocksCode::kFailure) << name;
    EXPECT_EQ(ReadSocksRequest(BytesOf(Text({4, 1}))).state, SocksState::kOther);
}

TEST(SocksMessageTest, RepliesInTenBytes) {
    EXPECT_EQ(ComposeSocksReply(SocksCode::kNotAllowed), (std::array<std::uint8_t, 10>{5, 2, 0, 1, 0, 0, 0, 0, 0, 0}));
}

}  // namespace
}  // namespace tarn::host::serve
