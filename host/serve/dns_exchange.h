// Asks DNS servers one question, one server after the other, until one answers it.
// Each attempt has a port and an id of its own at random; only what the asked server says to that id about that
// question is taken. An exchange owns itself until it has called back, on its own strand.
#ifndef TARN_HOST_SERVE_DNS_EXCHANGE_H
#define TARN_HOST_SERVE_DNS_EXCHANGE_H

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "host/capture/transport_view.h"
#include "host/serve/asio.h"

namespace tarn::host::serve {

struct DnsServers {
    std::vector<Endpoint> servers;
    std::chrono::milliseconds attempt{1500};  // how long one server is waited for; after the last one the first again
    std::atomic<std::size_t> preferred{0};    // the one that answered last
    std::atomic<std::uint64_t> dropped{0};    // answers of somebody else, or to another question
    std::atomic<std::uint64_t> overTcp{0};    // questions that were asked again over TCP
};

struct DnsReply {
    std::vector<std::uint8_t> message;  // empty: no server answered; its id is that of the attempt
    Endpoint server;
};

// query: one that parses. servers outlives the exchange.
void ExchangeDns(asio::io_context& io, DnsServers& servers, std::vector<std::uint8_t> query,
                 std::function<void(DnsReply)> call);

}  // namespace tarn::host::serve

#endif
