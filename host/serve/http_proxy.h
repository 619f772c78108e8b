// HTTP from a client: requests in the form for a proxy, CONNECT, or those that a browser sends to a server itself.
// Each request is judged before anything of it goes upstream. One object for each connection, which owns itself.
#ifndef TARN_HOST_SERVE_HTTP_PROXY_H
#define TARN_HOST_SERVE_HTTP_PROXY_H

#include <optional>

#include "host/serve/opening.h"

namespace tarn::host::serve {

// fixed: the server of all requests; without one each request names its own.
void StartHttp(Services& services, ClientSide client, std::optional<Target> fixed = std::nullopt);

}  // namespace tarn::host::serve

#endif
