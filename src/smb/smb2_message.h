// Decodes the fields of SMB2 and SMB3 messages that the tracker uses. A message begins at its protocol byte.
// Pure functions; views borrow the frame. Nothing is returned where a field that is needed lies past the end.
#ifndef TARN_SMB_SMB2_MESSAGE_H
#define TARN_SMB_SMB2_MESSAGE_H

#include <cstdint>
#include <optional>

#include "base/byte_reader.h"
#include "smb/message.h"

namespace tarn::smb {

inline constexpr std::uint16_t kSmb2Logoff = 2;
inline constexpr std::uint16_t kSmb2TreeConnect = 3;
inline constexpr std::uint16_t kSmb2TreeDisconnect = 4;
inline constexpr std::uint16_t kSmb2Create = 5;

// Fields past extent are 0.
struct Smb2Header {
    HeaderExtent extent = HeaderExtent::kNone;
    std::uint32_t status = 0;
    std::uint16_t command = 0;
    bool isResponse = false;
    std::uint64_t requestId = 0;  // MessageId
    std::uint32_t treeKey = 0;    // TreeId
    std::uint64_t sessionId = 0;
};

Smb2Header DecodeSmb2Header(base::Bytes message);

// The header's TREE_CONNECT or CREATE request; nothing also for one with a Status or with a StructureSize that places
// no name.
std::optional<SmbRequest> ParseSmb2Request(const Smb2Header& header, base::Bytes message);

// What follows the header of a response: empty behind a cut header, but that of a CREATE response with Status 0 holds
// its outcome.
std::optional<base::Bytes> Smb2ResponseBody(const Smb2Header& header, base::Bytes message);

}  // namespace tarn::smb

#endif
