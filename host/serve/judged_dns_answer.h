// A server's DNS answer in the form that the library reads, whatever form the server chose.
#ifndef TARN_HOST_SERVE_JUDGED_DNS_ANSWER_H
#define TARN_HOST_SERVE_JUDGED_DNS_ANSWER_H

#include <cstdint>
#include <vector>

#include "base/byte_reader.h"

namespace tarn::host::serve {

// The question, with the addresses of the answer as records of their own: those of A and AAAA records, and those that
// HTTPS and SVCB records (RFC 9460) hint at. As many as fit the 2,047 bytes that the library looks at.
// The bytes as they are when they are no DNS message.
std::vector<std::uint8_t> JudgedDnsAnswer(base::Bytes message);

}  // namespace tarn::host::serve

#endif
