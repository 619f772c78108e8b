// Fills the host's record when a server says that it created or overwrote a file.
// Which share and file a response belongs to is left to the trackers.
#ifndef TARN_SMB_FILE_EVENT_H
#define TARN_SMB_FILE_EVENT_H

#include <cstdint>
#include <string_view>

#include "tarn/records.h"

#include "base/byte_reader.h"
#include "smb/endpoint.h"

namespace tarn::smb {

// The first byte of a message.
enum class SmbProtocol : std::uint8_t { kSmb2 = 0xFE, kSmb1 = 0xFF };

inline constexpr std::uint16_t kSmb2Create = 5;
inline constexpr std::uint8_t kSmb1NtCreate = 0xA2;

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
