// Open FTP sessions: they end when their host is blocked meanwhile.
#include <atomic>
#include <gtest/gtest.h>
#include <string>

#include "serve/ftp_world.h"
#include "serve/loopback.h"

namespace tarn::host::serve {
namespace {

TEST_F(FtpControlTest, EndsWhenItsHostIsBlockedMeanwhile) {
    ToldServer server;
    ListenFor(server.Address());
    BlockingClient client(address_);
    EXPECT_EQ(client.ReadLine(), "220 ready\r\n");
    const std::uint64_t judged = world_.filter.Snapshot().judged;
    JudgeAgain();
    client.Send("NOOP\r\n");
    EXPECT_EQ(client.ReadLine(), "200 fine\r\n");
    EXPECT_EQ(world_.filter.Snapshot().judged, judged) << "nothing is told of what goes on";
    world_.library.Block("server.example");
    JudgeAgain();
    EXPECT_EQ(client.ReadAll().substr(0, 4), "421 ");
    EXPECT_TRUE(world_.connections.WaitUntilEmpty(10s));
    EXPECT_EQ(world_.Events("\"verdict\":\"blocked\""), 1U);
}

TEST_F(FtpControlTest, EndsWhenItWasKnownByItsFirstWordAndIsBlockedMeanwhile) {
    ToldServer server;
    OpenFor(server.Address());
    BlockingClient client(address_);
    EXPECT_EQ(client.ReadLine(), "220 ready\r\n");
    client.Send("USER anna\r\n");
    EXPECT_EQ(client.ReadLine(), "200 fine\r\n");
    world_.library.Block("server.example");
    JudgeAgain();
    EXPECT_EQ(client.ReadAll().substr(0, 4), "421 ");
}

TEST_F(FtpControlTest, EndsWhenItsHostIsBlockedWhileItIsConnected) {
    FullServer full;
    ListenFor({Loopback().address, full.Port()});
    BlockingClient client(address_);
    ASSERT_TRUE(Eventually([this] { return world_.filter.Snapshot().judged == 1; }));
    world_.library.Block("server.example");
    world_.filter.SettingsChanged(0);
    JudgeAgain();
    EXPECT_EQ(full.TakeNext(), "") << "nothing reaches the server";
    EXPECT_EQ(client.ReadAll().substr(0, 4), "421 ");
}

TEST_F(FtpControlTest, EndsSoonWhenTheClientOfABlockedHostDoesNotRead) {
    std::atomic<std::size_t> sent{0};
    BlockingServer server([&](Tcp::socket& socket) {
        const std::string line = "220-" + std::string(1000, 'x') + "\r\n";
        for (;;) sent += asio::write(socket, asio::buffer(line));
    });
    ListenFor(server.Address());
    BlockingClient client(address_);
    ASSERT_TRUE(Eventually([&, last = std::size_t{0}, since = std::chrono::steady_clock::now()]() mutable {
        const std::size_t now = sent;
        if (now != last) since = std::chrono::steady_clock::now();
        last = now;
        return now != 0 && std::chrono::steady_clock::now() - since > 500ms;
    })) << "until nothing more fits";
    world_.library.Block("server.example");
    JudgeAgain();
    EXPECT_TRUE(world_.connections.WaitUntilEmpty(10s));
}

}  // namespace
}  // namespace tarn::host::serve
