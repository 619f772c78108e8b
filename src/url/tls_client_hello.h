// Takes the server name out of a TLS ClientHello (RFC 8446, 4.1.2; server_name: RFC 6066, 3).
// Reads one buffer that begins with the record header. Does not reassemble records.
#ifndef TARN_URL_TLS_CLIENT_HELLO_H
#define TARN_URL_TLS_CLIENT_HELLO_H

#include "base/byte_reader.h"
#include "url/request_parser.h"

namespace tarn::url {

// True with an empty host for a hello without a server name; false for what is no hello, for lengths that pass the end
// and for a name of 260 characters or more. host keeps the letter case and is untouched on false.
bool ExtractTlsServerName(base::Bytes data, UrlText& host);

}  // namespace tarn::url

#endif
