// The end of the server, and notices between scans.
#include "host/serve/life.h"

#include <gmock/gmock.h>

#include "host/urgent_end.h"
#include "policy/policy_reader.h"
#include "serve/gate.h"
#include "serve/running_server.h"

namespace tarn::host::serve {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;

TEST(Life, EndsIdleConnectionsAtOnceAndLetsAnAnswerEnd) {
    Gate mayAnswer;
    Origin origin([&](Peer& peer) {
        peer.ReadUntil("\r\n\r\n");
        mayAnswer.Wait();
        peer.Send("HTTP/1.1 200 OK\r\nContent-Length: 4\r\n\r\nlate");
        peer.ReadAll();
    });
    RunningServer server;
    // The older one is told of the end first, so that it knows when the younger one is closed.
    Peer busy(server.Port());
    busy.Send(Get("site.example", origin.Port()));
    ASSERT_TRUE(server.HasEvents("verdict", 1));
    Peer idle(server.Port());
    idle.Send("GET /proxy.pac HTTP/1.1\r\nHost: proxy\r\n\r\n");
    ASSERT_THAT(idle.ReadAnswer(), StartsWith("HTTP/1.1 200"));
    bool hasDrained = false;
    std::thread stopping([&] { hasDrained = server.TheServer().Stop(); });
    EXPECT_TRUE(idle.IsClosed());
    mayAnswer.Open();
    const std::string answer = busy.ReadAnswer();
    EXPECT_THAT(answer, HasSubstr("Connection: close\r\n"));
    EXPECT_THAT(answer, EndsWith("\r\n\r\nlate"));
    busy.Close();
    stopping.join();
    EXPECT_TRUE(hasDrained);
}

TEST(Life, ClosesWhatHasNotEndedInTime) {
    Origin origin([](Peer& peer) { peer.ReadAll(); });
    ServeSettings settings = TestSettings();
    settings.drain = std::chrono::seconds(0);
    RunningServer server(settings);
    Peer client(server.Port());
    client.Send(Get("site.example", origin.Port()));
    ASSERT_TRUE(server.HasEvents("verdict", 1));
    EXPECT_FALSE(server.TheServer().Stop());
    EXPECT_TRUE(client.IsClosed());
}

// As when the console closes: the system waits for a few seconds only.
TEST(Life, WaitsShortlyWhenTheEndIsUrgent) {
    Origin origin([](Peer& peer) { peer.ReadAll(); });
    ServeSettings settings = TestSettings();
    settings.drain = std::chrono::seconds(600);
    RunningServer server(settings);
    Peer client(server.Port());
    client.Send(Get("site.example", origin.Port()));
    ASSERT_TRUE(server.HasEvents("verdict", 1));
    bool hasDrained = true;
    std::thread stopping([&] { hasDrained = server.TheServer().Stop(); });
    TellUrgentEnd();
    EXPECT_TRUE(client.IsClosed());
    stopping.join();
    TellUrgentEnd(false);
    EXPECT_FALSE(hasDrained);
}

TEST(Life, RepeatsWhatFailed) {
    Gate hasFailedOften;
    int calls = 0;
    RunningServer running;
    Server server(running.TheFilter(), TestSettings());
    server.Every(std::chrono::milliseconds(1), [&] {
        if (++calls == 3) hasFailedOften.Open();
        throw std::runtime_error("made by the test");
    });
    std::string mistake;
    ASSERT_TRUE(server.Start(mistake)) << mistake;
    hasFailedOften.Wait();
    EXPECT_TRUE(server.Stop());
    EXPECT_GE(running.TheFilter().Snapshot().internalErrors, 2U);
}

TEST(Life, RefusesToAskItselfForNames) {
    RunningServer running;
    for (const char* address : {"127.0.0.1", "0.0.0.0"}) {
        ServeSettings settings = TestSettings();
        settings.proxy.reset();
        settings.dns = Endpoint{*ParseIpAddress(address), 0};
        std::string mistake;
        {
            Server probe(running.TheFilter(), settings);
            settings.dnsUpstreams = {*ParseEndpoint("192.0.2.53:53")};
            ASSERT_TRUE(probe.Start(mistake)) << mistake;
            settings.dns->port = probe.Listening().dns->port;
        }
        settings.dnsUpstreams.push_back({*ParseIpAddress("127.0.0.1"), settings.dns->port});
        Server server(running.TheFilter(), settings);
        EXPECT_FALSE(server.Start(mistake)) << address;
        EXPECT_THAT(mistake, HasSubstr("which is this server itself"));
    }
}

TEST(Life, SaysThatAPortIsTaken) {
    RunningServer server;
    ServeSettings settings = TestSettings();
    settings.proxy->port = server.Port();
    Server second(server.TheFilter(), settings);
    std::string mistake;
    EXPECT_FALSE(second.Start(mistake));
    EXPECT_THAT(mistake, HasSubstr("is taken by another program"));
}

TEST(Life, TellsNoNoticeWhileAScanRuns) {
    ScanGate gate;
    std::atomic<int> scans = 0;
    std::atomic<bool> isMixed = false;
    std::atomic<bool> isNoticing = false;
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i)
        threads.emplace_back([&] {
            for (int k = 0; k < 2000; ++k)
                gate.Scan([&] {
                    ++scans;
                    if (isNoticing) isMixed = true;
                    --scans;
                });
        });
    for (int k = 0; k < 200; ++k)
        gate.Notify([&] {
            isNoticing = true;
            if (scans != 0) isMixed = true;
            isNoticing = false;
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_FALSE(isMixed);
}

TEST(Life, TakesAChangedPolicyOverForTheEntriesItNames) {
    Origin origin(EchoRequests);
    RunningServer server;
    const auto use = [&](const std::string& text) {
        auto read = policy::ParsePolicy(text);
        ASSERT_THAT(read.mistakes, SizeIs(0));
        server.TheFilter().UsePolicy(std::make_shared<const policy::Policy>(std::move(read.policy)));
    };
    use("[features]\nbrowsing_protection = true\n\n[[malicious_sites]]\nhost = \"blocked.example\"\n");
    Peer client(server.Port());
    client.Send(Get("blocked.example", origin.Port()));
    EXPECT_THAT(client.ReadAnswer(), HasSubstr("line 4"));
    use("[features]\nbrowsing_protection = true\n[[malicious_sites]]\nhost = \"blocked.example\"\n");
    client.Send(Get("blocked.example", origin.Port()));
    EXPECT_THAT(client.ReadAnswer(), HasSubstr("line 3"));
}

TEST(Life, AnExplanationSaysWhatToWriteIntoThePolicy) {
    RunningServer server;
    const std::string text =
        "[features]\nbrowsing_protection = true\n\n[[malicious_sites]]\nhost = \"blocked.example\"\n";
    const auto policy = std::make_shared<const policy::Policy>(policy::ParsePolicy(text).policy);
    server.TheFilter().UsePolicy(policy);
    EXPECT_FALSE(server.TheFilter().Explain("http://blocked.example/").contains("remedy"));
    server.TheFilter().UsePolicy(policy,
                                 std::make_shared<const PolicyVariant>(PolicyVariant{"tarn-policy.toml", text}));
    const auto told = server.TheFilter().Explain("http://blocked.example/");
    EXPECT_EQ(told["entry"]["line"], 4);
    ASSERT_TRUE(told.contains("remedy")) << told.dump();
    EXPECT_EQ(told["remedy"]["to"], "allow");
    EXPECT_THAT(told["remedy"]["write"].get<std::string>(), HasSubstr("[white_lists]"));
}

TEST(Life, CountsWhatTheTotalsTell) {
    Origin origin(EchoRequests);
    RunningServer server;
    Peer client(server.Port());
    for (const char* host : {"site.example", "blocked.example", "other.example"}) {
        client.Send(Get(host, origin.Port()));
        client.ReadAnswer();
    }
    server.TheFilter().TellTotals(false);
    ASSERT_THAT(server.Events("stats"), SizeIs(1));
    const auto totals = server.Events("stats")[0];
    EXPECT_EQ(totals["requests"], 3);
    EXPECT_EQ(totals["blocked"], 1);
    EXPECT_EQ(totals["unknown_process"], 3);
    EXPECT_EQ(totals["latency_ns"]["url"]["calls"], 3);
}

}  // namespace
}  // namespace tarn::host::serve
