// Follows SMB2 and SMB3: parks tree connects and creates until their response, keeps the trees of every session, and
// reports what a response says of a file. The fields of a message are left to smb2_message.h.
#ifndef TARN_SMB_SMB2_TRACKER_H
#define TARN_SMB_SMB2_TRACKER_H

#include "tarn/records.h"

#include "base/byte_reader.h"
#include "smb/endpoint.h"
#include "smb/smb2_message.h"
#include "smb/smb_tables.h"

namespace tarn::smb {

// message begins at the protocol byte. False, with the tables as they were, when a field lies past its end.
bool Smb2Track(const SmbEndpointRecord& endpoint, base::Bytes message, SmbTables& tables, SmbScanResult& result);

// Always true; a request under a MessageId in use, or with too long a name, is not parked.
bool Smb2RecordRequest(const Smb2Request& request, SmbTables& tables);
// Finds, hands out and removes the request that a response answers.
bool Smb2TakeRequest(const Smb2Response& response, SmbTables& tables, PendingRequest& request);

// Under the lock of the sessions.
bool Smb2RecordResponse(const SmbEndpointRecord& endpoint, PendingRequest&& request, const Smb2Response& response,
                        Smb2Sessions& sessions, SmbScanResult& result);
bool Smb2EndTree(const Smb2Response& response, Smb2Sessions& sessions);
bool Smb2EndSession(const Smb2Response& response, Smb2Sessions& sessions);

}  // namespace tarn::smb

#endif
