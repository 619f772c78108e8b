#include "smb/wire_text.h"

#include <array>
#include <cstdint>

namespace tarn::smb {

std::optional<base::Bytes> TextUpToNul(base::Bytes bytes, std::size_t limit) {
    base::ByteReader reader(bytes);
    for (std::size_t units = 0; units < limit; ++units) {
        const std::size_t length = reader.Position();
        std::uint16_t unit = 0;
        if (!reader.Le(unit)) return std::nullopt;
        if (unit == 0) return base::Window(bytes, 0, length);
    }
    return base::Window(bytes, 0, reader.Position());
}

std::u16string NameOf(base::Bytes bytes) {
    std::array<char16_t, kMaxNameUnits> name;
    std::size_t units = 0;
    base::ByteReader reader(bytes);
    std::uint16_t unit = 0;
    while (units < name.size() && reader.Le(unit) && unit != 0) name[units++] = unit;
    return {name.data(), units};
}

}  // namespace tarn::smb
