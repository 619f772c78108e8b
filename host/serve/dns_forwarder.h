// The listeners of the DNS forwarder: UDP and TCP on one address and port. dns_service.h says what happens to a
// question. Open, Begin and Stop are for one thread; the rest happens on the threads of the io_context.
#ifndef TARN_HOST_SERVE_DNS_FORWARDER_H
#define TARN_HOST_SERVE_DNS_FORWARDER_H

#include <memory>
#include <string>

#include "host/serve/dns_service.h"

namespace tarn::host::serve {

class DnsForwarder {
 public:
    explicit DnsForwarder(Services& services, const DnsLimits& limits = {});
    ~DnsForwarder();
    DnsForwarder(const DnsForwarder&) = delete;
    DnsForwarder& operator=(const DnsForwarder&) = delete;

    // False with the reason. listener gets the port that the system chose when it is 0.
    bool Open(Endpoint& listener, std::string& mistake);
    void Begin();
    // No further questions; those that were asked are answered while the io_context runs.
    void Stop();

    [[nodiscard]] DnsCounters Snapshot() const;

 private:
    struct Listeners;
    std::shared_ptr<Listeners> listeners_;
};

}  // namespace tarn::host::serve

#endif
