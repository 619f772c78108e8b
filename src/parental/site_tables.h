// Turns a user entry's site rules into the host table and the address table that scans are judged by.
// The tables own their texts and paths; one thread builds them, then nobody changes them.
#ifndef TARN_PARENTAL_SITE_TABLES_H
#define TARN_PARENTAL_SITE_TABLES_H

#include "tarn/companions.h"

#include "parental/owned_array.h"
#include "parental/site_entries.h"

namespace tarn::parental {

// The entries point into texts and paths, which move with them.
struct SiteTables {
    OwnedArray<HostListEntry> hosts;  // descending by hash; equal hashes in no order
    OwnedArray<AddressListEntry> addresses;
    OwnedArray<char> texts;
    OwnedArray<PathListNode> paths;
};

// Takes N rules with A addresses into at most N + 2A host entries and A address entries. Rules for one host share one
// entry; each address adds two hosts, its text forms, and shares the paths of its host. False, with empty tables, when
// memory is missing or there are more entries than 32 bits count. The rules are only read.
[[nodiscard]] bool BuildSiteTables(const SiteRule* first, SiteTables& tables, const CopyMemory& memory = {});

}  // namespace tarn::parental

#endif
