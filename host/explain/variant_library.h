// The library opened again and again, each time with another policy, which stands in a temporary file.
// Its object owns the file. Only one library may be open at a time.
#ifndef TARN_HOST_EXPLAIN_VARIANT_LIBRARY_H
#define TARN_HOST_EXPLAIN_VARIANT_LIBRARY_H

#include <filesystem>
#include <memory>
#include <string>

#include "host/explain/policy_variant.h"
#include "host/judge.h"

namespace tarn::host {

class VariantLibrary {
 public:
    VariantLibrary(Environment& environment, LibraryOptions options)
        : environment_(environment), options_(std::move(options)) {}
    ~VariantLibrary();
    VariantLibrary(const VariantLibrary&) = delete;
    VariantLibrary& operator=(const VariantLibrary&) = delete;

    // Null, with the reason in mistake.
    std::unique_ptr<Judge> Open(const PolicyVariant& policy, std::string& mistake);

 private:
    Environment& environment_;
    LibraryOptions options_;
    std::filesystem::path folder_;
};

}  // namespace tarn::host

#endif
