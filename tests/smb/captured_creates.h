// What a dissector found in a capture: every create that a server answered, and the messages at the start of segments.
#ifndef TARN_TESTS_SMB_CAPTURED_CREATES_H
#define TARN_TESTS_SMB_CAPTURED_CREATES_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/byte_reader.h"

namespace tarn::smb {

// The dissector's word. It follows compounds, chains, segments, tags, both ports and both address families.
struct CapturedCreate {
    int version = 0;  // 1 or 2
    std::uint64_t frame = 0;
    std::uint64_t requestFrame = 0;
    std::uint64_t id = 0;  // MessageId or MID
    std::uint32_t status = 0;
    std::uint32_t action = 0;  // with Status 0 only
    std::u16string share;
    std::u16string file;
};

std::vector<CapturedCreate> ReadCreates(const std::string& capture);
std::vector<std::vector<std::uint8_t>> ReadFrames(const std::string& capture);

enum class FrameKind { kSmbPort, kOtherPort, kNotUntaggedIpv4 };
FrameKind KindOf(base::Bytes frame);

enum class MessageKind { kTreeConnect, kCreate, kTreeDisconnect, kLogoff };

// The message that a segment begins with, read as the protocol says: offsets and alignment from the message itself.
struct SeenMessage {
    int version = 0;
    MessageKind kind = MessageKind::kCreate;
    bool isResponse = false;
    std::uint32_t status = 0;
    std::uint64_t id = 0;
    std::uint64_t owner = 0;  // SessionId, or the destination address
    std::uint32_t tree = 0;   // TreeId, or TID and PIDLow
    std::u16string path;      // of a tree connect request
    bool hasNarrowPath = false;
};

// Nothing for another message, another frame or a segment that begins elsewhere.
std::optional<SeenMessage> FirstMessage(base::Bytes frame);

}  // namespace tarn::smb

#endif
