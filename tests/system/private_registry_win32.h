// HKEY_LOCAL_MACHINE of this process alone, until the end of the object, with the suite's install folder in it.
// Nothing of it is seen by another process, and nothing stays behind.
#ifndef TARN_TESTS_SYSTEM_PRIVATE_REGISTRY_WIN32_H
#define TARN_TESTS_SYSTEM_PRIVATE_REGISTRY_WIN32_H

#include <string>
#include <windows.h>

namespace tarn::system_test {

class PrivateRegistry {
 public:
    PrivateRegistry();
    ~PrivateRegistry();
    PrivateRegistry(const PrivateRegistry&) = delete;
    PrivateRegistry& operator=(const PrivateRegistry&) = delete;

    [[nodiscard]] bool IsThere() const { return root_ != nullptr; }
    void SetInstallPath(const std::wstring& path);
    void RemoveInstallPath();
    void RegisterAgent(const std::wstring& executable);

 private:
    HKEY root_ = nullptr;
    std::wstring name_;
};

}  // namespace tarn::system_test

#endif
