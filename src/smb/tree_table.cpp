#include "smb/tree_table.h"

#include <utility>

namespace tarn::smb {

bool RecordInTrees(TreeTable& trees, std::uint32_t treeKey, PendingRequest&& request, const CreateAnswer& answer,
                   SmbScanResult& result) {
    // QUIRK: what was asked decides, not what the response calls itself.  Test: ThePendingRequestDecidesTheBranch
    if (request.kind == RequestKind::kTreeConnect) {
        // QUIRK: a key in use keeps its first share path.  Test: AConnectedTreeKeepsItsFirstPath
        trees.try_emplace(treeKey, Tree{std::move(request.name), {}});
        return true;
    }
    const auto tree = trees.find(treeKey);
    if (tree == trees.end()) return false;
    auto& [sharePath, files] = tree->second;
    auto file = files.find(request.name);
    if (file == files.end()) file = files.insert(std::move(request.name)).first;
    SmbReportFileEvent(answer, sharePath, *file, result);
    return true;
}

}  // namespace tarn::smb
