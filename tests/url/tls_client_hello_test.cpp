#include "url/tls_client_hello.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tarn::url {
namespace {

using Data = std::vector<std::uint8_t>;

void PutWord(Data& data, std::size_t value) {
    data.push_back(static_cast<std::uint8_t>(value >> 8));
    data.push_back(static_cast<std::uint8_t>(value));
}

Data Extension(unsigned type, const Data& body) {
    Data data;
    PutWord(data, type);
    PutWord(data, body.size());
    data.insert(data.end(), body.begin(), body.end());
    return data;
}

Data ServerName(const std::string& name) {
    Data body;
    PutWord(body, name.size() + 3);
    body.push_back(0);
    PutWord(body, name.size());
    body.insert(body.end(), name.begin(), name.end());
    return Extension(0, body);
}

Data Join(std::initializer_list<Data> parts) {
    Data all;
    for (const Data& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

struct Shape {
    std::size_t sessionId = 32;
    std::size_t cipherSuites = 8;
    std::size_t compressionMethods = 1;
    std::uint8_t minor = 3;
};

Data Hello(const Data& extensions, const Shape& shape = {}) {
    Data data(43, 0x55);
    std::ranges::copy(std::array<std::uint8_t, 11>{22, 3, 1, 0, 0, 1, 0, 0, 0, 3, shape.minor}, data.begin());
    data.push_back(static_cast<std::uint8_t>(shape.sessionId));
    data.resize(data.size() + shape.sessionId, 0x66);
    PutWord(data, shape.cipherSuites);
    data.resize(data.size() + shape.cipherSuites, 0x13);
    data.push_back(static_cast<std::uint8_t>(shape.compressionMethods));
    data.resize(data.size() + shape.compressionMethods, 0);
    PutWord(data, extensions.size());
    data.insert(data.end(), extensions.begin(), extensions.end());
    return data;
}

// The name from a copy in its own heap block of exactly the given length; nothing when the hello is refused.
std::optional<std::string> NameOf(const Data& data, std::size_t length) {
    const auto block = std::make_unique<std::uint8_t[]>(length);
    std::memcpy(block.get(), data.data(), length);
    UrlText host;
    host.Assign("untouched");
    if (ExtractTlsServerName({block.get(), length}, host)) return std::string(host.View());
    EXPECT_EQ(host.View(), "untouched");
    return std::nullopt;
}
std::optional<std::string> NameOf(const Data& data) {
    return NameOf(data, data.size());
}

TEST(TlsClientHello, TheNameIsFoundBehindOtherExtensions) {
    EXPECT_EQ(NameOf(Hello(Join({Extension(10, {0, 2, 0, 29}), ServerName("WWW.Example.org"), Extension(16, {})}))),
              "WWW.Example.org")
        << "the letter case is kept";
}

TEST(TlsClientHello, EveryTruncationIsRefusedWithoutReadingPastTheEnd) {
    const Data hello = Hello(ServerName("example.org"));
    for (std::size_t length = 0; length < hello.size(); ++length)
        EXPECT_EQ(NameOf(hello, length), std::nullopt) << length;
    EXPECT_EQ(NameOf(hello), "example.org");
}

TEST(TlsClientHello, OnlySsl3IsRefused) {
    for (const int minor : {1, 2, 3, 4, 255})
        EXPECT_EQ(NameOf(Hello(ServerName("a.example"), {.minor = static_cast<std::uint8_t>(minor)})), "a.example");
    EXPECT_EQ(NameOf(Hello(ServerName("a.example"), {.minor = 0})), std::nullopt);
}

TEST(TlsClientHello, VersionsOtherThanSsl3AreNotTested) {
    for (const std::uint8_t major : {std::uint8_t{2}, std::uint8_t{4}, std::uint8_t{0}}) {
        Data hello = Hello(ServerName("a.example"), {.minor = 0});
        hello[9] = major;
        EXPECT_EQ(NameOf(hello), "a.example") << "client version " << int{major} << ".0";
    }
}

TEST(TlsClientHello, OtherRecordsAndMessagesAreRefused) {
    Data record = Hello(ServerName("a.example"));
    record[0] = 23;
    EXPECT_EQ(NameOf(record), std::nullopt);
    Data message = Hello(ServerName("a.example"));
    message[5] = 2;
    EXPECT_EQ(NameOf(message), std::nullopt);
}

TEST(TlsClientHello, SessionIdLengths) {
    for (const std::size_t length : {0, 1, 32, 127})
        EXPECT_EQ(NameOf(Hello(ServerName("a.example"), {.sessionId = length})), "a.example") << length;
}

TEST(TlsClientHello, TlsClientHello_LengthBytesOf128AndAbove_AreRefused) {
    // The long ones have length bytes of 128 and 255 and data enough for the number that a sign extension makes of it.
    for (const std::size_t length : {128, 255, 0xFF80, 0xFFFF}) {
        EXPECT_EQ(NameOf(Hello(ServerName("a.example"), {.sessionId = length})), std::nullopt) << length;
        EXPECT_EQ(NameOf(Hello(ServerName("a.example"), {.compressionMethods = length})), std::nullopt) << length;
    }
}

TEST(TlsClientHello, WithoutAServerNameTheHostIsEmpty) {
    EXPECT_EQ(NameOf(Hello({})), "");
    EXPECT_EQ(NameOf(Hello(Join({Extension(10, {0, 2, 0, 29}), Extension(43, {2, 3, 4})}))), "");
}

TEST(TlsClientHello, AServerNameExtensionOfLengthZeroIsSkipped) {
    EXPECT_EQ(NameOf(Hello(Join({Extension(0, {}), ServerName("second.example")}))), "second.example");
    EXPECT_EQ(NameOf(Hello(Extension(0, {}))), "");
}

TEST(TlsClientHello, AnExtensionsLengthOnePastTheEndIsRefused) {
    Data hello = Hello(ServerName("a.example"));
    const std::size_t at = hello.size() - ServerName("a.example").size() - 1;
    ++hello[at];
    EXPECT_EQ(NameOf(hello), std::nullopt);
    hello.push_back(0);
    EXPECT_EQ(NameOf(hello), "a.example");
}

TEST(TlsClientHello, AnExtensionThatRunsPastTheBlockEndsTheWalk) {
    Data lying = Extension(10, {1, 2, 3});
    lying[3] = 200;
    EXPECT_EQ(NameOf(Hello(Join({lying, ServerName("a.example")}))), "");
    EXPECT_EQ(NameOf(Hello({0, 10, 0})), "") << "a header cut by the block's end";
}

TEST(TlsClientHello, AServerNameIsReadWhateverItsExtensionsLengthSays) {
    for (const int length : {1, 2, 13, 15, 255}) {
        Data name = ServerName("a.example");  // 14 bytes behind the header
        name[2] = 0;
        name[3] = static_cast<std::uint8_t>(length);
        EXPECT_EQ(NameOf(Hello(name)), "a.example") << length;
    }
    // The name may even lie behind the extension block, as long as the data holds it.
    Data hello = Hello(ServerName("a.example"));
    hello[hello.size() - 19] = 5;  // the low byte of the block's length: the header and one byte of 18
    EXPECT_EQ(NameOf(hello), "a.example");
}

TEST(TlsClientHello, ANameThatRunsPastTheDataIsRefused) {
    Data name = ServerName("a.example");
    name[8] = 10;  // one character more than there is
    EXPECT_EQ(NameOf(Hello(name)), std::nullopt);
    name[7] = 255;
    EXPECT_EQ(NameOf(Hello(name)), std::nullopt);
    EXPECT_EQ(NameOf(Hello({0, 0, 0, 1, 0})), std::nullopt) << "the name's own header is cut";
}

TEST(TlsClientHello, NameBounds) {
    EXPECT_EQ(NameOf(Hello(ServerName(std::string(259, 'n')))), std::string(259, 'n'));
    EXPECT_EQ(NameOf(Hello(ServerName(std::string(260, 'n')))), std::nullopt);
    EXPECT_EQ(NameOf(Hello(ServerName(""))), "");
    EXPECT_EQ(NameOf(Hello(ServerName(std::string("a\0b", 3)))), "a") << "a NUL ends the text";
}

}  // namespace
}  // namespace tarn::url
