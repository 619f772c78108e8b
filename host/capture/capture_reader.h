// Opens a capture of either format, packed by gzip or not, and hands out its frames as Ethernet frames, one after the
// other, in bounded memory.
#ifndef TARN_HOST_CAPTURE_CAPTURE_READER_H
#define TARN_HOST_CAPTURE_CAPTURE_READER_H

#include <cstdint>
#include <istream>
#include <memory>
#include <string>

#include "host/capture/capture_stream.h"

namespace tarn::host {

// One format. Begin has seen the four bytes that name it; Next returns false at the end and after an error.
class FrameSource {
 public:
    virtual ~FrameSource() = default;
    virtual bool Next(CapturedFrame& frame) = 0;
};

class CaptureReader {
 public:
    explicit CaptureReader(std::istream& input) : stream_(input) {}

    // False at the end of the file and after an error; frames that stand before the error are handed out.
    bool Next(CapturedFrame& frame);

    // Empty when the file was read to its end.
    [[nodiscard]] const std::string& Error() const { return stream_.Error(); }
    [[nodiscard]] std::uint64_t BytesRead() const { return stream_.BytesRead(); }
    [[nodiscard]] std::uint64_t FrameCount() const { return frameCount_; }

 private:
    bool Open();

    CaptureStream stream_;
    std::unique_ptr<FrameSource> source_;
    std::uint64_t frameCount_ = 0;
};

}  // namespace tarn::host

#endif
