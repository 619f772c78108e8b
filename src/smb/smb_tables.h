// The four tables of the SMB monitor, each with its own lock, and the operations that empty them.
// Any thread may call. Every access takes the write side, look-ups too; no path holds two of the locks at once.
#ifndef TARN_SMB_SMB_TABLES_H
#define TARN_SMB_SMB_TABLES_H

#include <cstdint>
#include <map>

#include "base/guarded.h"
#include "smb/tree_table.h"

namespace tarn::smb {

using Smb2PendingRequests = std::map<std::uint64_t, PendingRequest>;  // by MessageId
using Smb2Sessions = std::map<std::uint64_t, TreeTable>;              // by SessionId; trees by TreeId
using Smb1PendingRequests = std::map<std::uint16_t, PendingRequest>;  // by MID
// By IPv4 address of the client, in network order; trees by TID (low half) and PIDLow.
using Smb1Clients = std::map<std::uint32_t, TreeTable>;

// Insertion never replaces an entry. Nothing ages and nothing is counted.
struct SmbTables {
    base::Guarded<Smb2PendingRequests> smb2PendingRequests;
    base::Guarded<Smb2Sessions> smb2Sessions;
    base::Guarded<Smb1PendingRequests> smb1PendingRequests;
    base::Guarded<Smb1Clients> smb1Clients;
};

// Empties all four before scanning starts.
void SmbTablesReset(SmbTables& tables);
// Each empties its pending table, then its sessions or clients with all they hold.
void Smb2TablesClear(SmbTables& tables);
void Smb1TablesClear(SmbTables& tables);

}  // namespace tarn::smb

#endif
