// Which page answers a request for the status page's address: the page, its data, and the script for browsers.
// It only reads: GET and HEAD alone. A name or another site that stands for this address is refused, so that no page of
// the web can read what is judged here. Any thread may ask; an explanation may take long.
#ifndef TARN_HOST_SERVE_PAGES_PAGE_SERVER_H
#define TARN_HOST_SERVE_PAGES_PAGE_SERVER_H

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "host/event.h"
#include "host/serve/pages/page_response.h"
#include "host/serve/pages/status_feed.h"

namespace tarn::host::serve {

// The parts of a request that count. A field that is missing is empty.
struct PageRequest {
    std::string_view method;
    std::string_view target;  // origin-form: path and query
    std::string_view host;
    std::string_view origin;
    std::string_view fetchSite;  // Sec-Fetch-Site
    std::string_view acceptLanguage;
};

// Whether the answer takes longer than others may wait: an explanation.
bool TakesLong(const PageRequest& request);

struct PageSources {
    // Further members of the state: "connections", "unknown_clients", "turned_away", "internal_errors".
    std::function<Event()> counters;
    // Of a URL, as docs/explain.md says; with "error" in words when it cannot be explained.
    std::function<Event(const std::string& url)> explain;
};

struct PageAddresses {
    std::vector<std::string> own;  // with port, as Host may name them: "127.0.0.1:8081", "localhost:8081", "[::1]:8081"
    std::string proxy;             // of proxy.pac; empty: there is none
};
// Those of a listener on that address (as text, without brackets): on the loopback, "localhost" counts, too.
std::vector<std::string> OwnNames(const std::string& address, std::uint16_t port);

class PageServer {
 public:
    PageServer(const StatusFeed& feed, PageSources sources, PageAddresses addresses)
        : feed_(feed), sources_(std::move(sources)), addresses_(std::move(addresses)) {}

    // The body of a HEAD request is there, too: it counts for Content-Length and is not sent.
    [[nodiscard]] PageResponse Answer(const PageRequest& request) const;

 private:
    [[nodiscard]] bool IsOwn(std::string_view host) const;
    [[nodiscard]] bool IsForeign(const PageRequest& request) const;

    const StatusFeed& feed_;
    PageSources sources_;
    PageAddresses addresses_;
};

}  // namespace tarn::host::serve

#endif
