// What a connection is, from what its client says first.
// Nothing here judges; the bytes are taken apart only as far as that needs.
#ifndef TARN_HOST_SERVE_FIRST_BYTES_H
#define TARN_HOST_SERVE_FIRST_BYTES_H

#include <cstdint>
#include <vector>

#include "base/byte_reader.h"

namespace tarn::host::serve {

enum class Speech {
    kMore,  // that cannot be told yet
    kHttp,
    kHttp2,
    kTls,     // with the whole hello
    kTlsCut,  // a hello of which more would have to come, and which is longer than may be
    kOther
};

inline constexpr std::size_t kMostHello = 16384;

Speech Recognise(base::Bytes said);

// Whether it begins like a hello, whole or not.
bool BeginsLikeHello(base::Bytes said);

// The hello in one record, however many it came in. What is no whole hello stays as it is.
std::vector<std::uint8_t> JoinHello(base::Bytes said);

// Line ends that stand before a request: servers pass over them.
std::size_t LeadingLineEnds(base::Bytes said);

}  // namespace tarn::host::serve

#endif
