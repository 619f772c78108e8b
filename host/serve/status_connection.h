// A connection to a page of this server: requests one after the other, or a stream of events until the client closes
// it. It owns itself; a client that sends or reads too slowly is let go.
#ifndef TARN_HOST_SERVE_STATUS_CONNECTION_H
#define TARN_HOST_SERVE_STATUS_CONNECTION_H

#include <functional>

#include "host/serve/opening.h"
#include "host/serve/status_pages.h"

namespace tarn::host::serve {

// Answers requests, one that takes long on a thread that may wait. client: as it is connected, without its socket.
using AnswerPage = std::function<PageResponse(const PageRequest& request, const ClientSide& client)>;

// feed: of the streams, null where there are none; outlives it. slow: runs what takes long, and ends before the pages
// do; null where nothing does.
void StartPages(Services& services, AnswerPage answer, StatusFeed* feed, asio::thread_pool* slow, ClientSide client);

}  // namespace tarn::host::serve

#endif
