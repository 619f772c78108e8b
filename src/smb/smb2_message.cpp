#include "smb/smb2_message.h"

#include <cstddef>

namespace tarn::smb {
namespace {

using base::ByteReader;
using base::Bytes;

// Offsets from the protocol byte.
constexpr std::size_t kStatusOffset = 8;
constexpr std::size_t kBodyOffset = 64;
constexpr std::size_t kPathLengthOffset = kBodyOffset + 6;

// Bytes between the fields that are read.
constexpr std::size_t kCommandToFlags = 2;    // Credit
constexpr std::size_t kFlagsToMessageId = 4;  // NextCommand
constexpr std::size_t kMessageIdToTree = 4;

// Of a response's body, up to the end of CreateAction.
constexpr std::size_t kCreateOutcome = 8;

// Distances back from the end of a CREATE request's fixed part, which StructureSize counts.
constexpr std::size_t kNameLengthBeforeEnd = 11;
constexpr std::size_t kNameBeforeEnd = 1;
constexpr std::size_t kNameLengthToName = kNameLengthBeforeEnd - kNameBeforeEnd - sizeof(std::uint16_t);

constexpr std::uint32_t kServerToRedirector = 1;  // a bit of Flags

// QUIRK: bytes, although as many UTF-16 units have room: names of 130 characters and more are not followed.
// Test: NamesAndPathsOf260BytesAreNotFollowed
constexpr std::uint16_t kMaxNameBytes = 260;

// The name stands gap bytes behind its length; one that is empty or too long need not be there.
std::optional<SmbRequest> ReadName(RequestKind kind, ByteReader reader, std::size_t gap) {
    std::uint16_t length = 0;
    if (!reader.Le(length)) return std::nullopt;
    SmbRequest request{kind, length < kMaxNameBytes, {}};
    if (!request.isFollowed || length == 0) return request;
    if (!reader.Skip(gap) || !reader.Take(length, request.name)) return std::nullopt;
    return request;
}

std::optional<SmbRequest> ParseTreeConnect(Bytes message) {
    ByteReader reader(message);
    if (!reader.Skip(kPathLengthOffset)) return std::nullopt;
    // QUIRK: the path stands behind the fixed part, whatever PathOffset says.  Test: PathOffsetIsNotConsulted
    return ReadName(RequestKind::kTreeConnect, reader, 0);
}

std::optional<SmbRequest> ParseCreate(Bytes message) {
    ByteReader reader(message);
    if (!reader.Skip(kBodyOffset)) return std::nullopt;
    // QUIRK: StructureSize places the name and its length; NameOffset is not consulted.
    // Test: StructureSizePlacesTheName
    std::uint16_t structureSize = 0;
    if (!ByteReader(reader).Le(structureSize) || structureSize < kNameLengthBeforeEnd) return std::nullopt;
    if (!reader.Skip(structureSize - kNameLengthBeforeEnd)) return std::nullopt;
    return ReadName(RequestKind::kCreate, reader, kNameLengthToName);
}

}  // namespace

Smb2Header DecodeSmb2Header(Bytes message) {
    ByteReader reader(message);
    Smb2Header header;
    if (!reader.Skip(kStatusOffset) || !reader.Le(header.status) || !reader.Le(header.command)) return header;
    header.extent = HeaderExtent::kCommand;
    std::uint32_t flags = 0;
    if (!reader.Skip(kCommandToFlags) || !reader.Le(flags)) return header;
    header.isResponse = (flags & kServerToRedirector) != 0;
    header.extent = HeaderExtent::kDirection;
    if (!reader.Skip(kFlagsToMessageId) || !reader.Le(header.requestId)) return header;
    header.extent = HeaderExtent::kRequestId;
    // QUIRK: an asynchronous response is read in the synchronous layout, so half of its AsyncId is taken for the
    // TreeId. Test: AnAsynchronousResponseIsReadAsASynchronousOne
    if (!reader.Skip(kMessageIdToTree) || !reader.Le(header.treeKey) || !reader.Le(header.sessionId)) return header;
    header.extent = HeaderExtent::kWhole;
    return header;
}

std::optional<SmbRequest> ParseSmb2Request(const Smb2Header& header, Bytes message) {
    if (header.extent < HeaderExtent::kRequestId || header.status != 0) return std::nullopt;
    return header.command == kSmb2TreeConnect ? ParseTreeConnect(message) : ParseCreate(message);
}

std::optional<Bytes> Smb2ResponseBody(const Smb2Header& header, Bytes message) {
    if (header.extent < HeaderExtent::kWhole) return std::nullopt;
    ByteReader reader(message);
    const Bytes body = reader.Skip(kBodyOffset) ? reader.Rest() : Bytes();
    const bool holdsOutcome = header.command == kSmb2Create && header.status == 0;
    if (holdsOutcome && body.size() < kCreateOutcome) return std::nullopt;
    return body;
}

}  // namespace tarn::smb
