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

// A table whose readings take as long as a test says, by a clock of its own. It knows the client at port 4000 or
// nobody.
class SlowTable {
 public:
    explicit SlowTable(std::chrono::milliseconds reading = 0ms) : reading_(reading) {}

    ReadConnections Read() {
        return [this](std::vector<OwnedConnection>& connections) {
            ++readings;
            std::unique_lock lock(mutex_);
            wake_.wait(lock, [this] { return !isHeld_; });
            Pass(reading_);
            if (isKnown) connections = {{Loopback(4000), Loopback(8080), 77}};
            return true;
        };
    }
    std::function<ClientProcesses::Clock::time_point()> Now() {
        return [this] { return ClientProcesses::Clock::time_point(std::chrono::milliseconds(now_)); };
    }
    void Pass(std::chrono::milliseconds time) { now_ += time.count(); }
    // Whether readings go on until they may end.
    void Hold(bool isHeld) {
        const std::lock_guard lock(mutex_);
        isHeld_ = isHeld;
        wake_.notify_all();
    }

    std::atomic<bool> isKnown{false};
    std::atomic<int> readings{0};

 private:
    const std::chrono::milliseconds reading_;
    std::atomic<std::chrono::milliseconds::rep> now_{1000};
    std::mutex mutex_;
    std::condition_variable wake_;
    bool isHeld_ = false;
};

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
    EXPECT_TRUE(Eventually([&] { return readings == 1; }));
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
    SlowTable table(100ms);
    ClientProcesses processes(io_, table.Read(), KnowsAll, 60s, true, table.Now());
    const auto find = [&] { return Find(processes, Loopback(4000), Loopback(8080)); };
    const auto hasRead = [&](std::uint64_t count) {
        return Eventually([&] { return processes.Snapshot().readings.Count() == count; });
    };
    for (std::uint64_t i = 1; i <= 10; ++i) {
        EXPECT_EQ(find(), 0U);
        ASSERT_TRUE(hasRead(i));
    }
    for (int i = 0; i < 5; ++i) EXPECT_EQ(find(), 0U);
    EXPECT_EQ(processes.Snapshot().unasked, 5U) << "a second was in vain";
    table.Pass(499ms);
    EXPECT_EQ(find(), 0U);
    EXPECT_EQ(processes.Snapshot().unasked, 6U);
    // It is read again after five times its time, and once it knows somebody, it is asked for everybody.
    table.Pass(1ms);
    table.isKnown = true;
    EXPECT_EQ(find(), 77U);
    ASSERT_TRUE(hasRead(11));
    for (std::uint64_t i = 12; i < 17; ++i) {
        EXPECT_EQ(find(), 77U);
        ASSERT_TRUE(hasRead(i));
    }
    EXPECT_EQ(processes.Snapshot().unasked, 6U);
}

TEST_F(ClientProcessTest, GivesUpAReadingThatGoesOnForLong) {
    SlowTable table;
    table.Hold(true);
    ClientProcesses processes(io_, table.Read(), KnowsAll, 60s, true, table.Now());
    std::promise<std::uint32_t> first;
    processes.Find(Loopback(4000), Loopback(8080), [&](std::uint32_t id) { first.set_value(id); });
    ASSERT_TRUE(Eventually([&] { return table.readings == 1; }));
    table.Pass(1s);
    EXPECT_EQ(Find(processes, Loopback(4001), Loopback(8080)), 0U);
    EXPECT_EQ(processes.Snapshot().unasked, 1U);
    EXPECT_EQ(first.get_future().get(), 0U) << "who waits is told after a second";
    EXPECT_EQ(processes.Snapshot().late, 1U);
    table.Pass(59s);
    table.isKnown = true;
    table.Hold(false);
    ASSERT_TRUE(Eventually([&] { return processes.Snapshot().readings.Count() == 1; }));
    table.Pass(299s);
    EXPECT_EQ(Find(processes, Loopback(4000), Loopback(8080)), 0U) << "what it tells comes too late";
    EXPECT_EQ(table.readings, 1);
    table.Pass(1s);
    EXPECT_EQ(Find(processes, Loopback(4000), Loopback(8080)), 77U);
    EXPECT_EQ(table.readings, 2);
}

TEST_F(ClientProcessTest, WaitsForATableThatAnswers) {
    SlowTable table;
    table.isKnown = true;
    ClientProcesses processes(io_, table.Read(), KnowsAll, 60s, true, table.Now());
    EXPECT_EQ(Find(processes, Loopback(4000), Loopback(8080)), 77U);
    ASSERT_TRUE(Eventually([&] { return processes.Snapshot().readings.Count() == 1; }));
    table.Hold(true);
    std::promise<std::uint32_t> first;
    processes.Find(Loopback(4000), Loopback(8080), [&](std::uint32_t id) { first.set_value(id); });
    ASSERT_TRUE(Eventually([&] { return table.readings == 2; }));
    table.Pass(2s);
    std::promise<std::uint32_t> second;
    processes.Find(Loopback(4000), Loopback(8080), [&](std::uint32_t id) { second.set_value(id); });
    table.Hold(false);
    EXPECT_EQ(first.get_future().get(), 77U);
    EXPECT_EQ(second.get_future().get(), 77U);
    EXPECT_EQ(processes.Snapshot().unasked, 0U);
}

TEST_F(ClientProcessTest, AsksATableForEverybodyHoweverSlowItIs) {
    SlowTable table(100ms);
    ClientProcesses processes(io_, table.Read(), KnowsAll, 60s, false, table.Now());
    for (int i = 0; i < 25; ++i) EXPECT_EQ(Find(processes, Loopback(4000), Loopback(8080)), 0U);
    table.isKnown = true;
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
