// What SMB1 and SMB2 messages have in common for the tracker: how far a header reaches, and what a request asks for.
// Pure values; a view borrows the frame that it was read from.
#ifndef TARN_SMB_MESSAGE_H
#define TARN_SMB_MESSAGE_H

#include <cstdint>

#include "base/byte_reader.h"

namespace tarn::smb {

// The last part of a header that lies inside the frame, each with all parts before it.
enum class HeaderExtent : std::uint8_t { kNone, kCommand, kDirection, kRequestId, kWhole };

enum class RequestKind : std::uint8_t { kTreeConnect, kCreate };

struct SmbRequest {
    RequestKind kind = RequestKind::kTreeConnect;
    bool isFollowed = true;  // false: its length rules the name out, and name is empty
    base::Bytes name;        // UTF-16: a share path or a file name, as far as the request states it
};

}  // namespace tarn::smb

#endif
