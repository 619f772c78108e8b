// The fields of SMB2 and SMB3 messages that the tracker uses, read from the bytes of a frame that are really there.
// What a message does to the tables is left to smb2_tracker.h.
#ifndef TARN_SMB_SMB2_MESSAGE_H
#define TARN_SMB_SMB2_MESSAGE_H

#include <cstdint>
#include <optional>

#include "base/byte_reader.h"
#include "smb/file_event.h"
#include "smb/tree_table.h"

namespace tarn::smb {

inline constexpr std::uint16_t kSmb2Logoff = 2;
inline constexpr std::uint16_t kSmb2TreeConnect = 3;
inline constexpr std::uint16_t kSmb2TreeDisconnect = 4;

// The views point into the frame.
struct Smb2Request {
    RequestKind kind = RequestKind::kTreeConnect;
    std::uint64_t messageId = 0;
    bool isParked = false;  // false: its name is too long to be followed, and name is empty
    base::Bytes name;       // UTF-16, up to the length that the request states
};

struct Smb2Response {
    std::uint32_t status = 0;
    std::uint16_t command = 0;
    std::uint64_t messageId = 0;
    std::uint32_t treeId = 0;
    std::uint64_t sessionId = 0;
    base::Bytes body;
};

// A message begins at its protocol byte. Each gives nothing when a field that it reads lies past the end.
std::optional<std::uint16_t> Smb2CommandOf(base::Bytes message);
std::optional<bool> IsSmb2Response(base::Bytes message);
// A TREE_CONNECT or CREATE request; nothing also for one with a Status or with a StructureSize that places no name.
std::optional<Smb2Request> ParseSmb2Request(base::Bytes message);
// Of any command. The body is empty behind a cut header, but that of a CREATE response with Status 0 holds its outcome.
std::optional<Smb2Response> ParseSmb2Response(base::Bytes message);

}  // namespace tarn::smb

#endif
