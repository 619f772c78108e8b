// Frames of a pcapng file: sections in either byte order, enhanced and simple packet blocks, times of any resolution.
// Blocks of other kinds are passed over.
#ifndef TARN_HOST_CAPTURE_PCAPNG_SOURCE_H
#define TARN_HOST_CAPTURE_PCAPNG_SOURCE_H

#include <cstdint>
#include <memory>

#include "base/byte_reader.h"
#include "host/capture/capture_reader.h"
#include "host/capture/capture_stream.h"

namespace tarn::host {

// Null when magic (the file's first four bytes) names another format, and, with an error in the stream, when the first
// section header is bad.
std::unique_ptr<FrameSource> OpenPcapng(CaptureStream& stream, base::Bytes magic);

// How an interface counts time: resolution as the option if_tsresol holds it, and the offset of if_tsoffset.
struct TimeScale {
    std::uint8_t resolution = 6;  // the high bit makes it a power of 2, otherwise it is a power of 10
    std::uint64_t offsetSeconds = 0;
};
// Nanoseconds since 1970. Wraps around for times that do not fit.
std::uint64_t ToNanoseconds(std::uint64_t units, const TimeScale& scale);

}  // namespace tarn::host

#endif
