#include "host/serve/ftp_control.h"

#include <gtest/gtest.h>
#include <string>

#include "serve/ftp_world.h"

namespace tarn::host::serve {
namespace {

TEST_F(FtpControlTest, JudgesEachCommandAndAnswersBlockedOnes) {
    BlockingServer server(Repeat);
    world_.library.Block("/bad");
    ListenFor(server.Address());
    BlockingClient client(address_);
    EXPECT_EQ(client.ReadLine(), "220 ready\r\n");
    client.Send("USER anna\r\nPASS /bad\r\n");
    EXPECT_EQ(client.ReadLine(), "200 USER anna\r\n");
    EXPECT_EQ(client.ReadLine(), "200 PASS /bad\r\n");
    client.Send("RETR /bad");
    client.Send("ger\nRETR /good\n");
    std::string answers = client.ReadLine();
    answers += client.ReadLine();
    EXPECT_NE(answers.find("200 RETR /good\r\n"), std::string::npos) << answers;
    EXPECT_NE(answers.find("550 Blocked: "), std::string::npos) << answers;
    EXPECT_EQ(answers.find("200 RETR /badger"), std::string::npos) << answers;
    const auto asked = world_.library.Asked();
    ASSERT_EQ(asked.size(), 3U) << "no password is handed over";
    const std::string name = "server.example:" + std::to_string(server.Address().port);
    EXPECT_EQ(asked[0].data, "CONNECT " + name + " HTTP/1.1\r\nHost: " + name + "\r\n\r\n");
    EXPECT_EQ(asked[1].kind, TARN_KIND_FTP);
    EXPECT_EQ(asked[1].data, "RETR /badger\r\n");
    EXPECT_EQ(asked[1].server, server.Address());
}

TEST_F(FtpControlTest, RefusesInTheOrderOfTheCommands) {
    BlockingServer server([](Tcp::socket& socket) {
        const auto say = [&](std::string_view text) { asio::write(socket, asio::buffer(text)); };
        std::string heard;
        say("220-hello\r\n220 x\r\n220 ready\r\n");
        asio::read_until(socket, asio::dynamic_buffer(heard), "RETR /good\r\n");
        say("150 here it comes\r\n226-all\r\n 226 of\r\n");
        say("226 it\r\n");
        asio::read_until(socket, asio::dynamic_buffer(heard), "RETR /better\r\n");
        say(heard.find("/bad") == std::string::npos ? "226 better\r\n" : "500 it was sent on\r\n");
        ErrorCode ignored;
        asio::read_until(socket, asio::dynamic_buffer(heard), "QUIT", ignored);
    });
    world_.library.Block("/bad");
    ListenFor(server.Address());
    BlockingClient client(address_);
    for (int i = 0; i < 3; ++i) client.ReadLine();
    client.Send("RETR /good\r\nRETR /bad\r\nRETR /bad\r\nRETR /better\r\n");
    std::string answers;
    for (int i = 0; i < 7; ++i) answers += client.ReadLine().substr(0, 4) + "|";
    EXPECT_EQ(answers, "150 |226-| 226|226 |550 |550 |226 |");
    client.Send("QUIT\r\n");
}

TEST_F(FtpControlTest, NotesThePortsThatAreOffered) {
    BlockingServer server([](Tcp::socket& socket) {
        asio::write(socket, asio::buffer(std::string("220-hello\r\n220 ready\r\n229 Extended (|||512")));
        asio::write(socket, asio::buffer(std::string("10|)\r\n")));
        char more = 0;
        asio::read(socket, asio::buffer(&more, 1));
    });
    ListenFor(server.Address());
    BlockingClient client(address_);
    for (int i = 0; i < 3; ++i) client.ReadLine();
    EXPECT_TRUE(world_.services.ftpData->Take(Loopback().address, {server.Address().address, 51210}, "server.example"));
}

TEST_F(FtpControlTest, EndsWithWhatIsNoCommand) {
    BlockingServer server(Repeat);
    ListenFor(server.Address());
    for (const std::string& said :
         {std::string("GET / HTTP/1.1\r\n"), std::string(3000, 'a'), std::string(" RETR a\n")}) {
        BlockingClient client(address_);
        EXPECT_EQ(client.ReadLine(), "220 ready\r\n");
        client.Send(said);
        EXPECT_EQ(client.ReadAll().substr(0, 4), "500 ");
    }
}

TEST_F(FtpControlTest, OpensNoServerWhoseNameIsBlocked) {
    BlockingServer server(Repeat);
    world_.library.Block("server.example");
    ListenFor(server.Address());
    EXPECT_EQ(BlockingClient(address_).ReadAll().substr(0, 4), "421 ");
    EXPECT_EQ(server.Accepted(), 0);
}

TEST_F(FtpControlTest, SaysThatAServerDoesNotAnswer) {
    ListenFor(Loopback(1));
    EXPECT_EQ(BlockingClient(address_).ReadAll().substr(0, 4), "421 ");
}

}  // namespace
}  // namespace tarn::host::serve
