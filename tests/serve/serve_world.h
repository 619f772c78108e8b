// What the parts of a server need around them, with a library that answers as a test tells it, and blocking clients.
#ifndef TARN_TESTS_SERVE_SERVE_WORLD_H
#define TARN_TESTS_SERVE_SERVE_WORLD_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host/serve/asio.h"
#include "host/serve/connection.h"
#include "host/serve/filter.h"
#include "host/serve/ftp_data.h"
#include "host/serve/upstream.h"

namespace tarn::host::serve {

using namespace std::chrono_literals;

inline Endpoint Loopback(std::uint16_t port = 0) {
    return {ParseIpAddress("127.0.0.1").value(), port};
}

// Whether it becomes true within ten seconds.
inline bool Eventually(const std::function<bool()>& isTrue) {
    for (const auto end = std::chrono::steady_clock::now() + 10s; std::chrono::steady_clock::now() < end;) {
        if (isTrue()) return true;
        std::this_thread::sleep_for(2ms);
    }
    return isTrue();
}

// Blocks what contains one of the texts; allows the rest. Any thread may ask it.
class BlockingLibrary : public Judge {
 public:
    Judgement ScanUrl(std::uint8_t kind, base::Bytes data, const Endpoint& server) override {
        const std::string text(data.begin(), data.end());
        const std::lock_guard lock(mutex_);
        asked_.push_back({kind, text, server});
        Judgement judgement;
        judgement.isValid = true;
        judgement.verdict.allow = TARN_ALLOW;
        judgement.verdict.reason = TARN_REASON_DEFAULT;
        for (const std::string& one : blocked_) {
            if (text.find(one) == std::string::npos) continue;
            judgement.verdict.allow = TARN_BLOCK;
            judgement.verdict.reason = TARN_REASON_PARENTAL_SITE;
        }
        return judgement;
    }
    PacketVerdict ScanPacket(base::Bytes, std::uint16_t, bool) override { return {}; }
    std::optional<SmbScanResult> ScanSmb(base::Bytes, bool) override { return std::nullopt; }
    bool DropConnection(base::Bytes) override { return false; }
    void BlockAddress(const std::string&, const std::string&) override {}

    struct Question {
        std::uint8_t kind = 0;
        std::string data;
        Endpoint server;
    };
    void Block(const std::string& text) {
        const std::lock_guard lock(mutex_);
        blocked_.push_back(text);
    }
    std::vector<Question> Asked() {
        const std::lock_guard lock(mutex_);
        return asked_;
    }

 private:
    std::mutex mutex_;
    std::vector<std::string> blocked_;
    std::vector<Question> asked_;
};

class ServeWorld {
 public:
    ServeWorld()
        : listening_(hub.Subscribe([this](const std::string& line) {
              const std::lock_guard lock(mutex_);
              lines_.push_back(line);
          })),
          filter({library, hub, settings, {}, [] { return TarnSystemTime{}; }}),
          upstream(io, settings) {
        for (int i = 0; i < 2; ++i) threads_.emplace_back([this] { io.run(); });
    }
    ~ServeWorld() { End(); }
    ServeWorld(const ServeWorld&) = delete;
    ServeWorld& operator=(const ServeWorld&) = delete;

    // Nothing runs afterwards.
    void End() {
        connections.CloseAll();
        upstream.Stop();
        io.stop();
        for (std::thread& thread : threads_) thread.join();
        threads_.clear();
    }

    // How many events hold the text.
    std::size_t Events(const std::string& text) {
        const std::lock_guard lock(mutex_);
        std::size_t count = 0;
        for (const std::string& line : lines_)
            if (line.find(text) != std::string::npos) ++count;
        return count;
    }

    BlockingLibrary library;
    EventHub hub;
    ServeSettings settings;

 private:
    std::mutex mutex_;
    std::vector<std::string> lines_;
    EventHub::Subscription listening_;

 public:
    Filter filter;
    ConnectionSet connections{100};  // handlers that end with io leave their places
    asio::io_context io{2};
    Upstream upstream;
    Services services{io, filter, upstream, connections, settings, {}, std::make_shared<FtpDataPorts>()};

 private:
    asio::executor_work_guard<asio::io_context::executor_type> work_ = asio::make_work_guard(io);
    std::vector<std::thread> threads_;
};

// A client whose reads end after ten seconds at the latest.
class BlockingClient {
 public:
    explicit BlockingClient(const Endpoint& server) { socket_.connect({AddressOfEndpoint(server), server.port}); }

    void Send(const std::string& text) { asio::write(socket_, asio::buffer(text)); }
    void EndSending() { socket_.shutdown(Tcp::socket::shutdown_send); }
    // So many bytes, or less at the end of the connection or of the time.
    std::string Read(std::size_t count) {
        std::string text(count, '\0');
        std::size_t there = 0;
        asio::async_read(socket_, asio::buffer(text), [&](ErrorCode, std::size_t length) { there = length; });
        io_.restart();
        io_.run_for(10s);
        if (!io_.stopped()) {
            socket_.cancel();
            io_.run();
        }
        text.resize(there);
        return text;
    }
    // Up to the end of the connection.
    std::string ReadAll() { return Read(std::size_t{1} << 20); }
    std::string ReadLine() {
        std::string line;
        for (std::string one = Read(1); !one.empty(); one = Read(1)) {
            line += one;
            if (one == "\n") break;
        }
        return line;
    }

 private:
    asio::io_context io_;
    Tcp::socket socket_{io_};
};

// A server that serves one connection after the other on a thread of its own.
class BlockingServer {
 public:
    using Serve = std::function<void(Tcp::socket&)>;
    explicit BlockingServer(Serve serve) : serve_(std::move(serve)), thread_([this] { Run(); }) {}
    ~BlockingServer() {
        isEnding_ = true;
        asio::io_context io;
        Tcp::socket last(io);
        ErrorCode ignored;
        last.connect(acceptor_.local_endpoint(), ignored);  // wakes the thread
        thread_.join();
    }
    BlockingServer(const BlockingServer&) = delete;
    BlockingServer& operator=(const BlockingServer&) = delete;

    [[nodiscard]] Endpoint Address() const { return Loopback(acceptor_.local_endpoint().port()); }
    [[nodiscard]] int Accepted() const { return accepted_; }

 private:
    void Run() {
        for (;;) {
            Tcp::socket socket(io_);
            ErrorCode error;
            acceptor_.accept(socket, error);
            if (isEnding_) return;
            if (error) continue;
            ++accepted_;
            try {
                serve_(socket);
            } catch (const std::exception&) {  // the other side is gone
            }
        }
    }

    asio::io_context io_;
    Tcp::acceptor acceptor_{io_, Tcp::endpoint(asio::ip::address_v4::loopback(), 0)};
    Serve serve_;
    std::atomic<int> accepted_{0};
    std::atomic<bool> isEnding_{false};
    std::thread thread_;
};

}  // namespace tarn::host::serve

#endif
