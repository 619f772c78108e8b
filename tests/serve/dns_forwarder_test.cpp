#include "host/serve/dns_forwarder.h"

#include <gtest/gtest.h>
#include <optional>
#include <string>
#include <vector>

#include "host/serve/dns_message.h"
#include "serve/dns_bytes.h"
#include "serve/scripted_dns_server.h"
#include "serve/serve_world.h"

namespace tarn::host::serve {
namespace {

using Message = std::vector<std::uint8_t>;
using Replies = std::vector<ScriptedDnsServer::Reply>;

const Message kAddress{192, 0, 2, 77};

std::uint16_t IdOf(const Message& message) {
    return DnsIdOf(message).value_or(0);
}

// The address, to whatever is asked.
Message AnswerTo(const Message& query, const Message& address = kAddress) {
    const auto asked = ParseDnsMessage(query);
    return DnsAnswer(asked->id, asked->question.name, asked->question.type, address);
}

Replies Honest(const Message& query, bool /*isTcp*/) {
    return {{AnswerTo(query)}};
}

class DnsForwarderTest : public testing::Test {
 protected:
    // servers: in the order in which they are asked.
    void Start(const std::vector<Endpoint>& servers, DnsLimits limits = {}) {
        world_.settings.dnsUpstreams = servers;
        forwarder_.emplace(world_.services, limits);
        listener_ = Loopback();
        std::string mistake;
        ASSERT_TRUE(forwarder_->Open(listener_, mistake)) << mistake;
        forwarder_->Begin();
    }
    void TearDown() override {
        if (forwarder_) forwarder_->Stop();
        world_.End();
    }

    Message Ask(const Message& query) {
        asio::io_context io;
        Udp::socket socket(io, Udp::v4());
        socket.send_to(asio::buffer(query), {AddressOfEndpoint(listener_), listener_.port});
        Message answer(4096);
        std::size_t length = 0;
        socket.async_receive(asio::buffer(answer), [&](ErrorCode, std::size_t count) { length = count; });
        io.run_for(10s);
        answer.resize(length);
        return answer;
    }
    std::optional<DnsMessage> AskFor(const std::string& name, std::uint16_t type = kDnsTypeA) {
        return ParseDnsMessage(Ask(DnsQuery(0x4711, name, type)));
    }

    ServeWorld world_;
    std::optional<DnsForwarder> forwarder_;
    Endpoint listener_;
};

TEST_F(DnsForwarderTest, HandsAnAnswerToTheScanAndThenToTheClient) {
    ScriptedDnsServer server(Honest);
    Start({server.Address()});
    const Message answer = Ask(DnsQuery(0x4711, "www.lantern.example", kDnsTypeA));
    EXPECT_EQ(answer, DnsAnswer(0x4711, "www.lantern.example", kDnsTypeA, kAddress));
    const auto asked = world_.library.Asked();
    ASSERT_EQ(asked.size(), 1U);
    EXPECT_EQ(asked[0].data, std::string(answer.begin(), answer.end()));
    EXPECT_EQ(asked[0].server, (Endpoint{server.Address().address, 53}));
    EXPECT_EQ(forwarder_->Snapshot().answered, 1U);
}

TEST_F(DnsForwarderTest, AsksFromPortsAndByIdsThatNobodyForetells) {
    ScriptedDnsServer server(Honest);
    Start({server.Address()});
    for (int i = 0; i < 20; ++i) ASSERT_TRUE(AskFor("a.example"));
    // One of 45,536 ports and of 65,536 ids each time: equal ones are rare.
    EXPECT_GE(server.Ports().size(), 17U);
    EXPECT_GE(server.Ids().size(), 17U);
}

TEST_F(DnsForwarderTest, GivesARefusedNameWhatTheSettingsSay) {
    ScriptedDnsServer server(Honest);
    world_.library.Block("bad");
    Start({server.Address()});
    EXPECT_EQ(Ask(DnsQuery(1, "bad.example", kDnsTypeA)),
              ComposeDnsResult(DnsQuery(1, "bad.example", kDnsTypeA), DnsResult::kNoSuchName));
    world_.settings.dnsRefusal = DnsRefusal::kZero;
    const auto zero = [](std::uint16_t type, const char* address) {
        return ComposeDnsAddress(DnsQuery(1, "bad.example", type), ParseIpAddress(address).value(), 5);
    };
    EXPECT_EQ(Ask(DnsQuery(1, "bad.example", kDnsTypeA)), zero(kDnsTypeA, "0.0.0.0"));
    EXPECT_EQ(Ask(DnsQuery(1, "bad.example", kDnsTypeAaaa)), zero(kDnsTypeAaaa, "::"));
    world_.settings.dnsRefusal = DnsRefusal::kBlockPage;
    world_.settings.blockPageAddress = ParseIpAddress("192.0.2.1");
    EXPECT_EQ(Ask(DnsQuery(1, "bad.example", kDnsTypeA)), zero(kDnsTypeA, "192.0.2.1"));
    EXPECT_EQ(forwarder_->Snapshot().refused, 4U);
    EXPECT_EQ(Ask(DnsQuery(1, "good.example", kDnsTypeA)), DnsAnswer(1, "good.example", kDnsTypeA, kAddress));
}

struct Forgery {
    const char* what;
    Replies (*replies)(const Message& query);
};

constexpr Forgery kForgeries[] = {
    {"another id",
     [](const Message& query) -> Replies {
         Message forged = AnswerTo(query, {6, 6, 6, 6});
         forged[1] ^= 1;
         return {{forged}};
     }},
    {"another question",
     [](const Message& query) -> Replies {
         return {{DnsAnswer(IdOf(query), "other.example", kDnsTypeA, {6, 6, 6, 6})}};
     }},
    {"another type",
     [](const Message& query) -> Replies {
         return {{DnsAnswer(IdOf(query), "a.example", kDnsTypeAaaa, {6, 6, 6, 6})}};
     }},
    {"another sender",
     [](const Message& query) -> Replies {
         return {{AnswerTo(query, {6, 6, 6, 6}), true}};
     }},
    {"a question", [](const Message& query) -> Replies { return {{query}}; }},
    {"a name that points at itself",
     [](const Message& query) -> Replies {
         Message forged = AnswerTo(query, {6, 6, 6, 6});
         const std::size_t owner = ParseDnsMessage(query)->questionEnd;
         forged[owner + 1] = static_cast<std::uint8_t>(owner);
         return {{forged}};
     }},
    {"nothing at all", [](const Message&) -> Replies { return {{Message{}}}; }},
};

TEST_F(DnsForwarderTest, TakesOnlyWhatTheAskedServerSaysToTheQuestion) {
    std::atomic<std::size_t> which{0};
    ScriptedDnsServer server([&](const Message& query, bool) {
        Replies replies = kForgeries[which].replies(query);
        replies.push_back({AnswerTo(query)});
        return replies;
    });
    Start({server.Address()});
    for (std::size_t i = 0; i < std::size(kForgeries); ++i) {
        which = i;
        EXPECT_EQ(Ask(DnsQuery(9, "a.example", kDnsTypeA)), DnsAnswer(9, "a.example", kDnsTypeA, kAddress))
            << kForgeries[i].what;
        EXPECT_EQ(forwarder_->Snapshot().dropped, i + 1) << kForgeries[i].what;
    }
}

TEST_F(DnsForwarderTest, LeavesGuessersForTcp) {
    ScriptedDnsServer server([](const Message& query, bool isTcp) -> Replies {
        if (isTcp) return {{AnswerTo(query)}};
        Message forged = AnswerTo(query, {6, 6, 6, 6});
        forged[0] ^= 1;
        return Replies(200, {forged});
    });
    Start({server.Address()});
    EXPECT_EQ(Ask(DnsQuery(9, "a.example", kDnsTypeA)), DnsAnswer(9, "a.example", kDnsTypeA, kAddress));
    EXPECT_EQ(forwarder_->Snapshot().overTcp, 1U);
}

TEST_F(DnsForwarderTest, AsksAgainOverTcpWhenAnAnswerIsTruncated) {
    ScriptedDnsServer server([](const Message& query, bool isTcp) -> Replies {
        if (!isTcp) return {{ComposeDnsTruncated(query)}};
        return {{AnswerTo(query)}};
    });
    Start({server.Address()});
    EXPECT_EQ(Ask(DnsQuery(9, "a.example", kDnsTypeA)), DnsAnswer(9, "a.example", kDnsTypeA, kAddress));
}

TEST_F(DnsForwarderTest, TellsTheClientToAskOverTcpForWhatDoesNotFit) {
    const auto large = [](const Message& query, bool) -> Replies {
        DnsWriter answer;
        answer.Header(IdOf(query), 0x8180, {1, 40, 0, 0}).Name("a.example").U16(1).U16(1);
        for (int i = 0; i < 40; ++i) answer.U16(0xC00C).Record(1, 60, kAddress);
        return {{answer.bytes}};
    };
    ScriptedDnsServer server(large);
    Start({server.Address()});
    const Message query = DnsQuery(9, "a.example", kDnsTypeA);
    EXPECT_EQ(Ask(query), ComposeDnsTruncated(query));
    BlockingClient client(listener_);
    client.Send(std::string("\0", 1) + static_cast<char>(query.size()) + std::string(query.begin(), query.end()));
    const std::string length = client.Read(2);
    ASSERT_EQ(length.size(), 2U);
    EXPECT_EQ((static_cast<unsigned char>(length[0]) << 8) + static_cast<unsigned char>(length[1]),
              static_cast<int>(large(query, true)[0].message.size()));
}

TEST_F(DnsForwarderTest, AsksTheNextServerWhenOneIsSilentOrCannotAnswer) {
    ScriptedDnsServer silent([](const Message&, bool) { return Replies{}; });
    ScriptedDnsServer failing(
        [](const Message& query, bool) -> Replies { return {{ComposeDnsResult(query, DnsResult::kServerFailure)}}; });
    ScriptedDnsServer good(Honest);
    DnsLimits limits;
    limits.attempt = 100ms;
    Start({silent.Address(), failing.Address(), good.Address()}, limits);
    EXPECT_EQ(Ask(DnsQuery(9, "a.example", kDnsTypeA)), DnsAnswer(9, "a.example", kDnsTypeA, kAddress));
    // From then on the one that answered comes first.
    const std::size_t before = silent.Ids().size();
    EXPECT_TRUE(AskFor("b.example"));
    EXPECT_EQ(silent.Ids().size(), before);
}

TEST_F(DnsForwarderTest, SaysOnceThatNoServerAnswers) {
    std::atomic<bool> isSilent{true};
    ScriptedDnsServer server([&](const Message& query, bool) { return isSilent ? Replies{} : Honest(query, false); });
    DnsLimits limits;
    limits.attempt = 50ms;
    Start({server.Address()}, limits);
    for (int i = 0; i < 2; ++i) {
        const auto answer = AskFor("a.example");
        ASSERT_TRUE(answer);
        EXPECT_EQ(answer->result, 2);
    }
    EXPECT_EQ(world_.Events("no DNS server answers"), 1U);
    EXPECT_EQ(server.Ids().size(), 4U) << "each question is asked twice";
    isSilent = false;
    EXPECT_EQ(AskFor("a.example")->result, 0);
    isSilent = true;
    EXPECT_EQ(AskFor("a.example")->result, 2);
    EXPECT_EQ(world_.Events("no DNS server answers"), 2U);
}

TEST_F(DnsForwarderTest, AnswersPipelinedQuestionsOverTcp) {
    ScriptedDnsServer server(Honest);
    Start({server.Address()});
    BlockingClient client(listener_);
    std::string questions;
    for (unsigned id = 1; id <= 40; ++id) {
        const Message query = DnsQuery(id, "a.example", kDnsTypeA);
        questions += std::string("\0", 1) + static_cast<char>(query.size()) + std::string(query.begin(), query.end());
    }
    client.Send(questions);
    client.EndSending();
    std::set<std::uint16_t> ids;
    for (std::string frame = client.Read(2); frame.size() == 2; frame = client.Read(2)) {
        const std::string text = client.Read(static_cast<unsigned char>(frame[1]));
        const auto answer = ParseDnsMessage(Message(text.begin(), text.end()));
        ASSERT_TRUE(answer);
        ids.insert(answer->id);
    }
    EXPECT_EQ(ids.size(), 40U);
}

TEST_F(DnsForwarderTest, HasNoMoreQuestionsOpenThanItMay) {
    ScriptedDnsServer server([](const Message&, bool) { return Replies{}; });
    DnsLimits limits;
    limits.attempt = 5000ms;
    limits.questions = 2;
    Start({server.Address()}, limits);
    asio::io_context io;
    Udp::socket socket(io, Udp::v4());
    for (unsigned id = 1; id <= 2; ++id)
        socket.send_to(asio::buffer(DnsQuery(id, "a.example", 1)), {AddressOfEndpoint(listener_), listener_.port});
    ASSERT_TRUE(Eventually([&] { return server.Ids().size() == 2; }));
    EXPECT_EQ(AskFor("b.example")->result, 2);
    EXPECT_EQ(forwarder_->Snapshot().tooMany, 1U);
}

TEST_F(DnsForwarderTest, AnswersItselfWhatAForwarderDoesNotDo) {
    ScriptedDnsServer server(Honest);
    Start({server.Address()});
    constexpr std::uint16_t kZoneTransfer = 252;
    EXPECT_EQ(AskFor("a.example", kZoneTransfer)->result, 5);
    Message update = DnsQuery(1, "a.example", 1);
    update[2] = 0x28;
    EXPECT_EQ(ParseDnsMessage(Ask(update))->result, 4);
    Message cut = DnsQuery(1, "a.example", 1);
    cut.resize(20);
    EXPECT_EQ(Ask(cut), ComposeDnsResult(cut, DnsResult::kFormatError));
    EXPECT_TRUE(server.Ids().empty());
}

TEST_F(DnsForwarderTest, SaysNothingToAnswersThatNobodyAskedFor) {
    ScriptedDnsServer server(Honest);
    Start({server.Address()});
    asio::io_context io;
    Udp::socket socket(io, Udp::v4());
    socket.send_to(asio::buffer(DnsAnswer(1, "a.example", 1, kAddress)),
                   {AddressOfEndpoint(listener_), listener_.port});
    EXPECT_TRUE(Eventually([&] { return forwarder_->Snapshot().unreadable == 1; }));
    EXPECT_TRUE(AskFor("a.example"));
    EXPECT_EQ(socket.available(), 0U);
}

}  // namespace
}  // namespace tarn::host::serve
