// What the shape tests read of a 64-bit Windows image (PE32+): exported names, imports, flags, resource types.
// The tests judge them. Layout: Microsoft's "PE Format" document.
#ifndef TARN_TESTS_SHAPE_PE_IMAGE_H
#define TARN_TESTS_SHAPE_PE_IMAGE_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "base/byte_reader.h"

namespace tarn::shape {

inline constexpr std::uint16_t kMachineAmd64 = 0x8664;
inline constexpr std::uint16_t kIsDll = 0x2000;          // of PeImage::characteristics
inline constexpr std::uint16_t kHighEntropyVa = 0x0020;  // the next three of PeImage::dllCharacteristics
inline constexpr std::uint16_t kDynamicBase = 0x0040;
inline constexpr std::uint16_t kNxCompatible = 0x0100;
inline constexpr std::uint32_t kVersionResource = 16;

struct PeImage {
    std::uint16_t machine = 0;
    std::uint32_t timeStamp = 0;
    std::uint16_t characteristics = 0;
    std::uint16_t dllCharacteristics = 0;
    std::uint32_t exportedAddresses = 0;       // entries of the address table, those without a name too
    std::vector<std::string> exportedNames;    // in the order of the name table
    std::vector<std::string> importedModules;  // in lower case, as the table has them
    std::vector<std::string> imports;          // "module function" or "module #ordinal", as the tables have them
    bool delaysImports = false;
    bool hasWritableCode = false;              // a section that is both writable and executable
    std::vector<std::uint32_t> resourceTypes;  // the numbered ones
};

// Empty when the file cannot be read.
std::vector<std::uint8_t> ReadFileBytes(const std::string& file);

// Nothing when the bytes are no whole image of this kind.
std::optional<PeImage> ParsePeImage(base::Bytes file);

}  // namespace tarn::shape

#endif
