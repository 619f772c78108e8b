// Writes captures and frames byte by byte, for tests of what reads them.
#ifndef TARN_TESTS_HOST_CAPTURE_BYTES_H
#define TARN_TESTS_HOST_CAPTURE_BYTES_H

#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

#include "host/capture/capture_reader.h"

namespace tarn::host {

using ByteList = std::vector<std::uint8_t>;

class BytesWriter {
 public:
    explicit BytesWriter(bool bigEndian = false) : bigEndian_(bigEndian) {}

    BytesWriter& Number(std::uint64_t value, int size) {
        for (int i = 0; i < size; ++i) {
            const int shift = 8 * (bigEndian_ ? size - 1 - i : i);
            bytes.push_back(static_cast<std::uint8_t>(value >> shift & 0xFF));
        }
        return *this;
    }
    BytesWriter& U8(std::uint64_t value) { return Number(value, 1); }
    BytesWriter& U16(std::uint64_t value) { return Number(value, 2); }
    BytesWriter& U32(std::uint64_t value) { return Number(value, 4); }
    BytesWriter& Append(const ByteList& more) {
        bytes.insert(bytes.end(), more.begin(), more.end());
        return *this;
    }
    // Zeros up to a multiple of four.
    BytesWriter& Pad() {
        while (bytes.size() % 4 != 0) bytes.push_back(0);
        return *this;
    }

    ByteList bytes;

 private:
    bool bigEndian_;
};

struct PcapOptions {
    bool bigEndian = false;
    std::uint32_t magic = 0xA1B2C3D4;
    std::uint32_t snapLength = 262144;
    std::uint32_t linkType = 1;
    std::uint16_t major = 2;
};
inline ByteList PcapHeader(const PcapOptions& options = {}) {
    return BytesWriter(options.bigEndian)
        .U32(options.magic)
        .U16(options.major)
        .U16(4)
        .U32(0)
        .U32(0)
        .U32(options.snapLength)
        .U32(options.linkType)
        .bytes;
}
inline ByteList PcapFrame(std::uint32_t seconds, std::uint32_t fraction, const ByteList& frame,
                          bool bigEndian = false) {
    return BytesWriter(bigEndian).U32(seconds).U32(fraction).U32(frame.size()).U32(frame.size()).Append(frame).bytes;
}

// Everything that a capture yields.
struct ReadResult {
    std::vector<CapturedFrame> frames;
    std::string error;
};
inline ReadResult ReadAll(const ByteList& file) {
    std::istringstream input(std::string(file.begin(), file.end()));
    CaptureReader reader(input);
    ReadResult result;
    CapturedFrame frame;
    while (reader.Next(frame)) result.frames.push_back(frame);
    result.error = reader.Error();
    return result;
}

inline ByteList Joined(std::initializer_list<ByteList> parts) {
    ByteList all;
    for (const ByteList& part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

inline const ByteList kSomeFrame{1, 2, 3, 4, 5};  // for readers that do not look into it

inline ByteList Ethernet(std::uint16_t type, const ByteList& packet) {
    return BytesWriter(true).U32(0).U32(0).U32(0).U16(type).Append(packet).bytes;
}

}  // namespace tarn::host

#endif
