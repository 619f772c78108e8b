// Ways around the judgement of FTP commands, and the end of a connection.
#include <future>
#include <gtest/gtest.h>
#include <string>

#include "host/composed_request.h"
#include "serve/ftp_world.h"
#include "serve/loopback.h"

namespace tarn::host::serve {
namespace {

TEST_F(FtpControlTest, TakesNoHelloThatNobodyAskedFor) {
    ToldServer server(ToldServer::Answers{{"AUTH", "502 no"}});
    ListenFor(server.Address());
    const std::string sly = Hello("good.example") + "\r\nPASV\r\nRETR /evil.bin\r\n";
    for (const std::string& before : {std::string("USER anna\r\n"), std::string("AUTH TLS\r\n")}) {
        // In one piece, and after the answer.
        BlockingClient hasty(address_);
        hasty.Send(before + sly);
        EXPECT_NE(hasty.ReadAll().find("500 The server did not agree"), std::string::npos) << before;
        BlockingClient patient(address_);
        EXPECT_EQ(patient.ReadLine(), "220 ready\r\n");
        patient.Send(before);
        patient.ReadLine();
        patient.Send(sly);
        EXPECT_EQ(patient.ReadAll().substr(0, 4), "500 ") << before;
    }
    EXPECT_FALSE(server.WasTold("RETR"));
    EXPECT_FALSE(server.WasTold("\x16"));
}

TEST_F(FtpControlTest, JudgesTheHelloThatTheServerAgreedTo) {
    ToldServer server(ToldServer::Answers{{"AUTH", "234 go on"}});
    world_.library.Block("blocked.example");
    ListenFor(server.Address());
    for (const char* word : {"AUTH TLS\r\n", "auth ssl\r\n", "AUTH TLS-C\r\n"}) {
        BlockingClient client(address_);
        client.Send(word);
        client.ReadLine();
        EXPECT_EQ(client.ReadLine(), "234 go on\r\n");
        const std::string hello = Hello("good.example") + word;
        client.Send(hello);
        EXPECT_TRUE(Eventually([&] { return server.WasTold(hello); })) << word;
    }
    BlockingClient refused(address_);
    refused.Send("AUTH TLS\r\n");
    refused.ReadLine();
    EXPECT_EQ(refused.ReadLine(), "234 go on\r\n");
    refused.Send(Hello("blocked.example"));
    EXPECT_EQ(refused.ReadAll(), "");
    EXPECT_FALSE(server.WasTold("blocked.example"));
    // A server that waits for TLS gets no commands.
    BlockingClient plain(address_);
    plain.Send("AUTH TLS\r\nRETR /a\r\n");
    EXPECT_NE(plain.ReadAll().find("234 go on\r\n500 "), std::string::npos);
    EXPECT_FALSE(server.WasTold("RETR"));
}

TEST_F(FtpControlTest, KnowsAFileInEverySpelling) {
    ToldServer server;
    world_.library.Block("RETR /evil.bin\r\n");
    ListenFor(server.Address());
    BlockingClient client(address_);
    client.ReadLine();
    for (const char* said : {"RETR /evil.bin\r\n", "retr /evil.bin\r\n", "RETR  /evil.bin\r\n", "rETR /evil.bin \n",
                             "RETR //evil.bin\r\n", "RETR /a/../evil.bin\r\n", "RETR \\evil.bin\r\n"}) {
        client.Send(said);
        EXPECT_EQ(client.ReadLine().substr(0, 13), "550 Blocked: ") << said;
    }
    client.Send("retr  /good.bin\r\n");
    EXPECT_EQ(client.ReadLine(), "200 fine\r\n");
    EXPECT_TRUE(server.WasTold("retr  /good.bin\r\n")) << "as it came";
    EXPECT_FALSE(server.WasTold("evil"));
}

TEST_F(FtpControlTest, FollowsTheFolderOfItsClient) {
    ToldServer server({{"CWD", "250 there"}, {"XCWD", "550 no"}, {"PWD", "257 \"/home\" is here"}});
    world_.library.Block("RETR /pub/evil.bin\r\n");
    world_.library.Block("RETR /home/other.bin\r\n");
    ListenFor(server.Address());
    BlockingClient client(address_);
    client.Send(
        "CWD pub\r\nXCWD /elsewhere\r\nRETR evil.bin\r\nCWD good\r\nRETR evil.bin\r\nPWD\r\nRETR other.bin\r\n");
    std::string answers;
    for (int i = 0; i < 8; ++i) answers += client.ReadLine().substr(0, 4) + "|";
    EXPECT_EQ(answers, "220 |250 |550 |550 |250 |200 |257 |550 |");
    EXPECT_EQ(server.Told(), "CWD pub\r\nXCWD /elsewhere\r\nCWD good\r\nRETR evil.bin\r\nPWD\r\n");
}

TEST_F(FtpControlTest, BeginsInTheRootWithEachLogin) {
    world_.library.Block("RETR /pub/evil.bin\r\n");
    ToldServer server({{"CWD", "250 there"},
                       {"USER", "331 who"},
                       {"PASS", "230 hello"},
                       {"REIN", "220 ready"},
                       {"ACCT", "230 hello"},
                       {"HOST", "220 ready"}});
    ListenFor(server.Address());
    BlockingClient client(address_);
    client.ReadLine();
    for (const char* login : {"USER anna\r\nPASS secret\r\n", "REIN\r\n", "ACCT a\r\n", "HOST a.example\r\n"}) {
        client.Send(std::string("CWD elsewhere\r\n") + login + "CWD pub\r\nRETR evil.bin\r\n");
        std::string last = client.ReadLine();
        for (int i = 0; i < 4 && last.substr(0, 3) != "550"; ++i) last = client.ReadLine();
        EXPECT_EQ(last.substr(0, 13), "550 Blocked: ") << login;
        EXPECT_FALSE(server.WasTold("evil")) << login;
    }
}

TEST_F(FtpControlTest, FollowsAServerWhoseGreetingIsLong) {
    for (const std::string& greeting : {"220-" + std::string(60, 'x') + "\r\n", std::string(" a line\r\n"),
                                        std::string("220-") + std::string(5000, 'x') + "\r\n"}) {
        BlockingServer server([&](Tcp::socket& socket) {
            std::string text = "220-hello\r\n";
            while (text.size() < 5000) text += greeting;
            asio::write(socket, asio::buffer(text + "220 ready\r\n"));
            std::string said;
            asio::read_until(socket, asio::dynamic_buffer(said), "CWD pub\r\n");
            asio::write(socket, asio::buffer(std::string("250-there\r\n250\r\n")));
            asio::read_until(socket, asio::dynamic_buffer(said), "never");
        });
        OpenFor(server.Address());
        world_.library.Block("RETR /pub/evil.bin\r\n");
        BlockingClient client(address_);
        std::string line = client.ReadLine();
        while (line.substr(0, 4) != "220 " && !line.empty()) line = client.ReadLine();
        EXPECT_EQ(line, "220 ready\r\n");
        client.Send("CWD pub\r\nRETR evil.bin\r\n");
        EXPECT_EQ(client.ReadLine(), "250-there\r\n");
        EXPECT_EQ(client.ReadLine(), "250\r\n");
        EXPECT_EQ(client.ReadLine().substr(0, 13), "550 Blocked: ");
        listener_->Close();
    }
}

TEST_F(FtpControlTest, IsKnownByItsFirstWordWhenTheClientDoesNotWait) {
    ToldServer server;
    world_.library.Block("/evil.bin");
    OpenFor(server.Address());
    for (const char* said :
         {"USER anna\r\nPASV\r\nRETR /evil.bin\r\n", "\xFF\xF1quit\r\nRETR /evil.bin\r\n", "FEAT\r"}) {
        BlockingClient client(address_);
        client.Send(said);
        EXPECT_EQ(client.ReadLine(), "220 ready\r\n");
        if (std::string(said) == "FEAT\r") client.Send("\nRETR /evil.bin\r\n");
        std::string last;
        while (last.substr(0, 3) != "550") {
            last = client.ReadLine();
            ASSERT_FALSE(last.empty()) << said;
        }
    }
    EXPECT_FALSE(server.WasTold("evil"));
    EXPECT_EQ(world_.Events("unknown_protocol"), 0U);
}

TEST_F(FtpControlTest, IsKnownBeforeTheServerHasGreeted) {
    BlockingServer server([](Tcp::socket& socket) {
        std::string said;
        asio::read_until(socket, asio::dynamic_buffer(said), "USER anna\r\n");
        asio::write(socket, asio::buffer(std::string("220 ready\r\n331 who\r\n")));
        asio::read_until(socket, asio::dynamic_buffer(said), "QUIT\r\n");
        asio::write(socket, asio::buffer("221 " + said));
    });
    world_.library.Block("/evil.bin");
    OpenFor(server.Address());
    BlockingClient client(address_);
    ASSERT_TRUE(Eventually([&] { return server.Accepted() == 1; })) << "after the silence";
    client.Send("USER anna\r\n");
    EXPECT_EQ(client.ReadLine(), "220 ready\r\n");
    EXPECT_EQ(client.ReadLine(), "331 who\r\n");
    client.Send("RETR /evil.bin\r\nQUIT\r\n");
    EXPECT_EQ(client.ReadLine().substr(0, 13), "550 Blocked: ");
    EXPECT_EQ(client.ReadLine(), "221 USER anna\r\n") << "and nothing else but the end";
    EXPECT_EQ(client.ReadLine(), "QUIT\r\n");
}

TEST_F(FtpControlTest, TakesNoHelloForAServerThatHasGreeted) {
    ToldServer server;
    OpenFor(server.Address());
    BlockingClient client(address_);
    EXPECT_EQ(client.ReadLine(), "220 ready\r\n");
    client.Send(Hello("good.example") + "\r\nRETR /evil.bin\r\n");
    EXPECT_EQ(client.ReadAll(), "");
    EXPECT_EQ(server.Told(), "");
}

TEST_F(FtpControlTest, NeedsNoFirstWordAtThePortsOfFtp) {
    EXPECT_TRUE(IsFtpPort(21));
    EXPECT_TRUE(IsFtpPort(2121));
    EXPECT_FALSE(IsFtpPort(2100));
    // Nothing listens there on the loopback's other addresses: the answer is that of FTP.
    world_.settings.hosts["server.example"] = ParseIpAddress("127.0.0.77").value();
    OpenFor(Loopback(21));
    BlockingClient client(address_);
    EXPECT_EQ(client.ReadAll().substr(0, 4), "421 ");
}

TEST_F(FtpControlTest, EndsBetweenTwoCommandsWhenTheEndComes) {
    ToldServer server({{"RETR", "150 it comes"}, {"NOOP", "226 it came"}});
    ListenFor(server.Address());
    BlockingClient idle(address_);
    EXPECT_EQ(idle.ReadLine(), "220 ready\r\n");
    world_.connections.DrainAll();
    EXPECT_EQ(idle.ReadAll().substr(0, 4), "421 ");
}

TEST_F(FtpControlTest, EndsATransferBeforeItself) {
    std::promise<void> ends;
    BlockingServer server([&](Tcp::socket& socket) {
        asio::write(socket, asio::buffer(std::string("220 ready\r\n")));
        std::string said;
        asio::read_until(socket, asio::dynamic_buffer(said), "\r\n");
        asio::write(socket, asio::buffer(std::string("150 it comes\r\n")));
        ends.get_future().wait();
        asio::write(socket, asio::buffer(std::string("226 it came\r\n")));
        asio::read_until(socket, asio::dynamic_buffer(said), "never");
    });
    ListenFor(server.Address());
    BlockingClient client(address_);
    EXPECT_EQ(client.ReadLine(), "220 ready\r\n");
    client.Send("RETR /a\r\n");
    EXPECT_EQ(client.ReadLine(), "150 it comes\r\n");
    world_.connections.DrainAll();
    EXPECT_FALSE(world_.connections.WaitUntilEmpty(200ms));
    ends.set_value();
    EXPECT_EQ(client.ReadLine(), "226 it came\r\n");
    EXPECT_EQ(client.ReadAll().substr(0, 4), "421 ");
    EXPECT_TRUE(world_.connections.WaitUntilEmpty(10s));
}

}  // namespace
}  // namespace tarn::host::serve
