#include "smb/wire_text.h"

#include <algorithm>

namespace tarn::smb {
namespace {

constexpr std::size_t kUnit = sizeof(char16_t);

// The caller has made sure that the unit lies inside bytes.
char16_t UnitAt(base::Bytes bytes, std::size_t index) {
    return static_cast<char16_t>(bytes[index * kUnit] | bytes[index * kUnit + 1] << 8);
}

std::size_t UnitsBeforeNul(base::Bytes bytes, std::size_t limit) {
    const std::size_t most = std::min(bytes.size() / kUnit, limit);
    std::size_t units = 0;
    while (units < most && UnitAt(bytes, units) != 0) ++units;
    return units;
}

}  // namespace

std::optional<base::Bytes> TextUpToNul(base::Bytes bytes, std::size_t limit) {
    const std::size_t units = UnitsBeforeNul(bytes, limit);
    const bool endsInside = units == limit || units < bytes.size() / kUnit;
    if (!endsInside) return std::nullopt;
    return bytes.first(units * kUnit);
}

std::u16string NameOf(base::Bytes bytes) {
    std::u16string name(UnitsBeforeNul(bytes, kMaxNameUnits), u'\0');
    for (std::size_t i = 0; i < name.size(); ++i) name[i] = UnitAt(bytes, i);
    return name;
}

}  // namespace tarn::smb
