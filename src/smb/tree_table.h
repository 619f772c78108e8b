// Connected trees with the files seen on them, and requests that wait for their response; both SMB versions keep them
// alike. Values of the tables in smb_tables.h, whose locks guard them.
#ifndef TARN_SMB_TREE_TABLE_H
#define TARN_SMB_TREE_TABLE_H

#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "tarn/records.h"

#include "smb/file_event.h"
#include "smb/message.h"

namespace tarn::smb {

// The half of a request that its response does not repeat. name is a share path or a file name, at most 259 units.
struct PendingRequest {
    RequestKind kind = RequestKind::kTreeConnect;
    std::u16string name;

    bool operator==(const PendingRequest&) const = default;
};

struct Tree {
    std::u16string sharePath;
    std::set<std::u16string> files;  // by name, ordinal and case-sensitive: a file's record holds nothing else

    bool operator==(const Tree&) const = default;
};

using TreeTable = std::map<std::uint32_t, Tree>;

// What a response with Status 0 does to the trees of its session or client; the caller holds the table's lock.
// False only when a create names a tree that was never seen connecting.
bool RecordInTrees(TreeTable& trees, std::uint32_t treeKey, PendingRequest&& request, const CreateAnswer& answer,
                   SmbScanResult& result);

}  // namespace tarn::smb

#endif
