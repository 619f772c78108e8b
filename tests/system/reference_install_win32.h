// An install folder of its own: tarn.dll, the reference companions and a policy with something for every export.
// It is registered for this process alone and removed at the end.
#ifndef TARN_TESTS_SYSTEM_REFERENCE_INSTALL_WIN32_H
#define TARN_TESTS_SYSTEM_REFERENCE_INSTALL_WIN32_H

#include <filesystem>

#include "system/private_registry_win32.h"

namespace tarn::system_test {

class ReferenceInstall {
 public:
    ReferenceInstall();
    ~ReferenceInstall();
    ReferenceInstall(const ReferenceInstall&) = delete;
    ReferenceInstall& operator=(const ReferenceInstall&) = delete;

    [[nodiscard]] std::filesystem::path File(const char* name) const { return folder_ / name; }

 private:
    std::filesystem::path folder_;
    PrivateRegistry registry_;
};

}  // namespace tarn::system_test

#endif
