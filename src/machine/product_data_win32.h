// The product file of this machine, and whether the managed-client agent is installed.
// One object serves the whole process: it remembers that a file has passed its check. Any thread may ask.
#ifndef TARN_MACHINE_PRODUCT_DATA_WIN32_H
#define TARN_MACHINE_PRODUCT_DATA_WIN32_H

#include <atomic>

#include "machine/product_data.h"

namespace tarn::machine {

class WindowsProductData {
 public:
    // error receives the system's last error when the file cannot be read.
    bool Read(const base::PathBuffer& path, ProductRecord& record, std::uint32_t& error);
    // The version in the file of the host folder, else of the install folder.
    bool ReadVersion(ProductVersion& version);
    bool FindAgentApplicationPath();
    bool IsManagedClientInstalled();

 private:
    std::atomic<bool> checkedOnce_{false};
};

}  // namespace tarn::machine

#endif
