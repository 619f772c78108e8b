// SHA-1 (FIPS 180-4), for identifiers that are defined by it; it protects nothing.
#ifndef TARN_HOST_SHA1_H
#define TARN_HOST_SHA1_H

#include <array>
#include <cstdint>

#include "base/byte_reader.h"

namespace tarn::host {

using Sha1Digest = std::array<std::uint8_t, 20>;

[[nodiscard]] Sha1Digest Sha1(base::Bytes message);

}  // namespace tarn::host

#endif
