// FTP through the HTTP proxy: transfers over CONNECT, and requests that an FTP server would take for commands.
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>

#include "host/serve/ftp_data.h"
#include "host/serve/http_proxy.h"
#include "serve/ftp_world.h"

namespace tarn::host::serve {
namespace {

class FtpProxyTest : public ListenedTest {
 protected:
    void SetUp() override {
        ListenedTest::SetUp();
        world_.settings.hosts["other.example"] = Loopback().address;
        Listen([this](ClientSide client) { StartHttp(world_.services, std::move(client)); });
    }
    std::unique_ptr<BlockingClient> ConnectTo(const std::string& host, std::uint16_t port) {
        auto client = std::make_unique<BlockingClient>(address_);
        client->Send("CONNECT " + host + ":" + std::to_string(port) + " HTTP/1.1\r\n\r\n");
        EXPECT_EQ(client->ReadLine().substr(0, 12), "HTTP/1.1 200");
        EXPECT_EQ(client->ReadLine(), "\r\n");
        return client;
    }
    // A session whose server offers a port for a transfer.
    std::unique_ptr<BlockingClient> Offer(const ToldServer& server) {
        auto client = ConnectTo("server.example", server.Address().port);
        client->Send("PASV\r\n");
        EXPECT_EQ(client->ReadLine(), "220 ready\r\n");
        EXPECT_EQ(client->ReadLine().substr(0, 4), "227 ");
        return client;
    }
    static ToldServer::Answers Passive(std::uint16_t port) {
        return {
            {"PASV", "227 Passive (127,0,0,1," + std::to_string(port >> 8) + "," + std::to_string(port & 0xFF) + ")"}};
    }
};

void SendFile(Tcp::socket& socket) {
    asio::write(socket, asio::buffer(std::string("a file")));
}

void KeepOpen(Tcp::socket& socket) {
    std::string said;
    asio::write(socket, asio::buffer(std::string("a file\r\n")));
    asio::read_until(socket, asio::dynamic_buffer(said), "never");
}

TEST_F(FtpProxyTest, DoesNotWaitWhereASessionWasOfferedAPort) {
    BlockingServer data(SendFile);
    ToldServer server(Passive(data.Address().port));
    world_.settings.silence = std::chrono::seconds(300);
    world_.settings.refusesUnknown = true;  // the command was judged
    for (const char* host : {"127.0.0.1", "server.example", "SERVER.example."}) {
        const auto session = Offer(server);
        EXPECT_EQ(ConnectTo(host, data.Address().port)->ReadAll(), "a file") << host;
    }
}

TEST_F(FtpProxyTest, AnOfferIsNoWayToAnotherHost) {
    BlockingServer data(SendFile);
    ToldServer server(Passive(data.Address().port));
    world_.library.Block("other.example");
    const auto session = Offer(server);
    EXPECT_EQ(ConnectTo("other.example", data.Address().port)->ReadAll(), "");
    EXPECT_EQ(data.Accepted(), 0);
    EXPECT_EQ(ConnectTo("server.example", data.Address().port)->ReadAll(), "a file") << "the offer stands";
}

TEST_F(FtpProxyTest, ATransferEndsWhenTheHostOfItsSessionIsBlockedMeanwhile) {
    BlockingServer data(KeepOpen);
    ToldServer server(Passive(data.Address().port));
    const auto session = Offer(server);
    const auto transfer = ConnectTo("127.0.0.1", data.Address().port);
    EXPECT_EQ(transfer->ReadLine(), "a file\r\n");
    world_.library.Block("server.example");
    for (const auto& one : world_.connections.All())
        if (const auto connection = one.lock()) connection->JudgeAgain();
    EXPECT_EQ(transfer->ReadAll(), "");
    EXPECT_EQ(session->ReadAll().substr(0, 4), "421 ");
    EXPECT_TRUE(world_.connections.WaitUntilEmpty(10s));
}

TEST_F(FtpProxyTest, ATransferIsJudgedWhenThePolicyHasChangedSinceItWasOffered) {
    BlockingServer data(KeepOpen);
    ToldServer server(Passive(data.Address().port));
    const auto session = Offer(server);
    world_.library.Block("server.example");
    world_.filter.SettingsChanged(0);
    EXPECT_EQ(ConnectTo("127.0.0.1", data.Address().port)->ReadAll(), "");
}

TEST_F(FtpProxyTest, NoPortOfFtpIsAnOffer) {
    EXPECT_EQ(OfferedFtpPort("227 (127,0,0,1,8,72)", Loopback().address), std::optional<std::uint16_t>(2120));
    EXPECT_EQ(OfferedFtpPort("227 (127,0,0,1,8,73)", Loopback().address), std::nullopt);
}

TEST_F(FtpProxyTest, ARequestDoesNotGoToAPortOfFtp) {
    world_.settings.hosts["server.example"] = ParseIpAddress("127.0.0.77").value();
    for (const char* request :
         {"GET http://server.example:21/ HTTP/1.1\r\nHost: a\r\n\r\n",
          "POST http://server.example:2121/ HTTP/1.1\r\nHost: a\r\nContent-Length: 16\r\n\r\nRETR /evil.bin\r\n"}) {
        BlockingClient client(address_);
        client.Send(request);
        client.EndSending();
        const std::string answer = client.ReadAll();
        EXPECT_EQ(answer.substr(0, 12), "HTTP/1.1 403") << request;
        EXPECT_NE(answer.find("The port is one of FTP"), std::string::npos) << answer;
    }
    EXPECT_EQ(world_.Events("\"why_refused\":\"a server of FTP"), 2U);
    EXPECT_EQ(world_.filter.Snapshot().refusedUnknown, 2U);
}

}  // namespace
}  // namespace tarn::host::serve
