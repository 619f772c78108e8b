// The two frames that tell of a created file on an SMB2 share.
#ifndef TARN_BENCH_SMB_CREATED_FILE_H
#define TARN_BENCH_SMB_CREATED_FILE_H

#include <cstdint>
#include <string_view>
#include <vector>

namespace tarn::smb {

struct FileKeys {
    std::uint64_t messageId = 0;
    std::uint64_t session = 0;
    std::uint32_t tree = 0;
};

struct CreatedFile {
    std::vector<std::uint8_t> request;
    std::vector<std::uint8_t> response;
};

CreatedFile MakeCreatedFile(std::u16string_view name, const FileKeys& keys);

}  // namespace tarn::smb

#endif
