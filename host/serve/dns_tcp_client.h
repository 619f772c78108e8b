// A client that asks over TCP (RFC 7766): frames of a length and a message, several open at once, answered as the
// answers come. The client owns itself and lives as long as its connection and its open questions.
#ifndef TARN_HOST_SERVE_DNS_TCP_CLIENT_H
#define TARN_HOST_SERVE_DNS_TCP_CLIENT_H

#include <memory>

#include "host/serve/dns_service.h"
#include "host/serve/opening.h"

namespace tarn::host::serve {

// counted: kept as long as the client lives.
void StartDnsTcpClient(std::shared_ptr<DnsService> service, ClientSide client, std::shared_ptr<void> counted);

}  // namespace tarn::host::serve

#endif
