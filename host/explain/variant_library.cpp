#include "host/explain/variant_library.h"

#include <fmt/format.h>
#include <random>

#include "host/file_path.h"

namespace tarn::host {

VariantLibrary::~VariantLibrary() {
    std::error_code ignored;
    if (!folder_.empty()) std::filesystem::remove_all(folder_, ignored);
}

std::unique_ptr<Judge> VariantLibrary::Open(const PolicyVariant& policy, std::string& mistake) {
    std::error_code error;
    if (folder_.empty()) {
        std::random_device random;
        folder_ =
            std::filesystem::temp_directory_path(error) / fmt::format("tarn-explain-{:08x}{:08x}", random(), random());
        if (!error) std::filesystem::create_directory(folder_, error);
    }
    if (error) {
        mistake = fmt::format("no temporary folder can be made ({})", error.message());
        return nullptr;
    }
    const std::filesystem::path file = folder_ / policy::kPolicyFile;
    if (!WriteVariant(policy, file, mistake)) return nullptr;
    LibraryOptions options = options_;
    options.policyFile = FromPath(file);
    options.judgesUrls = false;  // what is switched off was said for the policy itself
    options.verbose = false;
    return environment_.OpenLibrary(options, mistake);
}

}  // namespace tarn::host
