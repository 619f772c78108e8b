// Writes SMB messages and the frames around them field by field, right or wrong as a test wants them.
#ifndef TARN_TESTS_SMB_SMB_FRAMES_H
#define TARN_TESTS_SMB_SMB_FRAMES_H

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace tarn::smb {

using ByteList = std::vector<std::uint8_t>;

inline ByteList& PutLe(ByteList& bytes, std::size_t offset, std::uint64_t value, std::size_t size) {
    if (bytes.size() < offset + size) bytes.resize(offset + size);
    for (std::size_t i = 0; i < size; ++i) bytes[offset + i] = static_cast<std::uint8_t>(value >> (8 * i));
    return bytes;
}

inline ByteList& PutBe(ByteList& bytes, std::size_t offset, std::uint64_t value, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) PutLe(bytes, offset + i, value >> (8 * (size - 1 - i)) & 0xFF, 1);
    return bytes;
}

inline ByteList& PutText(ByteList& bytes, std::size_t offset, std::u16string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) PutLe(bytes, offset + 2 * i, text[i], 2);
    return bytes;
}

// --- frames

inline constexpr std::uint8_t kServerHost = 10;
inline constexpr std::uint8_t kClientHost = 31;  // last byte of 192.0.2.x
inline constexpr std::uint8_t kOtherClient = 32;
inline constexpr std::uint16_t kClientPort = 45966;
inline constexpr std::u16string_view kShare = u"\\\\server\\inbox";
inline constexpr std::uint32_t kCreated = 2;
inline constexpr std::uint32_t kStatusPending = 0x103;
inline constexpr std::uint32_t kStatusFailed = 0xC0000022;

struct Route {
    std::uint8_t source = kClientHost;
    std::uint8_t destination = kServerHost;
    std::uint16_t sourcePort = kClientPort;
    std::uint16_t destinationPort = 445;
};

// An IPv4/TCP frame that holds payload; the lengths in 32-bit words may be any that a nibble can hold.
inline ByteList MakeSegment(const Route& route, const ByteList& payload, std::size_t ipWords = 5,
                            std::size_t tcpWords = 5) {
    const std::size_t tcp = 14 + 4 * ipWords;
    const std::size_t start = tcp + 4 * tcpWords;
    ByteList frame(start);
    PutBe(frame, 12, 0x0800, 2);
    frame[14] = static_cast<std::uint8_t>(0x40 | ipWords);
    frame[23] = 6;
    PutBe(frame, 26, 0xC0000200U | route.source, 4);
    PutBe(frame, 30, 0xC0000200U | route.destination, 4);
    PutBe(frame, tcp, route.sourcePort, 2);
    PutBe(frame, tcp + 2, route.destinationPort, 2);
    PutLe(frame, tcp + 12, tcpWords << 4, 1);
    frame.insert(frame.end(), payload.begin(), payload.end());
    return frame;
}

// The message behind its NetBIOS session header.
inline ByteList SessionMessage(const ByteList& message) {
    ByteList payload;
    PutBe(payload, 0, message.size(), 4);
    payload.insert(payload.end(), message.begin(), message.end());
    return payload;
}

inline ByteList FromClient(const ByteList& message, std::uint8_t client = kClientHost) {
    return MakeSegment({client, kServerHost, kClientPort, 445}, SessionMessage(message));
}
inline ByteList FromServer(const ByteList& message, std::uint8_t client = kClientHost) {
    return MakeSegment({kServerHost, client, 445, kClientPort}, SessionMessage(message));
}

// --- SMB2

struct Smb2Keys {
    std::uint64_t messageId = 9;
    std::uint32_t tree = 0x0000ABCD;
    std::uint64_t session = 0x1122334455667788;
    std::uint32_t status = 0;
};

inline ByteList Smb2HeaderBytes(std::uint16_t command, bool isResponse, const Smb2Keys& keys) {
    ByteList message(64);
    PutLe(message, 0, 0x424D53FE, 4);
    PutLe(message, 4, 64, 2);
    PutLe(message, 8, keys.status, 4);
    PutLe(message, 12, command, 2);
    PutLe(message, 16, isResponse ? 1 : 0, 4);
    PutLe(message, 24, keys.messageId, 8);
    PutLe(message, 36, keys.tree, 4);
    PutLe(message, 40, keys.session, 8);
    return message;
}

inline ByteList Smb2TreeConnectRequest(std::u16string_view path, const Smb2Keys& keys = {}) {
    ByteList message = Smb2HeaderBytes(3, false, keys);
    PutLe(message, 64, 9, 2);
    PutLe(message, 68, 72, 2);
    PutLe(message, 70, 2 * path.size(), 2);
    return PutText(message, 72, path);
}
inline ByteList Smb2TreeConnectResponse(const Smb2Keys& keys = {}) {
    ByteList message = Smb2HeaderBytes(3, true, keys);
    message.resize(80);
    return PutLe(message, 64, 16, 2);
}

inline ByteList Smb2CreateRequest(std::u16string_view name, const Smb2Keys& keys = {},
                                  std::uint16_t structureSize = 57) {
    ByteList message = Smb2HeaderBytes(5, false, keys);
    PutLe(message, 64U + structureSize - 11U, 2 * name.size(), 2);
    PutText(message, 64U + structureSize - 1U, name);
    return PutLe(message, 64, structureSize, 2);
}
inline ByteList Smb2CreateResponse(std::uint32_t action, const Smb2Keys& keys = {}) {
    ByteList message = Smb2HeaderBytes(5, true, keys);
    PutLe(message, 64, 89, 2);
    return PutLe(message, 68, action, 4);
}
inline ByteList Smb2Simple(std::uint16_t command, bool isResponse, const Smb2Keys& keys = {}) {
    ByteList message = Smb2HeaderBytes(command, isResponse, keys);
    return PutLe(message, 64, 4, 4);
}

// --- SMB1

struct Smb1Keys {
    std::uint16_t mid = 7;
    std::uint16_t tid = 0xC3B2;
    std::uint16_t pid = 0x44EB;
    std::uint32_t status = 0;
};

// 33 bytes: the header and the WordCount.
inline ByteList Smb1HeaderBytes(std::uint8_t command, bool isReply, const Smb1Keys& keys, std::uint8_t wordCount) {
    ByteList message(33);
    PutLe(message, 0, 0x424D53FF, 4);
    PutLe(message, 4, command, 1);
    PutLe(message, 5, keys.status, 4);
    PutLe(message, 9, isReply ? 0x88 : 0x08, 1);
    PutLe(message, 24, keys.tid, 2);
    PutLe(message, 26, keys.pid, 2);
    PutLe(message, 30, keys.mid, 2);
    message[32] = wordCount;
    return message;
}

inline ByteList Smb1TreeConnectRequest(std::u16string_view path, const Smb1Keys& keys = {},
                                       std::uint16_t passwordLength = 1) {
    ByteList message = Smb1HeaderBytes(0x75, false, keys, 4);
    PutLe(message, 33, 0xFF, 1);
    PutLe(message, 39, passwordLength, 2);
    PutLe(message, 41, passwordLength + 2 * path.size() + 2, 2);
    PutText(message, 43U + passwordLength, path);
    return PutLe(message, 43U + passwordLength + 2 * path.size(), 0, 2);
}
inline ByteList Smb1TreeConnectReply(const Smb1Keys& keys = {}) {
    ByteList message = Smb1HeaderBytes(0x75, true, keys, 3);
    return PutLe(message, 33, 0xFF, 8);
}

// The name stands at 83 when byteCount is even, else at 84.
inline ByteList Smb1CreateRequest(std::u16string_view name, const Smb1Keys& keys, std::uint16_t nameLength,
                                  std::uint16_t byteCount) {
    ByteList message = Smb1HeaderBytes(0xA2, false, keys, 24);
    PutLe(message, 33, 0xFF, 1);
    PutLe(message, 38, nameLength, 2);
    PutLe(message, 81, byteCount, 2);
    return PutText(message, byteCount % 2 == 0 ? 83 : 84, name);
}
inline ByteList Smb1CreateRequest(std::u16string_view name, const Smb1Keys& keys = {}) {
    const auto length = static_cast<std::uint16_t>(2 * name.size());
    return Smb1CreateRequest(name, keys, length, static_cast<std::uint16_t>(length + 1));
}
inline ByteList Smb1CreateReply(std::uint32_t action, const Smb1Keys& keys = {}) {
    ByteList message = Smb1HeaderBytes(0xA2, true, keys, 34);
    PutLe(message, 33, 0xFF, 1);
    PutLe(message, 40, action, 4);
    return PutLe(message, 101, 0, 2);
}
inline ByteList Smb1Simple(std::uint8_t command, bool isReply, const Smb1Keys& keys = {}) {
    ByteList message = Smb1HeaderBytes(command, isReply, keys, 0);
    return PutLe(message, 33, 0, 2);
}

}  // namespace tarn::smb

#endif
