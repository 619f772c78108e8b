// The status page's listener: requests, the stream of events, and clients that mean no good.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include "host/serve/pages/status_feed.h"
#include "serve/running_server.h"

namespace tarn::host::serve {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

ServeSettings WithStatus() {
    ServeSettings settings = TestSettings();
    settings.status = ParseEndpoint("127.0.0.1:0");
    return settings;
}

class StatusConnection : public testing::Test {
 protected:
    [[nodiscard]] std::uint16_t Port() { return server_.TheServer().Listening().status->port; }
    [[nodiscard]] std::string Ask(const std::string& target, const std::string& fields = {},
                                  const std::string& method = "GET") {
        return fmt::format("{} {} HTTP/1.1\r\nHost: 127.0.0.1:{}\r\n{}\r\n", method, target, Port(), fields);
    }
    // What a browser behind the filter asks for.
    void Browse(const std::string& host) {
        Peer client(server_.Port());
        client.Send(Get(host, origin_.Port()));
        client.ReadAnswer();
    }

    Origin origin_{EchoRequests};
    RunningServer server_{WithStatus()};
};

TEST_F(StatusConnection, RequestsFollowEachOther) {
    Peer peer(Port());
    peer.Send(Ask("/"));
    EXPECT_THAT(peer.ReadAnswer(),
                AllOf(StartsWith("HTTP/1.1 200 OK\r\n"), HasSubstr("<h1>What the filter does</h1>")));
    peer.Send(Ask("/", "Accept-Language: de\r\n") + Ask("/proxy.pac"));
    EXPECT_THAT(peer.ReadAnswer(), HasSubstr("<h1>Was der Filter tut</h1>"));
    EXPECT_THAT(peer.ReadAnswer(), HasSubstr(fmt::format("PROXY 127.0.0.1:{}", server_.Port())));
    peer.Send(Ask("/none", "Connection: close\r\n"));
    EXPECT_THAT(peer.ReadAll(), AllOf(StartsWith("HTTP/1.1 404 Not Found\r\n"), HasSubstr("Connection: close\r\n")));
}

TEST_F(StatusConnection, HeadGetsNoBody) {
    Peer peer(Port());
    peer.Send(Ask("/", "Connection: close\r\n", "HEAD"));
    EXPECT_THAT(peer.ReadAll(), AllOf(HasSubstr("Content-Length: "), EndsWith("\r\n\r\n")));
}

TEST_F(StatusConnection, StateCountsWhatWasJudged) {
    Peer client(server_.Port());
    for (const char* host : {"site.example", "site.example", "blocked.example"}) {
        client.Send(Get(host, origin_.Port()));
        client.ReadAnswer();
    }
    Browse("blocked.example");
    Peer peer(Port());
    peer.Send(Ask("/api/state"));
    const std::string answer = peer.ReadAnswer();
    const auto state = nlohmann::json::parse(answer.substr(answer.find("\r\n\r\n") + 4));
    EXPECT_EQ(state["allowed"], 2);
    EXPECT_EQ(state["blocked"], 2);
    EXPECT_EQ(state["unknown_clients"], 2) << "connections of clients, without the one to the page";
    EXPECT_GE(state["connections"], 1);
    EXPECT_EQ(state["sites"][0]["host"], "blocked.example") << "without its port";
}

TEST_F(StatusConnection, StreamTellsVerdictsAsTheyAreGiven) {
    Peer peer(Port());
    peer.Send(Ask("/api/events"));
    EXPECT_THAT(peer.ReadUntil("retry: 2000\n\n"), HasSubstr("Content-Type: text/event-stream\r\n"));
    for (const char* host : {"site.example", "blocked.example"}) {
        Browse(host);
        EXPECT_THAT(peer.ReadUntil("\n\n"), AllOf(StartsWith("event: verdict\ndata: {"), HasSubstr(host)));
    }
    Event unread = BeginEvent("not_examined");
    unread["outer_name"] = "outer.example";
    server_.TheFilter().Events().Write(unread);
    EXPECT_THAT(peer.ReadUntil("\n\n"), AllOf(StartsWith("event: not_examined\ndata: {"), HasSubstr("outer.example")));
}

TEST_F(StatusConnection, StreamThatNobodyReadsHoldsNothingUp) {
    Peer lazy(Port());
    lazy.Send(Ask("/api/events"));
    lazy.ReadUntil("retry: 2000\n\n");
    for (int i = 0; i < 300; ++i) Browse("blocked.example");
    Peer peer(Port());
    peer.Send(Ask("/api/state"));
    EXPECT_THAT(peer.ReadAnswer(), HasSubstr("\"blocked\":300"));
}

TEST_F(StatusConnection, TooManyStreamsAreTurnedAway) {
    std::vector<std::unique_ptr<Peer>> streams;
    for (std::size_t i = 0; i < StatusFeed::kMostReaders; ++i) {
        streams.push_back(std::make_unique<Peer>(Port()));
        streams.back()->Send(Ask("/api/events"));
        EXPECT_THAT(streams.back()->ReadUntil("retry"), HasSubstr("200 OK"));
    }
    Peer peer(Port());
    peer.Send(Ask("/api/events", "Connection: close\r\n"));
    EXPECT_THAT(peer.ReadAll(), StartsWith("HTTP/1.1 503 "));
}

TEST_F(StatusConnection, OtherNamesAndMethodsAreRefused) {
    Peer peer(Port());
    peer.Send("GET / HTTP/1.1\r\nHost: evil.example\r\n\r\n");
    EXPECT_THAT(peer.ReadAnswer(), AllOf(StartsWith("HTTP/1.1 403 "), Not(HasSubstr("<html"))));
    peer.Send(Ask("/api/state", "Origin: http://evil.example\r\n"));
    EXPECT_THAT(peer.ReadAnswer(), StartsWith("HTTP/1.1 403 "));
    peer.Send(Ask("/", {}, "DELETE"));
    EXPECT_THAT(peer.ReadAnswer(), StartsWith("HTTP/1.1 405 "));
}

TEST_F(StatusConnection, BadRequestsEndTheConnectionAlone) {
    for (const std::string& bad :
         {std::string("\x16\x03\x01 no request\r\n\r\n"), Ask("/", "Content-Length: 9\r\n") + "too much!",
          Ask("/", "X: " + std::string(20000, 'x') + "\r\n")}) {
        Peer peer(Port());
        peer.Send(bad);
        EXPECT_THAT(peer.ReadAll(), StartsWith("HTTP/1.1 4"));
    }
    Peer peer(Port());
    peer.Send(Ask("/api/state"));
    EXPECT_THAT(peer.ReadAnswer(), StartsWith("HTTP/1.1 200 "));
}

TEST(SlowStatusConnection, IsClosedAfterTheTimeForHeads) {
    ServeSettings settings = WithStatus();
    settings.head = std::chrono::seconds(1);
    RunningServer server(settings);
    Peer slow(server.TheServer().Listening().status->port);
    slow.Send("GET / HT");
    EXPECT_EQ(slow.ReadAll(), "");
}

TEST_F(StatusConnection, EndOfTheServerEndsStreams) {
    Peer peer(Port());
    peer.Send(Ask("/api/events"));
    peer.ReadUntil("retry: 2000\n\n");
    EXPECT_TRUE(server_.TheServer().Stop()) << "before the time for draining is over";
    EXPECT_TRUE(peer.IsClosed());
}

TEST_F(StatusConnection, BlockPageSaysWhyInTheLanguageOfTheBrowser) {
    Peer client(server_.Port());
    const std::string authority = fmt::format("blocked.example:{}", origin_.Port());
    client.Send(fmt::format("GET http://{0}/ HTTP/1.1\r\nHost: {0}\r\nAccept-Language: de-AT\r\n\r\n", authority));
    EXPECT_THAT(client.ReadAnswer(),
                AllOf(StartsWith("HTTP/1.1 403 "), HasSubstr("<html lang=\"de\">"), HasSubstr("Test.Threat")));
}

}  // namespace
}  // namespace tarn::host::serve
