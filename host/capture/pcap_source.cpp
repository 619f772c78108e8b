#include "host/capture/pcap_source.h"

#include <array>
#include <cstdint>
#include <fmt/format.h>
#include <vector>

#include "host/capture/link_layer.h"

namespace tarn::host {

namespace {

constexpr std::uint32_t kMicrosecondMagic = 0xA1B2C3D4;
constexpr std::uint32_t kNanosecondMagic = 0xA1B23C4D;
constexpr std::size_t kRestOfFileHeader = 20;
constexpr std::size_t kFrameHeader = 16;

class PcapSource : public FrameSource {
 public:
    PcapSource(CaptureStream& stream, bool bigEndian, bool nanoseconds)
        : stream_(stream), bigEndian_(bigEndian), nanoseconds_(nanoseconds) {}

    bool ReadFileHeader() {
        std::vector<std::uint8_t> header;
        if (!stream_.Read(kRestOfFileHeader, "the capture header", header)) return false;
        base::ByteReader reader(header);
        std::uint16_t major = 0;
        std::uint16_t minor = 0;
        std::uint32_t linkType = 0;
        // The time zone, the accuracy of times and the snap length (0 = none) say nothing about single frames.
        if (!Number(reader, major) || !Number(reader, minor) || !reader.Skip(12) || !Number(reader, linkType))
            return false;
        if (major != 2)
            return stream_.Fail(fmt::format("its pcap version is {}.{}, and only 2.x can be read", major, minor));
        // The upper half holds the length of the frame check sequence.
        linkType_ = static_cast<std::uint16_t>(linkType & 0xFFFF);
        return IsReplayedLinkType(linkType_) || stream_.FailForLinkType(linkType_);
    }

    bool Next(CapturedFrame& frame) override {
        if (stream_.AtEnd()) return false;
        const std::uint64_t start = stream_.Offset();
        std::array<std::uint8_t, kFrameHeader> header{};
        if (!stream_.Read(header, "a frame header")) return false;
        base::ByteReader reader(header);
        std::uint32_t seconds = 0;
        std::uint32_t fraction = 0;
        std::uint32_t length = 0;
        std::uint32_t original = 0;
        if (!Number(reader, seconds) || !Number(reader, fraction) || !Number(reader, length) ||
            !Number(reader, original))
            return false;
        if (length > kMaxFrameBytes)
            return stream_.Fail(
                fmt::format("the frame at offset {} says that it has {} bytes, and no frame has more "
                            "than {}; the file is damaged from there on",
                            start, length, kMaxFrameBytes));
        frame.timeNanoseconds =
            seconds * std::uint64_t{1000000000} + fraction * (nanoseconds_ ? 1 : std::uint64_t{1000});
        frame.linkType = linkType_;
        frame.captured = length;
        frame.original = original;
        return stream_.Read(length, "a frame", frame.bytes);
    }

 private:
    template <class T>
    bool Number(base::ByteReader& reader, T& out) const {
        return bigEndian_ ? reader.Be(out) : reader.Le(out);
    }

    CaptureStream& stream_;
    bool bigEndian_;
    bool nanoseconds_;
    std::uint16_t linkType_ = 0;
};

}  // namespace

std::unique_ptr<FrameSource> OpenPcap(CaptureStream& stream, base::Bytes magic) {
    std::uint32_t big = 0;
    std::uint32_t little = 0;
    if (!base::ByteReader(magic).Be(big) || !base::ByteReader(magic).Le(little)) return nullptr;
    const bool bigEndian = big == kMicrosecondMagic || big == kNanosecondMagic;
    const std::uint32_t number = bigEndian ? big : little;
    if (number != kMicrosecondMagic && number != kNanosecondMagic) return nullptr;
    auto source = std::make_unique<PcapSource>(stream, bigEndian, number == kNanosecondMagic);
    if (!source->ReadFileHeader()) return nullptr;
    return source;
}

}  // namespace tarn::host
