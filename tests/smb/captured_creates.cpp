#include "smb/captured_creates.h"

#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <nlohmann/json.hpp>

#include "host/capture/capture_reader.h"

namespace tarn::smb {
namespace {

using base::Bytes;

constexpr std::uint64_t kUnicode = 0x8000;  // a bit of SMB1's Flags2

std::uint64_t Number(Bytes bytes, std::size_t offset, std::size_t size) {
    std::uint64_t value = 0;
    for (std::size_t i = size; i > 0; --i) value = value << 8 | bytes[offset + i - 1];
    return value;
}

std::uint64_t BigEndian16(Bytes bytes, std::size_t offset) {
    return static_cast<std::uint64_t>(bytes[offset]) << 8 | bytes[offset + 1];
}

std::u16string TextAt(Bytes bytes, std::size_t offset, std::size_t limit) {
    std::u16string text;
    for (std::size_t at = offset; at + 2 <= bytes.size() && at + 2 <= offset + limit; at += 2) {
        const auto unit = static_cast<char16_t>(Number(bytes, at, 2));
        if (unit == 0) break;
        text += unit;
    }
    return text;
}

// The dissector's texts are valid UTF-8.
std::u16string Utf16(const std::string& text) {
    std::u16string result;
    for (std::size_t at = 0; at < text.size();) {
        const auto first = static_cast<std::uint8_t>(text[at++]);
        const int more = first < 0x80 ? 0 : first < 0xE0 ? 1 : first < 0xF0 ? 2 : 3;
        std::uint32_t point = more == 0 ? first : first & (0x3FU >> more);
        for (int i = 0; i < more; ++i) point = point << 6 | (static_cast<std::uint8_t>(text[at++]) & 0x3FU);
        if (point >= 0x10000) {
            result += static_cast<char16_t>(0xD7C0 + (point >> 10));
            point = 0xDC00 | (point & 0x3FF);
        }
        result += static_cast<char16_t>(point);
    }
    return result;
}

std::optional<SeenMessage> SeenSmb2(Bytes message) {
    static const std::map<std::uint64_t, MessageKind> kKinds = {{2, MessageKind::kLogoff},
                                                                {3, MessageKind::kTreeConnect},
                                                                {4, MessageKind::kTreeDisconnect},
                                                                {5, MessageKind::kCreate}};
    if (message.size() < 72) return std::nullopt;
    const auto kind = kKinds.find(Number(message, 12, 2));
    if (kind == kKinds.end()) return std::nullopt;
    SeenMessage seen;
    seen.version = 2;
    seen.kind = kind->second;
    seen.isResponse = (message[16] & 1) != 0;
    seen.status = static_cast<std::uint32_t>(Number(message, 8, 4));
    seen.id = Number(message, 24, 8);
    seen.tree = static_cast<std::uint32_t>(Number(message, 36, 4));
    seen.owner = Number(message, 40, 8);
    if (seen.kind == MessageKind::kTreeConnect && !seen.isResponse)
        seen.path = TextAt(message, Number(message, 68, 2), Number(message, 70, 2));
    return seen;
}

std::optional<SeenMessage> SeenSmb1(Bytes message, std::uint64_t destination) {
    static const std::map<std::uint64_t, MessageKind> kKinds = {{0x74, MessageKind::kLogoff},
                                                                {0x75, MessageKind::kTreeConnect},
                                                                {0x71, MessageKind::kTreeDisconnect},
                                                                {0xA2, MessageKind::kCreate}};
    if (message.size() < 35) return std::nullopt;
    const auto kind = kKinds.find(message[4]);
    if (kind == kKinds.end()) return std::nullopt;
    SeenMessage seen;
    seen.version = 1;
    seen.kind = kind->second;
    seen.isResponse = (message[9] & 0x80) != 0;
    seen.status = static_cast<std::uint32_t>(Number(message, 5, 4));
    seen.id = Number(message, 30, 2);
    seen.tree = static_cast<std::uint32_t>(Number(message, 24, 4));
    seen.owner = destination;
    if (seen.kind == MessageKind::kTreeConnect && !seen.isResponse) {
        const std::size_t behindPassword = 33U + 2U * message[32] + 2U + Number(message, 39, 2);
        seen.path = TextAt(message, behindPassword + behindPassword % 2, message.size());
        seen.hasNarrowPath = (Number(message, 10, 2) & kUnicode) == 0;
    }
    return seen;
}

}  // namespace

std::vector<CapturedCreate> ReadCreates(const std::string& capture) {
    std::vector<CapturedCreate> creates;
    std::ifstream input(TARN_CAPTURE_FOLDER "/smb_creates.jsonl");
    for (std::string line; std::getline(input, line);) {
        if (line.find('"' + capture + '"') == std::string::npos) continue;
        const auto found = nlohmann::json::parse(line);
        creates.push_back({found["version"], found["frame"], found["request_frame"], found["id"], found["status"],
                           found.value("action", 0U), Utf16(found["share"]), Utf16(found["file"])});
    }
    return creates;
}

std::vector<std::vector<std::uint8_t>> ReadFrames(const std::string& capture) {
    std::vector<std::vector<std::uint8_t>> frames;
    std::ifstream input(TARN_CAPTURE_FOLDER "/" + capture, std::ios::binary);
    host::CaptureReader reader(input);
    host::CapturedFrame frame;
    while (reader.Next(frame)) frames.push_back(frame.bytes);
    EXPECT_EQ(reader.Error(), "");
    EXPECT_FALSE(frames.empty()) << capture;
    return frames;
}

FrameKind KindOf(Bytes frame) {
    if (frame.size() < 54 || BigEndian16(frame, 12) != 0x0800) return FrameKind::kNotUntaggedIpv4;
    const std::size_t tcp = 14U + 4U * (frame[14] & 15U);
    const bool isSmb = BigEndian16(frame, tcp) == 445 || BigEndian16(frame, tcp + 2) == 445;
    return frame[23] == 6 && isSmb ? FrameKind::kSmbPort : FrameKind::kOtherPort;
}

std::optional<SeenMessage> FirstMessage(Bytes frame) {
    if (KindOf(frame) != FrameKind::kSmbPort) return std::nullopt;
    const std::size_t tcp = 14U + 4U * (frame[14] & 15U);
    const std::size_t payload = tcp + 4U * (frame[tcp + 12] >> 4);
    const std::size_t end = 14U + BigEndian16(frame, 16);
    if (end > frame.size() || payload + 8 > end) return std::nullopt;
    const Bytes message = frame.subspan(payload + 4, end - payload - 4);
    if (Number(message, 0, 4) == 0x424D53FE) return SeenSmb2(message);
    if (Number(message, 0, 4) == 0x424D53FF) return SeenSmb1(message, Number(frame, 30, 4));
    return std::nullopt;
}

}  // namespace tarn::smb
