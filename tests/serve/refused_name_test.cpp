// What is delivered beside traffic: the page at the address of refused names, and the script for browsers.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include "serve/gate.h"
#include "serve/running_server.h"

namespace tarn::host::serve {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

ServeSettings WithBlockPage() {
    ServeSettings settings = TestSettings();
    settings.blockPage = ParseEndpoint("127.0.0.1:0");
    return settings;
}

std::string Ask(const std::string& host, const std::string& target, const std::string& fields = {}) {
    return fmt::format("GET {} HTTP/1.1\r\nHost: {}\r\n{}\r\n", target, host, fields);
}

TEST(RefusedName, GetsThePageThatSaysWhy) {
    RunningServer server(WithBlockPage());
    Peer client(server.TheServer().Listening().blockPage->port);
    client.Send(Ask("blocked.example", "/path", "Accept-Language: de\r\n"));
    EXPECT_THAT(client.ReadAnswer(), AllOf(StartsWith("HTTP/1.1 403 "), HasSubstr("Content-Language: de\r\n"),
                                           HasSubstr("Test.Threat"), HasSubstr("blocked.example/path")));
    ASSERT_THAT(server.library.Asked(), SizeIs(1));
    EXPECT_EQ(server.library.Asked()[0].data, "GET /path HTTP/1.1\r\nHost: blocked.example\r\n\r\n");
    EXPECT_TRUE(server.HasEvents("verdict", 1));
}

TEST(RefusedName, IsToldWhenTheAddressIsNotBlocked) {
    RunningServer server(WithBlockPage());
    Peer client(server.TheServer().Listening().blockPage->port);
    client.Send(Ask("site.example", "/"));
    EXPECT_THAT(client.ReadAnswer(), AllOf(StartsWith("HTTP/1.1 404 "), HasSubstr("does not block this address")));
    for (const char* host : {"", "a b", "site.example/x", "<b>"}) {
        client.Send(Ask(host, "/"));
        EXPECT_THAT(client.ReadAnswer(), StartsWith("HTTP/1.1 400 ")) << host;
    }
    EXPECT_THAT(server.library.Asked(), SizeIs(1));
}

// As over the proxy: the same head in the form that lists know, and in the simplest one where it is not read.
TEST(RefusedName, IsJudgedByTheBytesOfTheProxy) {
    RunningServer server(WithBlockPage());
    server.library.answer = [](const ConnectionData& connection) -> Judgement {
        const std::string text(connection.data.begin(), connection.data.end());
        const bool isRead = text.starts_with("GET ") || text.starts_with("POST ");
        if (text.size() > 1100 || !isRead) return {};
        return text.find("Host: blocked.example\r\n") == std::string::npos ? FakeLibrary::Allowed()
                                                                           : FakeLibrary::Malicious("Test.Threat", "");
    };
    Peer client(server.TheServer().Listening().blockPage->port);
    const std::string ask = Ask("blocked.example", "/");
    for (const std::string& said : {Ask(".blocked.example.", "/"), Ask("blocked.example", "/" + std::string(2000, 'a')),
                                    "POST" + ask.substr(3), "PROPFIND" + ask.substr(3)}) {
        client.Send(said);
        EXPECT_THAT(client.ReadAnswer(), AllOf(StartsWith("HTTP/1.1 403 "), HasSubstr("Test.Threat"))) << said;
    }
}

// Neither it nor the status page waits for somebody's explanation.
TEST(RefusedName, IsAnsweredWhileAnAddressIsExplained) {
    ServeSettings settings = WithBlockPage();
    settings.status = ParseEndpoint("127.0.0.1:0");
    Gate isAsked;
    Gate mayAnswer;
    RunningServer server(settings);
    server.library.isAnswerSlow = true;
    server.library.answer = [&](const ConnectionData& connection) {
        const std::string text(connection.data.begin(), connection.data.end());
        if (text.find("slow.example") != std::string::npos) {
            isAsked.Open();
            mayAnswer.Wait();
        }
        return FakeLibrary::Malicious("Test.Threat", "");
    };
    const std::uint16_t status = server.TheServer().Listening().status->port;
    const std::string own = fmt::format("127.0.0.1:{}", status);
    Peer explaining(status);
    explaining.Send(Ask(own, "/api/explain?url=http%3A%2F%2Fslow.example%2F"));
    isAsked.Wait();
    Peer page(status);
    page.Send(Ask(own, "/api/state"));
    EXPECT_THAT(page.ReadAnswer(), StartsWith("HTTP/1.1 200 "));
    Peer client(server.TheServer().Listening().blockPage->port);
    client.Send(Ask("blocked.example", "/"));
    EXPECT_THAT(client.ReadAnswer(), StartsWith("HTTP/1.1 403 "));
    mayAnswer.Open();
    EXPECT_THAT(explaining.ReadAnswer(), StartsWith("HTTP/1.1 200 "));
}

TEST(ProxyScript, StandsAtTheProxyForOtherMachines) {
    ServeSettings settings = TestSettings();
    settings.proxy = ParseEndpoint("0.0.0.0:0");
    settings.status = ParseEndpoint("127.0.0.1:0");
    RunningServer server(settings);
    const std::string own = fmt::format("PROXY 127.0.0.1:{}\"", server.Port());
    Peer client(server.Port());
    client.Send(Ask("192.0.2.1", "/proxy.pac"));
    EXPECT_THAT(client.ReadAnswer(),
                AllOf(StartsWith("HTTP/1.1 200 "), HasSubstr("ns-proxy-autoconfig"), HasSubstr(own)));
    const std::uint16_t status = server.TheServer().Listening().status->port;
    Peer page(status);
    page.Send(Ask(fmt::format("127.0.0.1:{}", status), "/proxy.pac"));
    EXPECT_THAT(page.ReadAnswer(), AllOf(HasSubstr(own), Not(HasSubstr("0.0.0.0"))));
}

}  // namespace
}  // namespace tarn::host::serve
