#include "host/serve/client_process.h"

#include <condition_variable>
#include <future>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>

#include "serve/serve_world.h"

namespace tarn::host::serve {
namespace {

bool KnowsAll(std::uint32_t) {
    return true;
}

class ClientProcessTest : public testing::Test {
 protected:
    ClientProcessTest() : thread_([this] { io_.run(); }) {}
    ~ClientProcessTest() override {
        io_.stop();
        thread_.join();
    }

    // Waits for the answer.
    std::uint32_t Find(ClientProcesses& processes, const Endpoint& client, const Endpoint& listener) {
        std::promise<std::uint32_t> answer;
        processes.Find(client, listener, [&](std::uint32_t id) { answer.set_value(id); });
        return answer.get_future().get();
    }

    asio::io_context io_;
    asio::executor_work_guard<asio::io_context::executor_type> work_ = asio::make_work_guard(io_);
    std::thread thread_;
};

TEST_F(ClientProcessTest, FindsWhoHasTheOtherEnd) {
    ClientProcesses processes(
        io_,
        [](std::vector<OwnedConnection>& connections) {
            connections = {{Loopback(8080), Loopback(4000), 1}, {Loopback(4000), Loopback(8080), 77}};
            return true;
        },
        KnowsAll, 10s, false);
    EXPECT_EQ(Find(processes, Loopback(4000), Loopback(8080)), 77U);
    EXPECT_EQ(Find(processes, Loopback(4001), Loopback(8080)), 0U);
    EXPECT_EQ(Find(processes, {ParseIpAddress("192.0.2.1").value(), 4000}, Loopback(8080)), 0U);
    ASSERT_TRUE(Eventually([&] { return processes.Snapshot().readings.Count() == 2; })) << "counted after the answer";
    const ProcessCounters counters = processes.Snapshot();
    EXPECT_EQ(counters.found, 1U);
    EXPECT_EQ(counters.unknown, 1U) << "of this machine";
    EXPECT_EQ(counters.remote, 1U);
    EXPECT_EQ(counters.hidden, 0U);
}

TEST_F(ClientProcessTest, KnowsNoProcessWhoseUserMayNotBeAskedFor) {
    std::vector<std::uint32_t> asked;
    ClientProcesses processes(
        io_,
        [](std::vector<OwnedConnection>& connections) {
            connections = {{Loopback(4000), Loopback(8080), 7}, {Loopback(4001), Loopback(8080), 8}};
            return true;
        },
        [&](std::uint32_t processId) {
            asked.push_back(processId);
            return processId != 7;
        },
        60s, false);
    EXPECT_EQ(Find(processes, Loopback(4000), Loopback(8080)), 0U);
    EXPECT_EQ(Find(processes, Loopback(4001), Loopback(8080)), 8U);
    EXPECT_EQ(Find(processes, Loopback(4002), Loopback(8080)), 0U);
    EXPECT_EQ(asked, (std::vector<std::uint32_t>{7, 8}));
    EXPECT_EQ(processes.Snapshot().unknown, 2U);
    EXPECT_EQ(processes.Snapshot().hidden, 1U);
}

TEST_F(ClientProcessTest, AnswersInTimeWithoutTheTable) {
    std::mutex mutex;
    std::condition_variable wake;
    bool mayEnd = false;
    {
        ClientProcesses processes(
            io_,
            [&](std::vector<OwnedConnection>&) {
                std::unique_lock lock(mutex);
                wake.wait(lock, [&] { return mayEnd; });
                return true;
            },
            KnowsAll, 20ms, false);
        EXPECT_EQ(Find(processes, Loopback(4000), Loopback(8080)), 0U);
        EXPECT_EQ(Find(processes, Loopback(4001), Loopback(8080)), 0U);
        EXPECT_EQ(processes.Snapshot().late, 2U);
        const std::lock_guard lock(mutex);
        mayEnd = true;
        wake.notify_all();
    }
    io_.stop();
}

TEST_F(ClientProcessTest, OneReadingAnswersAllThatWait) {
    std::mutex mutex;
    std::condition_variable wake;
    bool mayEnd = false;
    std::atomic<int> readings{0};
    std::atomic<int> answered{0};
    ClientProcesses processes(
        io_,
        [&](std::vector<OwnedConnection>&) {
            std::unique_lock lock(mutex);
            ++readings;
            wake.wait(lock, [&] { return mayEnd; });
            return true;
        },
        KnowsAll, 60s, false);
    processes.Find(Loopback(4000), Loopback(8080), [&](std::uint32_t) { ++answered; });
    ASSERT_TRUE(Eventually([&] { return readings == 1; }));
    for (std::uint16_t port = 4001; port < 4101; ++port)
        processes.Find(Loopback(port), Loopback(8080), [&](std::uint32_t) { ++answered; });
    {
        const std::lock_guard lock(mutex);
        mayEnd = true;
        wake.notify_all();
    }
    EXPECT_TRUE(Eventually([&] { return answered == 101; }));
    EXPECT_EQ(readings, 2);
}

TEST_F(ClientProcessTest, KeepsNobodyWaitingForATableThatIsSlowAndKnowsNobody) {
    std::atomic<bool> isKnown{false};
    ClientProcesses processes(
        io_,
        [&](std::vector<OwnedConnection>& connections) {
            std::this_thread::sleep_for(12ms);  // as long as a slow system takes
            if (isKnown) connections = {{Loopback(4000), Loopback(8080), 77}};
            return true;
        },
        KnowsAll, 60s, true);
    for (int i = 0; i < 20; ++i) EXPECT_EQ(Find(processes, Loopback(4000), Loopback(8080)), 0U);
    ASSERT_TRUE(Eventually([&] { return processes.Snapshot().readings.Count() == 20; }));
    for (int i = 0; i < 5; ++i) EXPECT_EQ(Find(processes, Loopback(4000), Loopback(8080)), 0U);
    EXPECT_EQ(processes.Snapshot().readings.Count(), 20U);
    EXPECT_EQ(processes.Snapshot().unasked, 5U);
    // It is looked at again now and then, and once it knows somebody, it is asked for everybody.
    isKnown = true;
    EXPECT_TRUE(Eventually([&] { return Find(processes, Loopback(4000), Loopback(8080)) == 77; }));
    const std::uint64_t unasked = processes.Snapshot().unasked;
    for (int i = 0; i < 5; ++i) EXPECT_EQ(Find(processes, Loopback(4000), Loopback(8080)), 77U);
    EXPECT_EQ(processes.Snapshot().unasked, unasked);
}

TEST_F(ClientProcessTest, AsksATableForEverybodyHoweverSlowItIs) {
    std::atomic<bool> isKnown{false};
    ClientProcesses processes(
        io_,
        [&](std::vector<OwnedConnection>& connections) {
            std::this_thread::sleep_for(12ms);  // as long as a slow system takes
            if (isKnown) connections = {{Loopback(4000), Loopback(8080), 77}};
            return true;
        },
        KnowsAll, 60s, false);
    for (int i = 0; i < 25; ++i) EXPECT_EQ(Find(processes, Loopback(4000), Loopback(8080)), 0U);
    isKnown = true;
    EXPECT_EQ(Find(processes, Loopback(4000), Loopback(8080)), 77U) << "at once";
    EXPECT_EQ(processes.Snapshot().unasked, 0U);
}

TEST_F(ClientProcessTest, KnowsAClientOfThisMachineAtItsAddressInANetwork) {
    const Endpoint local{ParseIpAddress("192.0.2.1").value(), 4000};
    const Endpoint listener{ParseIpAddress("192.0.2.1").value(), 8080};
    ClientProcesses processes(
        io_,
        [&](std::vector<OwnedConnection>& connections) {
            connections = {{local, listener, 77}};
            return true;
        },
        KnowsAll, 60s, false);
    EXPECT_EQ(Find(processes, local, listener), 77U);
}

#ifdef _WIN32
TEST_F(ClientProcessTest, TheSystemKnowsThisProgramsUser) {
    EXPECT_TRUE(KnowsSystemUser(OwnProcessId()));
    EXPECT_FALSE(KnowsSystemUser(0));
}

TEST_F(ClientProcessTest, TheSystemKnowsThisProgramsConnections) {
    asio::io_context io;
    Tcp::acceptor acceptor(io, Tcp::endpoint(asio::ip::address_v4::loopback(), 0));
    Tcp::socket socket(io);
    socket.connect(acceptor.local_endpoint());
    asio::write(socket, asio::buffer("x", 1));  // Wine knows whose a connection is once it was used
    ClientProcesses processes(io_, ReadSystemConnections, KnowsSystemUser, 60s, HasClientsOutside());
    EXPECT_EQ(Find(processes, EndpointOf(socket.local_endpoint()), EndpointOf(acceptor.local_endpoint())),
              OwnProcessId());
}
#endif

}  // namespace
}  // namespace tarn::host::serve
