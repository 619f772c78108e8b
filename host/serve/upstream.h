// The way to servers: finds the addresses of a name, refuses those that nobody may reach through the server, connects.
#ifndef TARN_HOST_SERVE_UPSTREAM_H
#define TARN_HOST_SERVE_UPSTREAM_H

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/capture/transport_view.h"
#include "host/serve/addresses.h"
#include "host/serve/asio.h"
#include "host/serve/name_lookup.h"
#include "host/serve/serve_settings.h"
#include "host/serve/target.h"

namespace tarn::host::serve {

struct Resolved {
    std::vector<Endpoint> endpoints;  // six at most, in the order of trying; none when mistake says why
    std::string mistake;
    bool isForbidden = false;  // this server itself, link-local, or of this machine for a client of another one
};

class Upstream {
 public:
    Upstream(asio::io_context& io, const ServeSettings& settings, OwnAddresses::Ask askOwn = AskWhetherOwn)
        : settings_(settings), own_(std::move(askOwn)), names_(io, AskSystem) {}
    ~Upstream();
    Upstream(const Upstream&) = delete;
    Upstream& operator=(const Upstream&) = delete;

    // A listener of this server, which no client may reach through it. Before the first connection.
    void Forbid(const Endpoint& listener) { listeners_.push_back(listener); }

    // Both call back on the executor that the handler's owner gives.
    void Resolve(const Target& target, const Endpoint& client, const Strand& strand,
                 std::function<void(Resolved)> call);
    // The first endpoint that answers, in 20 s. connected: empty when none did, with the reason. What it returns gives
    // up, on the strand: nobody is called back then.
    std::function<void()> Connect(const std::vector<Endpoint>& endpoints, const Strand& strand,
                                  std::function<void(std::shared_ptr<Socket>, Endpoint, std::string mistake)> call);

    // What the library is asked with when a name has no address: one that belongs to nobody.
    static Endpoint Unresolved(const Target& target);

    void Stop();

 private:
    [[nodiscard]] bool IsForbidden(const Endpoint& endpoint, const Endpoint& client) const;
    // Those of the addresses that the client may reach.
    [[nodiscard]] Resolved Permitted(const std::vector<IpAddress>& addresses, const Target& target,
                                     const Endpoint& client) const;

    const ServeSettings& settings_;
    std::vector<Endpoint> listeners_;
    mutable OwnAddresses own_;
    NameLookup names_;
};

}  // namespace tarn::host::serve

#endif
