#include "host/explain/variant_library.h"

#include <chrono>
#include <fmt/format.h>
#include <fstream>
#include <random>

#include "host/file_path.h"
#include "policy/policy_reader.h"

namespace tarn::host {

VariantLibrary::~VariantLibrary() {
    std::error_code ignored;
    if (!folder_.empty()) std::filesystem::remove_all(folder_, ignored);
}

std::unique_ptr<Judge> VariantLibrary::Open(const std::string& policyText, std::string& mistake) {
    std::error_code error;
    if (folder_.empty()) {
        std::random_device random;
        folder_ =
            std::filesystem::temp_directory_path(error) / fmt::format("tarn-explain-{:08x}{:08x}", random(), random());
        if (!error) std::filesystem::create_directory(folder_, error);
    }
    const std::filesystem::path file = folder_ / policy::kPolicyFile;
    if (!error) {
        std::ofstream output(file, std::ios::binary | std::ios::trunc);
        output << policyText;
        output.close();
        if (!output) error = std::make_error_code(std::errc::io_error);
    }
    // The modules wait until nobody has written a file for a while: this one is finished.
    if (!error)
        std::filesystem::last_write_time(file, std::filesystem::file_time_type::clock::now() - std::chrono::seconds(10),
                                         error);
    if (error) {
        mistake = fmt::format("no temporary file can be written ({})", error.message());
        return nullptr;
    }
    LibraryOptions options = options_;
    options.policyFile = FromPath(file);
    options.judgesUrls = false;  // what is switched off was said for the policy itself
    options.verbose = false;
    return environment_.OpenLibrary(options, mistake);
}

}  // namespace tarn::host
