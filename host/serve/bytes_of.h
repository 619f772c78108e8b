// A text as the bytes that the library judges. They are the text's own, and live as long as it does.
#ifndef TARN_HOST_SERVE_BYTES_OF_H
#define TARN_HOST_SERVE_BYTES_OF_H

#include <cstdint>
#include <string>

#include "base/byte_reader.h"

namespace tarn::host::serve {

inline base::Bytes BytesOf(const std::string& text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

}  // namespace tarn::host::serve

#endif
