// Files of an install folder whose path is so long that theirs do not fit: they count as missing, and start-up goes on.
#include <algorithm>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <utility>
#include <vector>
#include <windows.h>

#include "system/import_patch_win32.h"
#include "system/site_records_win32.h"

namespace tarn::system_test {
namespace {

std::vector<std::wstring> iniSections;  // that the library asked for

UINT WINAPI IniInteger(const wchar_t* section, const wchar_t* key, INT preset, const wchar_t* file) {
    iniSections.emplace_back(section);
    return GetPrivateProfileIntW(section, key, preset, file);
}
DWORD WINAPI IniText(const wchar_t* section, const wchar_t* key, const wchar_t* preset, wchar_t* text, DWORD size,
                     const wchar_t* file) {
    iniSections.emplace_back(section);
    return GetPrivateProfileStringW(section, key, preset, text, size, file);
}

class LongInstallPath : public SiteRecords {
 protected:
    // A folder whose name is length characters long, its last backslash included.
    static std::u16string FolderOf(std::size_t length) { return u"C:\\" + std::u16string(length - 4, u'p') + u"\\"; }
    bool Asked(const std::wstring& section) { return std::ranges::find(iniSections, section) != iniSections.end(); }
    bool StartAndListen(const std::function<void(std::string_view)>& listen) {
        iniSections.clear();
        answers.listenerContext = const_cast<std::function<void(std::string_view)>*>(&listen);
        answers.listener = [](void* context, const char* line) {
            (*static_cast<const std::function<void(std::string_view)>*>(context))(line);
        };
        const bool started = Init(TARN_START_RESTART);
        answers.listener = nullptr;
        SetInstallPath(folder.u16string() + u"\\");
        return started;
    }

    const ImportPatch integers{Library(), "GetPrivateProfileIntW", IniInteger};
    const ImportPatch texts{Library(), "GetPrivateProfileStringW", IniText};
};

TEST_F(LongInstallPath, SocialSettingsArePassedOverWhereTheirPathIsTooLong) {
    ASSERT_TRUE(integers.IsInPlace() && texts.IsInPlace());
    for (const std::size_t length : {246U, 247U}) {
        SCOPED_TRACE(length);
        ASSERT_TRUE(StartAndListen([&](std::string_view line) {
            if (line == "WSInitUrlsig") SetInstallPath(FolderOf(length));
            if (line == "ReadBPUserWhiteList") SetInstallPath(folder.u16string() + u"\\");
        }));
        EXPECT_EQ(Asked(L"FACEBOOK"), length == 246) << "socialset.ini makes it 259 or 260 characters";
        EXPECT_TRUE(Asked(L"WEB_SECURITY"));
    }
}

// The exclusion list is the first that start-up asks the install folder for.
std::wstring firstPath;
LSTATUS WINAPI FirstPathIsLong(HKEY key, const wchar_t* name, DWORD* reserved, DWORD* type, BYTE* data, DWORD* size) {
    const LSTATUS status = RegQueryValueExW(key, name, reserved, type, data, size);
    if (firstPath.empty() || status != ERROR_SUCCESS || std::wcscmp(name, L"Path") != 0) return status;
    const std::wstring path = std::exchange(firstPath, L"");
    std::memcpy(data, path.c_str(), (path.size() + 1) * sizeof(wchar_t));
    *size = static_cast<DWORD>((path.size() + 1) * sizeof(wchar_t));
    return status;
}

TEST_F(LongInstallPath, TheExclusionListIsEmptyWhereItsPathIsTooLong) {
    ASSERT_TRUE(integers.IsInPlace() && texts.IsInPlace());
    const ImportPatch registry(Library(), "RegQueryValueExW", FirstPathIsLong);
    ASSERT_TRUE(registry.IsInPlace());
    for (const std::size_t length : {247U, 248U}) {
        SCOPED_TRACE(length);
        const std::u16string path = FolderOf(length);
        firstPath.assign(path.begin(), path.end());
        ASSERT_TRUE(StartAndListen([](std::string_view) {}));
        EXPECT_TRUE(firstPath.empty()) << "somebody asked";
        EXPECT_EQ(Asked(L"BROWSER_EXCLUSION_LIST"), length == 247) << "browskip.ini makes it 259 or 260 characters";
    }
}

}  // namespace
}  // namespace tarn::system_test
