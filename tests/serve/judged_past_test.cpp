// Requests in forms that the library does not read, or under names that it does not see: they do not get past it.
#include <fmt/format.h>
#include <future>
#include <gmock/gmock.h>

#include "host/composed_request.h"
#include "host/serve/client_process.h"
#include "host/serve/named_server.h"
#include "policy/policy_reader.h"
#include "serve/running_server.h"

namespace tarn::host::serve {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

// Reads as the library does: hellos, and of HTTP the first 2,047 bytes of three methods with a target that is not too
// long. Lists hold hosts without dots around them.
Judgement ReadAsTheLibrary(const ConnectionData& connection) {
    std::string host = ViewTlsHello(connection.data).host;
    if (connection.kind == TARN_KIND_HTTP) {
        const std::string text = std::string(connection.data.begin(), connection.data.end()).substr(0, 2047);
        const std::size_t blank = text.find(' ');
        const std::string method = text.substr(0, blank);
        const std::size_t version = text.find(" HTTP/1.");
        const std::size_t at = text.find("Host: ");
        const std::size_t end = text.find("\r\n", at);
        if ((method != "GET" && method != "POST" && method != "CONNECT") || version - blank > 1024 ||
            at == std::string::npos || end == std::string::npos || end - at > 6 + 259)
            return {};
        host = text.substr(at + 6, end - at - 6);
        host = host.substr(0, host.rfind(':'));
    }
    return host == "blocked.example" ? FakeLibrary::Malicious("Test.Threat", "") : FakeLibrary::Allowed();
}

class JudgedPast : public testing::Test {
 protected:
    JudgedPast() { server_.library.answer = ReadAsTheLibrary; }

    std::string Answer(const std::string& request) {
        Peer client(server_.Port());
        client.Send(request);
        return client.ReadAnswer();
    }
    std::string AnswerHeadOf(const std::string& request) {
        Peer client(server_.Port());
        client.Send(request);
        return client.ReadUntil("\r\n\r\n");
    }
    // Behind a CONNECT to the host and the origin's port, or to that port.
    std::unique_ptr<Peer> Open(const std::string& host, std::uint16_t port = 0) {
        auto client = std::make_unique<Peer>(server_.Port());
        client->Send(fmt::format("CONNECT {}:{} HTTP/1.1\r\n\r\n", host, port != 0 ? port : origin_.Port()));
        EXPECT_THAT(client->ReadUntil("\r\n\r\n"), StartsWith("HTTP/1.1 200"));
        return client;
    }
    std::string Head(const std::string& line, const std::string& host) {
        return fmt::format("{} HTTP/1.1\r\nHost: {}\r\n\r\n", line, host);
    }
    std::string Url(const std::string& host) { return fmt::format("http://{}:{}", host, origin_.Port()); }

    Origin origin_{EchoRequests};
    RunningServer server_;
};

TEST_F(JudgedPast, NoMethodAndNoLengthHidesARequest) {
    const std::string url = Url("blocked.example") + "/";
    for (const std::string& line :
         {"GET " + url + "?" + std::string(1024, 'a'), "HEAD " + url, "PUT " + url, "OPTIONS " + url, "get " + url,
          "OPTIONS " + Url("blocked.example"), "PROPFIND " + url + std::string(3000, 'b'),
          fmt::format("GET http://blocked.example:{}{}/", std::string(300, '0'), origin_.Port())})
        EXPECT_THAT(AnswerHeadOf(Head(line, "x")), StartsWith("HTTP/1.1 403")) << line;
    const auto client = Open("blocked.example");
    client->Send("GET /x HTTP/1.1\r\nHost:\r\n\r\n");
    EXPECT_THAT(client->ReadAnswer(), StartsWith("HTTP/1.1 403"));
    EXPECT_EQ(origin_.Accepted(), 0U);

    const std::string path = "/" + std::string(2000, 'a');
    EXPECT_THAT(Answer(Head("PATCH " + Url("site.example") + path, "x")), EndsWith("PATCH " + path + " HTTP/1.1|"));
    EXPECT_EQ(server_.Events("verdict").back()["verdict"], "allowed");
    EXPECT_EQ(server_.Events("verdict").back()["judged"], "part") << "the target is cut";
    EXPECT_EQ(server_.TheFilter().Snapshot().withoutVerdict, 0U);
}

TEST_F(JudgedPast, NoDotBehindAHostHidesIt) {
    EXPECT_THAT(Answer(Head("GET " + Url("blocked.example.") + "/", "x")), StartsWith("HTTP/1.1 403"));
    const auto inside = Open("site.example");
    inside->Send(Head("GET /", "blocked.example.."));
    EXPECT_THAT(inside->ReadAnswer(), StartsWith("HTTP/1.1 403"));
    const auto hello = Open("site.example");
    hello->Send(Hello("blocked.example."));
    EXPECT_THAT(hello->ReadAll(), SizeIs(7)) << "access denied";
    EXPECT_EQ(origin_.Accepted(), 0U);
}

TEST_F(JudgedPast, NoOtherNameHidesTheOneOfConnect) {
    for (const std::string& said : {Hello(""), Hello("site.example"), std::string("SSH-2.0-client\r\n")}) {
        const auto client = Open("blocked.example");
        client->Send(said);
        EXPECT_THAT(client->ReadAll(), Not(HasSubstr(said)));
    }
    const auto client = Open("blocked.example");
    client->Send(Head("GET /", "site.example"));
    EXPECT_THAT(client->ReadAnswer(), StartsWith("HTTP/1.1 403"));
    const auto absolute = Open("site.example");
    absolute->Send(Head("GET https://blocked.example/evil", "site.example"));
    EXPECT_THAT(absolute->ReadAnswer(), StartsWith("HTTP/1.1 400"));
    EXPECT_EQ(origin_.Accepted(), 0U);
    const std::size_t asked = server_.library.Asked().size();
    const auto good = Open("SITE.example.");
    good->Send(Hello("site.example"));
    ASSERT_TRUE(server_.HasEvents("verdict", 5));
    EXPECT_THAT(server_.library.Asked(), SizeIs(asked + 1)) << "the same name is asked once";
}

TEST_F(JudgedPast, NoUnusualMethodHidesTheRequestBehindIt) {
    const auto client = Open("site.example");
    client->Send(Head("A_B /", "site.example"));
    EXPECT_THAT(client->ReadAnswer(), EndsWith("A_B / HTTP/1.1|"));
    client->Send(Head("GET /evil", "blocked.example"));
    EXPECT_THAT(client->ReadAnswer(), StartsWith("HTTP/1.1 403"));
    const auto web = Open("site.example", 80);
    web->Send("\x01\x02 something else\r\n");
    EXPECT_TRUE(web->IsClosed());
    ASSERT_THAT(server_.Events("not_examined"), SizeIs(1));
    EXPECT_EQ(server_.Events("not_examined")[0]["passed"], false);
}

TEST_F(JudgedPast, NoWayToWriteAnAddressHidesIt) {
    for (const char* host : {"2130706433", "127.1", "0x7f.0.0.1", "127.0.0.1."})
        EXPECT_THAT(Answer(Head("GET " + Url(host) + "/", "x")), StartsWith("HTTP/1.1 400")) << host;
    EXPECT_EQ(origin_.Accepted(), 0U);
    EXPECT_THAT(Answer(Head("GET " + Url("[::ffff:127.0.0.1]") + "/", "x")), StartsWith("HTTP/1.1 200"));
    ASSERT_THAT(server_.library.Asked(), SizeIs(1));
    EXPECT_EQ(server_.library.Asked()[0].server, (Endpoint{*ParseIpAddress("127.0.0.1"), origin_.Port()}));
}

// The system's look-up may make another name of it: \xAA becomes "a" in some code pages, \uFF42 "b".
TEST_F(JudgedPast, NoLetterBeyondAsciiHidesAName) {
    for (const char* host : {"b\xAA"
                             "d.example",
                             "b\xFC"
                             "cher.example",
                             "\xEF\xBD\x82locked.example"}) {
        EXPECT_THAT(Answer(Head("GET " + Url(host) + "/", "x")), StartsWith("HTTP/1.1 400")) << host;
        EXPECT_THAT(Answer(Head(fmt::format("CONNECT {}:{}", host, origin_.Port()), host)), StartsWith("HTTP/1.1 400"))
            << host;
        const auto inside = Open("site.example");
        inside->Send(Head("GET /", host));
        EXPECT_THAT(inside->ReadAnswer(), StartsWith("HTTP/1.1 400")) << host;
    }
    EXPECT_THAT(server_.library.Asked(), SizeIs(0));
    EXPECT_EQ(origin_.Accepted(), 0U);
}

TEST_F(JudgedPast, NobodyFindsAnotherEndOfABody) {
    const std::string line = "POST " + Url("site.example") + "/ HTTP/1.";
    const std::string body = "2\r\nhi\r\n0\r\n\r\n";
    for (const char* head :
         {"1\r\nTransfer-Encoding: gzip\r\nTransfer-Encoding: chunked\r\n",
          "1\r\nTransfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n",
          "1\r\nTransfer-Encoding: gzip, chunked\r\n", "1\r\nTransfer-Encoding: chunked, chunked\r\n",
          "1\r\nTransfer-Encoding: gzip\r\n", "0\r\nTransfer-Encoding: chunked\r\n"})
        EXPECT_THAT(Answer(line + head + "\r\n" + body), StartsWith("HTTP/1.1 400")) << head;
    EXPECT_EQ(origin_.Accepted(), 0U);
    EXPECT_THAT(Answer(line + "1\r\nTransfer-Encoding: Chunked\r\n\r\n" + body), EndsWith("|" + body));
    for (const std::string encoding : {"gzip\r\nTransfer-Encoding: chunked", "gzip, chunked"}) {
        Origin odd([&](Peer& peer) {
            peer.ReadUntil("\r\n\r\n");
            peer.Send("HTTP/1.1 200 OK\r\nTransfer-Encoding: " + encoding + "\r\n\r\n" + body);
        });
        EXPECT_THAT(Answer(Get("site.example", odd.Port())), StartsWith("HTTP/1.1 502")) << encoding;
    }
}

TEST_F(JudgedPast, NoUpgradeButToWebSocketsIsAskedFor) {
    for (const char* upgrade : {"h2c", "TLS/1.0", "websocket, h2c", "websocket\r\nUpgrade: h2c"}) {
        std::string seen;
        Origin changing([&](Peer& peer) {
            seen = peer.ReadUntil("\r\n\r\n");
            peer.Send("HTTP/1.1 101 Switching Protocols\r\nConnection: Upgrade\r\nUpgrade: h2c\r\n\r\n");
            EXPECT_THAT(peer.ReadAll(), IsEmpty());
        });
        Peer client(server_.Port());
        client.Send(
            fmt::format("GET http://site.example:{}/ HTTP/1.1\r\nConnection: Upgrade\r\nUpgrade: {}\r\n"
                        "HTTP2-Settings: AAMAAABk\r\n\r\n",
                        changing.Port(), upgrade));
        EXPECT_THAT(client.ReadAnswer(), StartsWith("HTTP/1.1 502")) << upgrade;
        EXPECT_THAT(seen, Not(HasSubstr("Upgrade"))) << upgrade;
        EXPECT_THAT(seen, Not(HasSubstr("Settings"))) << upgrade;
    }
    Origin turning([](Peer& peer) {  // to something else than what was asked for
        peer.ReadUntil("\r\n\r\n");
        peer.Send("HTTP/1.1 101 Switching Protocols\r\nConnection: Upgrade\r\nUpgrade: h2c\r\n\r\n");
    });
    EXPECT_THAT(Answer(fmt::format("GET http://site.example:{}/ HTTP/1.1\r\nConnection: Upgrade\r\n"
                                   "Upgrade: WebSocket\r\n\r\n",
                                   turning.Port())),
                StartsWith("HTTP/1.1 502"));
}

TEST_F(JudgedPast, NoSecondAddressHidesBehindTheFirst) {
    const Endpoint first{*ParseIpAddress("10.9.9.9"), 443};
    const Endpoint second{*ParseIpAddress("203.0.113.9"), 443};
    server_.library.answer = [second](const ConnectionData& connection) {
        return connection.server == second ? FakeLibrary::Malicious("Test.Threat", "") : FakeLibrary::Allowed();
    };
    const NamedServer server{{"site.example", 443}, {first, second}, {}, 0};
    const auto hello = ComposeClientHello("site.example");
    EXPECT_TRUE(JudgeHello(server_.TheFilter(), server, hello, false).isBlocked);
    EXPECT_TRUE(JudgeName(server_.TheFilter(), server).isBlocked);
    EXPECT_FALSE(JudgeName(server_.TheFilter(), {server.target, {first}, {}, 0}).isBlocked);
    EXPECT_EQ(server_.TheFilter().Snapshot().judged, 3U) << "each is one verdict";
    EXPECT_EQ(server_.Events("verdict")[0]["flow"]["server"], "203.0.113.9");
}

TEST_F(JudgedPast, AnAddressDoesNotTakeATimeFromASiteThatIsAllowedAtAnyTime) {
    server_.library.answer = [](const ConnectionData& connection) {
        Judgement judgement = FakeLibrary::Allowed();
        if (ViewTlsHello(connection.data).host == "school.example") return judgement;
        judgement.verdict.allow = TARN_BLOCK;
        judgement.verdict.reason = TARN_REASON_SCHEDULE;
        return judgement;
    };
    const Endpoint endpoint{*ParseIpAddress("203.0.113.9"), 443};
    const auto hello = ComposeClientHello("school.example");
    Filter& filter = server_.TheFilter();
    EXPECT_FALSE(JudgeHello(filter, {{"203.0.113.9", 443}, {endpoint}, {}, 0}, hello, false).isBlocked);
    EXPECT_TRUE(JudgeHello(filter, {{"game.example", 443}, {endpoint}, {}, 0}, hello, false).isBlocked);
}

constexpr const char* kUsers = R"(
[[parental.users]]
account = "S-1-5-21-1-2-3-1001"
block_list = true

[[parental.users.blocked_sites]]
host = "blocked.example"
)";

class UnknownProcess : public JudgedPast {
 protected:
    // As the library holds nobody to the lists of sites whose user it does not know.
    UnknownProcess() {
        server_.library.answer = [this](const ConnectionData& connection) {
            if (connection.processId != 0) known_ = connection.processId;
            return connection.processId == 0 ? FakeLibrary::Allowed() : ReadAsTheLibrary(connection);
        };
    }
    static void Use(RunningServer& server, int mode) {
        auto read = policy::ParsePolicy(fmt::format("[parental]\nmode = {}\n{}", mode, kUsers));
        for (const auto& mistake : read.mistakes) ADD_FAILURE() << mistake.text;
        server.TheFilter().UsePolicy(std::make_shared<const policy::Policy>(std::move(read.policy)));
    }
    std::uint32_t known_ = 0;
    std::atomic<std::uint16_t> port_ = 0;
};

TEST_F(UnknownProcess, IsHeldToTheListsThatCountForEverybody) {
    Use(server_, TARN_PC_ONE_FOR_ALL);
    EXPECT_THAT(Answer(Get("blocked.example", origin_.Port())), StartsWith("HTTP/1.1 403"));
    EXPECT_EQ(known_, OwnProcessId());
    EXPECT_EQ(origin_.Accepted(), 0U);
    EXPECT_THAT(Answer(Get("site.example", origin_.Port())), StartsWith("HTTP/1.1 200"));
}

TEST_F(UnknownProcess, IsNotJudgedWhereUsersHaveListsOfTheirOwn) {
    Use(server_, TARN_PC_ONE_PER_USER);
    EXPECT_THAT(Answer(Get("blocked.example", origin_.Port())), StartsWith("HTTP/1.1 200"));
    EXPECT_EQ(server_.Events("verdict")[0]["judged"], "part");
    EXPECT_EQ(server_.Events("verdict")[0]["passed"], true);
    EXPECT_EQ(known_, 0U) << "rules of another user do not count";
    RunningServer refusing(RefusingSettings());
    Use(refusing, TARN_PC_ONE_PER_USER);
    Peer client(refusing.Port());
    client.Send(Get("site.example", origin_.Port()));
    EXPECT_THAT(client.ReadAnswer(), StartsWith("HTTP/1.1 403"));
    EXPECT_EQ(refusing.Events("verdict").at(0)["verdict"], "allowed");
    EXPECT_EQ(refusing.Events("verdict").at(0)["passed"], false);
}

// The library would hold it to no list: it does not get the process of a user that it cannot ask for.
TEST_F(UnknownProcess, IsOneWhoseUserMayNotBeAskedFor) {
    std::promise<Endpoint> promised;
    const std::shared_future<Endpoint> client = promised.get_future().share();
    const auto read = [&, client](std::vector<OwnedConnection>& connections) {
        const Endpoint proxy{*ParseIpAddress("127.0.0.1"), port_};
        connections = {{client.get(), proxy, 7}};
        return true;
    };
    RunningServer server(TestSettings(), read, [](std::uint32_t processId) { return processId != 7; });
    std::vector<std::uint32_t> asked;
    server.library.answer = [&](const ConnectionData& connection) {
        asked.push_back(connection.processId);
        const bool isHeld = connection.processId == OwnProcessId();
        return isHeld ? ReadAsTheLibrary(connection) : FakeLibrary::Allowed();
    };
    Use(server, TARN_PC_ONE_FOR_ALL);
    port_ = server.Port();
    Peer peer(server.Port());
    promised.set_value(EndpointOf(peer.Raw().local_endpoint()));
    peer.Send(Get("blocked.example", origin_.Port()));
    EXPECT_THAT(peer.ReadAnswer(), StartsWith("HTTP/1.1 403"));
    EXPECT_THAT(asked, testing::ElementsAre(0U, OwnProcessId()));
    EXPECT_FALSE(server.Events("verdict").at(0).contains("process_id"));
    EXPECT_EQ(origin_.Accepted(), 0U);
}

}  // namespace
}  // namespace tarn::host::serve
