// The product configuration file with its CRC-32 check, and the names that its version gives the managed-client agent.
// The caller owns what is passed; only checkedOnce may be shared by threads.
#ifndef TARN_MACHINE_PRODUCT_DATA_H
#define TARN_MACHINE_PRODUCT_DATA_H

#include <array>
#include <atomic>
#include <cstdint>
#include <span>

#include "base/bounded_text.h"

namespace tarn::machine {

inline constexpr std::size_t kProductRecordSize = 2642;
using ProductRecord = std::array<std::uint8_t, kProductRecordSize>;

// An opened file, read from front to back. A read that is short or fails gives false.
class ProductFile {
 public:
    virtual ~ProductFile() = default;
    virtual bool ReadExactly(std::span<std::uint8_t> bytes) = 0;
    // Up to the whole span; count 0 at the end of the file.
    virtual bool ReadSome(std::span<std::uint8_t> bytes, std::size_t& count) = 0;
    virtual bool SeekTo(std::uint32_t offset) = 0;
};

// QUIRK: the CRC is checked until one file of the process has passed; later files are not checked.
// Test: ProductData_AfterOneGoodFile_LaterFilesAreNotChecked
bool ReadProductConfiguration(ProductFile& file, std::atomic<bool>& checkedOnce, ProductRecord& record);

struct ProductVersion {
    std::uint16_t major = 0;
    std::uint16_t minor = 0;
};
ProductVersion VersionOf(const ProductRecord& record);

// "HOSTASVC501.EXE" for 5.1, and "CLIENT AGENT 5.1".
bool AgentExecutableName(ProductVersion version, base::PathBuffer& name);
bool AgentServiceName(ProductVersion version, base::PathBuffer& name);

}  // namespace tarn::machine

#endif
