#include "smb/smb1_message.h"

#include <cstddef>

#include "smb/wire_text.h"

namespace tarn::smb {
namespace {

using base::Bytes;

// Offsets from the protocol byte.
constexpr std::size_t kCommandOffset = 4;
constexpr std::size_t kStatusOffset = 5;
constexpr std::size_t kFlagsOffset = 9;
constexpr std::size_t kTreeKeyOffset = 24;
constexpr std::size_t kMidOffset = 30;
constexpr std::size_t kWordCountOffset = 32;
constexpr std::size_t kWordsOffset = 33;
constexpr std::size_t kPasswordLengthOffset = 39;
constexpr std::size_t kNameLengthOffset = 38;
constexpr std::size_t kByteCountOffset = 81;
constexpr std::size_t kNameOffset = 83;
constexpr std::size_t kReplyActionEnd = 44;

constexpr std::uint8_t kReplyFlag = 0x80;  // a bit of Flags

std::optional<Smb1Request> ParseTreeConnect(Bytes message, Smb1Request request) {
    const auto wordCount = FieldAt<std::uint8_t>(message, kWordCountOffset);
    const auto passwordLength = FieldAt<std::uint16_t>(message, kPasswordLengthOffset);
    if (!passwordLength) return std::nullopt;
    // QUIRK: the path follows the password at once; an alignment byte between them is taken for half a unit.
    // Test: ThePathFollowsThePasswordWithoutAlignment
    const std::size_t offset =
        kWordsOffset + std::size_t{2} * *wordCount + sizeof(std::uint16_t) + std::size_t{*passwordLength};
    if (offset > message.size()) return std::nullopt;
    const std::optional<Bytes> path = TextUpToNul(message.subspan(offset), kMaxNameUnits);
    if (!path) return std::nullopt;
    request.name = *path;
    return request;
}

std::optional<Smb1Request> ParseNtCreate(Bytes message, Smb1Request request) {
    const auto nameLength = FieldAt<std::uint16_t>(message, kNameLengthOffset);
    const auto byteCount = FieldAt<std::uint16_t>(message, kByteCountOffset);
    if (!byteCount) return std::nullopt;
    request.isParked = *nameLength <= *byteCount;
    if (!request.isParked || *nameLength == 0) return request;
    // QUIRK: an odd ByteCount, not the place of the name, says that there is an alignment byte.
    // Test: TheParityOfByteCountPlacesTheName
    const std::optional<Bytes> name = base::Window(message, kNameOffset + *byteCount % 2, *nameLength);
    if (!name) return std::nullopt;
    request.name = *name;
    return request;
}

}  // namespace

std::optional<std::uint8_t> Smb1CommandOf(Bytes message) {
    return FieldAt<std::uint8_t>(message, kCommandOffset);
}

std::optional<bool> IsSmb1Reply(Bytes message) {
    const auto flags = FieldAt<std::uint8_t>(message, kFlagsOffset);
    if (!flags) return std::nullopt;
    return (*flags & kReplyFlag) != 0;
}

std::optional<Smb1Request> ParseSmb1Request(Bytes message) {
    const auto command = Smb1CommandOf(message);
    const auto status = FieldAt<std::uint32_t>(message, kStatusOffset);
    const auto mid = FieldAt<std::uint16_t>(message, kMidOffset);
    if (!mid || *status != 0) return std::nullopt;
    Smb1Request request;
    request.mid = *mid;
    if (*command == kSmb1TreeConnect) return ParseTreeConnect(message, request);
    request.kind = RequestKind::kCreate;
    return ParseNtCreate(message, request);
}

std::optional<Smb1Reply> ParseSmb1Reply(Bytes message) {
    base::ByteReader reader(message);
    Smb1Reply reply;
    if (!reader.Skip(kCommandOffset) || !reader.Le(reply.command) || !reader.Le(reply.status) ||
        !reader.Skip(kTreeKeyOffset - kFlagsOffset) || !reader.Le(reply.treeKey) || !reader.Skip(2) ||
        !reader.Le(reply.mid))
        return std::nullopt;
    const bool tellsOutcome = reply.command == kSmb1NtCreate && reply.status == 0;
    if (tellsOutcome && message.size() < kReplyActionEnd) return std::nullopt;
    reply.body = message.subspan(kWordCountOffset);
    return reply;
}

}  // namespace tarn::smb
