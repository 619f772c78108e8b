// Decodes the fields of SMB1 messages that the tracker uses. A message begins at its protocol byte.
// Pure functions; views borrow the frame. Nothing is returned where a field that is needed lies past the end.
#ifndef TARN_SMB_SMB1_MESSAGE_H
#define TARN_SMB_SMB1_MESSAGE_H

#include <cstdint>
#include <optional>

#include "base/byte_reader.h"
#include "smb/message.h"

namespace tarn::smb {

inline constexpr std::uint8_t kSmb1TreeDisconnect = 0x71;
inline constexpr std::uint8_t kSmb1Logoff = 0x74;
inline constexpr std::uint8_t kSmb1TreeConnect = 0x75;
inline constexpr std::uint8_t kSmb1NtCreate = 0xA2;

// Fields past extent are 0.
struct Smb1Header {
    HeaderExtent extent = HeaderExtent::kNone;
    std::uint8_t command = 0;
    std::uint32_t status = 0;
    bool isResponse = false;
    // QUIRK: TID in the low half, PIDLow in the high half: a tree belongs to one process of its client.
    // Test: OneTidOfTwoProcessesMakesTwoTrees
    std::uint32_t treeKey = 0;
    std::uint16_t requestId = 0;  // MID
};

Smb1Header DecodeSmb1Header(base::Bytes message);

// The header's TREE_CONNECT_ANDX or NT_CREATE_ANDX request; nothing also for one with a Status.
std::optional<SmbRequest> ParseSmb1Request(const Smb1Header& header, base::Bytes message);

// What follows the header of a response, from the WordCount byte on. That of an NT_CREATE_ANDX response with Status 0
// holds its outcome.
std::optional<base::Bytes> Smb1ResponseBody(const Smb1Header& header, base::Bytes message);

}  // namespace tarn::smb

#endif
