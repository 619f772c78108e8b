// Turns one DNS response into the queried name and the addresses of its answers.
// A pure function; message and answer belong to the caller.
#ifndef TARN_NETWORK_DNS_RESPONSE_H
#define TARN_NETWORK_DNS_RESPONSE_H

#include "tarn/companions.h"

#include "base/byte_reader.h"

namespace tarn::network {

// message: a DNS message as carried in UDP (RFC 1035), 13 to 2047 bytes. answer receives the queried name (letter case
// as received), the number of addresses in the message, and the first two of them: IPv4 before IPv6, each in answer
// order. False for a message that does not parse; answer is then unspecified.
bool ParseDnsResponse(base::Bytes message, DnsAnswerEntry& answer);

}  // namespace tarn::network

#endif
