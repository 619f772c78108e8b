#include "making/capture_files.h"

#include <algorithm>
#include <zlib.h>

#include "making/frames.h"

namespace tarn::fuzz {
namespace {

constexpr std::size_t kMostFrames = 16;
constexpr std::uint16_t kEthernet = 1;
constexpr std::uint16_t kLinkTypes[] = {kEthernet, kEthernet, kEthernet, 0, 101, 113, 228, 276};
constexpr std::uint64_t kSecond = 1000000000;

// In front of a packet on such a link; a wrong family now and then.
void PutLink(std::uint16_t linkType, bool isIpv6, MarkedBytes& out) {
    out.SetOrder(ByteOrder::kNetwork);
    const std::uint16_t type = isIpv6 ? 0x86DD : 0x0800;
    if (linkType == 0) {
        out.Put(isIpv6 ? 10 : 2, 4);
    } else if (linkType == 113) {
        out.Put(0, 4);
        out.PutMarked(6, 2);
        out.PutZeros(8);
        out.PutMarked(type, 2);
    } else if (linkType == 276) {
        out.PutMarked(type, 2);
        out.PutZeros(9);
        out.PutMarked(6, 1);
        out.PutZeros(8);
    }
}

MadeCapturedFrame TakeFrame(Pieces& pieces, std::uint16_t linkType) {
    MarkedBytes frame;
    const FramePlan plan = TakeFramePlan(pieces);
    if (linkType == kEthernet) {
        PutFrame(plan, frame);
    } else {
        PutLink(linkType, plan.IsIpv6(), frame);
        PutPacket(plan, frame);
    }
    const std::uint8_t choice = pieces.Byte();
    if (choice % 8 == 5) frame.Break(pieces);
    MadeCapturedFrame made{frame.All(), std::uint64_t{1700000000} * kSecond, linkType, false};
    made.isCut = choice % 16 == 9 && made.bytes.size() > 20;
    if (made.isCut) made.bytes.resize(20 + pieces.Byte() % (made.bytes.size() - 20));
    made.nanoseconds += std::uint64_t{pieces.Number()} * kSecond + std::uint64_t{choice} * 1000;
    return made;
}

// Type, length, content, length.
std::size_t OpenBlock(std::uint32_t type, MarkedBytes& out) {
    out.PutMarked(type, 4);
    return out.Open(4);
}
void CloseBlock(std::size_t length, MarkedBytes& out) {
    const std::size_t content = out.Size() - length - 4;
    out.PutZeros((4 - content % 4) % 4);
    out.Close(length, 12);
    out.PutMarked(out.Size() - length + 8, 4);  // with the type, and itself
}

void PutOption(std::uint16_t code, std::uint64_t number, std::size_t size, MarkedBytes& out) {
    out.PutMarked(code, 2);
    out.PutMarked(size, 2);
    out.Put(number, size);
    out.PutZeros((4 - size % 4) % 4);
}

void PutSection(MarkedBytes& out) {
    const std::size_t block = OpenBlock(0x0A0D0D0A, out);
    out.PutMarked(0x1A2B3C4D, 4);
    out.PutMarked(1, 2);
    out.PutMarked(0, 2);
    out.Put(~std::uint64_t{0}, 8);
    CloseBlock(block, out);
}

void PutInterface(std::uint16_t linkType, bool isNanoseconds, MarkedBytes& out) {
    const std::size_t block = OpenBlock(1, out);
    out.PutMarked(linkType, 2);
    out.Put(0, 2);
    out.PutMarked(0, 4);
    if (isNanoseconds) {
        PutOption(9, 9, 1, out);
        PutOption(14, 0, 8, out);
        PutOption(0, 0, 0, out);
    }
    CloseBlock(block, out);
}

void PutEnhanced(const MadeCapturedFrame& frame, std::uint32_t interface, bool isNanoseconds, MarkedBytes& out) {
    const std::size_t block = OpenBlock(6, out);
    const std::uint64_t units = isNanoseconds ? frame.nanoseconds : frame.nanoseconds / 1000;
    out.PutMarked(interface, 4);
    out.Put(units >> 32, 4);
    out.Put(units & 0xFFFFFFFF, 4);
    out.PutMarked(frame.bytes.size(), 4);
    out.PutMarked(frame.bytes.size() + (frame.isCut ? 1 : 0), 4);
    out.PutBytes(frame.bytes);
    CloseBlock(block, out);
}

void PutSimple(const MadeCapturedFrame& frame, MarkedBytes& out) {
    const std::size_t block = OpenBlock(3, out);
    out.PutMarked(frame.bytes.size(), 4);
    out.PutBytes(frame.bytes);
    CloseBlock(block, out);
}

}  // namespace

MadeFrames PutPcap(Pieces& pieces, MarkedBytes& out) {
    const std::uint8_t shape = pieces.Byte();
    const bool isNanoseconds = (shape & 1) != 0;
    const std::uint16_t linkType = kLinkTypes[(shape >> 2) % std::size(kLinkTypes)];
    const ByteOrder order = (shape & 2) != 0 ? ByteOrder::kNetwork : ByteOrder::kLittle;
    out.SetOrder(order);
    out.PutMarked(isNanoseconds ? 0xA1B23C4D : 0xA1B2C3D4, 4);
    out.PutMarked(2, 2);
    out.Put(4, 2);
    out.PutZeros(8);
    out.PutMarked(0x40000, 4);
    out.PutMarked(linkType, 4);
    MadeFrames frames;
    while (!pieces.AtEnd() && frames.size() < kMostFrames) {
        MadeCapturedFrame frame = TakeFrame(pieces, linkType);
        out.SetOrder(order);
        out.Put(frame.nanoseconds / kSecond, 4);
        out.Put(frame.nanoseconds % kSecond / (isNanoseconds ? 1 : 1000), 4);
        out.PutMarked(frame.bytes.size(), 4);
        out.PutMarked(frame.bytes.size() + (frame.isCut ? 1 : 0), 4);
        out.PutBytes(frame.bytes);
        frames.push_back(std::move(frame));
    }
    return frames;
}

MadeFrames PutPcapng(Pieces& pieces, MarkedBytes& out) {
    const std::uint8_t shape = pieces.Byte();
    const ByteOrder order = (shape & 2) != 0 ? ByteOrder::kNetwork : ByteOrder::kLittle;
    const std::uint16_t linkTypes[] = {kLinkTypes[(shape >> 2) % std::size(kLinkTypes)], kEthernet};
    const auto putHead = [&] {
        out.SetOrder(order);
        PutSection(out);
        PutInterface(linkTypes[0], false, out);
        PutInterface(linkTypes[1], true, out);
    };
    putHead();
    MadeFrames frames;
    while (!pieces.AtEnd() && frames.size() < kMostFrames) {
        const std::uint8_t choice = pieces.Byte();
        if (choice % 16 == 7) putHead();
        if (choice % 16 == 11) {  // a block that nobody reads
            const std::size_t block = OpenBlock(4, out);
            out.PutBytes(pieces.Take(choice >> 4));
            CloseBlock(block, out);
        }
        const bool isSimple = choice % 4 == 2;
        const std::uint32_t interface = isSimple ? 0 : choice % 2;
        MadeCapturedFrame frame = TakeFrame(pieces, linkTypes[interface]);
        out.SetOrder(order);
        if (isSimple) {
            frame.isCut = false;
            frame.nanoseconds = 0;
            PutSimple(frame, out);
        } else {
            PutEnhanced(frame, interface, interface == 1, out);
        }
        frames.push_back(std::move(frame));
    }
    return frames;
}

ByteList Packed(Bytes bytes) {
    constexpr int kGzip = 15 + 16;
    z_stream stream{};
    Require(deflateInit2(&stream, Z_BEST_SPEED, Z_DEFLATED, kGzip, 8, Z_DEFAULT_STRATEGY) == Z_OK, "zlib can pack");
    ByteList packed(deflateBound(&stream, static_cast<uLong>(bytes.size())) + 32);
    stream.next_in = const_cast<Bytef*>(bytes.data());
    stream.avail_in = static_cast<uInt>(bytes.size());
    stream.next_out = packed.data();
    stream.avail_out = static_cast<uInt>(packed.size());
    Require(deflate(&stream, Z_FINISH) == Z_STREAM_END, "zlib has room");
    packed.resize(stream.total_out);
    deflateEnd(&stream);
    return packed;
}

}  // namespace tarn::fuzz
