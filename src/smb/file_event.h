// Fills the host's record when a server says that it created or overwrote a file.
// Owns nothing; the record is the caller's, and the caller holds the lock of the table that the texts stand in.
#ifndef TARN_SMB_FILE_EVENT_H
#define TARN_SMB_FILE_EVENT_H

#include <cstdint>
#include <string_view>

#include "tarn/records.h"

#include "base/byte_reader.h"

namespace tarn::smb {

// The first byte of a message.
enum class SmbProtocol : std::uint8_t { kSmb2 = 0xFE, kSmb1 = 0xFF };

// The two ends of one frame. Ports and addresses hold the bytes in the order of the frame (network order); the tracker
// uses the addresses only.
struct SmbEndpointRecord {
    std::uint16_t sourcePort = 0;
    std::uint16_t destinationPort = 0;
    std::uint32_t sourceAddress = 0;
    std::uint32_t destinationAddress = 0;
    std::uint8_t direction = 0;  // the host's own flag
};

// The part of a response that a report needs. The body begins behind the SMB2 header, or at the WordCount byte of SMB1.
struct CreateAnswer {
    const SmbEndpointRecord& endpoint;
    SmbProtocol protocol;
    std::uint16_t command;
    base::Bytes body;
};

// True with nothing written when there is nothing to report. False when a text does not fit its field; what was written
// by then, the cut text included, stays.
bool SmbReportFileEvent(const CreateAnswer& answer, std::u16string_view sharePath, std::u16string_view fileName,
                        SmbScanResult& result);

}  // namespace tarn::smb

#endif
