// What a connection is taken for, by its first bytes.
#include "host/serve/first_bytes.h"

#include <gtest/gtest.h>

#include "host/composed_request.h"
#include "host/request_view.h"

namespace tarn::host::serve {
namespace {

base::Bytes BytesOf(const std::string& text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

TEST(FirstBytes, TellProtocolsApart) {
    const struct {
        std::string said;
        Speech speech;
    } kCases[] = {{"", Speech::kMore},
                  {"G", Speech::kMore},
                  {"GET / HTTP/1.1\r\n", Speech::kHttp},
                  {"\r\n\nGET / HTTP/1.1\r\n", Speech::kHttp},
                  {"POST ", Speech::kHttp},
                  {"PROPFIND /", Speech::kMore},
                  {"PROPFIND / HTTP/1.1\r\n", Speech::kHttp},
                  {"EHLO me\r\n", Speech::kOther},
                  {"SSH-2.0-x\r\n", Speech::kOther},
                  {"A_B / HTTP/1.1\r\n", Speech::kHttp},
                  {"M1 /", Speech::kMore},
                  {"M1 / HTTP/1.", Speech::kHttp},
                  {std::string(64, 'M') + " / HTTP/1.0\r\n", Speech::kHttp},
                  {std::string(65, 'M'), Speech::kOther},
                  {"M1 /\r\n HTTP/1.1", Speech::kOther},
                  {"PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n", Speech::kHttp2},
                  {"PRI * HT", Speech::kMore},
                  {std::string("\x16", 1), Speech::kMore},
                  {std::string("\x16\x03", 2), Speech::kMore},
                  {std::string("\x16\x02", 2), Speech::kOther},
                  {std::string("\x16\x03\x01\x00\x01\x02", 6), Speech::kOther},
                  {std::string("\x16\x03\x01\x00\x00", 5), Speech::kMore},
                  {std::string("\x16\x03\x01\x00\x04\x01\xFF\xFF\xFF", 9), Speech::kTlsCut},
                  {std::string("\x05\x01\x00", 3), Speech::kOther},
                  {std::string(30, 'A'), Speech::kMore},
                  {"WORD " + std::string(9000, 'x'), Speech::kOther}};
    for (const auto& one : kCases) EXPECT_EQ(Recognise(BytesOf(one.said)), one.speech) << one.said;
}

TEST(FirstBytes, WaitForEveryByteOfAHello) {
    const std::vector<std::uint8_t> hello = ComposeClientHello("site.example");
    for (std::size_t size = 0; size < hello.size(); ++size) {
        const std::vector<std::uint8_t> part(hello.begin(), hello.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_EQ(Recognise(part), Speech::kMore) << size;
        EXPECT_EQ(BeginsLikeHello(part), size != 0);
        EXPECT_EQ(JoinHello(part), part);
    }
    EXPECT_EQ(Recognise(hello), Speech::kTls);
    EXPECT_EQ(JoinHello(hello), hello);
}

TEST(FirstBytes, JoinAHelloOfRecordsOfAnySize) {
    const std::vector<std::uint8_t> hello = ComposeClientHello("a-rather-long-name.site.example");
    for (std::size_t size = 1; size < hello.size(); ++size) {
        std::vector<std::uint8_t> records;
        for (std::size_t at = 5; at < hello.size(); at += size) {
            const std::size_t count = std::min(size, hello.size() - at);
            records.insert(records.end(),
                           {22, 3, 1, static_cast<std::uint8_t>(count >> 8), static_cast<std::uint8_t>(count)});
            records.insert(records.end(), hello.begin() + static_cast<std::ptrdiff_t>(at),
                           hello.begin() + static_cast<std::ptrdiff_t>(at + count));
        }
        ASSERT_EQ(Recognise(records), Speech::kTls) << size;
        ASSERT_EQ(ViewTlsHello(JoinHello(records)).host, "a-rather-long-name.site.example") << size;
    }
}

TEST(FirstBytes, PassOverEmptyRecordsBeforeAHello) {
    const std::vector<std::uint8_t> hello = ComposeClientHello("site.example");
    std::vector<std::uint8_t> records;
    for (int i = 0; i < 33; ++i) {
        std::vector<std::uint8_t> said = records;
        said.insert(said.end(), hello.begin(), hello.end());
        ASSERT_EQ(Recognise(said), i <= 32 ? Speech::kTls : Speech::kOther) << i;
        ASSERT_EQ(ViewTlsHello(JoinHello(said)).host, "site.example") << i;
        records.insert(records.end(), {22, 3, 1, 0, 0});
    }
    EXPECT_EQ(Recognise(records), Speech::kOther);
}

TEST(FirstBytes, GiveUpOnAHelloThatIsTooLong) {
    std::vector<std::uint8_t> said{22, 3, 1, 0x3F, 0xFF, 1, 0, 0x3E, 0};
    said.resize(kMostHello, 0);
    EXPECT_EQ(Recognise(said), Speech::kTls);
    said[6] = 1;  // 64 KiB more
    EXPECT_EQ(Recognise(said), Speech::kTlsCut);
}

}  // namespace
}  // namespace tarn::host::serve
