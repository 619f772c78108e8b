#include "api/ini_settings.h"

#include <array>
#include <cstddef>
#include <string_view>

#include "base/bounded_text.h"

namespace tarn::api {
namespace {

constexpr std::size_t kNamesCapacity = 2048;  // units of the exclusion list's text, the NUL included

bool InstalledFile(Platform& platform, std::u16string_view name, base::PathBuffer& file) {
    base::PathBuffer folder;
    return platform.Modules().InstallFolder(folder) &&
           base::Succeeded(base::FormatText(file, {base::FieldText(folder), name}));
}

}  // namespace

bool ReadDnsBlockSwitch(Platform& platform, std::uint32_t& dnsBlockSwitch) {
    base::PathBuffer file;
    if (!InstalledFile(platform, u"dnsblock.ini", file)) return false;
    dnsBlockSwitch = platform.ReadIniInteger(file, u"WEB_SECURITY", u"BLOCK_URL_IN_DNS", 0);
    return true;
}

url::BrowserExclusions ReadBrowserExclusions(Platform& platform) {
    constexpr const char16_t* kSection = u"BROWSER_EXCLUSION_LIST";
    base::PathBuffer file;
    if (!InstalledFile(platform, u"browskip.ini", file)) return {};
    const std::uint32_t count = platform.ReadIniInteger(file, kSection, u"COUNT", 0);
    if (count == 0) return {};
    std::array<char16_t, kNamesCapacity> names{};
    platform.ReadIniText(file, kSection, u"NAMES", names);
    return url::ParseBrowserExclusions(base::FieldText(names), count);
}

}  // namespace tarn::api
