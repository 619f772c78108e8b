// An address as the tests write it.
#ifndef TARN_TESTS_SERVE_ADDRESSES_H
#define TARN_TESTS_SERVE_ADDRESSES_H

#include "host/capture/ip_address.h"

namespace tarn::host::serve {

inline IpAddress Address(const char* text) {
    return ParseIpAddress(text).value();
}

}  // namespace tarn::host::serve

#endif
