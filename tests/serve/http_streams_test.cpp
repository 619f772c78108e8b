// Bodies: with a length, in chunks, until the end, large ones, and servers that do not do as they say.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include "serve/running_server.h"

namespace tarn::host::serve {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::string Authority(const Origin& origin) {
    return "site.example:" + std::to_string(origin.Port());
}

std::string Pattern(std::size_t size) {
    std::string text(size, ' ');
    for (std::size_t i = 0; i < size; ++i) text[i] = static_cast<char>('a' + (i * 7 + i / 251) % 26);
    return text;
}

std::string Chunks(const std::string& body, std::size_t size) {
    std::string text;
    for (std::size_t at = 0; at < body.size(); at += size) {
        const std::string part = body.substr(at, size);
        text += fmt::format("{:x};extension=1\r\n{}\r\n", part.size(), part);
    }
    return text + "0\r\nX-Trailer: 1\r\n\r\n";
}

// What chunks hold.
std::string Unchunk(const std::string& text) {
    std::string body;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = text.find("\r\n", at);
        if (end == std::string::npos) return "cut";
        const std::size_t size = std::stoul(text.substr(at, end - at), nullptr, 16);
        if (size == 0) return body;
        body += text.substr(end + 2, size);
        at = end + 2 + size + 2;
    }
    return "cut";
}

TEST(HttpStreams, SendsABodyOnInEveryForm) {
    Origin origin(EchoRequests);
    RunningServer server;
    Peer client(server.Port());
    const std::string line = "POST http://" + Authority(origin) + "/ HTTP/1.1\r\nHost: " + Authority(origin) + "\r\n";
    client.Send(line + "Content-Length: 5\r\n\r\nfirst");
    EXPECT_THAT(client.ReadAnswer(), EndsWith("POST / HTTP/1.1|first"));
    client.Send(line + "Transfer-Encoding: chunked\r\n\r\n" + Chunks("second", 4));
    EXPECT_THAT(client.ReadAnswer(), EndsWith("|4\r\nseco\r\n2\r\nnd\r\n0\r\n\r\n"));
    client.Send(line + "Content-Length: 0\r\n\r\n");
    EXPECT_THAT(client.ReadAnswer(), EndsWith("POST / HTTP/1.1|"));
}

TEST(HttpStreams, SendsALargeBodyInBothDirections) {
    const std::string body = Pattern(std::size_t{8} * 1024 * 1024);
    std::string seen;
    Origin origin([&](Peer& peer) {
        peer.ReadUntil("\r\n\r\n");
        seen = peer.ReadBytes(body.size());
        peer.Send("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n" + Chunks(body, 70000));
    });
    RunningServer server;
    Peer client(server.Port());
    std::thread sending([&] {
        client.Send(fmt::format("PUT http://{}/ HTTP/1.1\r\nHost: x\r\nContent-Length: {}\r\n\r\n", Authority(origin),
                                body.size()));
        client.Send(body);
    });
    sending.join();
    const std::string head = client.ReadUntil("\r\n\r\n");
    EXPECT_THAT(head, HasSubstr("Transfer-Encoding: chunked\r\n"));
    EXPECT_TRUE(Unchunk(client.ReadUntil("\r\n0\r\n\r\n")) == body);
    EXPECT_TRUE(seen == body);
}

TEST(HttpStreams, UnpacksChunksForAClientThatDoesNotKnowThem) {
    Origin origin([](Peer& peer) {
        peer.ReadUntil("\r\n\r\n");
        peer.Send("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n" + Chunks("some text", 4));
        peer.ReadAll();
    });
    RunningServer server;
    Peer client(server.Port());
    client.Send("GET http://" + Authority(origin) + "/ HTTP/1.0\r\n\r\n");
    const std::string answer = client.ReadAll();
    EXPECT_THAT(answer, EndsWith("\r\n\r\nsome text"));
    EXPECT_THAT(answer, Not(HasSubstr("chunked")));
}

TEST(HttpStreams, EndsTheClientsConnectionWhereTheServersEndIsTheBodys) {
    Origin origin([](Peer& peer) {
        peer.ReadUntil("\r\n\r\n");
        peer.Send("HTTP/1.1 200 OK\r\n\r\nuntil the end");
    });
    RunningServer server;
    Peer client(server.Port());
    client.Send(Get("site.example", origin.Port()));
    const std::string answer = client.ReadAll();
    EXPECT_THAT(answer, HasSubstr("Connection: close\r\n"));
    EXPECT_THAT(answer, EndsWith("\r\n\r\nuntil the end"));
}

TEST(HttpStreams, KeepsTheConnectionBehindAnswersWithoutABody) {
    Origin origin([](Peer& peer) {
        peer.ReadUntil("\r\n\r\n");
        peer.Send("HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\n");  // of HEAD
        peer.ReadUntil("\r\n\r\n");
        peer.Send("HTTP/1.1 204 No Content\r\n\r\n");
        peer.ReadUntil("\r\n\r\n");
        peer.Send("HTTP/1.1 304 Not Modified\r\nContent-Length: 77\r\n\r\n");
        EchoRequests(peer);
    });
    RunningServer server;
    Peer client(server.Port());
    client.Send("HEAD" + Get("site.example", origin.Port()).substr(3));
    EXPECT_THAT(client.ReadUntil("\r\n\r\n"), HasSubstr("Content-Length: 1000"));
    client.Send(Get("site.example", origin.Port()));
    EXPECT_THAT(client.ReadUntil("\r\n\r\n"), StartsWith("HTTP/1.1 204"));
    client.Send(Get("site.example", origin.Port()));
    EXPECT_THAT(client.ReadUntil("\r\n\r\n"), StartsWith("HTTP/1.1 304"));
    client.Send(Get("site.example", origin.Port(), "/last"));
    EXPECT_THAT(client.ReadAnswer(), EndsWith("GET /last HTTP/1.1|"));
    EXPECT_EQ(origin.Accepted(), 1U);
}

TEST(HttpStreams, PassesInterimAnswersOnBeforeTheBodyCame) {
    Origin origin([](Peer& peer) {
        peer.ReadUntil("\r\n\r\n");
        peer.Send("HTTP/1.1 100 Continue\r\n\r\n");
        const std::string body = peer.ReadBytes(4);
        peer.Send("HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\n" + body);
        peer.ReadAll();
    });
    RunningServer server;
    Peer client(server.Port());
    client.Send("POST http://" + Authority(origin) +
                "/ HTTP/1.1\r\nHost: x\r\nExpect: 100-continue\r\nContent-Length: 4\r\n\r\n");
    EXPECT_EQ(client.ReadUntil("\r\n\r\n"), "HTTP/1.1 100 Continue\r\n\r\n");
    client.Send("body");
    EXPECT_THAT(client.ReadAnswer(), EndsWith("\r\n\r\nbody"));
}

TEST(HttpStreams, PassesAnAnswerOnThatComesBeforeTheWholeBody) {
    Origin origin([](Peer& peer) {
        peer.ReadUntil("\r\n\r\n");
        peer.Send("HTTP/1.1 413 Too Large\r\nContent-Length: 3\r\nConnection: close\r\n\r\nno!");
        peer.ReadAll();
    });
    RunningServer server;
    Peer client(server.Port());
    client.Send("POST http://" + Authority(origin) + "/ HTTP/1.1\r\nHost: x\r\nContent-Length: 1000000\r\n\r\nbegin");
    EXPECT_THAT(client.ReadAnswer(), EndsWith("\r\n\r\nno!"));
    EXPECT_TRUE(client.IsClosed());
}

TEST(HttpStreams, ShowsTheClientThatABodyIsShorterThanItsLength) {
    Origin origin([](Peer& peer) {
        peer.ReadUntil("\r\n\r\n");
        peer.Send("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nshort");
    });
    RunningServer server;
    Peer client(server.Port());
    client.Send(Get("site.example", origin.Port()));
    EXPECT_THAT(client.ReadAll(), EndsWith("\r\n\r\nshort")) << "and then the end, 95 bytes early";
}

TEST(HttpStreams, ResetsWhereOnlyTheEndTellsTheEndAndTheServerIsCutOff) {
    Origin origin([](Peer& peer) {
        peer.ReadUntil("\r\n\r\n");
        peer.Send("HTTP/1.1 200 OK\r\n\r\nonly a part");
        peer.ReadBytes(1);  // until the client has it
        peer.Reset();
    });
    RunningServer server;
    Peer client(server.Port());
    client.Send("POST http://" + Authority(origin) + "/ HTTP/1.1\r\nHost: x\r\nContent-Length: 2\r\n\r\n");
    EXPECT_THAT(client.ReadUntil("only a part"), EndsWith("only a part"));
    client.Send("x");
    char more = 0;
    ErrorCode error;
    asio::read(client.Raw(), asio::buffer(&more, 1), error);
    EXPECT_EQ(error, asio::error::connection_reset);
}

TEST(HttpStreams, SendsNoRequestTwiceThatMayChangeSomething) {
    std::atomic<int> posts = 0;
    Origin origin([&](Peer& peer) {
        for (std::string head = peer.ReadUntil("\r\n\r\n"); !head.empty(); head = peer.ReadUntil("\r\n\r\n")) {
            if (head.starts_with("POST")) {
                ++posts;
                return;  // without an answer
            }
            peer.Send("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok");
        }
    });
    RunningServer server;
    Peer client(server.Port());
    client.Send(Get("site.example", origin.Port()));
    EXPECT_THAT(client.ReadAnswer(), EndsWith("\r\n\r\nok"));
    client.Send("POST" + Get("site.example", origin.Port()).substr(3));
    EXPECT_THAT(client.ReadAnswer(), StartsWith("HTTP/1.1 502"));
    EXPECT_EQ(posts, 1);
}

TEST(HttpStreams, UsesNoConnectionAgainOnWhichTheServerSaysMoreThanItsLength) {
    Origin origin([](Peer& peer) {
        peer.ReadUntil("\r\n\r\n");
        peer.Send("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nokHTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\nevil");
        peer.ReadAll();
    });
    RunningServer server;
    Peer client(server.Port());
    for (int i = 0; i < 2; ++i) {
        client.Send(Get("site.example", origin.Port()));
        EXPECT_THAT(client.ReadAnswer(), EndsWith("\r\n\r\nok"));
    }
    EXPECT_EQ(origin.Accepted(), 2U);
}

TEST(HttpStreams, HoldsAServerBackThatIsFasterThanItsClient) {
    std::atomic<std::size_t> sent = 0;
    constexpr std::size_t kWhole = std::size_t{64} * 1024 * 1024;
    Origin origin([&](Peer& peer) {
        peer.ReadUntil("\r\n\r\n");
        peer.Send(fmt::format("HTTP/1.1 200 OK\r\nContent-Length: {}\r\n\r\n", kWhole));
        const std::string part(65536, 'x');
        while (sent < kWhole && peer.Send(part)) sent += part.size();
    });
    RunningServer server;
    Peer client(server.Port());
    client.Send(Get("site.example", origin.Port()));
    client.ReadUntil("\r\n\r\n");
    // Until nothing more goes on: what the system and the server hold is far less than the whole.
    for (std::size_t before = 1; before != sent;) {
        before = sent;
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
    }
    EXPECT_LT(sent, kWhole / 2);
    std::size_t got = 0;
    while (got < kWhole) {
        const std::string part = client.ReadBytes(std::min<std::size_t>(kWhole - got, 1024 * 1024));
        if (part.empty()) break;
        got += part.size();
    }
    EXPECT_EQ(got, kWhole);
}

TEST(HttpStreams, RefusesABlockedRequestWhoseBodyIsStillComing) {
    Origin origin(EchoRequests);
    RunningServer server;
    Peer client(server.Port());
    client.Send(fmt::format("POST http://blocked.example:{}/ HTTP/1.1\r\nHost: x\r\nContent-Length: 300000\r\n\r\n",
                            origin.Port()));
    client.Send(std::string(100000, 'x'));
    EXPECT_THAT(client.ReadAnswer(), HasSubstr("Connection: close\r\n"));
    EXPECT_EQ(origin.Accepted(), 0U);
}

}  // namespace
}  // namespace tarn::host::serve
