// What is told of connections and sessions: the events, who takes them, and the lines for people.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include "host/composed_request.h"
#include "host/printable_text.h"
#include "host/serve/life.h"
#include "host/serve/machine_sessions.h"
#include "host/session_events.h"
#include "serve/running_server.h"

namespace tarn::host::serve {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

Event Verdict(const std::string& protocol, const std::string& host, const std::string& path) {
    Event event = BeginEvent("verdict");
    event["verdict"] = "blocked";
    event["protocol"] = protocol;
    event["host"] = host;
    event["path"] = path;
    event["reason_text"] = "malicious site";
    event["passed"] = false;
    return event;
}

TEST(TextForPeople, NamesTheAddressOnce) {
    const auto told = [](const std::string& protocol, const std::string& host, const std::string& path) {
        return TextForPeople(Verdict(protocol, host, path), false);
    };
    EXPECT_EQ(told("http", "bad.example", "/a"), "BLOCKED  bad.example/a  malicious site\n");
    EXPECT_EQ(told("http", "bad.example:443", "bad.example:443"), "BLOCKED  bad.example:443  malicious site\n");
    EXPECT_EQ(told("tls", "bad.example", ""), "BLOCKED  bad.example  malicious site\n");
    EXPECT_EQ(told("ftp", "bad.example", "RETR /a"), "BLOCKED  bad.example RETR /a  malicious site\n");
    EXPECT_EQ(told("ftp", "", "RETR /a"), "BLOCKED  RETR /a  malicious site\n");
}

TEST(TextForPeople, TellsWhatIsRefused) {
    Event event = Verdict("http", "odd.example", "/");
    event["verdict"] = "none";
    event["why_refused"] = "the library gave no verdict";
    EXPECT_EQ(TextForPeople(event, false), "REFUSED  odd.example/  the library gave no verdict\n");
    event["verdict"] = "allowed";
    event["reason_text"] = "no rule";
    event["why_refused"] = "a protocol that is not judged";
    EXPECT_EQ(TextForPeople(event, false), "REFUSED  odd.example/  a protocol that is not judged\n");
    EXPECT_EQ(TextForPeople(event, true), "");
    event["passed"] = true;
    EXPECT_EQ(TextForPeople(event, false), "");
    EXPECT_EQ(TextForPeople(BeginEvent("logon"), false), "");
    Event error = BeginEvent("error");
    error["text"] = "something\nelse";
    EXPECT_EQ(TextForPeople(error, true), Printable("something\nelse") + '\n');
}

TEST(TextForPeople, CountsWhatIsRefusedApart) {
    Event totals = BeginEvent("stats");
    totals["requests"] = 10;
    totals["allowed"] = 4;
    totals["blocked"] = 3;
    totals["refused_unknown"] = 2;
    totals["without_verdict"] = 1;
    EXPECT_EQ(TextForPeople(totals, false), "10 requests: 4 allowed, 3 blocked, 2 refused, 1 without a verdict\n");
}

TEST(EventHub, GivesLinesAndEventsInOneOrder) {
    EventHub hub;
    std::vector<std::string> lines;
    std::vector<std::string> types;
    const auto printing = hub.Subscribe([&](const std::string& line) { lines.push_back(line); });
    {
        const auto taking = hub.SubscribeEvents(
            [&](const SharedEvent& event) { types.push_back(event->value("type", "") + event->value("text", "")); });
        hub.Write({{"type", "one"}});
        hub.WriteLine("{\"type\": \"two\", \"text\": \"x\"}");
        hub.WriteLine("no event");
    }
    hub.Write({{"type", "three"}});
    EXPECT_THAT(lines, ElementsAre("{\"type\":\"one\"}", "{\"type\": \"two\", \"text\": \"x\"}", "no event",
                                   "{\"type\":\"three\"}"));
    EXPECT_THAT(types, ElementsAre("one", "twox"));
}

// A hello that may hide the name that is meant: with the extension encrypted_client_hello.
std::string HidingHello(const std::string& name) {
    const auto bytes = ComposeClientHello(name);
    std::string hello(bytes.begin(), bytes.end());
    const std::string extension("\xFE\x0D\x00\x04\x00\x01\x02\x03", 8);
    const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(hello[at]); };
    const auto add = [&](std::size_t at) {
        const std::size_t length = (std::size_t{byte(at)} << 8 | byte(at + 1)) + extension.size();
        hello[at] = static_cast<char>(length >> 8);
        hello[at + 1] = static_cast<char>(length & 0xFF);
    };
    std::size_t at = 5 + 4 + 2 + 32;  // record, handshake, version, random
    at += 1 + byte(at);
    at += 2 + (std::size_t{byte(at)} << 8 | byte(at + 1));
    at += 1 + byte(at);
    for (const std::size_t length : {std::size_t{3}, std::size_t{7}, at}) add(length);
    return hello + extension;
}

class HiddenHello : public testing::Test {
 protected:
    // What came back.
    std::string Say(RunningServer& server, const std::string& hello, std::size_t count) {
        Peer client(server.Port());
        client.Send(fmt::format("CONNECT site.example:{} HTTP/1.1\r\n\r\n", origin_.Port()));
        client.ReadUntil("\r\n\r\n");
        client.Send(hello);
        return client.ReadBytes(count);
    }
    Origin origin_{[](Peer& peer) {
        for (std::string part = peer.ReadBytes(1); !part.empty(); part = peer.ReadBytes(1)) peer.Send(part);
    }};
};

TEST_F(HiddenHello, PassesAndIsTold) {
    RunningServer server;
    const std::string hello = HidingHello("site.example");
    EXPECT_EQ(Say(server, hello, hello.size()), hello);
    ASSERT_TRUE(server.HasEvents("not_examined", 1));
    EXPECT_EQ(server.Events("not_examined")[0]["what"], "ech");
    EXPECT_EQ(server.Events("not_examined")[0]["outer_name"], "site.example");
    EXPECT_EQ(server.Events("not_examined")[0]["passed"], true);
    EXPECT_EQ(server.Events("verdict").at(0)["passed"], true);
    EXPECT_EQ(server.TheFilter().Snapshot().refusedUnknown, 0U);
}

TEST_F(HiddenHello, IsRefusedWhereNothingUnknownPasses) {
    RunningServer server(RefusingSettings());
    EXPECT_THAT(Say(server, HidingHello("site.example"), 100), SizeIs(7)) << "access denied";
    EXPECT_EQ(server.Events("verdict").at(0)["verdict"], "allowed");
    EXPECT_EQ(server.Events("verdict").at(0)["passed"], false);
    EXPECT_EQ(server.Events("verdict").at(0)["why_refused"], "a hello that may hide the name that is meant");
    ASSERT_THAT(server.Events("not_examined"), SizeIs(1));
    EXPECT_EQ(server.Events("not_examined")[0]["what"], "ech");
    EXPECT_EQ(server.Events("not_examined")[0]["passed"], false);
    EXPECT_EQ(server.TheFilter().Snapshot().refusedUnknown, 1U) << "once";
    EXPECT_EQ(server.TheFilter().Snapshot().allowed, 0U);
    EXPECT_EQ(origin_.Accepted(), 0U);
}

class LogonLibrary : public TextLibrary {
 public:
    LogonJudgement ScanLogonEvent(const LogonEvent& event) override {
        told.push_back(event);
        LogonJudgement judgement;
        judgement.isValid = isKnown;
        judgement.verdict.action = action;
        return judgement;
    }
    std::vector<LogonEvent> told;
    std::uint32_t action = TARN_ALLOW;
    bool isKnown = true;
};

// As in a life of the server: who is logged on is told to the library, each minute again.
TEST(SessionEvents, ReachTheLibraryAndAreToldWhenTheAnswerChanges) {
    LogonLibrary library;
    EventHub hub;
    const ServeSettings settings;
    Filter filter({library, hub, settings, {}, [] { return TarnSystemTime{}; }});
    std::vector<std::string> told;
    const auto taking = hub.SubscribeEvents([&](const SharedEvent& event) {
        told.push_back(event->value("event", "") + ' ' + event->value("account", "") + ' ' +
                       event->value("verdict", ""));
    });
    SessionReporter reporter({[] {
                                  return std::vector<MachineSession>{{3, "anna"}};
                              },
                              [](const std::string& name, Account& account) {
                                  account.name = name;
                                  account.sid[0] = 1;
                                  return true;
                              },
                              std::nullopt,
                              [&](std::uint32_t event, const Account& account, std::uint32_t session) {
                                  filter.SessionEvent(event, account, session);
                              }});
    const auto minute = [&] {
        for (unsigned i = 0; i < SessionReporter::kLooksPerTick; ++i) reporter.Look();
    };
    reporter.Look();
    minute();
    minute();
    library.action = TARN_BLOCK;
    minute();
    library.isKnown = false;
    minute();
    reporter.End();
    EXPECT_THAT(told, ElementsAre("logon anna allowed", "tick anna allowed", "tick anna refused", "tick anna none",
                                  "logoff anna none"));
    std::vector<std::uint32_t> events;
    for (const LogonEvent& event : library.told) {
        events.push_back(std::uint32_t{event.eventCode});
        EXPECT_EQ(std::uint32_t{event.sessionId}, 3U);
    }
    EXPECT_EQ(events, (std::vector<std::uint32_t>{TARN_EVENT_LOGON, TARN_EVENT_TICK, TARN_EVENT_TICK, TARN_EVENT_TICK,
                                                  TARN_EVENT_TICK, TARN_EVENT_LOGOFF}));
}

std::string Printed(const std::string& changes) {
    const std::string event = R"({"type":"policy","event":"changed","file":"p.toml","changes":[)" + changes + "]}";
    return TextForPeople(Event::parse(event), false);
}

TEST(TextForPeople, SaysWhichChangesDoNotCountYet) {
    const std::string now = R"({"key":"features.anti_phishing","before":"true","after":"false"})";
    const std::string later = R"({"key":"serve.unknown","before":"not set","after":"'refuse'","at_restart":true})";
    const std::string waits = "  serve.unknown: counts when the server starts again\n";
    EXPECT_EQ(Printed(now), "p.toml has changed, and is used: 1 change\n");
    EXPECT_EQ(Printed(later), "p.toml has changed\n" + waits);
    EXPECT_EQ(Printed(now + "," + later), "p.toml has changed, and is used: 1 change\n" + waits);
    EXPECT_EQ(Printed(""), "p.toml has changed, and is used: 0 changes\n");
}

}  // namespace
}  // namespace tarn::host::serve
