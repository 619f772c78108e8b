// Whole scans of what real clients and name servers sent, cut at every byte and with every byte changed. Each runs in a
// heap block of exactly its size with the one spare byte, so a sanitizer sees any access outside.
#include <algorithm>
#include <gtest/gtest.h>

#include "captures/captured_payloads.h"
#include "dns_message.h"
#include "scan_fixture.h"

namespace tarn::url {
namespace {

class HostilePayloads : public ScanFixture {
 protected:
    // Everything that a scan can look into is there.
    HostilePayloads() {
        settings.bpStatus = settings.apStatus = settings.idsIpsStatus = 1;
        settings.agentStatus = 1;
        PublishMalicious("bad.example", true, {});
        PublishPhishing("bad.example", true);
        PublishUrls(lists.webSecurityInternal, {"*updates.example"});
        ProfileShape shape;
        shape.sites = {{"games.example", "/x", 0}, {"news.example", ""}};
        shape.allowed = {"allowed.example"};
        TakeProfiles({shape});
        dnsBlockSwitch = 1;
    }
    const std::set<std::string>& Captured(const std::string& payloadKind) {
        static const captures::Payloads payloads = captures::ReadPayloads(TARN_CAPTURE_FOLDER);
        const auto found = payloads.find(payloadKind);
        EXPECT_NE(found, payloads.end()) << payloadKind;
        return found->second;
    }
    // A scan that ran says something; one that failed leaves what was preset.
    bool Judge(const std::string& data) {
        script.journal.clear();
        const bool result = Scan(data);
        if (result ? verdict.allow > 1 : Verdict() != Allows(TARN_REASON_DEFAULT))
            ADD_FAILURE() << Verdict() << " of " << data.size();
        return result;
    }
    // Whether the scan of each length up to the whole succeeds.
    std::vector<bool> JudgeEveryLength(const std::string& data) {
        std::vector<bool> results;
        for (std::size_t length = 1; length <= data.size(); ++length) results.push_back(Judge(data.substr(0, length)));
        return results;
    }
    void ChangeEveryByte(const std::string& data) {
        for (std::size_t at = 0; at < data.size(); ++at)
            for (const char byte : {'\x00', '\x3F', '\x7F', '\x80', '\xC0', '\xFF'}) {
                std::string changed = data;
                changed[at] = byte;
                Judge(changed);
            }
    }
};

TEST_F(HostilePayloads, RequestsCutAnywhereAreDecided) {
    const auto& requests = Captured("http");
    EXPECT_EQ(requests.size(), 114U);
    for (const std::string& request : requests) {
        for (std::size_t length = 1; length <= request.size(); ++length) {
            // Only a literal that would have to be looked up fails.
            const bool result = Judge(request.substr(0, length));
            EXPECT_TRUE(result || request.find("Host: [") != std::string::npos);
            const bool hasHost = request.find("\r\n", request.find("Host: ")) + 2 <= length;
            EXPECT_TRUE(hasHost || Verdict() == Allows(TARN_REASON_DEFAULT));
        }
    }
}

TEST_F(HostilePayloads, FtpCommandsCutAnywhereAreDecided) {
    kind = TARN_KIND_FTP;
    port = 21;
    EXPECT_EQ(Captured("ftp").size(), 38U);
    for (const std::string& command : Captured("ftp"))
        for (const bool result : JudgeEveryLength(command)) EXPECT_TRUE(result);
}

TEST_F(HostilePayloads, HellosCutAnywhereAreAllowedUnnamed) {
    kind = TARN_KIND_TLS;
    port = 443;
    EXPECT_EQ(Captured("tls").size(), 26U);
    for (const std::string& hello : Captured("tls")) {
        for (std::size_t length = 1; length < hello.size(); ++length) {
            EXPECT_TRUE(Judge(hello.substr(0, length)));
            EXPECT_TRUE(script.journal.empty()) << "no name, no look-up: " << length;
        }
        EXPECT_TRUE(Judge(hello));
    }
}

TEST_F(HostilePayloads, HellosWithAChangedByteAreDecided) {
    kind = TARN_KIND_TLS;
    port = 443;
    for (const std::string& hello : Captured("tls")) ChangeEveryByte(hello);
}

TEST_F(HostilePayloads, AnswersCutAnywhereFailUntilTheyAreWhole) {
    port = 53;
    EXPECT_EQ(Captured("dns").size(), 58U);
    std::size_t whole = 0;
    for (const std::string& message : Captured("dns")) {
        const std::vector<bool> results = JudgeEveryLength(message);
        whole += results.back() ? 1 : 0;
        EXPECT_FALSE(results[11]) << "twelve bytes are no message";
        // The sections behind the answers are not looked at.
        EXPECT_TRUE(std::is_sorted(results.begin(), results.end()));
    }
    EXPECT_EQ(whole, 56U) << "two came over TCP, behind a length";
}

TEST_F(HostilePayloads, AnswersWithAChangedByteAreDecided) {
    port = 53;
    for (const std::string& message : Captured("dns")) ChangeEveryByte(message);
}

// ---- Lengths, counts and pointers that lie ----

class LyingAnswers : public HostilePayloads {
 protected:
    LyingAnswers() { port = 53; }
    static std::string Word(unsigned value) { return {static_cast<char>(value >> 8), static_cast<char>(value & 0xFF)}; }
    // One answer with the given RDLENGTH and as many bytes of data.
    static std::string Answer(unsigned type, unsigned rdLength, std::size_t bytes) {
        std::string message = DnsResponse("news.example", {});
        message[7] = 1;
        return message + Word(0xC00C) + Word(type) + Word(1) + std::string(4, '\0') + Word(rdLength) +
               std::string(bytes, '\x2E');
    }
};

TEST_F(LyingAnswers, RdLengths) {
    for (const unsigned type : {1U, 28U, 5U})
        for (const unsigned length : {0U, 3U, 15U, 16U, 17U, 65535U})
            for (const std::size_t bytes : {std::size_t{0}, std::size_t{3}, std::size_t{4}, std::size_t{15},
                                            std::size_t{16}, std::size_t{17}, std::size_t{1000}}) {
                const bool whole = length <= bytes && (type != 1 || bytes >= 4);
                EXPECT_EQ(Judge(Answer(type, length, bytes)), whole) << type << " " << length << " " << bytes;
            }
}

TEST_F(LyingAnswers, MoreAnswersThanThereAre) {
    for (const unsigned count : {2U, 3U, 255U, 32768U, 65535U}) {
        std::string message = Answer(1, 4, 4);
        message.replace(6, 2, Word(count));
        EXPECT_FALSE(Judge(message)) << count;
        message.resize(2047, '\0');
        EXPECT_FALSE(Judge(message)) << "zeros hold no names either";
    }
}

TEST_F(LyingAnswers, PointersAreNeverFollowed) {
    for (const unsigned target : {0U, 12U, 30U, 31U, 32U, 100U, 0x3FFFU}) {  // itself, back, forward, past the end
        std::string message = Answer(1, 4, 4);
        message.replace(message.size() - 16, 2, Word(0xC000 | target));
        EXPECT_TRUE(Judge(message)) << target;
    }
    std::string loop = DnsResponse("news.example", {});
    loop.replace(12, 2, Word(0xC00C));
    EXPECT_FALSE(Judge(loop)) << "a question's pointer is a label that runs past the message";
    std::string mixed = DnsResponse("news.example", {});
    mixed[7] = 1;
    mixed += std::string("\x01w", 2) + Word(0xC00C) + Word(1) + Word(1) + std::string(4, '\0') + Word(4) + "abcd";
    EXPECT_FALSE(Judge(mixed)) << "a pointer behind a label is a label that runs past the message";
}

}  // namespace
}  // namespace tarn::url
