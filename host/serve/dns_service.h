// What happens to one DNS question, however it came: a server is asked, its answer goes through the scan, and a refused
// name gets what the settings say. Any thread may ask; the reply comes on a thread of the io_context, exactly once.
#ifndef TARN_HOST_SERVE_DNS_SERVICE_H
#define TARN_HOST_SERVE_DNS_SERVICE_H

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "host/serve/connection.h"
#include "host/serve/dns_exchange.h"

namespace tarn::host::serve {

struct DnsLimits {
    std::chrono::milliseconds attempt{1500};  // for one server
    std::chrono::milliseconds idle{10000};    // of a TCP client
    std::size_t questions = 1000;             // at once, of all clients; a quarter of one on another machine
    std::size_t connections = 200;            // over TCP
    std::size_t pipelined = 16;               // questions at once of one TCP client
};

struct DnsCounters {
    std::uint64_t asked = 0;
    std::uint64_t answered = 0;    // as the server did
    std::uint64_t refused = 0;     // names
    std::uint64_t failed = 0;      // no server answered
    std::uint64_t tooMany = 0;     // questions and clients beyond the limits
    std::uint64_t unreadable = 0;  // and what a forwarder does not do
    std::uint64_t dropped = 0;     // answers of somebody else, or to another question
    std::uint64_t overTcp = 0;     // questions that a server had to be asked again
};

class DnsService : public std::enable_shared_from_this<DnsService> {
 public:
    using Message = std::vector<std::uint8_t>;
    using Reply = std::function<void(Message)>;

    DnsService(Services& services, const DnsLimits& limits);

    // query: at least a header, and no response.
    void Answer(const Message& query, const Endpoint& client, Reply reply);

    void CountUnreadable() { ++unreadable_; }
    void CountTooMany() { ++tooMany_; }
    [[nodiscard]] DnsCounters Snapshot() const;
    [[nodiscard]] const DnsLimits& Limits() const { return limits_; }
    [[nodiscard]] Services& Shared() const { return services_; }

 private:
    // Null when all of them ask too much already, or this one does; with its end the question is over.
    [[nodiscard]] std::shared_ptr<void> Admit(const Endpoint& client);
    Message Judged(const Message& query, const Endpoint& client, DnsReply answer);
    [[nodiscard]] Message Refusal(const Message& query) const;
    [[nodiscard]] std::string ServerNames() const;

    Services& services_;
    const DnsLimits limits_;
    std::mutex mutex_;
    std::map<asio::ip::address, std::size_t> open_;  // questions, by client on another machine
    DnsServers servers_;
    std::atomic<std::size_t> running_{0};
    std::atomic<bool> isDown_{false};
    std::atomic<std::uint64_t> asked_{0};
    std::atomic<std::uint64_t> answered_{0};
    std::atomic<std::uint64_t> refused_{0};
    std::atomic<std::uint64_t> failed_{0};
    std::atomic<std::uint64_t> tooMany_{0};
    std::atomic<std::uint64_t> unreadable_{0};
};

// Whether bytes say that they answer something: nobody asks with such.
bool IsDnsResponse(base::Bytes bytes);

}  // namespace tarn::host::serve

#endif
