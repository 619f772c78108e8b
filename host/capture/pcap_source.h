// Frames of a classic pcap file, in either byte order, with times in microseconds or nanoseconds.
#ifndef TARN_HOST_CAPTURE_PCAP_SOURCE_H
#define TARN_HOST_CAPTURE_PCAP_SOURCE_H

#include <memory>

#include "base/byte_reader.h"
#include "host/capture/capture_reader.h"
#include "host/capture/capture_stream.h"

namespace tarn::host {

// Null when magic (the file's first four bytes) names another format, and, with an error in the stream, when the file
// header is bad.
std::unique_ptr<FrameSource> OpenPcap(CaptureStream& stream, base::Bytes magic);

}  // namespace tarn::host

#endif
