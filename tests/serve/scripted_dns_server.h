// A DNS server whose answers a test writes, over UDP and TCP on one port.
#ifndef TARN_TESTS_SERVE_SCRIPTED_DNS_SERVER_H
#define TARN_TESTS_SERVE_SCRIPTED_DNS_SERVER_H

#include <array>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "serve/serve_world.h"

namespace tarn::host::serve {

class ScriptedDnsServer {
 public:
    using Message = std::vector<std::uint8_t>;
    struct Reply {
        Message message;
        bool isFromElsewhere = false;  // sent from another port
    };
    using Answer = std::function<std::vector<Reply>(const Message& query, bool isTcp)>;

    explicit ScriptedDnsServer(Answer answer)
        : answer_(std::move(answer)), streams_([this](Tcp::socket& s) { ServeStream(s); }) {
        datagrams_.open(Udp::v4());
        datagrams_.bind({asio::ip::address_v4::loopback(), streams_.Address().port});
        elsewhere_.open(Udp::v4());
        elsewhere_.bind({asio::ip::address_v4::loopback(), 0});
        Receive();
        thread_ = std::thread([this] { io_.run(); });
    }
    ~ScriptedDnsServer() {
        io_.stop();
        thread_.join();
    }
    ScriptedDnsServer(const ScriptedDnsServer&) = delete;
    ScriptedDnsServer& operator=(const ScriptedDnsServer&) = delete;

    [[nodiscard]] Endpoint Address() const { return streams_.Address(); }
    // Ports and ids of the questions over UDP.
    std::set<std::uint16_t> Ports() {
        const std::lock_guard lock(mutex_);
        return ports_;
    }
    std::set<std::uint16_t> Ids() {
        const std::lock_guard lock(mutex_);
        return ids_;
    }

 private:
    void Receive() {
        datagrams_.async_receive_from(asio::buffer(buffer_), from_, [this](ErrorCode error, std::size_t length) {
            if (error == asio::error::operation_aborted) return;
            if (!error) {
                const Message query(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(length));
                {
                    const std::lock_guard lock(mutex_);
                    ports_.insert(from_.port());
                    ids_.insert(static_cast<std::uint16_t>(query[0] << 8 | query[1]));
                }
                for (const Reply& reply : answer_(query, false)) {
                    ErrorCode ignored;
                    (reply.isFromElsewhere ? elsewhere_ : datagrams_)
                        .send_to(asio::buffer(reply.message), from_, 0, ignored);
                }
            }
            Receive();
        });
    }

    void ServeStream(Tcp::socket& socket) {
        std::array<std::uint8_t, 2> length{};
        asio::read(socket, asio::buffer(length));
        Message query(static_cast<std::size_t>(length[0] << 8 | length[1]));
        asio::read(socket, asio::buffer(query));
        for (const Reply& reply : answer_(query, true)) {
            length = {static_cast<std::uint8_t>(reply.message.size() >> 8),
                      static_cast<std::uint8_t>(reply.message.size())};
            asio::write(socket, asio::buffer(length));
            asio::write(socket, asio::buffer(reply.message));
        }
    }

    Answer answer_;
    asio::io_context io_;
    Udp::socket datagrams_{io_};
    Udp::socket elsewhere_{io_};
    std::array<std::uint8_t, 4096> buffer_{};
    Udp::endpoint from_;
    std::mutex mutex_;
    std::set<std::uint16_t> ports_;
    std::set<std::uint16_t> ids_;
    BlockingServer streams_;
    std::thread thread_;
};

}  // namespace tarn::host::serve

#endif
