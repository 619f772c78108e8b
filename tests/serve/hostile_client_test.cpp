// Clients that are slow, broken or many: they are refused within their limits, and others are served.
#include <gmock/gmock.h>

#include "serve/gate.h"
#include "serve/running_server.h"

namespace tarn::host::serve {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

// Asks again and again until it is served: a client that comes while all of the others are still taken in is turned
// away. each: before each time.
bool IsServed(
    const RunningServer& server, std::uint16_t port, const std::function<void()>& each = [] {}) {
    const auto end = std::chrono::steady_clock::now() + kTestLimit;
    while (std::chrono::steady_clock::now() < end) {
        each();
        Peer client(server.Port());
        client.Send(Get("site.example", port));
        if (client.ReadAnswer().starts_with("HTTP/1.1 200")) return true;
    }
    return false;
}

TEST(HostileClient, IsRefusedWithAHeadThatIsTooLong) {
    RunningServer server;
    Peer client(server.Port());
    client.Send("GET http://site.example/ HTTP/1.1\r\nHost: site.example\r\nX: " + std::string(80000, 'x') +
                "\r\n\r\n");
    EXPECT_THAT(client.ReadAll(), StartsWith("HTTP/1.1 431"));
    EXPECT_TRUE(server.library.Asked().empty());
}

TEST(HostileClient, IsRefusedWithWhatIsNoRequest) {
    RunningServer server;
    for (const char* request :
         {"\x16\x03\x01\x00\x10rubbish\r\n\r\n", "GET\r\n\r\n", "GET  http://a/ HTTP/1.1\r\n\r\n",
          "GET / HTTP/1.1\r\nHost: site.example\r\n\r\n", "GET ftp://a/ HTTP/1.1\r\n\r\n",
          "GET http:/// HTTP/1.1\r\n\r\n", "GET http://a:99999/ HTTP/1.1\r\n\r\n",
          "GET http://a/ HTTP/1.1\r\nHost: a\r\nHost: b\r\n\r\n", "GET http://a/ HTTP/2.0\r\n\r\n",
          "POST http://a/ HTTP/1.1\r\nHost: a\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\n",
          "POST http://a/ HTTP/1.1\r\nHost: a\r\nContent-Length: 1\r\nTransfer-Encoding: chunked\r\n\r\n",
          "CONNECT site.example HTTP/1.1\r\nHost: a\r\n\r\n", "GET http://a/ HTTP/1.1\r\nHost : a\r\n\r\n"}) {
        Peer client(server.Port());
        client.Send(request);
        client.EndSending();
        EXPECT_THAT(client.ReadAll(), StartsWith("HTTP/1.1 400")) << request;
    }
    EXPECT_TRUE(server.library.Asked().empty());
}

TEST(HostileClient, IsClosedWhenItsHeadDripsIn) {
    ServeSettings settings = TestSettings();
    settings.head = std::chrono::seconds(1);
    RunningServer server(settings);
    Peer client(server.Port());
    std::size_t sent = 0;
    while (client.Send("X") && client.IsSilent(std::chrono::milliseconds(100))) ASSERT_LT(++sent, 150U);
    EXPECT_TRUE(client.IsClosed());
}

TEST(HostileClient, IsClosedWhenItSaysNothing) {
    ServeSettings settings = TestSettings();
    settings.idle = std::chrono::seconds(1);
    RunningServer server(settings);
    Peer client(server.Port());
    EXPECT_TRUE(client.IsClosed());
}

TEST(HostileClient, MayCutItsRequestAnywhere) {
    Origin origin(EchoRequests);
    RunningServer server;
    const std::string request = "POST http://site.example:" + std::to_string(origin.Port()) +
                                "/ HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n5\r\nhello\r\n0\r\n\r\n";
    for (std::size_t length = 0; length < request.size(); ++length) {
        Peer client(server.Port());
        client.Send(request.substr(0, length));
        client.Reset();
    }
    EXPECT_TRUE(server.TheServer().Shared().connections.WaitUntilEmpty(kTestLimit));
    Peer client(server.Port());
    client.Send(request);
    EXPECT_THAT(client.ReadAnswer(), EndsWith("|5\r\nhello\r\n0\r\n\r\n"));
}

TEST(HostileClient, MaySendARequestByteByByte) {
    Origin origin(EchoRequests);
    RunningServer server;
    Peer client(server.Port());
    for (const char byte : Get("site.example", origin.Port(), "/slow")) client.Send(std::string(1, byte));
    EXPECT_THAT(client.ReadAnswer(), EndsWith("GET /slow HTTP/1.1|"));
}

// The first piece comes with the request before, so that it has been read when that is answered.
TEST(HostileClient, MayEndAHeadWithoutFieldsInTwoPieces) {
    Origin origin(EchoRequests);
    RunningServer server;
    Peer client(server.Port());
    client.Send(Get("site.example", origin.Port(), "/first") +
                "GET http://site.example:" + std::to_string(origin.Port()) + "/bare HTTP/1.0\r\n");
    EXPECT_THAT(client.ReadAnswer(), EndsWith("GET /first HTTP/1.1|"));
    client.Send("\r\n");
    EXPECT_THAT(client.ReadAll(), EndsWith("GET /bare HTTP/1.0|"));
}

TEST(HostileClient, IsClosedWithABodyThatIsNone) {
    Origin origin([](Peer& peer) { peer.ReadAll(); });
    RunningServer server;
    const std::string head = "POST http://site.example:" + std::to_string(origin.Port()) +
                             "/ HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n";
    Peer atOnce(server.Port());
    atOnce.Send(head + "no chunk\r\n");
    EXPECT_TRUE(atOnce.IsClosed());
    Peer later(server.Port());
    later.Send(head + "1\r\nx\r\n");
    ASSERT_TRUE(server.HasEvents("verdict", 2));
    later.Send("no chunk\r\n");
    EXPECT_TRUE(later.IsClosed());
    Peer well(server.Port());
    well.Send(Get("blocked.example", origin.Port()));
    EXPECT_THAT(well.ReadAnswer(), StartsWith("HTTP/1.1 403"));
}

TEST(HostileClient, LeavesThePortOpenWhenItCannotBeTaken) {
    Origin origin(EchoRequests);
    RunningServer server;
    std::atomic<int> found = 0;
    server.TheServer().Shared().findProcess = [&found](const Endpoint&, const Endpoint&,
                                                       const std::function<void(std::uint32_t)>& call) {
        if (found++ == 0) throw std::bad_alloc();
        call(0);
    };
    Peer first(server.Port());
    EXPECT_TRUE(first.IsClosed());
    Peer second(server.Port());
    second.Send(Get("site.example", origin.Port()));
    EXPECT_THAT(second.ReadAnswer(), StartsWith("HTTP/1.1 200"));
}

TEST(HostileClient, GivesAnIdlePlaceBackWhenAllAreTaken) {
    Origin origin(EchoRequests);
    ServeSettings settings = TestSettings();
    settings.connections = 3;
    RunningServer server(settings);
    std::vector<std::unique_ptr<Peer>> clients;
    for (int i = 0; i < 4; ++i) {
        clients.push_back(std::make_unique<Peer>(server.Port()));
        clients.back()->Send(Get("site.example", origin.Port()));
        EXPECT_THAT(clients.back()->ReadAnswer(), StartsWith("HTTP/1.1 200"));
    }
    EXPECT_TRUE(clients[0]->IsClosed());  // the longest idle one
    clients[1]->Send(Get("site.example", origin.Port()));
    EXPECT_THAT(clients[1]->ReadAnswer(), StartsWith("HTTP/1.1 200"));
    EXPECT_TRUE(server.HasEvents("error", 1));
}

TEST(HostileClient, HoldsNoPlaceWithHalfARequest) {
    Origin origin(EchoRequests);
    ServeSettings settings = TestSettings();
    settings.connections = 3;
    RunningServer server(settings);
    std::vector<std::unique_ptr<Peer>> halves;
    for (int i = 0; i < 3; ++i) {
        halves.push_back(std::make_unique<Peer>(server.Port()));
        halves.back()->Send("GET http://site.example/ HT");
    }
    EXPECT_TRUE(IsServed(server, origin.Port()));
}

TEST(HostileClient, HoldsNoPlaceWithASilentConnect) {
    Origin origin(EchoRequests);
    ServeSettings settings = TestSettings();
    settings.connections = 3;
    RunningServer server(settings);
    std::vector<std::unique_ptr<Peer>> silent;
    for (const char* said : {"", "GE", "\x16\x03"}) {
        silent.push_back(std::make_unique<Peer>(server.Port()));
        silent.back()->Send("CONNECT site.example:443 HTTP/1.1\r\nHost: site.example\r\n\r\n");
        EXPECT_THAT(silent.back()->ReadUntil("\r\n\r\n"), StartsWith("HTTP/1.1 200"));
        silent.back()->Send(said);
    }
    EXPECT_TRUE(IsServed(server, origin.Port()));
    EXPECT_GE(server.TheServer().Shared().connections.GivenBack(), 1U);
}

TEST(HostileClient, HoldsNoPlaceWithABodyThatDoesNotCome) {
    Origin origin(EchoRequests);
    ServeSettings settings = TestSettings();
    settings.connections = 3;
    settings.body = std::chrono::seconds(0);
    RunningServer server(settings);
    const std::string head = "POST http://site.example:" + std::to_string(origin.Port()) + "/ HTTP/1.1\r\nHost: x\r\n";
    std::vector<std::unique_ptr<Peer>> silent;
    for (const char* rest : {"Content-Length: 9\r\n\r\n", "Content-Length: 9\r\n\r\nbegin",
                             "Transfer-Encoding: chunked\r\n\r\n5\r\nbegin"}) {
        silent.push_back(std::make_unique<Peer>(server.Port()));
        silent.back()->Send(head + rest);
    }
    EXPECT_TRUE(IsServed(server, origin.Port()));
    EXPECT_GE(server.TheServer().Shared().connections.GivenBack(), 1U);
}

TEST(HostileClient, KeepsItsPlaceWhileItsBodyMayComeYet) {
    Origin origin(EchoRequests);
    ServeSettings settings = TestSettings();
    settings.connections = 1;
    RunningServer server(settings);
    Peer client(server.Port());
    client.Send("POST http://site.example:" + std::to_string(origin.Port()) +
                "/ HTTP/1.1\r\nHost: x\r\nContent-Length: 9\r\n\r\nbegin");
    ASSERT_TRUE(server.HasEvents("verdict", 1));
    Peer second(server.Port());
    EXPECT_TRUE(second.IsClosed());
    client.Send(" end");
    EXPECT_THAT(client.ReadAnswer(), EndsWith("|begin end"));
}

// A client that has gone is not waited for until its server answers.
TEST(HostileClient, HoldsNoPlaceWhenItHasGoneBeforeItsServerAnswers) {
    FullServer full;
    RunningServer server;
    ConnectionSet& connections = server.TheServer().Shared().connections;
    const std::string connect =
        "CONNECT site.example:" + std::to_string(full.Port()) + " HTTP/1.1\r\nHost: site.example\r\n\r\n";
    for (const std::string& said : {Get("site.example", full.Port()), connect + "SSH-2.0-client\r\n"})
        for (const bool isReset : {true, false}) {
            const std::size_t told = server.Events("verdict").size();
            Peer client(server.Port());
            client.Send(said);
            ASSERT_TRUE(server.HasEvents("verdict", told + 1));
            isReset ? client.Reset() : client.Close();
            EXPECT_TRUE(connections.WaitUntilEmpty(std::chrono::seconds(10))) << said << isReset;
        }
}

TEST(HostileClient, MayEndItsSideAndGetItsAnswer) {
    Origin origin(EchoRequests);
    RunningServer server;
    Peer client(server.Port());
    client.Send(Get("site.example", origin.Port(), "/last"));
    client.EndSending();
    EXPECT_THAT(client.ReadAll(), EndsWith("GET /last HTTP/1.1|"));
}

TEST(HostileClient, HoldsNoPlaceWithAGreetingOfSocks) {
    Origin origin(EchoRequests);
    ServeSettings settings = TestSettings();
    settings.connections = 3;
    settings.socks = ParseEndpoint("127.0.0.1:0");
    RunningServer server(settings);
    std::vector<std::unique_ptr<Peer>> silent;
    for (int i = 0; i < 3; ++i) {
        silent.push_back(std::make_unique<Peer>(server.TheServer().Listening().socks->port));
        silent.back()->Send(std::string("\x05\x01\x00", 3));
        EXPECT_EQ(silent.back()->ReadBytes(2), std::string("\x05\x00", 2));
    }
    EXPECT_TRUE(IsServed(server, origin.Port()));
}

TEST(HostileClient, HoldsNoPlaceWithATunnelThatRests) {
    Origin web(EchoRequests);
    Origin echo([](Peer& peer) {
        for (std::string part = peer.ReadBytes(1); !part.empty(); part = peer.ReadBytes(1)) peer.Send(part);
    });
    ServeSettings settings = TestSettings();
    settings.connections = 3;
    RunningServer server(settings);
    std::vector<std::unique_ptr<Peer>> tunnels;
    const auto speak = [](Peer& peer) {
        peer.Send("\x01");
        return peer.ReadBytes(1) == "\x01";
    };
    for (int i = 0; i < 3; ++i) {
        tunnels.push_back(std::make_unique<Peer>(server.Port()));
        tunnels.back()->Send("CONNECT site.example:" + std::to_string(echo.Port()) + " HTTP/1.1\r\nHost: a\r\n\r\n");
        EXPECT_THAT(tunnels.back()->ReadUntil("\r\n\r\n"), StartsWith("HTTP/1.1 200"));
        EXPECT_TRUE(speak(*tunnels.back()));
    }
    // The first two carry something all the time.
    EXPECT_TRUE(IsServed(server, web.Port(), [&] {
        EXPECT_TRUE(speak(*tunnels[0]));
        EXPECT_TRUE(speak(*tunnels[1]));
    }));
    EXPECT_TRUE(tunnels[2]->IsClosed());
    EXPECT_TRUE(speak(*tunnels[0]));
    EXPECT_TRUE(speak(*tunnels[1]));
}

TEST(HostileClient, FindsNoPlaceWhenAllAreBusy) {
    Gate mayAnswer;
    Origin origin([&](Peer& peer) {
        peer.ReadUntil("\r\n\r\n");
        mayAnswer.Wait();
        peer.Send("HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\nlate");
    });
    ServeSettings settings = TestSettings();
    settings.connections = 3;
    settings.status = ParseEndpoint("127.0.0.1:0");
    RunningServer server(settings);
    std::vector<std::unique_ptr<Peer>> clients;
    for (int i = 0; i < 3; ++i) {
        clients.push_back(std::make_unique<Peer>(server.Port()));
        clients.back()->Send(Get("site.example", origin.Port()));
    }
    ASSERT_TRUE(server.HasEvents("verdict", 3));
    Peer fourth(server.Port());
    EXPECT_TRUE(fourth.IsClosed());
    EXPECT_EQ(server.TheServer().Shared().connections.Refused(), 1U);
    const std::uint16_t status = server.TheServer().Listening().status->port;
    Peer page(status);  // it has places of its own
    page.Send("GET /api/state HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(status) + "\r\n\r\n");
    EXPECT_THAT(page.ReadAnswer(), HasSubstr("\"turned_away\":1"));
    mayAnswer.Open();
    EXPECT_THAT(clients[0]->ReadAnswer(), EndsWith("late"));
}

}  // namespace
}  // namespace tarn::host::serve
