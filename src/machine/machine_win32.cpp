#include "machine/machine_win32.h"

#include "machine/win32_owners.h"

namespace tarn::machine {

std::uint32_t WindowsMachine::ReadIniInteger(const base::PathBuffer& file, const char16_t* section, const char16_t* key,
                                             std::uint32_t defaultValue) {
    return GetPrivateProfileIntW(Wide(section), Wide(key), static_cast<INT>(defaultValue), Wide(file.data()));
}

std::size_t WindowsMachine::ReadIniText(const base::PathBuffer& file, const char16_t* section, const char16_t* key,
                                        std::span<char16_t> text) {
    return GetPrivateProfileStringW(Wide(section), Wide(key), L"", Wide(text.data()), static_cast<DWORD>(text.size()),
                                    Wide(file.data()));
}

}  // namespace tarn::machine
