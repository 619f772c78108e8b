#include "smb/smb1_message.h"

#include <cstddef>

#include "smb/wire_text.h"

namespace tarn::smb {
namespace {

using base::ByteReader;
using base::Bytes;

// Offsets from the protocol byte.
constexpr std::size_t kCommandOffset = 4;
constexpr std::size_t kWordCountOffset = 32;
constexpr std::size_t kWordsOffset = 33;
constexpr std::size_t kNameLengthOffset = 38;
constexpr std::size_t kPasswordLengthOffset = 39;
constexpr std::size_t kByteCountOffset = 81;

// Bytes between the fields that are read.
constexpr std::size_t kFlagsToTree = 14;
constexpr std::size_t kTreeToMid = 2;  // UID
constexpr std::size_t kWordCountToPasswordLength = kPasswordLengthOffset - kWordsOffset;
constexpr std::size_t kNameLengthToByteCount = kByteCountOffset - kNameLengthOffset - sizeof(std::uint16_t);

// Of a response's body, up to the end of CreateDisposition.
constexpr std::size_t kCreateOutcome = 12;

constexpr std::uint8_t kReplyFlag = 0x80;  // a bit of Flags

std::optional<SmbRequest> ParseTreeConnect(Bytes message) {
    ByteReader reader(message);
    std::uint8_t wordCount = 0;
    std::uint16_t passwordLength = 0;
    if (!reader.Skip(kWordCountOffset) || !reader.Le(wordCount) || !reader.Skip(kWordCountToPasswordLength) ||
        !reader.Le(passwordLength))
        return std::nullopt;
    // QUIRK: the path follows the password at once; an alignment byte between them is taken for half a unit.
    // Test: ThePathFollowsThePasswordWithoutAlignment
    const std::size_t byteCountEnd = kWordsOffset + std::size_t{2} * wordCount + sizeof(std::uint16_t);
    ByteReader bytes(message);
    if (!bytes.Skip(byteCountEnd + passwordLength)) return std::nullopt;
    const std::optional<Bytes> path = TextUpToNul(bytes.Rest(), kMaxNameUnits);
    if (!path) return std::nullopt;
    return SmbRequest{RequestKind::kTreeConnect, true, *path};
}

std::optional<SmbRequest> ParseNtCreate(Bytes message) {
    ByteReader reader(message);
    std::uint16_t nameLength = 0;
    std::uint16_t byteCount = 0;
    if (!reader.Skip(kNameLengthOffset) || !reader.Le(nameLength) || !reader.Skip(kNameLengthToByteCount) ||
        !reader.Le(byteCount))
        return std::nullopt;
    // QUIRK: a name longer than all bytes together is not followed, and the frame counts as examined nevertheless.
    // Test: ANameLongerThanAllBytesIsNotFollowed
    SmbRequest request{RequestKind::kCreate, nameLength <= byteCount, {}};
    if (!request.isFollowed || nameLength == 0) return request;
    // QUIRK: an odd ByteCount, not the place of the name, says that there is an alignment byte.
    // Test: TheParityOfByteCountPlacesTheName
    if (!reader.Skip(byteCount % 2) || !reader.Take(nameLength, request.name)) return std::nullopt;
    return request;
}

}  // namespace

Smb1Header DecodeSmb1Header(Bytes message) {
    ByteReader reader(message);
    Smb1Header header;
    if (!reader.Skip(kCommandOffset) || !reader.Le(header.command)) return header;
    header.extent = HeaderExtent::kCommand;
    std::uint8_t flags = 0;
    if (!reader.Le(header.status) || !reader.Le(flags)) return header;
    header.isResponse = (flags & kReplyFlag) != 0;
    header.extent = HeaderExtent::kDirection;
    if (!reader.Skip(kFlagsToTree) || !reader.Le(header.treeKey) || !reader.Skip(kTreeToMid) ||
        !reader.Le(header.requestId))
        return header;
    header.extent = HeaderExtent::kWhole;
    return header;
}

std::optional<SmbRequest> ParseSmb1Request(const Smb1Header& header, Bytes message) {
    if (header.extent < HeaderExtent::kRequestId || header.status != 0) return std::nullopt;
    return header.command == kSmb1TreeConnect ? ParseTreeConnect(message) : ParseNtCreate(message);
}

std::optional<Bytes> Smb1ResponseBody(const Smb1Header& header, Bytes message) {
    ByteReader reader(message);
    if (header.extent < HeaderExtent::kWhole || !reader.Skip(kWordCountOffset)) return std::nullopt;
    const bool holdsOutcome = header.command == kSmb1NtCreate && header.status == 0;
    if (holdsOutcome && reader.Remaining() < kCreateOutcome) return std::nullopt;
    return reader.Rest();
}

}  // namespace tarn::smb
