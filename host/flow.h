// A connection as events name it: who asked whom over what.
#ifndef TARN_HOST_FLOW_H
#define TARN_HOST_FLOW_H

#include <compare>

#include "host/capture/transport_view.h"

namespace tarn::host {

struct Flow {
    bool isTcp = true;  // otherwise UDP
    Endpoint client;
    Endpoint server;

    friend constexpr auto operator<=>(const Flow&, const Flow&) = default;
};

// A handshake names the client; of a conversation whose beginning is missing, the higher port is the client's.
[[nodiscard]] bool IsFromClient(const TransportView& view);
[[nodiscard]] Flow FlowOf(const TransportView& view);

}  // namespace tarn::host

#endif
