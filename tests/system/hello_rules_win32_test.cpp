// TLS hellos through the built library: real ones with a field changed, and long ones, judged by the name they yield.
#include <gtest/gtest.h>

#include "captures/captured_payloads.h"
#include "system/scan_fixture_win32.h"
#include "url/tls_hello.h"

namespace tarn::system_test {
namespace {

using url::TlsHello;

const std::string kName = "www.lantern.example";

std::string Word(std::size_t value) {
    return {static_cast<char>(value >> 8 & 0xFF), static_cast<char>(value & 0xFF)};
}

// A hello with these length bytes and as many bytes as they stand for when they are widened with their sign.
std::string HelloWithLengths(std::uint8_t sessionId, std::uint8_t compressionMethods) {
    const auto widened = [](std::uint8_t byte) { return byte < 128 ? std::size_t{byte} : 0xFF00U + byte; };
    const std::string name = std::string(1, '\0') + Word(kName.size()) + kName;
    const std::string extension = Word(0) + Word(name.size() + 2) + Word(name.size()) + name;
    std::string hello("\x16\x03\x01\0\0\x01\0\0\0\x03\x03", 11);
    hello += std::string(32, 'r') + static_cast<char>(sessionId) + std::string(widened(sessionId), 's');
    hello += Word(2) + Word(0x1301);
    hello += static_cast<char>(compressionMethods) + std::string(widened(compressionMethods), '\0');
    return hello + Word(extension.size()) + extension;
}

class HelloRules : public ScanRecords {
 protected:
    HelloRules() {
        MakeMalicious("lantern.example", "Worm");  // "www." is taken away before the list is asked
        kind = TARN_KIND_TLS;
        remotePort = 443;
        EXPECT_TRUE(Init());
    }
    bool Names(const std::string& hello) {
        EXPECT_TRUE(Ask(hello));
        const bool isNamed = Verdict() == Blocks(TARN_REASON_MALICIOUS);
        EXPECT_TRUE(isNamed || Verdict() == Allows(TARN_REASON_DEFAULT)) << Verdict();
        return isNamed;
    }
    // The captured hellos that name the site.
    static std::vector<std::string> RealHellos() {
        std::vector<std::string> hellos;
        const captures::Payloads payloads = captures::ReadPayloads(TARN_CAPTURE_FOLDER);
        for (const std::string& hello : payloads.at("tls"))
            if (hello.find(kName) != std::string::npos) hellos.push_back(hello);
        return hellos;
    }
};

TEST_F(HelloRules, OnlyClientVersion3Point0IsRefused) {
    const std::vector<std::string> hellos = RealHellos();
    ASSERT_GE(hellos.size(), 5U);
    for (std::string hello : hellos) {
        EXPECT_TRUE(Names(hello));
        for (const char* version :
             {"\x02\x00", "\x03\x01", "\x03\x02", "\x03\x03", "\x03\x04", "\x04\x00", "\x00\x03"}) {
            hello.replace(9, 2, version, 2);
            EXPECT_TRUE(Names(hello)) << int{version[0]} << "." << int{version[1]};
        }
        hello.replace(9, 2, "\x03\x00", 2);
        EXPECT_FALSE(Names(hello));
    }
}

TEST_F(HelloRules, AServerNameExtensionYieldsItsNameWhateverItsOwnLengthSays) {
    for (const std::string& real : RealHellos()) {
        const std::size_t at = real.find(kName) - 7;  // the extension's length field
        ASSERT_EQ(real.substr(at, 2), Word(kName.size() + 5));
        for (const std::size_t length : {std::size_t{1}, kName.size() + 4, kName.size() + 6, std::size_t{0xFFFF}}) {
            std::string hello = real;
            hello.replace(at, 2, Word(length));
            EXPECT_TRUE(Names(hello)) << length;
        }
        std::string empty = real;
        empty.replace(at, 2, Word(0));
        EXPECT_FALSE(Names(empty)) << "an extension of length 0 is skipped, and what follows is no server name";
    }
}

TEST_F(HelloRules, AServerNameIsBoundedByTheDataNotByTheExtensions) {
    const std::string hello = TlsHello(kName);  // its name ends the data
    const std::size_t nameAt = hello.size() - kName.size();
    const std::size_t extensionsAt =
        49 + 2 + 1 - 2;  // the length of all extensions: no session id, one suite, one method
    ASSERT_EQ(hello.substr(extensionsAt, 2), Word(hello.size() - extensionsAt - 2));
    EXPECT_TRUE(Names(hello));
    std::string shorter = hello;
    shorter.replace(extensionsAt, 2, Word(hello.size() - extensionsAt - 2 - 5));
    EXPECT_TRUE(Names(shorter)) << "the extensions end inside the name, the data does not";
    std::string longer = hello;
    longer.replace(nameAt - 2, 2, Word(kName.size() + 1));
    EXPECT_FALSE(Names(longer)) << "one byte past the data";
    longer = hello;
    longer.replace(extensionsAt, 2, Word(hello.size() - extensionsAt - 2 + 1));
    EXPECT_FALSE(Names(longer)) << "extensions that end one byte past the data";
}

TEST_F(HelloRules, LengthBytesOf128AndAboveAreRefusedWhateverTheLengthOfTheData) {
    EXPECT_TRUE(Names(HelloWithLengths(0, 1)));
    EXPECT_TRUE(Names(HelloWithLengths(127, 127))) << "127 is a length";
    for (const unsigned byte : {128U, 129U, 200U, 255U}) {
        const auto length = static_cast<std::uint8_t>(byte);
        const std::string longSession = HelloWithLengths(length, 1);
        ASSERT_GT(longSession.size(), 65457U);
        EXPECT_FALSE(Names(longSession)) << "a session id of " << byte;
        EXPECT_FALSE(Names(HelloWithLengths(0, length))) << "compression methods of " << byte;
    }
}

}  // namespace
}  // namespace tarn::system_test
