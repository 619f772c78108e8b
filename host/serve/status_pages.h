// The pages of a running server: its events become what the status page shows, its filter explains, its counters count.
// Made before the listeners open and gone after they closed; any thread may ask.
#ifndef TARN_HOST_SERVE_STATUS_PAGES_H
#define TARN_HOST_SERVE_STATUS_PAGES_H

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "host/serve/event_hub.h"
#include "host/serve/filter.h"
#include "host/serve/pages/block_page.h"
#include "host/serve/pages/page_server.h"
#include "host/serve/serve_settings.h"

namespace tarn::host::serve {

class ClientProcesses;
class ConnectionSet;

// What the block page of an answer tells.
BlockedPage BlockedPageFor(const Answer& answer, const TarnSystemTime& now);
// The page itself, as HTML.
std::string BlockPageFor(const Answer& answer, const TarnSystemTime& now, std::string_view acceptLanguage);

class StatusPages {
 public:
    // All of them outlive it. settings: with the ports that are listened on.
    StatusPages(EventHub& hub, Filter& filter, const ConnectionSet& connections, const ClientProcesses& processes,
                const ServeSettings& settings);

    // An explanation takes as long as it takes: not for a thread that others wait for.
    [[nodiscard]] PageResponse Answer(const PageRequest& request) const { return server_.Answer(request); }
    [[nodiscard]] StatusFeed& Feed() { return feed_; }

 private:
    StatusFeed feed_;
    PageServer server_;
    EventHub::Subscription subscription_;
};

}  // namespace tarn::host::serve

#endif
