#include "host/serve/socks5.h"

#include <gtest/gtest.h>
#include <memory>
#include <string>

#include "serve/ftp_world.h"

namespace tarn::host::serve {
namespace {

const std::string kGreeting("\x05\x01\x00", 3);
const std::string kGreeted("\x05\x00", 2);

std::string Reply(int code) {
    return std::string("\x05", 1) + static_cast<char>(code) + std::string("\0\x01\0\0\0\0\0\0", 8);
}

std::string Connect(const std::string& name, std::uint16_t port, char command = 1) {
    return std::string("\x05", 1) + command + std::string("\0\x03", 2) + static_cast<char>(name.size()) + name +
           static_cast<char>(port >> 8) + static_cast<char>(port & 0xFF);
}

class SocksTest : public ListenedTest {
 protected:
    void SetUp() override {
        ListenedTest::SetUp();
        Listen([this](ClientSide client) { StartSocks(world_.services, std::move(client)); });
    }
    // A client that is connected, as far as it knows.
    std::unique_ptr<BlockingClient> ConnectTo(const std::string& host, std::uint16_t port) {
        auto client = std::make_unique<BlockingClient>(address_);
        client->Send(kGreeting);
        EXPECT_EQ(client->Read(2), kGreeted);
        client->Send(Connect(host, port));
        EXPECT_EQ(client->Read(10), Reply(0));
        return client;
    }
};

TEST_F(SocksTest, JudgesTheFirstBytesBeforeTheServerIsAsked) {
    BlockingServer server([](Tcp::socket& socket) {
        std::array<char, 1024> said{};
        socket.read_some(asio::buffer(said));
        asio::write(socket, asio::buffer(std::string("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nhi")));
    });
    world_.library.Block("/bad");
    auto client = ConnectTo("server.example", server.Address().port);
    client->Send("GET /good HTTP/1.1\r\nHost: server.example\r\nConnection: close\r\n\r\n");
    EXPECT_NE(client->ReadAll().find("\r\n\r\nhi"), std::string::npos);
    EXPECT_EQ(server.Accepted(), 1);
    client = ConnectTo("server.example", server.Address().port);
    client->Send("GET /bad HTTP/1.1\r\nHost: server.example\r\nConnection: close\r\n\r\n");
    EXPECT_EQ(client->ReadAll().substr(0, 12), "HTTP/1.1 403");
    EXPECT_EQ(server.Accepted(), 1);
}

TEST_F(SocksTest, TakesWhatCameTogether) {
    BlockingServer server([](Tcp::socket& socket) {
        std::array<char, 1024> said{};
        const std::size_t count = socket.read_some(asio::buffer(said));
        asio::write(socket, asio::buffer(said.data(), count));
    });
    BlockingClient client(address_);
    client.Send(kGreeting + Connect("server.example", server.Address().port) + "\x01\x02 something else");
    EXPECT_EQ(client.Read(12), kGreeted + Reply(0));
    EXPECT_EQ(client.ReadAll(), "\x01\x02 something else");
    EXPECT_EQ(world_.Events("unknown_protocol"), 1U);
}

TEST_F(SocksTest, LetsAServerSpeakFirstAndJudgesTheClientNevertheless) {
    BlockingServer server([](Tcp::socket& socket) {
        asio::write(socket, asio::buffer(std::string("SSH-2.0-server\r\n")));
        std::array<char, 1024> said{};
        const std::size_t count = socket.read_some(asio::buffer(said));
        asio::write(socket, asio::buffer(said.data(), count));
    });
    auto client = ConnectTo("server.example", server.Address().port);
    EXPECT_EQ(client->ReadLine(), "SSH-2.0-server\r\n");
    client->Send("SSH-2.0-client\r\n");
    EXPECT_EQ(client->ReadLine(), "SSH-2.0-client\r\n");
    // A request behind another server's greeting does not get through.
    client = ConnectTo("server.example", server.Address().port);
    EXPECT_EQ(client->ReadLine(), "SSH-2.0-server\r\n");
    client->Send("GET /bad HTTP/1.1\r\nHost: server.example\r\n\r\n");
    EXPECT_EQ(client->ReadAll(), "");
}

TEST_F(SocksTest, DoesNotWaitWhereAnFtpServerOfferedAPort) {
    world_.settings.silence = std::chrono::seconds(300);
    world_.settings.refusesUnknown = true;  // the command was judged
    BlockingServer server([](Tcp::socket& socket) { asio::write(socket, asio::buffer(std::string("a file"))); });
    world_.services.ftpData->Offer(Loopback().address, server.Address(), "server.example");
    EXPECT_EQ(ConnectTo("server.example", server.Address().port)->ReadAll(), "a file");
}

TEST_F(SocksTest, LosesNothingOfAClientThatSaysLittleAndEnds) {
    BlockingServer server([](Tcp::socket& socket) {
        std::string said;
        ErrorCode end;
        asio::read(socket, asio::dynamic_buffer(said), end);
        asio::write(socket, asio::buffer("got " + said));
    });
    world_.services.ftpData->Offer(Loopback().address, server.Address(), "server.example");
    auto client = ConnectTo("server.example", server.Address().port);
    ASSERT_TRUE(Eventually([&] { return server.Accepted() == 1; }));
    client->Send("word");
    client->EndSending();
    EXPECT_EQ(client->ReadAll(), "got word");
}

TEST_F(SocksTest, RefusesItselfAndLinkLocalAddresses) {
    for (const auto& [host, port] :
         {std::pair<std::string, std::uint16_t>{"server.example", address_.port}, {"local.example", 80}}) {
        BlockingClient client(address_);
        client.Send(kGreeting + Connect(host, port));
        EXPECT_EQ(client.ReadAll(), kGreeted + Reply(2)) << host;
    }
}

TEST_F(SocksTest, RefusesOtherCommandsAndLogins) {
    BlockingClient bind(address_);
    bind.Send(kGreeting + Connect("server.example", 80, 2));
    EXPECT_EQ(bind.ReadAll(), kGreeted + Reply(7));
    BlockingClient login(address_);
    login.Send(std::string("\x05\x01\x02", 3));
    EXPECT_EQ(login.ReadAll(), std::string("\x05\xFF", 2));
    BlockingClient other(address_);
    other.Send("GET / HTTP/1.1\r\n\r\n");
    EXPECT_EQ(other.ReadAll(), "");
}

TEST_F(SocksTest, EndsAHandshakeThatTakesTooLong) {
    world_.settings.head = std::chrono::seconds(1);
    BlockingClient client(address_);
    client.Send(kGreeting);
    EXPECT_EQ(client.ReadAll(), kGreeted);
    EXPECT_TRUE(Eventually([&] { return world_.connections.Count() == 0; }));
}

TEST_F(SocksTest, KnowsFtpByWhatIsSaidAtAnyPort) {
    BlockingServer server(Repeat);
    world_.library.Block("/bad");
    auto client = ConnectTo("server.example", server.Address().port);
    EXPECT_EQ(client->ReadLine(), "220 ready\r\n");
    client->Send("USER anna\r\n");
    EXPECT_EQ(client->ReadLine(), "200 USER anna\r\n");
    client->Send("RETR /bad\r\n");
    EXPECT_EQ(client->ReadLine().substr(0, 13), "550 Blocked: ");
    client->Send("RETR /good\r\n");
    EXPECT_EQ(client->ReadLine(), "200 RETR /good\r\n");
    EXPECT_EQ(server.Accepted(), 1);
    // A server of mail greets with the same number.
    client = ConnectTo("server.example", server.Address().port);
    EXPECT_EQ(client->ReadLine(), "220 ready\r\n");
    client->Send("EHLO me\r\n");
    EXPECT_EQ(client->ReadLine(), "200 EHLO me\r\n");
    client->Send("RETR /bad\r\n");
    EXPECT_EQ(client->ReadLine(), "200 RETR /bad\r\n");
}

}  // namespace
}  // namespace tarn::host::serve
