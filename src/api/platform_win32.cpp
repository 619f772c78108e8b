#include "api/platform_win32.h"

#include "base/win32_owners.h"

namespace tarn::api {

std::uint32_t WindowsPlatform::ReadIniInteger(const base::PathBuffer& file, const char16_t* section,
                                              const char16_t* key, std::uint32_t defaultValue) {
    return GetPrivateProfileIntW(base::Wide(section), base::Wide(key), static_cast<INT>(defaultValue),
                                 base::Wide(file.data()));
}

std::size_t WindowsPlatform::ReadIniText(const base::PathBuffer& file, const char16_t* section, const char16_t* key,
                                         std::span<char16_t> text) {
    return GetPrivateProfileStringW(base::Wide(section), base::Wide(key), L"", base::Wide(text.data()),
                                    static_cast<DWORD>(text.size()), base::Wide(file.data()));
}

}  // namespace tarn::api
