// The two ends of one frame, as the trackers and the report see them.
// Where these fields stand in a frame is left to frame_dispatch.h.
#ifndef TARN_SMB_ENDPOINT_H
#define TARN_SMB_ENDPOINT_H

#include <cstdint>

namespace tarn::smb {

// Ports and addresses hold the bytes in the order of the frame (network order). The trackers use the addresses only.
struct SmbEndpointRecord {
    std::uint16_t sourcePort = 0;
    std::uint16_t destinationPort = 0;
    std::uint32_t sourceAddress = 0;
    std::uint32_t destinationAddress = 0;
    std::uint8_t direction = 0;  // the host's own flag
};

}  // namespace tarn::smb

#endif
