// A server as a client named it, and the questions about it: what the client says is judged for each address that may
// be connected, and by the name that the client gave where it says another one itself.
// Plain values. The questions may be asked by any thread.
#ifndef TARN_HOST_SERVE_NAMED_SERVER_H
#define TARN_HOST_SERVE_NAMED_SERVER_H

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "host/serve/filter.h"
#include "host/serve/http_head.h"
#include "host/serve/upstream.h"

namespace tarn::host::serve {

struct NamedServer {
    Target target;
    std::vector<Endpoint> endpoints;  // none: the name has no address
    Endpoint client;
    std::uint32_t processId = 0;
    bool isAgain = false;  // as in Asked

    // What stands in events.
    [[nodiscard]] Endpoint First() const {
        return endpoints.empty() ? Upstream::Unresolved(target) : endpoints.front();
    }
};

// A hello in one record.
Answer JudgeHello(Filter& filter, const NamedServer& server, base::Bytes hello, bool isCut,
                  std::optional<Unread> unread = std::nullopt);
Answer JudgeRequest(Filter& filter, const NamedServer& server, const PlannedRequest& plan);
// The name alone, for what the library does not read.
Answer JudgeName(Filter& filter, const NamedServer& server, std::optional<Unread> unread = std::nullopt);

// Whether requests do not go to its port, because an FTP server would read their bodies as commands. An event tells it.
bool IsClosedToRequests(Filter& filter, const NamedServer& server);

// The same of what is open: whether it is blocked by what counts when that is asked. With an event only when it is.
std::function<bool()> HelloAgain(Filter& filter, NamedServer server, std::vector<std::uint8_t> hello, bool isCut);
std::function<bool()> RequestAgain(Filter& filter, NamedServer server, PlannedRequest plan);
std::function<bool()> NameAgain(Filter& filter, NamedServer server);

}  // namespace tarn::host::serve

#endif
