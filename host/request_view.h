// Host and path of a request as they were captured, for people to read; more lenient than any judge.
// The library may make something else of the same bytes.
#ifndef TARN_HOST_REQUEST_VIEW_H
#define TARN_HOST_REQUEST_VIEW_H

#include <cstddef>
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
// Whether it has the encrypted_client_hello extension (0xFE0D). Some browsers send one that hides nothing.
bool HidesHello(base::Bytes data);
// Of the record that begins there, with its header; 0 when the length is missing.
std::size_t RecordLength(base::Bytes data);
// Whether a client speaks HTTP/2 without having asked first (RFC 9113, 3.4).
bool BeginsHttp2(base::Bytes data);
// The command line as the path.
RequestView ViewFtpCommand(base::Bytes data);
// The name of the first question (RFC 1035) as the host.
RequestView ViewDnsMessage(base::Bytes data);

}  // namespace tarn::host

#endif
