#include "host/serve/upstream.h"

#include <algorithm>
#include <fmt/format.h>

#include "host/composed_request.h"
#include "host/printable_text.h"
#include "host/serve/connection.h"
#include "policy/values.h"

namespace tarn::host::serve {

namespace {

constexpr std::chrono::seconds kConnectLimit{20};         // for all addresses together
constexpr std::chrono::milliseconds kBetweenStarts{250};  // RFC 8305, 5
constexpr std::size_t kMostAddresses = 6;

// As it is looked up: the outer dots are no part of it.
std::string NameOf(const Target& target) {
    return policy::LowerCase(std::string(WithoutOuterDots(target.host)));
}

// Both families in turn, so that one without a way costs no time; those in front of the list first.
std::vector<IpAddress> FirstInTurn(const std::vector<IpAddress>& addresses) {
    std::vector<IpAddress> families[2];
    for (const IpAddress& address : addresses)
        families[address.isIpv6 == addresses.front().isIpv6 ? 0 : 1].push_back(address);
    std::vector<IpAddress> chosen;
    for (std::size_t i = 0; i < addresses.size(); ++i)
        for (const auto& family : families)
            if (i < family.size() && chosen.size() < kMostAddresses) chosen.push_back(family[i]);
    return chosen;
}

// Each address is begun with a little after the one before; the first that answers counts.
class Connecting : public std::enable_shared_from_this<Connecting> {
 public:
    using Call = std::function<void(std::shared_ptr<Socket>, Endpoint, std::string)>;
    Connecting(const Strand& strand, std::vector<Endpoint> endpoints, Call call)
        : strand_(strand), endpoints_(std::move(endpoints)), call_(std::move(call)), pause_(strand), limit_(strand) {}

    void Begin() {
        if (endpoints_.empty()) return End(nullptr, {});
        limit_.expires_after(kConnectLimit);
        limit_.async_wait([self = shared_from_this()](ErrorCode error) {
            if (error) return;
            self->mistake_ = "it does not answer";
            self->End(nullptr, {});
        });
        Next();
    }

    void GiveUp() {
        call_ = [](const std::shared_ptr<Socket>&, const Endpoint&, const std::string&) {};
        End(nullptr, {});
    }

 private:
    void Next() {
        if (!call_ || sockets_.size() == endpoints_.size()) return;
        const Endpoint& endpoint = endpoints_[sockets_.size()];
        const auto socket = sockets_.emplace_back(std::make_shared<Socket>(strand_));
        if (sockets_.size() < endpoints_.size()) {
            pause_.expires_after(kBetweenStarts);
            pause_.async_wait([self = shared_from_this()](ErrorCode error) {
                if (!error) self->Next();
            });
        }
        socket->async_connect({AddressOfEndpoint(endpoint), endpoint.port},
                              [self = shared_from_this(), socket, endpoint](ErrorCode error) {
                                  if (!self->call_) return;
                                  if (error) return self->Fail(*socket, error);
                                  ErrorCode ignored;
                                  socket->set_option(Tcp::no_delay(true), ignored);
                                  self->End(socket, endpoint);
                              });
    }

    void Fail(Socket& socket, ErrorCode error) {
        CloseSocket(socket);
        mistake_ = error.message();
        if (++failed_ == endpoints_.size()) return End(nullptr, {});
        if (failed_ == sockets_.size()) Next();  // none is waited for
    }

    void End(const std::shared_ptr<Socket>& connected, const Endpoint& endpoint) {
        const Call call = std::exchange(call_, nullptr);
        if (!call) return;
        limit_.cancel();
        pause_.cancel();
        for (const auto& socket : sockets_)
            if (socket != connected) CloseSocket(*socket);
        call(connected, endpoint, connected ? std::string() : mistake_);
    }

    Strand strand_;
    std::vector<Endpoint> endpoints_;
    Call call_;  // gone once it was called
    Timer pause_;
    Timer limit_;
    std::vector<std::shared_ptr<Socket>> sockets_;  // of the first addresses
    std::size_t failed_ = 0;
    std::string mistake_ = "it has no address";
};

}  // namespace

Upstream::~Upstream() {
    Stop();
}

void Upstream::Stop() {
    names_.Stop();
}

Endpoint Upstream::Unresolved(const Target& target) {
    std::string ignored;
    const auto composed = ComposeRequest("http://name.example/", ignored);
    return {composed ? composed->server.address : IpAddress{}, target.port};
}

bool Upstream::IsForbidden(const Endpoint& endpoint, const Endpoint& client) const {
    const IpAddress& address = endpoint.address;
    if (IsLinkLocal(address) || IsUnspecified(address)) return true;
    // What listens on this machine is open to its own programs, not to a whole network. Of what cannot be found out the
    // answer counts that opens nothing.
    if (own_.Find(client.address) != Own::kYes && own_.Find(address) != Own::kNo) return true;
    return std::any_of(listeners_.begin(), listeners_.end(), [&](const Endpoint& listener) {
        if (listener.port != endpoint.port) return false;
        // A listener of every address is reached by each of this machine's.
        return listener.address == address || IsLoopback(address) ||
               (IsUnspecified(listener.address) && own_.Find(address) != Own::kNo);
    });
}

Resolved Upstream::Permitted(const std::vector<IpAddress>& addresses, const Target& target,
                             const Endpoint& client) const {
    Resolved resolved;
    for (const IpAddress& address : FirstInTurn(addresses))
        if (const Endpoint endpoint{Unmapped(address), target.port}; !IsForbidden(endpoint, client))
            resolved.endpoints.push_back(endpoint);
    resolved.isForbidden = resolved.endpoints.empty();
    if (resolved.isForbidden)
        resolved.mistake = fmt::format("{} is this server itself, or an address that is not asked for others",
                                       Printable(target.Text()));
    return resolved;
}

void Upstream::Resolve(const Target& target, const Endpoint& client, const Strand& strand,
                       std::function<void(Resolved)> call) {
    const std::string name = NameOf(target);
    std::optional<IpAddress> known = ParseIpAddress(target.host);
    if (const auto own = settings_.hosts.find(name); !known && own != settings_.hosts.end()) known = own->second;
    if (known) {
        asio::post(strand,
                   [call = std::move(call), resolved = Permitted({*known}, target, client)] { call(resolved); });
        return;
    }
    names_.Find(name, client.address, [this, target, client, strand, call = std::move(call)](const FoundName& found) {
        Resolved resolved;
        if (found.addresses.empty())
            resolved.mistake = found.mistake;
        else
            resolved = Permitted(found.addresses, target, client);
        asio::post(strand, [call, resolved = std::move(resolved)] { call(resolved); });
    });
}

std::function<void()> Upstream::Connect(const std::vector<Endpoint>& endpoints, const Strand& strand,
                                        std::function<void(std::shared_ptr<Socket>, Endpoint, std::string)> call) {
    const auto connecting = std::make_shared<Connecting>(strand, endpoints, std::move(call));
    connecting->Begin();
    return [weak = std::weak_ptr(connecting)] {
        if (const auto living = weak.lock()) living->GiveUp();
    };
}

}  // namespace tarn::host::serve
