// Which servers a client reaches, and at which of their addresses.
#include "host/serve/upstream.h"

#include <future>
#include <gtest/gtest.h>

#include "host/serve/addresses.h"
#include "serve/serve_world.h"

namespace tarn::host::serve {
namespace {

Endpoint At(const char* address, std::uint16_t port = 4000) {
    return {ParseIpAddress(address).value(), port};
}

class UpstreamTest : public testing::Test {
 protected:
    Resolved Resolve(const Target& target, const Endpoint& client) {
        std::promise<Resolved> answer;
        world_.upstream.Resolve(target, client, asio::make_strand(world_.io),
                                [&](Resolved resolved) { answer.set_value(std::move(resolved)); });
        return answer.get_future().get();
    }
    Endpoint Connect(const std::vector<Endpoint>& endpoints) {
        std::promise<Endpoint> answer;
        world_.upstream.Connect(endpoints, asio::make_strand(world_.io),
                                [&](const std::shared_ptr<Socket>& socket, const Endpoint& endpoint,
                                    const std::string&) { answer.set_value(socket ? endpoint : Endpoint{}); });
        return answer.get_future().get();
    }
    ServeWorld world_;
};

TEST_F(UpstreamTest, GivesThisMachineToItsOwnProgramsAlone) {
    world_.settings.hosts["inside.example"] = ParseIpAddress("127.0.0.1").value();
    for (const char* host :
         {"127.0.0.1", "127.8.8.8", "::1", "::ffff:127.0.0.1", "inside.example", "inside.example."}) {
        EXPECT_FALSE(Resolve({host, 445}, At("127.0.0.1")).isForbidden) << host;
        const Resolved resolved = Resolve({host, 445}, At("192.0.2.7"));
        EXPECT_TRUE(resolved.isForbidden) << host;
        EXPECT_TRUE(resolved.endpoints.empty()) << host;
    }
    EXPECT_FALSE(Resolve({"192.0.2.9", 445}, At("192.0.2.7")).isForbidden);
}

TEST_F(UpstreamTest, ForbidsAListenerOfEveryAddressAtThisMachineAlone) {
    world_.upstream.Forbid(At("0.0.0.0", 8080));
    EXPECT_TRUE(Resolve({"127.0.0.1", 8080}, At("127.0.0.1")).isForbidden);
    EXPECT_FALSE(Resolve({"192.0.2.9", 8080}, At("127.0.0.1")).isForbidden) << "another machine's";
}

TEST_F(UpstreamTest, JudgesAndConnectsTheSameKindOfAddress) {
    const Resolved resolved = Resolve({"::ffff:203.0.113.9", 443}, At("127.0.0.1"));
    ASSERT_EQ(resolved.endpoints.size(), 1U);
    EXPECT_EQ(resolved.endpoints[0], At("203.0.113.9", 443));
}

TEST_F(UpstreamTest, KnowsTheAddressesOfThisMachine) {
    EXPECT_EQ(AskWhetherOwn(At("127.0.0.1").address), Own::kYes);
    EXPECT_EQ(AskWhetherOwn(At("::1").address), Own::kYes);
    EXPECT_EQ(AskWhetherOwn(At("192.0.2.9").address), Own::kNo);
    EXPECT_EQ(AskWhetherOwn(At("2001:db8::9").address), Own::kNo);
}

TEST_F(UpstreamTest, AsksForAnAddressOnceInAWhile) {
    std::vector<IpAddress> asked;
    const auto ask = [&](const IpAddress& address) {
        asked.push_back(address);
        return address == At("192.0.2.1").address ? Own::kYes : Own::kNo;
    };
    OwnAddresses keeping(ask, 1h);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(keeping.Find(At("192.0.2.1").address), Own::kYes);
        EXPECT_EQ(keeping.Find(At("192.0.2.9").address), Own::kNo);
        EXPECT_EQ(keeping.Find(At("127.0.0.1").address), Own::kYes);
    }
    EXPECT_EQ(asked, (std::vector<IpAddress>{At("192.0.2.1").address, At("192.0.2.9").address}));
    asked.clear();
    OwnAddresses forgetting(ask, 0ms);
    for (int i = 0; i < 3; ++i) forgetting.Find(At("192.0.2.1").address);
    EXPECT_EQ(asked.size(), 3U);
}

TEST_F(UpstreamTest, OpensNothingWhenItCannotFindOutWhoseAnAddressIs) {
    std::atomic<int> asked{0};
    Upstream upstream(world_.io, world_.settings, [&](const IpAddress&) {
        ++asked;
        return Own::kUnknown;
    });
    const auto isForbidden = [&](const char* host, const char* client) {
        std::promise<Resolved> answer;
        upstream.Resolve({host, 445}, At(client), asio::make_strand(world_.io),
                         [&](Resolved resolved) { answer.set_value(std::move(resolved)); });
        return answer.get_future().get().isForbidden;
    };
    EXPECT_TRUE(isForbidden("192.0.2.9", "192.0.2.7"));
    EXPECT_FALSE(isForbidden("192.0.2.9", "127.0.0.1")) << "a program of this machine may reach both";
    EXPECT_EQ(asked, 2);
}

TEST_F(UpstreamTest, GoesOnToTheNextAddress) {
    BlockingServer server([](Tcp::socket&) {});
    EXPECT_EQ(Connect({Loopback(1), server.Address()}), server.Address()) << "the first refuses";
    EXPECT_EQ(Connect({At("192.0.2.1", 9), server.Address()}), server.Address()) << "the first may stay silent";
    EXPECT_EQ(Connect({Loopback(1), Loopback(1)}), Endpoint{});
    EXPECT_EQ(Connect({}), Endpoint{});
}

TEST(TargetTest, TakesNoAddressInAnotherForm) {
    for (const char* text : {"2130706433:80", "127.1:80", "0x7f000001:80", "1.2.3.04:80", "1.2.3.4.:80", "name.0xA:80"})
        EXPECT_FALSE(ParseTarget(text, 0)) << text;
    for (const char* text : {"1.2.3.4:80", "1.example:80", "0x7f.example:80", "example.:80"})
        EXPECT_TRUE(ParseTarget(text, 0)) << text;
    for (const char* text : {"b\xAA"
                             "d.example:80",
                             "b\xC3\xBC"
                             "cher.example:80",
                             "a\x7F.example:80", "a b:80"})
        EXPECT_FALSE(ParseTarget(text, 0)) << text;
    EXPECT_TRUE(ParseTarget("xn--bcher-kva.example:80", 0));
    EXPECT_EQ(ParseTarget("[2001:DB8:0:0::1]:443", 0)->host, "2001:db8::1");
    EXPECT_EQ(ParseTarget("[::ffff:192.0.2.1]:443", 0)->host, "192.0.2.1");
    EXPECT_TRUE(IsSameName("Site.example", ".site.EXAMPLE."));
    EXPECT_FALSE(IsSameName("site.example", "a.site.example"));
}

}  // namespace
}  // namespace tarn::host::serve
