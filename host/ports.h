// The ports that protocols have by custom.
#ifndef TARN_HOST_PORTS_H
#define TARN_HOST_PORTS_H

#include <cstdint>

namespace tarn::host {

inline constexpr std::uint16_t kDnsPort = 53;
inline constexpr std::uint16_t kHttpPort = 80;

}  // namespace tarn::host

#endif
