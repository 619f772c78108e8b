#include "host/serve/dns_forwarder.h"

#include <array>
#include <atomic>
#include <fmt/format.h>
#include <utility>

#include "host/serve/dns_message.h"
#include "host/serve/dns_tcp_client.h"
#include "host/serve/listener.h"
#include "host/serve/serve_settings.h"

namespace tarn::host::serve {

namespace {

constexpr std::chrono::milliseconds kPause{100};  // after an error that would come again at once

using Message = DnsService::Message;
using Datagrams = asio::basic_datagram_socket<Udp, Strand>;

}  // namespace

struct DnsForwarder::Listeners : std::enable_shared_from_this<Listeners> {
    Listeners(Services& services, const DnsLimits& limits)
        : service(std::make_shared<DnsService>(services, limits)),
          strand(services.io.get_executor()),
          datagrams(strand),
          pause(strand) {}

    bool Open(Endpoint& endpoint, std::string& mistake);

    void Receive() {
        datagrams.async_receive_from(asio::buffer(buffer), from,
                                     [self = shared_from_this()](ErrorCode error, std::size_t length) {
                                         if (!self->isStopped) self->Received(error, length);
                                     });
    }

    void Received(ErrorCode error, std::size_t length) {
        // On Windows a client that is gone shows as an error of the next receive.
        const bool isHarmless = error == asio::error::connection_reset || error == asio::error::connection_refused ||
                                error == asio::error::message_size;
        if (error && !isHarmless) return PauseAndReceive();
        const Message query(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(error ? 0 : length));
        const Udp::endpoint client = from;
        // Before the question is answered: whatever happens there, the port stays open.
        try {
            Receive();
        } catch (const std::exception&) {  // no memory
            PauseAndReceive();
        }
        if (!error) Take(query, client);
    }

    void Take(const Message& query, const Udp::endpoint& client) {
        if (!DnsIdOf(query) || IsDnsResponse(query)) return service->CountUnreadable();
        const auto parsed = ParseDnsMessage(query);
        const std::size_t most = parsed ? parsed->LargestUdpAnswer() : kSmallestUdpAnswer;
        service->Answer(query, EndpointOf({client.address(), client.port()}),
                        [self = shared_from_this(), query, most, to = client](Message answer) {
                            if (answer.size() > most) answer = ComposeDnsTruncated(query);
                            self->Send(std::make_shared<Message>(std::move(answer)), to);
                        });
    }

    void Send(const std::shared_ptr<Message>& answer, const Udp::endpoint& to) {
        asio::post(strand, [self = shared_from_this(), answer, to] {
            self->datagrams.async_send_to(asio::buffer(*answer), to, [self, answer](ErrorCode, std::size_t) {});
        });
    }

    void Take(ClientSide client) {
        std::shared_ptr<void> counted(nullptr, [self = shared_from_this()](void*) { --self->connections; });
        if (++connections > service->Limits().connections) return service->CountTooMany();
        StartDnsTcpClient(service, std::move(client), std::move(counted));
    }

    void PauseAndReceive() {
        pause.expires_after(kPause);
        pause.async_wait([self = shared_from_this()](ErrorCode error) {
            if (!error && !self->isStopped) self->Receive();
        });
    }

    std::shared_ptr<DnsService> service;
    Strand strand;
    Datagrams datagrams;
    Timer pause;
    std::shared_ptr<Listener> streams;
    std::array<std::uint8_t, kLargestQuery> buffer{};
    Udp::endpoint from;
    std::atomic<std::size_t> connections{0};
    bool isStopped = false;  // on the strand
};

bool DnsForwarder::Listeners::Open(Endpoint& endpoint, std::string& mistake) {
    constexpr int kTries = 20;  // until the system chose a port that both have free
    const Endpoint asked = endpoint;
    ErrorCode error;
    for (int i = 0; i < (asked.port == 0 ? kTries : 1); ++i) {
        endpoint = asked;
        streams = std::make_shared<Listener>(service->Shared(), [weak = weak_from_this()](ClientSide client) {
            if (const auto self = weak.lock()) self->Take(std::move(client));
        });
        if (!streams->Open(endpoint, mistake)) return false;
        const Udp::endpoint local(AddressOfEndpoint(endpoint), endpoint.port);
        if (datagrams.is_open()) datagrams.close(error);
        datagrams.open(local.protocol(), error);
        if (!error && endpoint.address.isIpv6) datagrams.set_option(asio::ip::v6_only(true), error);
        if (!error) datagrams.bind(local, error);
        if (!error) return true;
    }
    mistake = fmt::format("DNS cannot listen on UDP {}: {}; choose another address or port, or \"off\"",
                          FormatEndpoint(endpoint), error.message());
    return false;
}

DnsForwarder::DnsForwarder(Services& services, const DnsLimits& limits)
    : listeners_(std::make_shared<Listeners>(services, limits)) {}

DnsForwarder::~DnsForwarder() {
    Stop();
}

bool DnsForwarder::Open(Endpoint& listener, std::string& mistake) {
    return listeners_->Open(listener, mistake);
}

void DnsForwarder::Begin() {
    listeners_->streams->Begin();
    asio::post(listeners_->strand, [listeners = listeners_] { listeners->Receive(); });
}

// The socket for datagrams stays open as long as answers want to leave through it.
void DnsForwarder::Stop() {
    if (listeners_->streams) listeners_->streams->Close();
    asio::post(listeners_->strand, [listeners = listeners_] {
        ErrorCode ignored;
        listeners->isStopped = true;
        listeners->datagrams.cancel(ignored);
        listeners->pause.cancel();
    });
}

DnsCounters DnsForwarder::Snapshot() const {
    return listeners_->service->Snapshot();
}

}  // namespace tarn::host::serve
