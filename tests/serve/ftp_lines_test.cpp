// Lines of FTP clients that one server reads as another does not.
#include <gtest/gtest.h>
#include <string>

#include "serve/ftp_world.h"

namespace tarn::host::serve {
namespace {

TEST_F(FtpControlTest, SendsOnNothingThatServersReadDifferently) {
    ToldServer server;
    world_.library.Block("RETR /evil.bin\r\n");
    ListenFor(server.Address());
    BlockingClient client(address_);
    client.ReadLine();
    for (const std::string& said :
         {std::string("RETR\t/evil.bin\r\n"), std::string("RETR \t/evil.bin\r\n"), std::string("RETR /evil.bin\t\n"),
          std::string("RETR /evil.bin\x7F\r\n"), std::string("RETR /evil.bin\v\r\n"),
          std::string("NOOP\rRETR /evil.bin\r\n"), std::string("RETR /good\rRETR /evil.bin\r\r\n"),
          std::string("RETR /evil.bin\0.gif\r\n", 21), std::string("PASS a\0RETR /evil.bin\r\n", 23),
          std::string("RETR /ev\xFF\xF1il.bin\r\n"), "NOOP " + std::string(507, 'a') + "RETR /evil.bin\r\n"}) {
        client.Send(said);
        EXPECT_EQ(client.ReadLine().substr(0, 4), "501 ") << said;
        client.Send("NOOP\r\n");
        EXPECT_EQ(client.ReadLine(), "200 fine\r\n") << said;
    }
    EXPECT_FALSE(server.WasTold("evil"));
    client.Send("NOOP " + std::string(505, 'a') + "\r\n");
    EXPECT_EQ(client.ReadLine(), "200 fine\r\n") << "as long as a line may be";
}

TEST_F(FtpControlTest, EndsWithALineThatDoesNotEnd) {
    ToldServer server;
    ListenFor(server.Address());
    BlockingClient client(address_);
    client.ReadLine();
    client.Send("NOOP " + std::string(5000, 'a'));
    EXPECT_EQ(client.ReadAll().substr(0, 4), "500 ");
    EXPECT_EQ(server.Told(), "");
}

TEST_F(FtpControlTest, IsKnownByAWordThatNoBlankEnds) {
    ToldServer server;
    world_.library.Block("/evil.bin");
    OpenFor(server.Address());
    for (const char* said : {"USER\tanna\r\n", "\tUSER anna\r\n", " USER anna\r\n", "USER\x01 anna\r\n"}) {
        BlockingClient client(address_);
        client.Send(std::string(said) + "RETR /evil.bin\r\n");
        std::string last;
        while (last.substr(0, 2) != "50" && last.substr(0, 3) != "550") {
            last = client.ReadLine();
            ASSERT_FALSE(last.empty()) << said;
        }
    }
    EXPECT_FALSE(server.WasTold("evil"));
    EXPECT_EQ(world_.Events("unknown_protocol"), 0U);
}

TEST_F(FtpControlTest, JudgesNoPartOfALongName) {
    ToldServer server(ToldServer::Answers{{"CWD", "250 there"}});
    ListenFor(server.Address());
    BlockingClient client(address_);
    client.ReadLine();
    const std::string part(450, 'a');
    for (int i = 0; i < 2; ++i) {
        client.Send("CWD " + part + "\r\n");
        EXPECT_EQ(client.ReadLine(), "250 there\r\n");
    }
    const std::string told = server.Told();
    for (const std::string& said : {"CWD " + part + "\r\n", "RETR " + part + "\r\n"}) {
        client.Send(said);
        EXPECT_EQ(client.ReadLine().substr(0, 4), "501 ") << "a scan would see its beginning alone";
    }
    EXPECT_EQ(server.Told(), told);
    client.Send("RETR short\r\n");
    EXPECT_EQ(client.ReadLine(), "200 fine\r\n");
}

// Behind them everything is in a form that nobody reads (RFC 2228).
TEST_F(FtpControlTest, TakesNoProtectionButTls) {
    ToldServer server(ToldServer::Answers{{"AUTH", "334 go on"}});
    ListenFor(server.Address());
    BlockingClient client(address_);
    client.ReadLine();
    for (const char* said : {"AUTH GSSAPI\r\n", "auth\r\n", "ADAT YQ==\r\n", "ENC UkVUUiAvZXZpbA==\r\n",
                             "mic UkVUUiAvZXZpbA==\r\n", "CONF UkVUUiAvZXZpbA==\r\n"}) {
        client.Send(said);
        EXPECT_EQ(client.ReadLine().substr(0, 4), "504 ") << said;
    }
    EXPECT_EQ(server.Told(), "");
    client.Send("AUTH TLS\r\n");
    EXPECT_EQ(client.ReadLine(), "334 go on\r\n");
}

}  // namespace
}  // namespace tarn::host::serve
