// Reads a capture file from front to back, knows where it stands and says what is wrong with the file.
#ifndef TARN_HOST_CAPTURE_CAPTURE_STREAM_H
#define TARN_HOST_CAPTURE_CAPTURE_STREAM_H

#include <cstddef>
#include <cstdint>
#include <istream>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/byte_reader.h"
#include "host/capture/gzip_input.h"

namespace tarn::host {

inline constexpr std::uint32_t kMaxFrameBytes = 262144;  // what capture programs take as "no limit"

struct CapturedFrame {
    std::uint64_t number = 0;           // from 1 on, over the whole file
    std::uint64_t timeNanoseconds = 0;  // since 1970; 0 when the file does not say
    std::uint16_t linkType = 1;         // as it was captured
    std::uint32_t captured = 0;         // bytes as they were captured, and on the wire
    std::uint32_t original = 0;
    std::vector<std::uint8_t> bytes;  // an Ethernet frame, whatever the link type

    // The capture program kept only the beginning.
    [[nodiscard]] bool IsCut() const { return captured < original; }
};

class CaptureStream {
 public:
    explicit CaptureStream(std::istream& input) : input_(&input) {}

    // Exactly as many bytes as out has room for, or an error that names what they were to be.
    bool Read(std::span<std::uint8_t> out, std::string_view what);
    // The same for count bytes; after an error out holds those that are there.
    bool Read(std::size_t count, std::string_view what, std::vector<std::uint8_t>& out);
    bool Skip(std::uint64_t count, std::string_view what);
    bool AtEnd();

    // From here on the input is a gzip stream, of which begun has been read already. Offsets are those of its content.
    void Unpack(base::Bytes begun);
    [[nodiscard]] bool IsUnpacked() const { return gzip_ != nullptr; }

    // Keeps the first message; always false, so that a reader can return it.
    bool Fail(std::string message);
    // The same for a capture whose frames cannot be replayed.
    bool FailForLinkType(std::uint16_t linkType);

    [[nodiscard]] std::uint64_t Offset() const { return offset_; }
    // Of the file, which may be packed.
    [[nodiscard]] std::uint64_t BytesRead() const { return gzip_ != nullptr ? gzip_->BytesRead() : offset_; }
    [[nodiscard]] const std::string& Error() const { return error_; }

 private:
    std::size_t ReadSome(std::span<std::uint8_t> out);
    bool HasMore();
    bool FailForEnd(std::uint64_t start, std::uint64_t there, std::uint64_t wanted, std::string_view what);

    std::istream* input_;
    std::unique_ptr<GzipInput> gzip_;
    std::unique_ptr<std::istream> unpacked_;
    std::size_t buffered_ = 0;  // of the input's buffer, bytes that were not taken yet
    std::uint64_t offset_ = 0;
    std::string error_;
};

}  // namespace tarn::host

#endif
