#include "machine/install_folder.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace tarn::machine {
namespace {

bool EqualIgnoringCase(std::u16string_view a, std::u16string_view b) {
    const auto lower = [](char16_t c) { return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + 32) : c; };
    return std::ranges::equal(a, b, {}, lower, lower);
}

std::optional<std::u16string_view> Choose(std::u16string_view host, std::u16string_view registered,
                                          std::optional<std::u16string_view> longForm) {
    return ChooseInstallFolder(host, registered, longForm, &EqualIgnoringCase);
}

TEST(FolderOf, EndsWithTheLastBackslash) {
    EXPECT_EQ(FolderOf(u"C:\\Suite\\host.exe"), u"C:\\Suite\\");
    EXPECT_EQ(FolderOf(u"C:\\Suite\\"), u"C:\\Suite\\");
    EXPECT_EQ(FolderOf(u"C:\\host.exe"), u"C:\\");
    EXPECT_EQ(FolderOf(u"\\"), u"\\");
    EXPECT_EQ(FolderOf(u"host.exe"), u"");
    EXPECT_EQ(FolderOf(u"C:/Suite/host.exe"), u"") << "a slash ends no folder";
    EXPECT_EQ(FolderOf(u""), u"");
}

TEST(ChooseInstallFolder, CaseOnlyDifferenceGivesTheHostFolder) {
    EXPECT_EQ(Choose(u"C:\\Suite\\", u"c:\\SUITE\\", u"C:\\sUITE\\"), u"C:\\Suite\\");
    EXPECT_EQ(Choose(u"C:\\Suite\\", u"C:\\Suite\\", std::nullopt), u"C:\\Suite\\")
        << "the long form is not needed then";
}

TEST(ChooseInstallFolder, TheLongFormCountsWhenItIsTheRegisteredOne) {
    EXPECT_EQ(Choose(u"C:\\PROGRA~1\\", u"c:\\program files\\", u"C:\\Program Files\\"), u"C:\\Program Files\\");
}

TEST(ChooseInstallFolder, OtherwiseTheRegisteredOneCounts) {
    EXPECT_EQ(Choose(u"C:\\Host\\", u"D:\\Suite\\", u"C:\\Host\\"), u"D:\\Suite\\");
    EXPECT_EQ(Choose(u"C:\\Suite\\", u"C:\\Suite", u"C:\\Suite\\"), u"C:\\Suite") << "a backslash is a difference";
    EXPECT_EQ(Choose(u"C:\\Host\\", u"", u"C:\\Host\\"), u"");
}

TEST(ChooseInstallFolder, WithoutTheLongFormADifferenceFails) {
    EXPECT_EQ(Choose(u"C:\\Host\\", u"D:\\Suite\\", std::nullopt), std::nullopt);
}

}  // namespace
}  // namespace tarn::machine
