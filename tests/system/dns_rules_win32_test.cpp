// DNS messages through the built library: the names of their answers, and what a hello to an answered address is
// called.
#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "system/scan_fixture_win32.h"
#include "url/dns_message.h"
#include "url/tls_hello.h"

namespace tarn::system_test {
namespace {

using url::DnsResponse;

const std::string kPointer("\xC0\x0C", 2);

std::string Label(std::size_t length, char filling = 'n') {
    return static_cast<char>(length) + std::string(length, filling);
}
const std::string kEnd(1, '\0');

// A response about bad.example with one A record under this wire name.
std::string ResponseWithAnswerName(const std::string& wireName, const std::string& address = kAddress) {
    std::string message = DnsResponse("bad.example", {});
    message[7] = 1;
    return message + wireName + std::string("\0\x01\0\x01\0\0\0\x3C\0\x04", 10) + address;
}

class DnsRules : public ScanRecords {
 protected:
    DnsRules() {
        MakeMalicious("bad.example", "Worm");
        processId = kNobody;  // no program is acted on
        EXPECT_TRUE(Init());
    }
    bool Answer(const std::string& message) {
        remotePort = 53;
        kind = TARN_KIND_HTTP;
        return Ask(message);
    }
    // Whether the answer was understood: then a hello to its address has the name of its question.
    bool Understands(const std::string& wireName) {
        const std::string address = {'\xCB', '\0', '\x71', static_cast<char>(++lastByte_)};
        const bool parsed = Answer(ResponseWithAnswerName(wireName, address));
        remotePort = 443;
        kind = TARN_KIND_TLS;
        std::memcpy(remote.bytes, address.data(), address.size());
        EXPECT_TRUE(Ask(url::TlsHello("")));
        EXPECT_THAT(Verdict(), parsed ? Blocks(TARN_REASON_MALICIOUS) : Allows(TARN_REASON_DEFAULT));
        return parsed;
    }

 private:
    int lastByte_ = 10;
};

TEST_F(DnsRules, AnAnswerNameIsAPointerOrALengthAndItsBytes) {
    EXPECT_TRUE(Understands(kPointer));
    EXPECT_TRUE(Understands("\xFF\xFF"));
    EXPECT_TRUE(Understands(Label(3) + Label(7) + kEnd));
    for (const std::size_t length : {0x3FU, 0x40U, 0x80U, 0xBFU}) {
        EXPECT_TRUE(Understands(Label(length) + kEnd)) << "taken as a length: " << length;
        EXPECT_FALSE(Understands(static_cast<char>(length) + kEnd)) << length;
    }
}

TEST_F(DnsRules, AnAnswerNameHasRoomFor259Characters) {
    // 191 characters and their dot, then as many as the room of 260 leaves behind them.
    EXPECT_TRUE(Understands(Label(0xBF) + Label(67) + kEnd));
    EXPECT_FALSE(Understands(Label(0xBF) + Label(68) + kEnd));
    EXPECT_TRUE(Understands(Label(0x3F) + Label(0x3F) + Label(0x3F) + Label(0x3F) + Label(3) + kEnd));
    EXPECT_FALSE(Understands(Label(0x3F) + Label(0x3F) + Label(0x3F) + Label(0x3F) + Label(4) + kEnd));
}

TEST_F(DnsRules, AnAnswerOfTheRootIsRefused) {
    EXPECT_FALSE(Understands(kEnd));
}

TEST_F(DnsRules, TheNewestAnswerNamesAnAddressWhicheverWasThereBefore) {
    const auto hello = [&] {
        remotePort = 443;
        kind = TARN_KIND_TLS;
        remote = {TARN_FAMILY_IPV4, {203, 0, 113, 5}};
        EXPECT_TRUE(Ask(url::TlsHello("")));
        return Verdict();
    };
    // Two names by turns: each must be the one that is found, on every slot of the ring and past its end.
    for (int turn = 0; turn < 3100; ++turn) {
        const bool isBad = turn % 2 == 0;
        ASSERT_TRUE(Answer(DnsResponse(isBad ? "bad.example" : "good.example", {kAddress})));
        ASSERT_THAT(hello(), isBad ? Blocks(TARN_REASON_MALICIOUS) : Allows(TARN_REASON_DEFAULT)) << turn;
    }
}

}  // namespace
}  // namespace tarn::system_test
