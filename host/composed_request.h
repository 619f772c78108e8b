// Turns a URL into the first bytes that a browser would send for it: a GET request, or a TLS ClientHello.
// Nobody is connected or resolved, so the server of a name gets a public address that belongs to nobody.
#ifndef TARN_HOST_COMPOSED_REQUEST_H
#define TARN_HOST_COMPOSED_REQUEST_H

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/capture/transport_view.h"
#include "host/protocol_choice.h"

namespace tarn::host {

struct ComposedRequest {
    const Protocol* protocol = nullptr;
    std::vector<std::uint8_t> data;
    Endpoint server;
    bool isServerKnown = false;  // the URL names an address
    RequestView view;
};

// http:// and https:// URLs; one without a scheme counts as http://. On a URL that no browser would take the result is
// empty and mistake says why.
// toAscii: turns an international host name into the form that is sent; nothing when it has none.
using HostToAscii = std::function<std::optional<std::string>(const std::string& utf8)>;
std::optional<ComposedRequest> ComposeRequest(std::string_view url, std::string& mistake,
                                              const HostToAscii& toAscii = {});

// A ClientHello as RFC 8446 wants it, with that server name (RFC 6066; left out when empty). At most 255 characters.
std::vector<std::uint8_t> ComposeClientHello(std::string_view serverName);

}  // namespace tarn::host

#endif
