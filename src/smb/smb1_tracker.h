// Follows SMB1 as smb2_tracker.h follows SMB2, with trees kept per client address instead of per session.
// The fields of a message are left to smb1_message.h.
#ifndef TARN_SMB_SMB1_TRACKER_H
#define TARN_SMB_SMB1_TRACKER_H

#include "tarn/records.h"

#include "base/byte_reader.h"
#include "smb/endpoint.h"
#include "smb/smb1_message.h"
#include "smb/smb_tables.h"

namespace tarn::smb {

// message begins at the protocol byte. False, with the tables as they were, when a field lies past its end.
bool Smb1Track(const SmbEndpointRecord& endpoint, base::Bytes message, SmbTables& tables, SmbScanResult& result);

// False when the request states a name that its bytes cannot hold. One under a MID in use is not parked.
bool Smb1RecordRequest(const Smb1Request& request, SmbTables& tables);
// Finds, hands out and removes the request that a reply answers.
bool Smb1TakeRequest(const Smb1Reply& reply, SmbTables& tables, PendingRequest& request);

// Under the lock of the clients. The client is the frame's destination: replies travel from the server.
bool Smb1RecordResponse(const SmbEndpointRecord& endpoint, PendingRequest&& request, const Smb1Reply& reply,
                        Smb1Clients& clients, SmbScanResult& result);
bool Smb1EndTree(const SmbEndpointRecord& endpoint, const Smb1Reply& reply, Smb1Clients& clients);
bool Smb1EndClient(const SmbEndpointRecord& endpoint, Smb1Clients& clients);

}  // namespace tarn::smb

#endif
