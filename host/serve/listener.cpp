#include "host/serve/listener.h"

#include <fmt/format.h>

#include "host/serve/serve_settings.h"

namespace tarn::host::serve {

namespace {

constexpr std::chrono::milliseconds kTryAgain{100};

}  // namespace

Listener::Listener(Services& services, Serve serve, ConnectionSet::Room room)
    : services_(services),
      serve_(std::move(serve)),
      room_(room),
      strand_(asio::make_strand(services.io)),
      acceptor_(strand_),
      timer_(strand_) {}

bool Listener::Open(Endpoint& endpoint, std::string& mistake) {
    ErrorCode error;
    const Tcp::endpoint local(AddressOfEndpoint(endpoint), endpoint.port);
    acceptor_.open(local.protocol(), error);
#ifdef SO_EXCLUSIVEADDRUSE
    // Without it a second program could take the same port and get some of the connections.
    if (!error)
        acceptor_.set_option(asio::detail::socket_option::boolean<SOL_SOCKET, SO_EXCLUSIVEADDRUSE>(true), error);
#else
    if (!error) acceptor_.set_option(asio::socket_base::reuse_address(true), error);
#endif
    if (!error && endpoint.address.isIpv6) acceptor_.set_option(asio::ip::v6_only(true), error);
    if (!error) acceptor_.bind(local, error);
    if (!error) acceptor_.listen(asio::socket_base::max_listen_connections, error);
    if (error == asio::error::address_in_use || error == asio::error::access_denied) {
        mistake = fmt::format("{} is taken by another program; is tarnhost serve running already? Choose another port",
                              FormatEndpoint(endpoint));
        return false;
    }
    if (error) {
        mistake = fmt::format("{} cannot be listened on: {}; is it an address of this machine?",
                              FormatEndpoint(endpoint), error.message());
        return false;
    }
    endpoint = EndpointOf(acceptor_.local_endpoint(error));
    endpoint_ = endpoint;
    return true;
}

void Listener::Begin() {
    asio::post(strand_, [self = shared_from_this()] { self->Accept(); });
}

void Listener::Close() {
    asio::post(strand_, [self = shared_from_this()] {
        ErrorCode ignored;
        self->acceptor_.close(ignored);
        self->timer_.cancel();
    });
}

// The next one is waited for before this one is served: whatever happens there, the port stays open.
void Listener::Accept() {
    acceptor_.async_accept(asio::make_strand(services_.io),
                           [self = shared_from_this()](ErrorCode error, Socket socket) {
                               if (!self->acceptor_.is_open()) return;
                               if (error) return self->AcceptLater();  // such as no more handles: some come back
                               try {
                                   self->Accept();
                               } catch (const std::exception&) {  // no memory
                                   self->AcceptLater();
                               }
                               self->Take(std::move(socket));
                           });
}

void Listener::AcceptLater() {
    timer_.expires_after(kTryAgain);
    timer_.async_wait([self = shared_from_this()](ErrorCode error) {
        if (!error) self->Accept();
    });
}

void Listener::Take(Socket socket) {
    ErrorCode error;
    const Tcp::endpoint peer = socket.remote_endpoint(error);
    if (error) return;
    ConnectionSet::Place place = services_.connections.Enter(EndpointOf(peer).address, room_);
    if (!place) return;
    socket.set_option(Tcp::no_delay(true), error);
    auto client = std::make_shared<ClientSide>();
    client->socket = std::make_shared<Socket>(std::move(socket));
    client->client = EndpointOf(peer);
    // A listener of every address is reached at one of them.
    const Tcp::endpoint reached = client->socket->local_endpoint(error);
    client->listener = error ? endpoint_ : EndpointOf(reached);
    client->place = std::move(place);
    const Strand strand = client->socket->get_executor();
    const auto begin = [self = shared_from_this(), client, strand](std::uint32_t processId) {
        client->processId = processId;
        asio::post(strand, [self, client] { self->serve_(std::move(*client)); });
    };
    if (services_.findProcess)
        services_.findProcess(client->client, client->listener, begin);
    else
        begin(0);
}

}  // namespace tarn::host::serve
