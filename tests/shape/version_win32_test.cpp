// What Windows shows of tarn.dll, the companions and tarnhost: version, description, owner; and tarnhost's manifest.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <vector>
#include <windows.h>

#include "tarn/companion_modules.h"

namespace tarn::shape {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;

std::vector<std::string> Programs() {
#define TARN_ROW(module, file, functions) file,
    return {"tarn.dll", "tarnhost.exe", TARN_COMPANION_FILES(TARN_ROW)};
#undef TARN_ROW
}

std::string PathOf(const std::string& file) {
    return std::string("Z:") + TARN_PRODUCT_FOLDER + "/" + file;
}

// The version resource of a file, as the system reads it.
class Version {
 public:
    explicit Version(const std::string& path) : block_(GetFileVersionInfoSizeA(path.c_str(), nullptr)) {
        if (block_.empty()) return;
        if (!GetFileVersionInfoA(path.c_str(), 0, static_cast<DWORD>(block_.size()), block_.data())) block_.clear();
    }

    std::string Text(const std::string& name) const {
        UINT length = 0;
        const std::string block = "\\StringFileInfo\\040904B0\\" + name;
        void* found = nullptr;
        if (block_.empty() || !VerQueryValueA(block_.data(), block.c_str(), &found, &length)) return "";
        return static_cast<const char*>(found);
    }

    VS_FIXEDFILEINFO Numbers() const {
        void* found = nullptr;
        UINT length = 0;
        if (block_.empty() || !VerQueryValueA(block_.data(), "\\", &found, &length)) return {};
        return *static_cast<const VS_FIXEDFILEINFO*>(found);
    }

 private:
    std::vector<char> block_;
};

std::string Dotted(DWORD high, DWORD low) {
    return std::to_string(HIWORD(high)) + "." + std::to_string(LOWORD(high)) + "." + std::to_string(HIWORD(low));
}

TEST(Versions, OfEveryProgramAreThatOfTheProject) {
    EXPECT_THAT(Programs(), SizeIs(11));
    for (const std::string& file : Programs()) {
        const Version version(PathOf(file));
        const VS_FIXEDFILEINFO numbers = version.Numbers();
        EXPECT_EQ(numbers.dwSignature, static_cast<DWORD>(VS_FFI_SIGNATURE)) << file;
        EXPECT_EQ(Dotted(numbers.dwFileVersionMS, numbers.dwFileVersionLS), TARN_VERSION) << file;
        EXPECT_EQ(Dotted(numbers.dwProductVersionMS, numbers.dwProductVersionLS), TARN_VERSION) << file;
        EXPECT_EQ(numbers.dwFileType, static_cast<DWORD>(file.ends_with(".exe") ? VFT_APP : VFT_DLL)) << file;
        EXPECT_EQ(version.Text("FileVersion"), TARN_VERSION) << file;
        EXPECT_EQ(version.Text("ProductVersion"), TARN_VERSION) << file;
    }
}

TEST(Versions, SayWhatTheFileIsAndWhose) {
    for (const std::string& file : Programs()) {
        const Version version(PathOf(file));
        EXPECT_EQ(version.Text("ProductName"), "tarn") << file;
        EXPECT_EQ(version.Text("CompanyName"), "tarn") << file;
        EXPECT_EQ(version.Text("OriginalFilename"), file);
        EXPECT_EQ(version.Text("InternalName") + file.substr(file.rfind('.')), file);
        EXPECT_THAT(version.Text("LegalCopyright"), HasSubstr("The tarn authors")) << file;
        EXPECT_THAT(version.Text("LegalCopyright"), HasSubstr("Apache-2.0")) << file;
        EXPECT_THAT(version.Text("FileDescription"), StartsWith("tarn ")) << file;
        EXPECT_THAT(version.Text("FileDescription"), testing::Not(EndsWith(" "))) << file;
    }
}

TEST(Manifest, OfTheHostAsksForNoRightsAndForTheWholeOfUnicode) {
    const HMODULE host = LoadLibraryExA(PathOf("tarnhost.exe").c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE);
    ASSERT_NE(host, nullptr);
    const HRSRC resource = FindResourceA(host, MAKEINTRESOURCEA(1), MAKEINTRESOURCEA(24));
    ASSERT_NE(resource, nullptr);
    const std::string manifest(static_cast<const char*>(LockResource(LoadResource(host, resource))),
                               SizeofResource(host, resource));
    FreeLibrary(host);
    EXPECT_THAT(manifest, HasSubstr(R"(level="asInvoker")"));
    EXPECT_THAT(manifest, HasSubstr(">UTF-8</activeCodePage>"));
    EXPECT_THAT(manifest, HasSubstr(">true</longPathAware>"));
    EXPECT_THAT(manifest, HasSubstr("{8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a}"));
    EXPECT_THAT(manifest, HasSubstr(std::string("version=\"") + TARN_VERSION + ".0\""));
}

}  // namespace
}  // namespace tarn::shape
