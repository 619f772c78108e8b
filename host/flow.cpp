#include "host/flow.h"

namespace tarn::host {

bool IsFromClient(const TransportView& view) {
    if (view.isTcp && view.syn) return !view.ack;
    return view.source.port >= view.destination.port;
}

Flow FlowOf(const TransportView& view) {
    return IsFromClient(view) ? Flow{view.isTcp, view.source, view.destination}
                              : Flow{view.isTcp, view.destination, view.source};
}

}  // namespace tarn::host
