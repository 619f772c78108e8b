// Host and path of a request as they were captured, for people to read; more lenient than any judge.
// The library may make something else of the same bytes.
#ifndef TARN_HOST_REQUEST_VIEW_H
#define TARN_HOST_REQUEST_VIEW_H

#include <string>

#include "base/byte_reader.h"

namespace tarn::host {

// Bytes as they stand on the wire: whoever prints them makes them harmless first (printable_text.h).
struct RequestView {
    std::string host;
    std::string path;
};

// The Host header, else the authority of an absolute target; the target without scheme and authority.
RequestView ViewHttpRequest(base::Bytes data);
// The name of the server_name extension (RFC 6066); empty without one.
RequestView ViewTlsHello(base::Bytes data);
// The command line as the path.
RequestView ViewFtpCommand(base::Bytes data);
// The name of the first question (RFC 1035) as the host.
RequestView ViewDnsMessage(base::Bytes data);

}  // namespace tarn::host

#endif
