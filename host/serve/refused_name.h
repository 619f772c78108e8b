// What stands at the address that DNS gives for a refused name: the page that says why it is blocked.
// Any thread may ask.
#ifndef TARN_HOST_SERVE_REFUSED_NAME_H
#define TARN_HOST_SERVE_REFUSED_NAME_H

#include <cstdint>

#include "host/serve/filter.h"
#include "host/serve/pages/page_server.h"

namespace tarn::host::serve {

// Judges the address that the client meant, with the same bytes as if it had asked the proxy. Nothing is ever opened.
PageResponse AnswerRefusedName(Filter& filter, const PageRequest& request, const Endpoint& client,
                               std::uint32_t processId);

}  // namespace tarn::host::serve

#endif
