// The fields of SMB1 messages that the tracker uses, read from the bytes of a frame that are really there.
// What a message does to the tables is left to smb1_tracker.h.
#ifndef TARN_SMB_SMB1_MESSAGE_H
#define TARN_SMB_SMB1_MESSAGE_H

#include <cstdint>
#include <optional>

#include "base/byte_reader.h"
#include "smb/file_event.h"
#include "smb/tree_table.h"

namespace tarn::smb {

inline constexpr std::uint8_t kSmb1TreeDisconnect = 0x71;
inline constexpr std::uint8_t kSmb1Logoff = 0x74;
inline constexpr std::uint8_t kSmb1TreeConnect = 0x75;

// The views point into the frame.
struct Smb1Request {
    RequestKind kind = RequestKind::kTreeConnect;
    std::uint16_t mid = 0;
    bool isParked = true;  // false: the name is said to be longer than all bytes together, and name is empty
    base::Bytes name;      // UTF-16, up to its NUL or the length that the request states
};

struct Smb1Reply {
    std::uint8_t command = 0;
    std::uint32_t status = 0;
    // QUIRK: TID in the low half, PIDLow in the high half: a tree belongs to one process of its client.
    // Test: OneTidOfTwoProcessesMakesTwoTrees
    std::uint32_t treeKey = 0;
    std::uint16_t mid = 0;
    base::Bytes body;  // from the WordCount byte on
};

// A message begins at its protocol byte. Each gives nothing when a field that it reads lies past the end.
std::optional<std::uint8_t> Smb1CommandOf(base::Bytes message);
std::optional<bool> IsSmb1Reply(base::Bytes message);
// A TREE_CONNECT_ANDX or NT_CREATE_ANDX request; nothing also for one with a Status.
std::optional<Smb1Request> ParseSmb1Request(base::Bytes message);
// Of any command. The body of an NT_CREATE_ANDX reply with Status 0 holds its outcome.
std::optional<Smb1Reply> ParseSmb1Reply(base::Bytes message);

}  // namespace tarn::smb

#endif
