#include "host/capture/pcapng_source.h"

#include <algorithm>
#include <fmt/format.h>
#include <vector>

#include "host/capture/link_layer.h"

namespace tarn::host {

namespace {

constexpr std::uint32_t kSectionHeader = 0x0A0D0D0A;  // reads the same in both byte orders
constexpr std::uint32_t kInterface = 1;
constexpr std::uint32_t kSimplePacket = 3;
constexpr std::uint32_t kEnhancedPacket = 6;
constexpr std::uint32_t kByteOrderMagic = 0x1A2B3C4D;
constexpr std::uint32_t kBlockFrame = 12;          // type, length, and the length again at the end
constexpr std::uint32_t kMaxBlockBytes = 1 << 20;  // of the blocks that are read; a frame and its comments
constexpr std::size_t kMaxInterfaces = 1024;       // of one section
constexpr std::uint16_t kOptionTimeResolution = 9;
constexpr std::uint16_t kOptionTimeOffset = 14;
constexpr std::uint64_t kNanosecondsPerSecond = 1000000000;

struct Interface {
    std::uint16_t linkType = 0;
    std::uint32_t snapLength = 0;  // 0 = none
    TimeScale time;
};

class PcapngSource : public FrameSource {
 public:
    explicit PcapngSource(CaptureStream& stream) : stream_(stream) {}

    // The rest of a section header, behind its type.
    bool ReadSection(std::uint64_t start) {
        std::vector<std::uint8_t> head;
        if (!stream_.Read(8, "a section header", head)) return false;
        base::ByteReader order(base::Bytes(head).subspan(4));
        std::uint32_t magic = 0;
        if (!order.Be(magic)) return false;
        bigEndian_ = magic == kByteOrderMagic;
        if (!bigEndian_ && (!base::ByteReader(base::Bytes(head).subspan(4)).Le(magic) || magic != kByteOrderMagic))
            return stream_.Fail(fmt::format("the section header at offset {} has no byte order mark", start));
        base::ByteReader reader(head);
        std::uint32_t length = 0;
        if (!Number(reader, length) || !CheckLength(length, kBlockFrame + 16, start)) return false;
        std::vector<std::uint8_t> body;
        if (!ReadBody(length - kBlockFrame - 4, length, "a section header", start, body)) return false;
        base::ByteReader fields(body);
        std::uint16_t major = 0;
        if (!Number(fields, major)) return false;
        if (major != 1) return stream_.Fail(fmt::format("its pcapng version is {}.x, and only 1.x can be read", major));
        interfaces_.clear();
        return true;
    }

    bool Next(CapturedFrame& frame) override {
        while (!stream_.AtEnd()) {
            const std::uint64_t start = stream_.Offset();
            std::vector<std::uint8_t> head;
            if (!stream_.Read(4, "a block", head)) return false;
            base::ByteReader typeReader(head);
            std::uint32_t type = 0;
            if (!Number(typeReader, type)) return false;
            if (type == kSectionHeader) {
                if (!ReadSection(start)) return false;
                continue;
            }
            if (!stream_.Read(4, "a block", head)) return false;
            base::ByteReader lengthReader(head);
            std::uint32_t length = 0;
            if (!Number(lengthReader, length)) return false;
            const bool isRead = type == kInterface || type == kSimplePacket || type == kEnhancedPacket;
            if (!isRead) {
                if (!CheckShape(length, kBlockFrame, start) || !stream_.Skip(length - 8, "a block")) return false;
                continue;
            }
            std::vector<std::uint8_t> body;
            if (!CheckLength(length, kBlockFrame, start) ||
                !ReadBody(length - kBlockFrame, length, "a block", start, body))
                return false;
            if (type == kInterface) {
                if (!AddInterface(body, start)) return false;
                continue;
            }
            return type == kEnhancedPacket ? EnhancedPacket(body, start, frame) : SimplePacket(body, start, frame);
        }
        return false;
    }

 private:
    template <class T>
    bool Number(base::ByteReader& reader, T& out) const {
        return bigEndian_ ? reader.Be(out) : reader.Le(out);
    }

    bool CheckShape(std::uint32_t length, std::uint32_t minimum, std::uint64_t start) {
        if (length >= minimum && length % 4 == 0) return true;
        return stream_.Fail(
            fmt::format("the block at offset {} gives its length as {}, which no such block has; the "
                        "file is damaged from there on",
                        start, length));
    }

    bool CheckLength(std::uint32_t length, std::uint32_t minimum, std::uint64_t start) {
        if (!CheckShape(length, minimum, start)) return false;
        if (length <= kMaxBlockBytes) return true;
        return stream_.Fail(
            fmt::format("the block at offset {} gives its length as {}, and at most {} are read; the "
                        "file is damaged from there on",
                        start, length, kMaxBlockBytes));
    }

    // size bytes of content, and behind them the block's length once more.
    bool ReadBody(std::uint32_t size, std::uint32_t length, std::string_view what, std::uint64_t start,
                  std::vector<std::uint8_t>& body) {
        std::vector<std::uint8_t> tail;
        if (!stream_.Read(size, what, body) || !stream_.Read(4, what, tail)) return false;
        base::ByteReader reader(tail);
        std::uint32_t again = 0;
        if (Number(reader, again) && again == length) return true;
        return stream_.Fail(fmt::format("the block at offset {} gives its length as {} at its start and {} at its end",
                                        start, length, again));
    }

    bool Damaged(std::uint64_t start) {
        return stream_.Fail(fmt::format("the block at offset {} is too short for what it says it holds", start));
    }

    bool AddInterface(base::Bytes body, std::uint64_t start) {
        if (interfaces_.size() == kMaxInterfaces)
            return stream_.Fail(fmt::format("a section has more than {} interfaces", kMaxInterfaces));
        base::ByteReader reader(body);
        Interface added;
        if (!Number(reader, added.linkType) || !reader.Skip(2) || !Number(reader, added.snapLength))
            return Damaged(start);
        std::uint16_t code = 0;
        std::uint16_t size = 0;
        while (reader.Remaining() > 0) {
            base::Bytes value;
            if (!Number(reader, code) || !Number(reader, size)) return Damaged(start);
            if (code == 0) break;
            if (!reader.Take(size, value) || !reader.Skip((4 - size % 4u) % 4u)) return Damaged(start);
            base::ByteReader option(value);
            if (code == kOptionTimeResolution && size == 1 && !option.Be(added.time.resolution)) return false;
            if (code == kOptionTimeOffset && size == 8 && !Number(option, added.time.offsetSeconds)) return false;
        }
        interfaces_.push_back(added);
        return true;
    }

    bool EnhancedPacket(base::Bytes body, std::uint64_t start, CapturedFrame& frame) {
        base::ByteReader reader(body);
        std::uint32_t interface = 0;
        std::uint32_t high = 0;
        std::uint32_t low = 0;
        std::uint32_t captured = 0;
        std::uint32_t original = 0;
        base::Bytes bytes;
        if (!Number(reader, interface) || !Number(reader, high) || !Number(reader, low) || !Number(reader, captured) ||
            !Number(reader, original))
            return Damaged(start);
        if (interface >= interfaces_.size())
            return stream_.Fail(
                fmt::format("the frame at offset {} names interface {}, which is not described", start, interface));
        if (!reader.Take(captured, bytes) || captured > kMaxFrameBytes) return Damaged(start);
        const Interface& described = interfaces_[interface];
        if (!IsReplayedLinkType(described.linkType)) return stream_.FailForLinkType(described.linkType);
        frame.timeNanoseconds = ToNanoseconds(std::uint64_t{high} << 32 | low, described.time);
        frame.linkType = described.linkType;
        frame.captured = captured;
        frame.original = original;
        frame.bytes.assign(bytes.begin(), bytes.end());
        return true;
    }

    // Belongs to the first interface and has no time.
    bool SimplePacket(base::Bytes body, std::uint64_t start, CapturedFrame& frame) {
        base::ByteReader reader(body);
        std::uint32_t original = 0;
        base::Bytes bytes;
        if (!Number(reader, original)) return Damaged(start);
        if (interfaces_.empty())
            return stream_.Fail(fmt::format("the frame at offset {} has no interface description before it", start));
        const Interface& described = interfaces_.front();
        const std::uint32_t captured = described.snapLength != 0 ? std::min(original, described.snapLength) : original;
        if (!reader.Take(captured, bytes) || captured > kMaxFrameBytes) return Damaged(start);
        if (!IsReplayedLinkType(described.linkType)) return stream_.FailForLinkType(described.linkType);
        frame.timeNanoseconds = 0;
        frame.linkType = described.linkType;
        frame.captured = captured;
        frame.original = original;
        frame.bytes.assign(bytes.begin(), bytes.end());
        return true;
    }

    CaptureStream& stream_;
    bool bigEndian_ = false;
    std::vector<Interface> interfaces_;
};

}  // namespace

std::uint64_t ToNanoseconds(std::uint64_t units, const TimeScale& scale) {
    std::uint64_t nanoseconds = 0;
    if ((scale.resolution & 0x80) != 0) {
        const unsigned bits = scale.resolution & 0x7Fu;
        std::uint64_t seconds = bits < 64 ? units >> bits : 0;
        std::uint64_t fraction = 0;  // in 2^-32 seconds
        if (bits > 0 && bits < 64) {
            const std::uint64_t rest = units & ((std::uint64_t{1} << bits) - 1);
            fraction = bits > 32 ? rest >> (bits - 32) : rest << (32 - bits);
        }
        nanoseconds = seconds * kNanosecondsPerSecond + (fraction * kNanosecondsPerSecond >> 32);
    } else {
        nanoseconds = units;
        for (unsigned i = scale.resolution; i < 9; ++i) nanoseconds *= 10;
        for (unsigned i = 9; i < scale.resolution && nanoseconds != 0; ++i) nanoseconds /= 10;
    }
    return nanoseconds + scale.offsetSeconds * kNanosecondsPerSecond;
}

std::unique_ptr<FrameSource> OpenPcapng(CaptureStream& stream, base::Bytes magic) {
    std::uint32_t type = 0;
    if (!base::ByteReader(magic).Be(type) || type != kSectionHeader) return nullptr;
    auto source = std::make_unique<PcapngSource>(stream);
    if (!source->ReadSection(0)) return nullptr;
    return source;
}

}  // namespace tarn::host
