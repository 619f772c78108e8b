// Requests in the form for a proxy: what goes upstream, what does not, and in which order answers come.
#include <gmock/gmock.h>
#include <set>

#include "host/serve/plain_page.h"
#include "serve/running_server.h"

namespace tarn::host::serve {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

TEST(HttpProxy, SendsARequestInTheFormForTheServerWithHostFirst) {
    std::string seen;
    Origin origin([&](Peer& peer) {
        seen = peer.ReadUntil("\r\n\r\n");
        peer.Send("HTTP/1.1 200 Fine\r\nX-Own: 1\r\nConnection: close\r\nContent-Length: 2\r\n\r\nok");
    });
    RunningServer server;
    Peer client(server.Port());
    const std::string port = std::to_string(origin.Port());
    client.Send("GET http://site.example:" + port +
                "/a?b=1 HTTP/1.1\r\nX-First: long\r\nHost: other.example\r\nProxy-Connection: keep-alive\r\n"
                "Connection: X-Hop\r\nX-Hop: 1\r\nAccept: */*\r\n\r\n");
    const std::string answer = client.ReadAnswer();
    EXPECT_EQ(seen, "GET /a?b=1 HTTP/1.1\r\nHost: site.example:" + port + "\r\nX-First: long\r\nAccept: */*\r\n\r\n");
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 200 Fine\r\nX-Own: 1\r\n"));
    EXPECT_THAT(answer, EndsWith("\r\n\r\nok"));
    EXPECT_THAT(answer, Not(HasSubstr("Via")));
    ASSERT_THAT(server.library.Asked(), SizeIs(1));
    EXPECT_EQ(server.library.Asked()[0].data, seen) << "what is judged is what is sent";
    EXPECT_EQ(server.library.Asked()[0].server.port, origin.Port());
}

TEST(HttpProxy, JudgesEveryRequestOfAConnection) {
    Origin origin(EchoRequests);
    RunningServer server;
    Peer client(server.Port());
    client.Send(Get("site.example", origin.Port(), "/1"));
    EXPECT_THAT(client.ReadAnswer(), EndsWith("GET /1 HTTP/1.1|"));
    client.Send(Get("site.example", origin.Port(), "/blocked"));
    const std::string page = client.ReadAnswer();
    EXPECT_THAT(page, StartsWith("HTTP/1.1 403 Forbidden\r\n"));
    EXPECT_THAT(page, HasSubstr("Test.Threat"));
    client.Send(Get("site.example", origin.Port(), "/3"));
    EXPECT_THAT(client.ReadAnswer(), EndsWith("GET /3 HTTP/1.1|"));
    EXPECT_THAT(server.library.Asked(), SizeIs(3));
    const auto verdicts = server.Events("verdict");
    ASSERT_THAT(verdicts, SizeIs(3));
    EXPECT_EQ(verdicts[1]["verdict"], "blocked");
    EXPECT_EQ(verdicts[1]["path"], "/blocked");
    EXPECT_EQ(verdicts[1]["flow"]["server_port"], origin.Port());
}

TEST(HttpProxy, NeverOpensTheServerOfABlockedRequest) {
    Origin origin(EchoRequests);
    RunningServer server;
    Peer client(server.Port());
    client.Send(Get("blocked.example", origin.Port()));
    EXPECT_THAT(client.ReadAnswer(), StartsWith("HTTP/1.1 403"));
    EXPECT_EQ(origin.Accepted(), 0U);
    EXPECT_EQ(server.TheFilter().Snapshot().blocked, 1U);
}

TEST(HttpProxy, JudgesANameThatHasNoAddress) {
    RunningServer server;
    Peer client(server.Port());
    client.Send(Get("blocked.invalid", 80));
    EXPECT_THAT(client.ReadAnswer(), StartsWith("HTTP/1.1 403"));
    client.Send(Get("nowhere.invalid", 80));
    EXPECT_THAT(client.ReadAnswer(), StartsWith("HTTP/1.1 502"));
}

TEST(HttpProxy, AnswersPipelinedRequestsInTheirOrder) {
    Origin origin(EchoRequests);
    RunningServer server;
    Peer client(server.Port());
    client.Send(Get("site.example", origin.Port(), "/1") + Get("blocked.example", origin.Port(), "/2") +
                Get("other.example", origin.Port(), "/3"));
    EXPECT_THAT(client.ReadAnswer(), EndsWith("GET /1 HTTP/1.1|"));
    EXPECT_THAT(client.ReadAnswer(), StartsWith("HTTP/1.1 403"));
    EXPECT_THAT(client.ReadAnswer(), EndsWith("GET /3 HTTP/1.1|"));
}

TEST(HttpProxy, PassesAnUpgradeThroughAfterItsRequestWasJudged) {
    Origin origin([](Peer& peer) {
        const std::string head = peer.ReadUntil("\r\n\r\n");
        EXPECT_THAT(head, HasSubstr("Connection: Upgrade\r\nUpgrade: websocket\r\n"));
        peer.Send("HTTP/1.1 101 Switching Protocols\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n\r\nhello");
        peer.Send("got " + peer.ReadBytes(4));
    });
    RunningServer server;
    Peer client(server.Port());
    const std::string port = std::to_string(origin.Port());
    const std::string upgrade = "Upgrade: websocket\r\nConnection: keep-alive, Upgrade\r\n\r\n";
    client.Send("GET http://site.example:" + port + "/chat HTTP/1.1\r\nHost: site.example\r\n" + upgrade);
    EXPECT_THAT(client.ReadUntil("hello"), StartsWith("HTTP/1.1 101 Switching Protocols\r\n"));
    client.Send("ping");
    EXPECT_EQ(client.ReadAll(), "got ping");
    Peer other(server.Port());
    other.Send("GET http://blocked.example:" + port + "/chat HTTP/1.1\r\nHost: blocked.example\r\n" + upgrade);
    EXPECT_THAT(other.ReadAnswer(), StartsWith("HTTP/1.1 403"));
}

TEST(HttpProxy, RefusesRequestsToItselfAndToLinkLocalAddresses) {
    ServeSettings settings = TestSettings();
    settings.socks = settings.status = settings.blockPage = ParseEndpoint("127.0.0.1:0");
    settings.hosts["own.example"] = *ParseIpAddress("127.0.0.1");
    RunningServer server(settings);
    const ServeSettings& own = server.TheServer().Listening();
    std::vector<std::string> targets{"169.254.169.254:80", "[fe80::1]:80", "0.0.0.0:80"};
    for (const std::uint16_t port : {own.proxy->port, own.socks->port, own.status->port, own.blockPage->port})
        for (const char* host : {"127.0.0.1", "127.0.0.2", "[::1]", "[::ffff:127.0.0.1]", "localhost", "own.example"})
            targets.push_back(std::string(host) + ":" + std::to_string(port));
    for (const std::string& target : targets) {
        Peer client(server.Port());
        client.Send("GET http://" + target + "/ HTTP/1.1\r\nHost: x\r\n\r\n");
        EXPECT_THAT(client.ReadAnswer(), StartsWith("HTTP/1.1 403")) << target;
        Peer connecting(server.Port());
        connecting.Send("CONNECT " + target + " HTTP/1.1\r\nHost: x\r\n\r\n");
        EXPECT_THAT(connecting.ReadAnswer(), StartsWith("HTTP/1.1 403")) << target;
    }
    EXPECT_THAT(server.library.Asked(), SizeIs(0));
}

TEST(HttpProxy, RefusesWhatAnInternalErrorKeepsFromBeingJudged) {
    Origin origin(EchoRequests);
    RunningServer server;
    Peer client(server.Port());
    client.Send(Get("internal-error.example", origin.Port()));
    EXPECT_THAT(client.ReadAnswer(), StartsWith("HTTP/1.1 403"));
    EXPECT_EQ(origin.Accepted(), 0U);
    const Counters counted = server.TheFilter().Snapshot();
    EXPECT_EQ(counted.internalErrors, 1U);
    EXPECT_EQ(counted.refusedUnknown, 1U);
    EXPECT_EQ(counted.judged, 1U);
    EXPECT_THAT(server.Events("error"), SizeIs(1));
    ASSERT_THAT(server.Events("verdict"), SizeIs(1));
    const auto told = server.Events("verdict")[0];
    EXPECT_EQ(told["verdict"], "none");
    EXPECT_EQ(told["judged"], "none");
    EXPECT_EQ(told["host"], "internal-error.example:" + std::to_string(origin.Port()));
    EXPECT_EQ(told["passed"], false);
    EXPECT_EQ(told["why_refused"], "an internal error");
}

TEST(HttpProxy, FollowsTheSettingsWithoutAVerdict) {
    Origin origin(EchoRequests);
    RunningServer passing;
    Peer client(passing.Port());
    client.Send(Get("no-verdict.example", origin.Port()));
    EXPECT_THAT(client.ReadAnswer(), StartsWith("HTTP/1.1 200"));
    EXPECT_EQ(passing.Events("verdict").at(0)["passed"], true);
    RunningServer refusing(RefusingSettings());
    Peer other(refusing.Port());
    other.Send(Get("no-verdict.example", origin.Port()));
    EXPECT_THAT(other.ReadAnswer(), StartsWith("HTTP/1.1 403"));
    EXPECT_EQ(refusing.Events("verdict").at(0)["verdict"], "none");
    EXPECT_EQ(refusing.Events("verdict").at(0)["passed"], false);
    EXPECT_EQ(refusing.Events("verdict").at(0)["why_refused"], "the library could not judge it");
    EXPECT_EQ(refusing.TheFilter().Snapshot().withoutVerdict, 0U);
    other.Send(Get("blocked.example", origin.Port()));
    EXPECT_THAT(other.ReadAnswer(), StartsWith("HTTP/1.1 403"));
    EXPECT_EQ(refusing.Events("verdict").at(1)["passed"], false);
    EXPECT_FALSE(refusing.Events("verdict").at(1).contains("why_refused")) << "it is blocked";
    EXPECT_EQ(refusing.TheFilter().Snapshot().refusedUnknown, 1U);
}

TEST(HttpProxy, AsksAgainWhenTheServerHasClosedAKeptConnection) {
    Origin origin([](Peer& peer) {  // one answer for each connection, without saying so
        const std::string head = peer.ReadUntil("\r\n\r\n");
        if (!head.empty()) peer.Send("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok");
    });
    RunningServer server;
    Peer client(server.Port());
    for (int i = 0; i < 3; ++i) {
        client.Send(Get("site.example", origin.Port()));
        EXPECT_THAT(client.ReadAnswer(), EndsWith("\r\n\r\nok"));
    }
    EXPECT_EQ(origin.Accepted(), 3U);
}

TEST(HttpProxy, SaysWhenAServerCannotBeReachedOrSaysNoHttp) {
    Origin origin([](Peer& peer) {
        peer.ReadUntil("\r\n\r\n");
        peer.Send("220 this is no web server\r\n\r\n");
        peer.ReadAll();
    });
    RunningServer server;
    Peer client(server.Port());
    client.Send(Get("site.example", origin.Port()));
    EXPECT_THAT(client.ReadAnswer(), StartsWith("HTTP/1.1 502"));
    std::uint16_t closedPort = 0;
    {
        Origin closed(EchoRequests);
        closedPort = closed.Port();
    }
    client.Send(Get("site.example", closedPort));
    EXPECT_THAT(client.ReadAnswer(), StartsWith("HTTP/1.1 502"));
}

TEST(HttpProxy, SaysWhyInTheLanguageOfTheReader) {
    RunningServer server;
    Peer client(server.Port());
    const auto ask = [&](const std::string& language) {
        client.Send("GET http://site.example:1/ HTTP/1.1\r\nHost: x\r\nAccept-Language: " + language + "\r\n\r\n");
        return client.ReadAnswer();
    };
    const std::string german = ask("de-AT,en;q=0.5");
    EXPECT_THAT(german, StartsWith("HTTP/1.1 502"));
    EXPECT_THAT(german, HasSubstr("<html lang=\"de\">"));
    EXPECT_THAT(german, HasSubstr("<h1>Die Website ist nicht erreichbar</h1>"));
    EXPECT_THAT(german, HasSubstr("<span lang=\"en\">site.example:1 cannot be reached: "));
    const std::string other = ask("fr");
    EXPECT_THAT(other, HasSubstr("<html lang=\"en\">"));
    EXPECT_THAT(other, HasSubstr("<h1>The site cannot be reached</h1>"));
}

TEST(HttpProxy, EachErrorHasAPageThatEscapesWhatHappened) {
    std::set<std::string> titles;
    for (const unsigned status : {400U, 403U, 431U, 502U, 599U})
        for (Language language = 0; language < kLanguages.size(); ++language) {
            const std::string page = PlainPage(status, "a<b> & \x1B[2J", language);
            EXPECT_THAT(page, HasSubstr("a&lt;b&gt; &amp; "));
            EXPECT_THAT(page, Not(HasSubstr("\x1B")));
            EXPECT_THAT(page, HasSubstr(std::to_string(status)));
            EXPECT_THAT(page, Not(HasSubstr("<p></p>")));
            const std::size_t begin = page.find("<h1>");
            EXPECT_TRUE(titles.insert(page.substr(begin, page.find("</h1>") - begin)).second) << status << language;
        }
}

}  // namespace
}  // namespace tarn::host::serve
