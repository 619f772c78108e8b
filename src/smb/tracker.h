// Follows the conversations with file servers: keeps tree connects and creates until their response, keeps the trees
// of every session (SMB2) or client (SMB1), and reports what a response says of a file.
// Any thread may call; each table is locked for itself, and no two locks are held at once.
#ifndef TARN_SMB_TRACKER_H
#define TARN_SMB_TRACKER_H

#include "tarn/records.h"

#include "base/byte_reader.h"
#include "smb/file_event.h"
#include "smb/smb_tables.h"

namespace tarn::smb {

// message begins at the protocol byte. False, with the tables as they were, when a field lies past its end; false also
// for a request with a Status and for a response that fits nothing seen before.
bool Smb2Track(const SmbEndpointRecord& endpoint, base::Bytes message, SmbTables& tables, SmbScanResult& result);
bool Smb1Track(const SmbEndpointRecord& endpoint, base::Bytes message, SmbTables& tables, SmbScanResult& result);

}  // namespace tarn::smb

#endif
