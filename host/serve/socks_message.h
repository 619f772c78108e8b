// What clients of SOCKS5 say (RFC 1928) before their connection is theirs, and what they are answered.
// Pure functions over bytes from anywhere.
#ifndef TARN_HOST_SERVE_SOCKS_MESSAGE_H
#define TARN_HOST_SERVE_SOCKS_MESSAGE_H

#include <array>
#include <cstddef>
#include <cstdint>

#include "base/byte_reader.h"
#include "host/serve/upstream.h"

namespace tarn::host::serve {

enum class SocksCode : std::uint8_t {
    kDone = 0,
    kFailure = 1,
    kNotAllowed = 2,
    kUnknownCommand = 7,
    kUnknownAddress = 8
};

enum class SocksState {
    kMore,   // the message is not whole yet
    kOther,  // it is not SOCKS5
    kDone
};

struct SocksGreeting {
    SocksState state = SocksState::kMore;
    std::size_t length = 0;       // of a whole one
    bool acceptsNoLogin = false;  // the one method that there is
};
SocksGreeting ReadSocksGreeting(base::Bytes said);
inline constexpr std::array<std::uint8_t, 2> kSocksNoLogin{5, 0};
inline constexpr std::array<std::uint8_t, 2> kSocksNoMethod{5, 0xFF};

struct SocksRequest {
    SocksState state = SocksState::kMore;
    std::size_t length = 0;
    SocksCode code = SocksCode::kDone;  // of a whole one: anything else refuses it
    Target target;
};
SocksRequest ReadSocksRequest(base::Bytes said);
// With the unspecified address as the one that the server is reached from: nobody uses it for CONNECT.
std::array<std::uint8_t, 10> ComposeSocksReply(SocksCode code);

}  // namespace tarn::host::serve

#endif
