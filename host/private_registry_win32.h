// Gives this process a view of HKEY_LOCAL_MACHINE of its own in which the install folder is the one we want.
// Nothing outside the process sees it, and it is gone when the object or the process ends.
#ifndef TARN_HOST_PRIVATE_REGISTRY_WIN32_H
#define TARN_HOST_PRIVATE_REGISTRY_WIN32_H

#include <string>

namespace tarn::host {

class PrivateRegistry {
 public:
    PrivateRegistry() = default;
    ~PrivateRegistry() { Remove(); }
    PrivateRegistry(const PrivateRegistry&) = delete;
    PrivateRegistry& operator=(const PrivateRegistry&) = delete;

    // installFolder ends with a backslash. False with the system's error number when the view cannot be made.
    bool Create(const std::wstring& installFolder, unsigned long& error);
    void Remove();

 private:
    bool isOverriding_ = false;
};

// The install folder that the machine's registry names; empty when it names none.
std::wstring RegisteredInstallFolder();

}  // namespace tarn::host

#endif
