// Reads a capture file from front to back, knows where it stands and says what is wrong with the file.
// What the bytes mean is left to the readers of the two formats.
#ifndef TARN_HOST_CAPTURE_CAPTURE_STREAM_H
#define TARN_HOST_CAPTURE_CAPTURE_STREAM_H

#include <cstddef>
#include <cstdint>
#include <istream>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::host {

inline constexpr std::uint32_t kMaxFrameBytes = 262144;  // what capture programs take as "no limit"
inline constexpr std::uint16_t kLinkTypeEthernet = 1;

struct CapturedFrame {
    std::uint64_t number = 0;           // from 1 on, over the whole file
    std::uint64_t timeNanoseconds = 0;  // since 1970; 0 when the file does not say
    std::vector<std::uint8_t> bytes;
};

class CaptureStream {
 public:
    explicit CaptureStream(std::istream& input) : input_(input) {}

    // Exactly count bytes, or an error that names what they were to be.
    bool Read(std::size_t count, std::string_view what, std::vector<std::uint8_t>& out);
    bool Skip(std::uint64_t count, std::string_view what);
    bool AtEnd();

    // Keeps the first message; always false, so that a reader can return it.
    bool Fail(std::string message);
    // The same for a capture whose frames are not Ethernet.
    bool FailForLinkType(std::uint16_t linkType);

    [[nodiscard]] std::uint64_t Offset() const { return offset_; }
    [[nodiscard]] const std::string& Error() const { return error_; }

 private:
    bool FailForEnd(std::uint64_t start, std::uint64_t there, std::uint64_t wanted, std::string_view what);

    std::istream& input_;
    std::uint64_t offset_ = 0;
    std::string error_;
};

}  // namespace tarn::host

#endif
