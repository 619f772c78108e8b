// Hosts that an FTP client names in its commands.
#include <gtest/gtest.h>
#include <string>

#include "host/composed_request.h"
#include "serve/ftp_world.h"

namespace tarn::host::serve {
namespace {

TEST_F(FtpControlTest, JudgesTheHostsThatACommandNames) {
    ToldServer server;
    world_.library.Block("blocked.example");
    world_.library.Block("192.0.2.9");
    ListenFor(server.Address());
    BlockingClient client(address_);
    client.ReadLine();
    for (const char* said :
         {"HOST blocked.example\r\n", "host  blocked.example \r\n", "HOST blocked.example.\r\n", "HOST 192.0.2.9\r\n",
          "USER anna@blocked.example\r\n", "USER anna@good.example@blocked.example\r\n",
          "USER anna@blocked.example@good.example\r\n", "USER anna@blocked.example:2121\r\n",
          "USER anna@blocked.example 2121\r\n", "USER anna@192.0.2.9\r\n", "USER blocked.example|anna\r\n",
          "user @blocked.example\r\n", "SITE blocked.example\r\n", "SITE anna@blocked.example\r\n",
          "OPEN blocked.example 21\r\n", "OPEN anna@blocked.example\r\n"}) {
        client.Send(said);
        EXPECT_EQ(client.ReadLine().substr(0, 13), "550 Blocked: ") << said;
    }
    EXPECT_EQ(server.Told(), "");
    for (const char* said : {"HOST good.example\r\n", "USER anna\r\n", "USER anna@good.example\r\n", "USER \r\n",
                             "SITE CHMOD 644 a.txt\r\n", "SITE HELP\r\n", "PASS anna@blocked.example\r\n"}) {
        client.Send(said);
        EXPECT_EQ(client.ReadLine(), "200 fine\r\n") << said;
    }
    EXPECT_EQ(world_.Events("anna"), 0U) << "of a login only the host";
}

TEST_F(FtpControlTest, SendsOnNoHostThatCannotBeJudged) {
    ToldServer server;
    ListenFor(server.Address());
    BlockingClient client(address_);
    client.ReadLine();
    for (const char* said : {"HOST\r\n", "HOST 0x7f.1\r\n", "HOST a b\r\n", "USER anna@2130706433\r\n",
                             "USER anna@b\xC3\xA4r.example\r\n", "USER anna@[::g]\r\n"}) {
        client.Send(said);
        EXPECT_EQ(client.ReadLine().substr(0, 4), "501 ") << said;
    }
    EXPECT_EQ(server.Told(), "");
}

TEST_F(FtpControlTest, EndsWhenAHostThatItNamedIsBlockedMeanwhile) {
    ToldServer server;
    ListenFor(server.Address());
    for (const std::string& host : {std::string("later.example"), std::string("anna@last.example")}) {
        BlockingClient client(address_);
        client.ReadLine();
        client.Send((host.starts_with("anna") ? "USER " : "HOST ") + host + "\r\n");
        EXPECT_EQ(client.ReadLine(), "200 fine\r\n");
        JudgeAgain();
        client.Send("NOOP\r\n");
        EXPECT_EQ(client.ReadLine(), "200 fine\r\n");
        world_.library.Block(host.substr(host.find('@') + 1));
        JudgeAgain();
        EXPECT_EQ(client.ReadAll().substr(0, 4), "421 ") << host;
    }
}

TEST_F(FtpControlTest, EndsBehindTlsWhenAHostThatItNamedIsBlockedMeanwhile) {
    ToldServer server(ToldServer::Answers{{"AUTH", "234 go on"}});
    ListenFor(server.Address());
    BlockingClient client(address_);
    client.ReadLine();
    client.Send("HOST later.example\r\nAUTH TLS\r\n");
    EXPECT_EQ(client.ReadLine(), "200 fine\r\n");
    EXPECT_EQ(client.ReadLine(), "234 go on\r\n");
    const auto hello = ComposeClientHello("good.example");
    client.Send({hello.begin(), hello.end()});
    EXPECT_TRUE(Eventually([&] { return server.WasTold("good.example"); }));
    world_.library.Block("later.example");
    JudgeAgain();
    EXPECT_EQ(client.ReadAll(), "");
    EXPECT_TRUE(world_.connections.WaitUntilEmpty(10s));
}

TEST_F(FtpControlTest, RemembersNoMoreThanSomeHosts) {
    ToldServer server;
    ListenFor(server.Address());
    BlockingClient client(address_);
    client.ReadLine();
    for (int i = 0; i < 16; ++i) {
        client.Send("HOST a" + std::to_string(i) + ".example\r\n");
        EXPECT_EQ(client.ReadLine(), "200 fine\r\n");
    }
    client.Send("HOST one-more.example\r\n");
    EXPECT_EQ(client.ReadLine().substr(0, 4), "501 ");
    client.Send("HOST a1.example\r\n");
    EXPECT_EQ(client.ReadLine(), "200 fine\r\n") << "it is one of them";
}

}  // namespace
}  // namespace tarn::host::serve
