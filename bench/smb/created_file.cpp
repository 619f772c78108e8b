#include "smb/created_file.h"

#include "smb/smb_frames.h"

namespace tarn::smb {

CreatedFile MakeCreatedFile(std::u16string_view name, const FileKeys& keys) {
    const Smb2Keys all{.messageId = keys.messageId, .tree = keys.tree, .session = keys.session};
    return {FromClient(Smb2CreateRequest(name, all)), FromServer(Smb2CreateResponse(2, all))};
}

}  // namespace tarn::smb
