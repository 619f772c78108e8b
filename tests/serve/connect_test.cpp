// CONNECT: what a client says first is judged before its server is opened, and each later request of HTTP.
#include <gmock/gmock.h>

#include "host/composed_request.h"
#include "serve/running_server.h"

namespace tarn::host::serve {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;

constexpr const char* kOpen = "HTTP/1.1 200 Connection established\r\n\r\n";

// The same hello in records of so many bytes.
std::string InRecords(const std::string& hello, std::size_t size) {
    std::string records;
    for (std::size_t at = 5; at < hello.size(); at += size) {
        const std::string part = hello.substr(at, size);
        records += std::string("\x16\x03\x01") + static_cast<char>(part.size() >> 8) +
                   static_cast<char>(part.size() & 0xFF) + part;
    }
    return records;
}

struct Opened {
    Peer client;
    std::string answer;
    Opened(const RunningServer& server, std::uint16_t port) : client(server.Port()) {
        client.Send("CONNECT site.example:" + std::to_string(port) + " HTTP/1.1\r\nHost: site.example\r\n\r\n");
        answer = client.ReadUntil("\r\n\r\n");
    }
};

// All that was judged so far was refused, and each says why.
void ExpectRefused(RunningServer& server, std::size_t count, const std::string& why) {
    const auto verdicts = server.Events("verdict");
    EXPECT_THAT(verdicts, SizeIs(count));
    for (const auto& event : verdicts) {
        EXPECT_EQ(event["passed"], false) << event;
        EXPECT_THAT(event.value("why_refused", ""), HasSubstr(why)) << event;
    }
    const Counters counters = server.TheFilter().Snapshot();
    EXPECT_EQ(counters.refusedUnknown, count);
    EXPECT_EQ(counters.allowed, 0U);
}

TEST(Connect, JudgesAHelloBeforeTheServerIsOpened) {
    Origin origin(Echo);
    RunningServer server;
    Opened blocked(server, origin.Port());
    EXPECT_EQ(blocked.answer, kOpen);
    blocked.client.Send(Hello("blocked.example"));
    EXPECT_EQ(blocked.client.ReadAll(), std::string("\x15\x03\x03\x00\x02\x02\x31", 7)) << "access denied";
    EXPECT_EQ(origin.Accepted(), 0U);

    Opened allowed(server, origin.Port());
    const std::string hello = Hello("site.example");
    allowed.client.Send(hello);
    EXPECT_EQ(allowed.client.ReadBytes(hello.size()), hello);
    allowed.client.Send("more");
    EXPECT_EQ(allowed.client.ReadBytes(4), "more");
    allowed.client.EndSending();
    EXPECT_TRUE(allowed.client.IsClosed());
    ASSERT_THAT(server.library.Asked(), SizeIs(2));
    EXPECT_EQ(server.library.Asked()[1].kind, TARN_KIND_TLS);
    EXPECT_EQ(server.library.Asked()[1].data, hello);
    EXPECT_EQ(server.Events("verdict")[0]["host"], "blocked.example");
}

TEST(Connect, PutsAHelloTogetherThatComesInManyRecordsAndSegments) {
    Origin origin(Echo);
    RunningServer server;
    Opened blocked(server, origin.Port());
    const std::string hello = Hello("blocked.example");
    for (const char byte : InRecords(hello, 40)) blocked.client.Send(std::string(1, byte));
    EXPECT_THAT(blocked.client.ReadAll(), SizeIs(7));
    EXPECT_EQ(origin.Accepted(), 0U);
    ASSERT_THAT(server.library.Asked(), SizeIs(1));
    EXPECT_EQ(server.library.Asked()[0].data, hello) << "in one record";

    Opened allowed(server, origin.Port());
    const std::string split = InRecords(Hello("site.example"), 40);
    allowed.client.Send(split);
    EXPECT_EQ(allowed.client.ReadBytes(split.size()), split) << "as it came";
}

TEST(Connect, TellsOfAHelloThatIsTooLong) {
    Origin origin(Echo);
    RunningServer passing;
    const std::string part = std::string("\x16\x03\x01\x3F\xFF\x01\x01\x00\x00", 9) + std::string(100, 'x');
    Opened passed(passing, origin.Port());
    passed.client.Send(part);
    EXPECT_EQ(passed.client.ReadBytes(part.size()), part);
    ASSERT_TRUE(passing.HasEvents("not_examined", 1));
    EXPECT_EQ(passing.Events("not_examined")[0]["what"], "hello_split");
    EXPECT_EQ(passing.Events("not_examined")[0]["passed"], true);

    RunningServer refusing(RefusingSettings());
    Opened refused(refusing, origin.Port());
    refused.client.Send(part);
    EXPECT_THAT(refused.client.ReadAll(), SizeIs(7));
    EXPECT_EQ(origin.Accepted(), 1U);
}

// Its rest would pass unseen: a hello with another name, or the request itself.
TEST(Connect, RefusesWhatItsClientBeginsAndDoesNotEndInTime) {
    Origin origin(Echo);
    ServeSettings settings = TestSettings();
    settings.head = std::chrono::seconds(1);
    RunningServer server(settings);
    Opened hello(server, origin.Port());
    hello.client.Send(Hello("site.example").substr(0, 50));
    EXPECT_THAT(hello.client.ReadAll(), SizeIs(7)) << "access denied";
    Opened request(server, origin.Port());
    request.client.Send("GE");
    EXPECT_TRUE(request.client.IsClosed());
    EXPECT_EQ(origin.Accepted(), 0U);
    const auto told = server.Events("not_examined");
    ASSERT_THAT(told, SizeIs(2));
    EXPECT_EQ(told[0]["what"], "hello_split");
    EXPECT_EQ(told[1]["what"], "unknown_protocol");
    for (const auto& event : told) EXPECT_EQ(event["passed"], false);
    ExpectRefused(server, 2, "not whole in time");
}

TEST(Connect, RefusesWhatIsNoRequestOnPortsOfTheWeb) {
    ServeSettings settings = TestSettings();
    settings.hosts["site.example"] = *ParseIpAddress("192.0.2.1");
    RunningServer server(settings);
    for (const char* said : {"PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n", "SSH-2.0-client\r\n"})
        for (const std::uint16_t port : {std::uint16_t{80}, std::uint16_t{8080}}) {
            Opened opened(server, port);
            opened.client.Send(said);
            EXPECT_TRUE(opened.client.IsClosed()) << said << port;
        }
    const auto told = server.Events("not_examined");
    ASSERT_THAT(told, SizeIs(4));
    for (const auto& event : told) EXPECT_EQ(event["passed"], false) << event;
    ExpectRefused(server, 4, "on this port");
}

TEST(Connect, JudgesAHelloBehindLineEnds) {
    Origin origin(Echo);
    RunningServer server;
    Opened blocked(server, origin.Port());
    blocked.client.Send("\r\n" + Hello("blocked.example"));
    EXPECT_THAT(blocked.client.ReadAll(), SizeIs(7)) << "access denied";
    EXPECT_EQ(origin.Accepted(), 0U);
    ASSERT_FALSE(server.library.Asked().empty());
    EXPECT_EQ(server.library.Asked()[0].data, Hello("blocked.example")) << "as the library reads it";
}

TEST(Connect, EndsAClientThatSendsNothingButLineEnds) {
    Origin origin(Echo);
    ServeSettings settings = TestSettings();
    settings.head = std::chrono::seconds(600);
    RunningServer server(settings);
    Opened opened(server, origin.Port());
    const std::string lineEnds(1000, '\n');
    std::size_t sent = 0;
    while (sent < 1'000'000 && opened.client.Send(lineEnds) && opened.client.IsSilent(std::chrono::milliseconds(5)))
        sent += lineEnds.size();
    EXPECT_LT(sent, 1'000'000U);
    EXPECT_GE(sent, 10'000U);
    EXPECT_EQ(origin.Accepted(), 0U);
}

TEST(Connect, JudgesEachRequestOfHttpInside) {
    Origin origin(EchoRequests);
    RunningServer server;
    Opened opened(server, origin.Port());
    opened.client.Send("\r\nGET /1 HTTP/1.1\r\nHost: site.example\r\n\r\n");
    EXPECT_THAT(opened.client.ReadAnswer(), EndsWith("GET /1 HTTP/1.1|"));
    opened.client.Send("GET /2 HTTP/1.1\r\nHost: blocked.example\r\n\r\n");
    EXPECT_THAT(opened.client.ReadAnswer(), StartsWith("HTTP/1.1 403"));
    opened.client.Send("GET /3 HTTP/1.1\r\nHost: site.example\r\n\r\n");
    EXPECT_THAT(opened.client.ReadAnswer(), EndsWith("GET /3 HTTP/1.1|"));
    EXPECT_THAT(server.library.Asked(), SizeIs(3));
}

TEST(Connect, FollowsTheSettingsWithWhatIsNeitherTlsNorHttp) {
    Origin origin(Echo);
    RunningServer passing;
    for (const std::string& said : {std::string("SSH-2.0-client\r\n"), std::string("\x01\x02\x03"),
                                    std::string("PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n")}) {
        Opened passed(passing, origin.Port());
        passed.client.Send(said);
        EXPECT_EQ(passed.client.ReadBytes(said.size()), said);
    }
    ASSERT_TRUE(passing.HasEvents("not_examined", 3));
    EXPECT_EQ(passing.Events("not_examined")[2]["what"], "http2");
    EXPECT_EQ(passing.Events("not_examined")[0]["what"], "unknown_protocol");
    RunningServer refusing(RefusingSettings());
    Opened refused(refusing, origin.Port());
    refused.client.Send("SSH-2.0-client\r\n");
    EXPECT_TRUE(refused.client.IsClosed());
    ExpectRefused(refusing, 1, "a protocol that is not judged");
    EXPECT_EQ(origin.Accepted(), 3U);
}

TEST(Connect, LetsAServerSpeakFirstAndJudgesTheClientNevertheless) {
    Origin origin([](Peer& peer) {
        peer.Send("220 ready\r\n");
        Echo(peer);
    });
    RunningServer server(SilentClientSettings());
    Opened talking(server, origin.Port());
    EXPECT_EQ(talking.client.ReadBytes(11), "220 ready\r\n");
    talking.client.Send("EHLO me\r\n");
    EXPECT_EQ(talking.client.ReadBytes(9), "EHLO me\r\n");
    Opened sly(server, origin.Port());
    EXPECT_EQ(sly.client.ReadBytes(11), "220 ready\r\n");
    sly.client.Send(Hello("blocked.example"));
    EXPECT_TRUE(sly.client.IsClosed());
    EXPECT_EQ(server.Events("verdict").back()["verdict"], "blocked");
    for (const std::string& said : {Hello("site.example"), std::string("GET / HTTP/1.1\r\nHost: a\r\n\r\n")}) {
        Opened odd(server, origin.Port());
        EXPECT_EQ(odd.client.ReadBytes(11), "220 ready\r\n");
        odd.client.Send(said);
        EXPECT_TRUE(odd.client.IsClosed());
        EXPECT_EQ(server.Events("verdict").back()["passed"], false) << said;
        EXPECT_EQ(server.Events("verdict").back()["why_refused"], "a server that speaks first takes no such beginning");
    }
}

TEST(Connect, JudgesHttpOfAClientThatWasSilentForLong) {
    Origin origin(EchoRequests);
    RunningServer server(SilentClientSettings());
    Opened opened(server, origin.Port());
    ASSERT_TRUE(server.HasEvents("not_examined", 1));  // the server was opened
    opened.client.Send("GET /1 HTTP/1.1\r\nHost: site.example\r\n\r\n");
    EXPECT_THAT(opened.client.ReadAnswer(), EndsWith("GET /1 HTTP/1.1|"));
    opened.client.Send("GET /2 HTTP/1.1\r\nHost: blocked.example\r\n\r\n");
    EXPECT_THAT(opened.client.ReadAnswer(), StartsWith("HTTP/1.1 403"));
}

TEST(Connect, EndsBothSidesWithAReset) {
    std::atomic<bool> hasEnded = false;
    Origin origin([&](Peer& peer) {
        peer.ReadAll();
        hasEnded = true;
    });
    RunningServer server;
    {
        Opened opened(server, origin.Port());
        opened.client.Send(Hello("site.example"));
        ASSERT_TRUE(server.HasEvents("verdict", 1));
        opened.client.Reset();
    }
    EXPECT_TRUE(server.TheServer().Shared().connections.WaitUntilEmpty(kTestLimit));
}

}  // namespace
}  // namespace tarn::host::serve
