#include "smb/smb2_message.h"

#include <cstddef>

#include "smb/wire_text.h"

namespace tarn::smb {
namespace {

using base::Bytes;

// Offsets from the protocol byte.
constexpr std::size_t kStatusOffset = 8;
constexpr std::size_t kCommandOffset = 12;
constexpr std::size_t kFlagsOffset = 16;
constexpr std::size_t kMessageIdOffset = 24;
constexpr std::size_t kBodyOffset = 64;
constexpr std::size_t kPathLengthOffset = kBodyOffset + 6;
constexpr std::size_t kPathOffset = kBodyOffset + 8;
constexpr std::size_t kResponseActionEnd = kBodyOffset + 8;

// Distances back from the end of a CREATE request's fixed part, which StructureSize counts.
constexpr std::size_t kNameLengthBeforeEnd = 11;
constexpr std::size_t kNameBeforeEnd = 1;

constexpr std::uint32_t kServerToRedirector = 1;  // a bit of Flags

// QUIRK: bytes, although as many UTF-16 units have room: names of 130 characters and more are not followed.
// Test: NamesAndPathsOf260BytesAreNotParked
constexpr std::uint16_t kMaxNameBytes = 260;

std::optional<Smb2Request> WithName(Bytes message, Smb2Request request, std::size_t offset, std::uint16_t length) {
    request.isParked = length < kMaxNameBytes;
    if (!request.isParked || length == 0) return request;
    const std::optional<Bytes> name = base::Window(message, offset, length);
    if (!name) return std::nullopt;
    request.name = *name;
    return request;
}

std::optional<Smb2Request> ParseTreeConnect(Bytes message, const Smb2Request& request) {
    const auto length = FieldAt<std::uint16_t>(message, kPathLengthOffset);
    if (!length) return std::nullopt;
    // QUIRK: the path stands behind the fixed part, whatever PathOffset says.  Test: PathOffsetIsNotConsulted
    return WithName(message, request, kPathOffset, *length);
}

std::optional<Smb2Request> ParseCreate(Bytes message, const Smb2Request& request) {
    // QUIRK: StructureSize places the name and its length; NameOffset is not consulted.
    // Test: StructureSizePlacesTheName
    const auto structureSize = FieldAt<std::uint16_t>(message, kBodyOffset);
    if (!structureSize || *structureSize < kNameLengthBeforeEnd) return std::nullopt;
    const std::size_t end = kBodyOffset + *structureSize;
    const auto length = FieldAt<std::uint16_t>(message, end - kNameLengthBeforeEnd);
    if (!length) return std::nullopt;
    return WithName(message, request, end - kNameBeforeEnd, *length);
}

}  // namespace

std::optional<std::uint16_t> Smb2CommandOf(Bytes message) {
    return FieldAt<std::uint16_t>(message, kCommandOffset);
}

std::optional<bool> IsSmb2Response(Bytes message) {
    const auto flags = FieldAt<std::uint32_t>(message, kFlagsOffset);
    if (!flags) return std::nullopt;
    return (*flags & kServerToRedirector) != 0;
}

std::optional<Smb2Request> ParseSmb2Request(Bytes message) {
    const auto status = FieldAt<std::uint32_t>(message, kStatusOffset);
    const auto command = Smb2CommandOf(message);
    const auto messageId = FieldAt<std::uint64_t>(message, kMessageIdOffset);
    if (!messageId || *status != 0) return std::nullopt;
    Smb2Request request;
    request.messageId = *messageId;
    if (*command == kSmb2TreeConnect) return ParseTreeConnect(message, request);
    request.kind = RequestKind::kCreate;
    return ParseCreate(message, request);
}

std::optional<Smb2Response> ParseSmb2Response(Bytes message) {
    // QUIRK: an asynchronous response is read in the synchronous layout, so half of its AsyncId is taken for the
    // TreeId. Test: AnAsynchronousResponseIsReadAsASynchronousOne
    base::ByteReader reader(message);
    Smb2Response response;
    if (!reader.Skip(kStatusOffset) || !reader.Le(response.status) || !reader.Le(response.command) ||
        !reader.Skip(10) || !reader.Le(response.messageId) || !reader.Skip(4) || !reader.Le(response.treeId) ||
        !reader.Le(response.sessionId))
        return std::nullopt;
    const bool tellsOutcome = response.command == kSmb2Create && response.status == 0;
    if (tellsOutcome && message.size() < kResponseActionEnd) return std::nullopt;
    if (message.size() > kBodyOffset) response.body = message.subspan(kBodyOffset);
    return response;
}

}  // namespace tarn::smb
