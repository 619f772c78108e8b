// Clients and origin servers on the loopback, for tests of the server: blocking calls with a time limit.
// Each object belongs to one thread; an origin serves each connection on a thread of its own.
#ifndef TARN_TESTS_SERVE_LOOPBACK_H
#define TARN_TESTS_SERVE_LOOPBACK_H

#include <atomic>
#include <chrono>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host/composed_request.h"
#include "host/serve/asio.h"

namespace tarn::host::serve {

inline constexpr std::chrono::seconds kTestLimit{20};

// A connected socket.
class Peer {
 public:
    explicit Peer(std::uint16_t port) : socket_(io_) {
        ErrorCode error;
        socket_.connect({asio::ip::address_v4::loopback(), port}, error);
        EXPECT_FALSE(error) << error.message();
    }
    // To be accepted.
    Peer() : socket_(io_) {}

    bool Send(const std::string& text) {
        ErrorCode error;
        asio::write(socket_, asio::buffer(text), error);
        return !error;
    }

    // Until text has come; everything up to its end. Shorter at the end of the connection and of the time.
    std::string ReadUntil(const std::string& text) {
        std::size_t end = std::string::npos;
        while ((end = pending_.find(text)) == std::string::npos && ReadSome()) {
        }
        return Take(end == std::string::npos ? pending_.size() : end + text.size());
    }
    std::string ReadBytes(std::size_t count) {
        while (pending_.size() < count && ReadSome()) {
        }
        return Take(std::min(count, pending_.size()));
    }
    std::string ReadAll() {
        while (ReadSome()) {
        }
        return Take(pending_.size());
    }
    // Whether the other side has closed its end, with nothing more said.
    bool IsClosed() { return pending_.empty() && !ReadSome() && hasEnded_; }
    // Nothing comes for that long.
    bool IsSilent(std::chrono::milliseconds time) {
        if (!pending_.empty()) return false;
        return !ReadSome(time) && !hasEnded_;
    }

    void EndSending() {
        ErrorCode ignored;
        socket_.shutdown(Tcp::socket::shutdown_send, ignored);
    }
    void Close() {
        ErrorCode ignored;
        socket_.close(ignored);
    }
    // Closes by a reset.
    void Reset() {
        ErrorCode ignored;
        socket_.set_option(asio::socket_base::linger(true, 0), ignored);
        Close();
    }
    [[nodiscard]] Tcp::socket& Raw() { return socket_; }

    // An answer with Content-Length.
    std::string ReadAnswer() {
        std::string head = ReadUntil("\r\n\r\n");
        constexpr std::string_view kLength = "Content-Length: ";
        const std::size_t at = head.find(kLength);
        if (at == std::string::npos) return head;
        return head + ReadBytes(std::stoul(head.substr(at + kLength.size())));
    }

 private:
    bool ReadSome(std::chrono::milliseconds time = kTestLimit) {
        if (hasEnded_) return false;
        bool isRead = false;
        socket_.async_read_some(asio::buffer(buffer_), [&](ErrorCode error, std::size_t count) {
            if (error == asio::error::operation_aborted) return;
            hasEnded_ = static_cast<bool>(error);
            pending_.append(buffer_.data(), count);
            isRead = count != 0;
        });
        io_.restart();
        io_.run_for(time);
        if (!io_.stopped()) {  // nothing came in time
            ErrorCode ignored;
            socket_.cancel(ignored);
            io_.run();
        }
        return isRead;
    }

    std::string Take(std::size_t count) {
        std::string taken = pending_.substr(0, count);
        pending_.erase(0, count);
        return taken;
    }

    asio::io_context io_;
    Tcp::socket socket_;
    std::vector<char> buffer_ = std::vector<char>(65536);
    std::string pending_;
    bool hasEnded_ = false;
};

// Serves until its end.
class Origin {
 public:
    explicit Origin(std::function<void(Peer&)> serve)
        : serve_(std::move(serve)), acceptor_(io_, {asio::ip::address_v4::loopback(), 0}) {
        port_ = acceptor_.local_endpoint().port();
        thread_ = std::thread([this] { Run(); });
    }
    ~Origin() {
        isEnding_ = true;
        Tcp::socket waker(io_);
        ErrorCode ignored;
        waker.connect({asio::ip::address_v4::loopback(), port_}, ignored);
        thread_.join();
        for (std::thread& thread : threads_) thread.join();
    }
    Origin(const Origin&) = delete;
    Origin& operator=(const Origin&) = delete;

    [[nodiscard]] std::uint16_t Port() const { return port_; }
    // Connections so far.
    [[nodiscard]] std::size_t Accepted() const { return accepted_; }

 private:
    void Run() {
        while (true) {
            ErrorCode error;
            auto peer = std::make_shared<Peer>();
            acceptor_.accept(peer->Raw(), error);
            if (isEnding_ || error) return;
            ++accepted_;
            threads_.emplace_back([this, peer] {
                serve_(*peer);
                peer->Close();
            });
        }
    }

    std::function<void(Peer&)> serve_;
    asio::io_context io_;
    Tcp::acceptor acceptor_;
    std::uint16_t port_ = 0;
    std::atomic<std::size_t> accepted_ = 0;
    std::atomic<bool> isEnding_ = false;
    std::thread thread_;
    std::vector<std::thread> threads_;
};

// A server whose queue is full until it is told to go on: connecting to it neither succeeds nor fails.
class FullServer {
 public:
    FullServer() : acceptor_(io_), filler_(io_) {
        acceptor_.open(Tcp::v4());
        acceptor_.bind({asio::ip::address_v4::loopback(), 0});
        acceptor_.listen(0);
        filler_.connect(acceptor_.local_endpoint());
    }
    [[nodiscard]] std::uint16_t Port() const { return acceptor_.local_endpoint().port(); }
    // Takes the one that fills the queue, and then the next one. What comes first on it is what it returns.
    std::string TakeNext() {
        Tcp::socket filling(io_);
        acceptor_.accept(filling);
        acceptor_.accept(next_.Raw());
        return next_.ReadBytes(1);
    }

 private:
    asio::io_context io_;
    Tcp::acceptor acceptor_;
    Tcp::socket filler_;
    Peer next_;
};

// Reads requests and answers each with "path|body", until the client closes.
inline void EchoRequests(Peer& peer) {
    while (true) {
        const std::string head = peer.ReadUntil("\r\n\r\n");
        if (!head.ends_with("\r\n\r\n")) return;
        std::string body;
        if (const std::size_t at = head.find("Content-Length: "); at != std::string::npos)
            body = peer.ReadBytes(std::stoul(head.substr(at + 16)));
        if (head.find("Transfer-Encoding: chunked") != std::string::npos) body = peer.ReadUntil("0\r\n\r\n");
        const std::string text = head.substr(0, head.find("\r\n")) + "|" + body;
        peer.Send("HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(text.size()) + "\r\n\r\n" + text);
    }
}

// Sends back what comes.
inline void Echo(Peer& peer) {
    for (std::string part = peer.ReadBytes(1); !part.empty(); part = peer.ReadBytes(1)) peer.Send(part);
}

// What a TLS client of that server says first.
inline std::string Hello(const std::string& name) {
    const auto bytes = ComposeClientHello(name);
    return {bytes.begin(), bytes.end()};
}

}  // namespace tarn::host::serve

#endif
