#include <gtest/gtest.h>
#include <string>

#include "host/serve/ftp_data.h"
#include "host/serve/ftp_line.h"
#include "serve/addresses.h"

namespace tarn::host::serve {
namespace {

TEST(FtpLineTest, TakesLinesInOneForm) {
    std::string text =
        "USER anna\r\nCWD /a\n\xFF\xF4\xFF\xF2"
        "ABOR\r\n\r\nRETR b";
    EXPECT_EQ(TakeFtpLine(text), "USER anna\r\n");
    EXPECT_EQ(TakeFtpLine(text), "CWD /a\r\n");
    EXPECT_EQ(TakeFtpLine(text), "ABOR\r\n");
    EXPECT_EQ(TakeFtpLine(text), "\r\n");
    EXPECT_FALSE(TakeFtpLine(text));
    EXPECT_EQ(text, "RETR b");
}

TEST(FtpLineTest, TellsWhichCommandsAreJudged) {
    for (const char* line : {"USER anna", "pass LIST", "TYPE I", "PASV", "epsv 1", "QUIT", "PORT 1,2,3,4,5,6"})
        EXPECT_EQ(KindOfFtpLine(line), FtpLine::kSession) << line;
    for (const char* line : {"RETR /a", "retr /a", "CWD /a", "LIST", "STOR a", "SITE X", "MLSD", "XRETR a", "DELE a"})
        EXPECT_EQ(KindOfFtpLine(line), FtpLine::kJudged) << line;
    for (const std::string& line :
         {std::string("RETR\t/a"), std::string("RETR /a\t\r\n"), std::string("USER a\rRETR b"),
          std::string("RETR a\r\r\n"), std::string("RETR a\0b", 8), std::string("RETR /ev\xFF\xF1il.bin"),
          std::string("RETR a\x7F"), std::string(513, 'a')})
        EXPECT_EQ(KindOfFtpLine(line), FtpLine::kUnclear) << line;
    for (const char* line : {"", "\r\n", " RETR /a", "GET / HTTP/1.1", "GET\t/ HTTP/1.1\r\n", "VERYLONGWORD x"})
        EXPECT_EQ(KindOfFtpLine(line), FtpLine::kBroken) << line;
    EXPECT_EQ(KindOfFtpLine("NOOP " + std::string(505, 'a') + "\r\n"), FtpLine::kSession);
}

TEST(FtpLineTest, TakesACommandApart) {
    const FtpCommand command = ReadFtpCommand("rEtr  /a b \r\n");
    EXPECT_EQ(command.verb, "RETR");
    EXPECT_EQ(command.argument, "/a b");
    EXPECT_EQ(command.asSent, " /a b ");
    EXPECT_EQ(ReadFtpCommand("pwd").verb, "PWD");
    EXPECT_EQ(ReadFtpCommand("pwd").argument, "");
}

TEST(FtpLineTest, KnowsAClientByItsFirstLine) {
    for (const char* said :
         {"USER anna\r\n", "user anna", "\r\n\xFF\xF4QUIT\r\n", "AUTH TLS\r\n", "FEAT\r", "HOST a\n"})
        for (const char* greeting : {"", "2", "220 ready", "120 "}) EXPECT_TRUE(SpeaksFtp(greeting, said)) << said;
    EXPECT_TRUE(SpeaksFtp("220 ready", "PASS word\r\n"));
    EXPECT_TRUE(SpeaksFtp("220 ready", "XSOME thing\r\n"));
    for (const char* greeting : {"", "220 mail", "+OK"})
        for (const char* said : {"EHLO me\r\n", "helo me\r\n", "LHLO a\r\n", "SSH-2.0-a\r\n", "\x16\x03\x01"})
            EXPECT_FALSE(SpeaksFtp(greeting, said)) << said;
    const std::string longLogin = "USER " + std::string(600, 'a') + "\r\n";
    for (const std::string& said : {longLogin, std::string("USER\tanna\r\n"), std::string(" USER anna\r\n"),
                                    std::string("USER\0anna\r\n", 11), std::string("\tQUIT\t\r\n")})
        EXPECT_TRUE(SpeaksFtp("", said)) << said;
    for (const char* said : {"PASS word\r\n", "USER guest 0 * :Anna\r\n", "NICK anna\r\n", "LIST\r\n"})
        EXPECT_FALSE(SpeaksFtp("", said)) << said;
    EXPECT_FALSE(SpeaksFtp("+OK ", "USER anna\r\n"));
}

TEST(FtpRepliesTest, ReadsLinesInAnyParts) {
    FtpReplies replies;
    std::string told;
    const auto tell = [&](std::string_view line, bool endsAnswer) {
        told += std::string(line) + (endsAnswer ? "!" : "") + "|";
    };
    for (const char* said : {"220-he", "llo\n", "220 ", "ready\n331 who\n200", "", " fine\n\n"})
        replies.Read(said, tell);
    EXPECT_EQ(told, "220-hello|220 ready!|331 who!|200 fine!||");
    for (int i = 0; i < 3; ++i) replies.Read("226 " + std::string(1000, 'x'), tell);
    told.clear();
    replies.Read("\n", tell);
    EXPECT_EQ(told.size(), 2048U + 2) << "no more of a line is kept";
}

TEST(FtpRepliesTest, TellsWhereAnAnswerEnds) {
    FtpReplies replies;
    for (const char* line : {"220 ready\r", "226", "550 no", "331 password"})
        EXPECT_TRUE(replies.EndsAnswer(line)) << line;
    for (const char* line : {"150 begins", "22", "", "hello there", "150-many", "150 lines"})
        EXPECT_FALSE(replies.EndsAnswer(line)) << line;
    for (const char* line : {"211-all:", " SIZE", "200 is a name here", "211-more"})
        EXPECT_FALSE(replies.EndsAnswer(line)) << line;
    EXPECT_TRUE(replies.EndsAnswer("211 end\r"));
    EXPECT_TRUE(replies.EndsAnswer("200 next"));
    EXPECT_FALSE(replies.EndsAnswer("230-welcome\r"));
    EXPECT_FALSE(replies.EndsAnswer("2301\r"));
    EXPECT_TRUE(replies.EndsAnswer("230\r")) << "as some servers end it";
}

TEST(FtpDataTest, ReadsOfferedPorts) {
    const IpAddress server = Address("192.0.2.1");
    EXPECT_EQ(OfferedFtpPort("227 Entering Passive Mode (192,0,2,1,200,10).\r", server), 200 * 256 + 10);
    EXPECT_EQ(OfferedFtpPort("227 =192,0,2,1,4,0", server), 1024);
    EXPECT_EQ(OfferedFtpPort("229 Entering Extended Passive Mode (|||51210|)\r", server), 51210);
    EXPECT_EQ(OfferedFtpPort("229 Entering Extended Passive Mode (|||51210|)", Address("2001:db8::1")), 51210);
}

TEST(FtpDataTest, TakesNoOfferOfAnotherPlace) {
    const IpAddress server = Address("192.0.2.1");
    for (const char* reply : {
             "227 Entering Passive Mode (192,0,2,2,200,10)",  // another address
             "227 Entering Passive Mode (192,0,2,1,3,255)",   // a well-known service
             "227 Entering Passive Mode (192,0,2,1,256,1)",
             "227 Entering Passive Mode (192,0,2,1,200)",
             "227 ",
             "229 Entering Extended Passive Mode (|||443|)",
             "229 Entering Extended Passive Mode (|||70000|)",
             "229 Entering Extended Passive Mode (|||5000",
             "229 (|||",
             "230 Entering Passive Mode (192,0,2,1,200,10)",
             "",
         })
        EXPECT_FALSE(OfferedFtpPort(reply, server)) << reply;
    EXPECT_FALSE(OfferedFtpPort("227 Entering Passive Mode (192,0,2,1,200,10)", Address("2001:db8::1")));
}

TEST(FtpDataTest, AnOfferCountsOnceAndForItsClient) {
    FtpDataPorts ports;
    const Endpoint server{Address("192.0.2.1"), 51210};
    ports.Offer(Address("10.0.0.1"), server, "a.example");
    EXPECT_FALSE(ports.Take(Address("10.0.0.2"), server, "a.example"));
    EXPECT_FALSE(ports.Take(Address("10.0.0.1"), {server.address, 51211}, "a.example"));
    EXPECT_EQ(ports.Take(Address("10.0.0.1"), server, "a.example"), "a.example");
    EXPECT_FALSE(ports.Take(Address("10.0.0.1"), server, "a.example"));
}

TEST(FtpDataTest, AnOfferCountsForItsHostAndForAddresses) {
    FtpDataPorts ports;
    const Endpoint server{Address("192.0.2.1"), 51210};
    for (const char* named : {"a.example", "A.example.", "192.0.2.1", "2001:db8::1"}) {
        ports.Offer(Address("10.0.0.1"), server, "a.example");
        EXPECT_FALSE(ports.Take(Address("10.0.0.1"), server, "b.example"));
        EXPECT_EQ(ports.Take(Address("10.0.0.1"), server, named), "a.example") << named;
    }
}

TEST(FtpDataTest, KeepsNoMoreThanSomeOffers) {
    FtpDataPorts ports;
    const IpAddress client = Address("10.0.0.1");
    const IpAddress server = Address("192.0.2.1");
    for (std::uint16_t port = 2000; port < 4000; ++port) ports.Offer(client, {server, port}, "a.example");
    int kept = 0;
    for (std::uint16_t port = 2000; port < 4000; ++port)
        if (ports.Take(client, {server, port}, "a.example")) ++kept;
    EXPECT_EQ(kept, 1024);
}

}  // namespace
}  // namespace tarn::host::serve
