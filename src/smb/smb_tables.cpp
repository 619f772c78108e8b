#include "smb/smb_tables.h"

namespace tarn::smb {
namespace {

constexpr auto kEmpty = [](auto& table) { table.clear(); };

}  // namespace

void SmbTablesReset(SmbTables& tables) {
    Smb2TablesClear(tables);
    Smb1TablesClear(tables);
}

void Smb2TablesClear(SmbTables& tables) {
    tables.smb2PendingRequests.Write(kEmpty);
    tables.smb2Sessions.Write(kEmpty);
}

void Smb1TablesClear(SmbTables& tables) {
    tables.smb1PendingRequests.Write(kEmpty);
    tables.smb1Clients.Write(kEmpty);
}

}  // namespace tarn::smb
