// Open tunnels: they end when what they carry is blocked meanwhile.
#include <gmock/gmock.h>

#include "host/composed_request.h"
#include "host/serve/named_server.h"
#include "serve/gate.h"
#include "serve/running_server.h"

namespace tarn::host::serve {
namespace {

using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;

// A tunnel to host that carries what is said in it.
struct Tunnel {
    Peer client;
    Tunnel(const RunningServer& server, const std::string& host, std::uint16_t port, const std::string& said)
        : client(server.Port()) {
        client.Send("CONNECT " + host + ":" + std::to_string(port) + " HTTP/1.1\r\nHost: a\r\n\r\n");
        EXPECT_THAT(client.ReadUntil("\r\n\r\n"), StartsWith("HTTP/1.1 200"));
        EXPECT_TRUE(Carries(said));
    }
    bool Carries(const std::string& text) { return client.Send(text) && client.ReadBytes(text.size()) == text; }
};

// A tunnel that carries the text.
void ExpectEndWhenBlocked(RunningServer& server, Peer& client, const std::string& text) {
    server.library.Block(text);
    server.TheServer().JudgeAgain();
    EXPECT_TRUE(client.IsClosed());
}

TEST(OpenTunnel, EndsWhenItsHelloIsBlockedMeanwhile) {
    Origin origin(Echo);
    RunningServer server;
    Tunnel first(server, "site.example", origin.Port(), Hello("later.example"));
    Tunnel second(server, "site.example", origin.Port(), Hello("site.example"));
    server.TheServer().JudgeAgain();
    EXPECT_TRUE(first.Carries("more"));
    EXPECT_TRUE(second.Carries("more"));
    ExpectEndWhenBlocked(server, first.client, "later");
    EXPECT_TRUE(second.Carries("still more"));
    const auto told = server.Events("verdict");
    ASSERT_THAT(told, SizeIs(3)) << "nothing is told of what goes on";
    EXPECT_EQ(told[2]["verdict"], "blocked");
    EXPECT_EQ(told[2]["host"], "later.example");
    EXPECT_EQ(server.TheFilter().Snapshot().judged, 3U);
}

TEST(OpenTunnel, OfAnotherProtocolIsJudgedByItsName) {
    Origin origin(Echo);
    RunningServer server;
    Tunnel first(server, "other.example", origin.Port(), "SSH-2.0-client\r\n");
    Tunnel second(server, "site.example", origin.Port(), "SSH-2.0-client\r\n");
    ExpectEndWhenBlocked(server, first.client, "other.example");
    EXPECT_TRUE(second.Carries("more"));
}

TEST(OpenTunnel, OfAClientThatWasSilentIsJudgedByWhatItSaidThen) {
    Origin origin(Echo);
    RunningServer server(SilentClientSettings());
    Peer client(server.Port());
    client.Send("CONNECT site.example:" + std::to_string(origin.Port()) + " HTTP/1.1\r\nHost: a\r\n\r\n");
    client.ReadUntil("\r\n\r\n");
    ASSERT_TRUE(server.HasEvents("not_examined", 1));  // the server was opened
    const std::string hello = Hello("later.example");
    client.Send(hello);
    EXPECT_EQ(client.ReadBytes(hello.size()), hello);
    ExpectEndWhenBlocked(server, client, "later");
}

TEST(OpenTunnel, BehindAuthTlsIsJudgedByItsHello) {
    Origin origin([](Peer& peer) {
        peer.Send("220 ready\r\n");
        peer.ReadUntil("\r\n");
        peer.Send("234 go on\r\n");
        Echo(peer);
    });
    RunningServer server;
    Peer client(server.Port());
    client.Send("CONNECT site.example:" + std::to_string(origin.Port()) + " HTTP/1.1\r\nHost: a\r\n\r\nAUTH TLS\r\n");
    EXPECT_THAT(client.ReadUntil("234 go on\r\n"), HasSubstr("220 ready"));
    const std::string hello = Hello("later.example");
    client.Send(hello);
    EXPECT_EQ(client.ReadBytes(hello.size()), hello);
    ExpectEndWhenBlocked(server, client, "later");
}

TEST(OpenTunnel, OfAWebSocketIsJudgedByItsRequest) {
    Origin origin([](Peer& peer) {
        peer.ReadUntil("\r\n\r\n");
        peer.Send("HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n\r\n");
        Echo(peer);
    });
    RunningServer server;
    const auto open = [&](Peer& client, const std::string& path) {
        const std::string host = "site.example:" + std::to_string(origin.Port());
        client.Send("GET http://" + host + path + " HTTP/1.1\r\nHost: " + host +
                    "\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n\r\n");
        EXPECT_THAT(client.ReadUntil("\r\n\r\n"), StartsWith("HTTP/1.1 101"));
    };
    Peer first(server.Port());
    open(first, "/game");
    Peer second(server.Port());
    open(second, "/chat");
    ExpectEndWhenBlocked(server, first, "/game");
    second.Send("more");
    EXPECT_EQ(second.ReadBytes(4), "more");
}

TEST(OpenTunnel, IsJudgedAgainWhenThePolicyChangesWhileItIsOpened) {
    FullServer full;
    RunningServer server;
    Peer client(server.Port());
    client.Send("CONNECT site.example:" + std::to_string(full.Port()) + " HTTP/1.1\r\nHost: a\r\n\r\n");
    client.ReadUntil("\r\n\r\n");
    client.Send(Hello("later.example"));
    ASSERT_TRUE(server.HasEvents("verdict", 1));
    server.library.Block("later");
    server.TheFilter().SettingsChanged(0);
    server.TheServer().JudgeAgain();
    EXPECT_EQ(full.TakeNext(), "") << "nothing of it reaches the server";
    EXPECT_TRUE(client.IsClosed());
    ASSERT_THAT(server.Events("verdict"), SizeIs(2));
    EXPECT_EQ(server.Events("verdict")[1]["verdict"], "blocked");
}

TEST(OpenTunnel, OfAWebSocketIsJudgedAgainWhenThePolicyChangesBeforeItIsAnswered) {
    Gate mayAnswer;
    Origin origin([&](Peer& peer) {
        peer.ReadUntil("\r\n\r\n");
        mayAnswer.Wait();
        peer.Send("HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n\r\n");
        Echo(peer);
    });
    RunningServer server;
    Peer client(server.Port());
    const std::string host = "site.example:" + std::to_string(origin.Port());
    client.Send("GET http://" + host + "/game HTTP/1.1\r\nHost: " + host +
                "\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n\r\n");
    ASSERT_TRUE(server.HasEvents("verdict", 1));
    server.library.Block("/game");
    server.TheFilter().SettingsChanged(0);
    server.TheServer().JudgeAgain();
    mayAnswer.Open();
    EXPECT_THAT(client.ReadAll(), StartsWith("HTTP/1.1 101"));
    ASSERT_THAT(server.Events("verdict"), SizeIs(2));
    EXPECT_EQ(server.Events("verdict")[1]["verdict"], "blocked");
}

// Schedules begin without anybody telling.
TEST(OpenTunnel, IsJudgedAgainFromTimeToTime) {
    Origin origin(Echo);
    ServeSettings settings = TestSettings();
    settings.again = std::chrono::milliseconds(50);
    RunningServer server(settings);
    Tunnel tunnel(server, "site.example", origin.Port(), Hello("later.example"));
    EXPECT_TRUE(tunnel.Carries("more"));
    server.library.Block("later");
    EXPECT_TRUE(tunnel.client.IsClosed());
}

// As the library does with the program that asked for a malicious site.
TEST(OpenTunnel, IsEndedWithoutAnActionAgainstItsProgram) {
    constexpr std::uint32_t kProgram = 7;
    RunningServer server;
    std::atomic<bool> isMalicious = false;
    std::atomic<bool> isOnAUsersList = false;
    std::vector<std::uint32_t> actedOn;
    server.library.answer = [&](const ConnectionData& connection) {
        if (isOnAUsersList && connection.processId == kProgram) return FakeLibrary::Malicious("of a user", "");
        if (!isMalicious) return FakeLibrary::Allowed();
        if (connection.processId != 0) actedOn.push_back(connection.processId);
        return FakeLibrary::Malicious("Test.Threat", "");
    };
    const Endpoint endpoint{*ParseIpAddress("203.0.113.9"), 443};
    const NamedServer named{{"later.example", 443}, {endpoint}, {}, kProgram};
    const auto hello = ComposeClientHello("later.example");
    Filter& filter = server.TheFilter();
    ASSERT_FALSE(JudgeHello(filter, named, hello, false).isBlocked);
    const auto isBlockedNow = HelloAgain(filter, named, hello, false);
    EXPECT_FALSE(isBlockedNow());
    isMalicious = true;
    EXPECT_TRUE(isBlockedNow());
    EXPECT_THAT(actedOn, SizeIs(0));
    EXPECT_EQ(server.Events("verdict").back()["process_id"], kProgram);
    EXPECT_TRUE(JudgeHello(filter, named, hello, false).isBlocked);
    EXPECT_THAT(actedOn, testing::ElementsAre(kProgram)) << "a new one is asked for by the program itself";
    isMalicious = false;
    isOnAUsersList = true;
    EXPECT_TRUE(isBlockedNow()) << "rules for users count";
}

TEST(OpenTunnel, IsReachedAmongMany) {
    Origin origin(Echo);
    RunningServer server;
    std::vector<std::unique_ptr<Peer>> others;
    for (int i = 0; i < 120; ++i) others.push_back(std::make_unique<Peer>(server.Port()));
    Tunnel tunnel(server, "site.example", origin.Port(), Hello("later.example"));
    server.library.Block("later");
    server.TheServer().JudgeAgain();
    server.TheServer().JudgeAgain();  // begins anew
    EXPECT_TRUE(tunnel.client.IsClosed());
}

}  // namespace
}  // namespace tarn::host::serve
