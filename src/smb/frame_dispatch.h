// Finds the SMB message of an Ethernet frame (IPv4, TCP, port 445 at either end) and hands it to the tracker.
// Any thread may call; the frame and the result belong to the caller.
#ifndef TARN_SMB_FRAME_DISPATCH_H
#define TARN_SMB_FRAME_DISPATCH_H

#include <cstdint>

#include "tarn/records.h"

#include "base/byte_reader.h"
#include "smb/smb_tables.h"

namespace tarn::smb {

// False when the frame is none to examine, is cut short, or does not fit what was seen before; for an empty one without
// a write to result, else with kind 1 there. True with kind 7 reports a file event, true with kind 1 nothing.
// Throws only std::bad_alloc, when a table cannot grow; the locks are free then.
bool ScanSmbFrame(base::Bytes frame, std::uint8_t direction, SmbTables& tables, SmbScanResult& result);

}  // namespace tarn::smb

#endif
