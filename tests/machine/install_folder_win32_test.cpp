// The install folder as processes in folders of their own find it.
#include "machine/install_folder_win32.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <windows.h>

#include "machine/facts_program_win32.h"

namespace tarn::machine {
namespace {

using testing::ElementsAre;
using namespace std::string_view_literals;

using InstallFolder = FactsProgram;

std::string SwappedCase(std::string text) {
    for (char& c : text)
        if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z')) c = static_cast<char>(c ^ 0x20);
    return text;
}

TEST_F(InstallFolder, HostFolderIsTheProgramsOwn) {
    EXPECT_THAT(Run({"host"}), ElementsAre("host " + FolderText()));
}

TEST_F(InstallFolder, CaseOnlyDifferenceGivesTheHostFoldersCase) {
    SetInstallPath(SwappedCase(FolderText()));
    EXPECT_THAT(Run({"install", "file", "x.ini"}),
                ElementsAre("install " + FolderText(), "file " + FolderText() + "x.ini"));
    SetInstallPath(FolderText());
    EXPECT_THAT(Run({"install"}), ElementsAre("install " + FolderText()));
}

TEST_F(InstallFolder, ARegisteredFolderElsewhereCounts) {
    SetInstallPath("Q:\\Suite of Ours\\");
    EXPECT_THAT(Run({"install", "file", "setrd.dll"}),
                ElementsAre("install Q:\\Suite of Ours\\", "file Q:\\Suite of Ours\\setrd.dll"));
    SetInstallPath(folder.string());
    EXPECT_THAT(Run({"install"}), ElementsAre("install " + folder.string())) << "without its backslash it differs";
    SetInstallPath("");
    EXPECT_THAT(Run({"install"}), ElementsAre("install "));
}

TEST_F(InstallFolder, WithoutKeyOrValueItFails) {
    EXPECT_THAT(Run({"install", "file", "x"}), ElementsAre("install none", "file none"));
    MakeAppPathKey("CoreScan.exe");
    EXPECT_THAT(Run({"install", "file", "x"}), ElementsAre("install none", "file none"));
}

TEST_F(InstallFolder, LengthsOfTheValue) {
    const std::string longest = "Q:\\" + std::string(255, 'd') + "\\";
    ASSERT_EQ(longest.size(), 259U);
    SetInstallPath(longest);
    EXPECT_THAT(Run({"install", "file", ""}), ElementsAre("install " + longest, "file " + longest));
    EXPECT_THAT(Run({"file", "x"}), ElementsAre("file none"));
    SetInstallPath(longest + "e");
    EXPECT_THAT(Run({"install"}), ElementsAre("install none")) << "521 bytes and more do not fit";

    // No NUL behind the bytes either: the system would store it with them.
    const std::wstring unterminated = std::wstring(259, L'u') + L"vv";
    SetAppPathBytes("CoreScan.exe", unterminated.data(), 520);
    EXPECT_THAT(Run({"install"}), ElementsAre("install " + std::string(259, 'u'))) << "ended at its 260th unit";
    SetAppPathBytes("CoreScan.exe", L"Q:\\short\\behind", 9 * sizeof(wchar_t));
    EXPECT_THAT(Run({"install"}), ElementsAre("install Q:\\short\\")) << "nothing behind an unterminated value";
}

TEST_F(InstallFolder, TheLongFormCountsForAProgramStartedByItsShortPath) {
    const std::filesystem::path longFolder = folder / "a long name with blanks";
    std::filesystem::create_directories(longFolder);
    CopyProgram(longFolder / "facts.exe");
    wchar_t shortPath[MAX_PATH];
    const DWORD length = GetShortPathNameW(longFolder.c_str(), shortPath, MAX_PATH);
    ASSERT_TRUE(length != 0 && length < MAX_PATH);
    const std::filesystem::path shortFolder(shortPath);
    const std::string shortText = shortFolder.string() + "\\";
    const std::string longText = longFolder.string() + "\\";
    ASSERT_NE(shortText, longText) << "the tests need a file system with short names";

    SetInstallPath(SwappedCase(longText));
    const auto lines = RunAs(shortFolder / "facts.exe", {"host", "install"});
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_EQ(lines[1], "install " + longText) << "started as " << lines[0];
}

// The longest path that the system starts a program from; a longer one cannot be had.
TEST_F(InstallFolder, AProgramPathOf259UnitsFits) {
    const std::string program = "facts.exe";
    std::string deep = "\\\\?\\" + folder.string();
    while (deep.size() - 4 + 1 + program.size() < 259) {
        const std::size_t rest = 259 - (deep.size() - 4) - 1 - program.size() - 1;
        deep += "\\" + std::string(rest > 100 ? 50 : rest, 'd');
        ASSERT_TRUE(CreateDirectoryA(deep.c_str(), nullptr)) << deep;
    }
    const std::filesystem::path path(deep + "\\" + program);
    CopyProgram(path);
    const auto lines = RunAs(std::filesystem::path(path.string().substr(4)), {"host"});
    EXPECT_THAT(lines, ElementsAre("host " + deep.substr(4) + "\\"));
    ASSERT_TRUE(DeleteFileW(path.c_str()));
    for (; deep.size() - 4 > folder.string().size(); deep.resize(deep.rfind('\\')))
        EXPECT_TRUE(RemoveDirectoryA(deep.c_str())) << deep;
}

std::string Printable(std::u16string_view text) {
    std::string printable;
    for (const char16_t unit : text)
        printable += unit >= 0x20 && unit < 0x7F ? std::string(1, static_cast<char>(unit))
                                                 : "<" + std::to_string(static_cast<unsigned>(unit)) + ">";
    return printable;
}

bool EqualForTheSystem(std::u16string_view a, std::u16string_view b) {
    const auto wide = [](std::u16string_view text) { return reinterpret_cast<const wchar_t*>(text.data()); };
    return CompareStringOrdinal(wide(a), static_cast<int>(a.size()), wide(b), static_cast<int>(b.size()), TRUE) ==
           CSTR_EQUAL;
}

TEST(EqualPaths, IgnoresTheCaseOfSingleLettersOnly) {
    struct {
        std::u16string_view a, b;
        bool equal;
    } const rows[] = {
        {u"C:\\Suite\\", u"c:\\sUITE\\", true},
        {u"C:\\Suite\\", u"C:\\Suite", false},
        {u"", u"", true},
        {u"C:\\H\u00E4user", u"C:\\H\u00C4USER", true},
        {u"\u0436\u03B1", u"\u0416\u0391", true},
        {u"Stra\u00DFe", u"STRASSE", false},  // one letter is not two
        {u"\u00E4", u"a\u0308", false},       // nor is it its parts
        {u"a\u00ADb", u"ab", false},          // nor does a soft hyphen vanish
        {u"file", u"F\u0130LE", false},       // a Turkish I is a letter of its own
        {u"a\0b"sv, u"a\0c"sv, false},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(EqualPaths(row.a, row.b), row.equal) << Printable(row.a) << " and " << Printable(row.b);
        EXPECT_EQ(EqualForTheSystem(row.a, row.b), row.equal) << Printable(row.a) << " and " << Printable(row.b);
    }
}

TEST(EqualPaths, AgreesWithTheSystemOnEveryUnit) {
    int differences = 0;
    int equalOnes = 0;
    for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
        const auto text = static_cast<char16_t>(unit);
        wchar_t upper = static_cast<wchar_t>(unit);
        wchar_t lower = static_cast<wchar_t>(unit);
        CharUpperBuffW(&upper, 1);
        CharLowerBuffW(&lower, 1);
        for (const char16_t other : {static_cast<char16_t>(upper), static_cast<char16_t>(lower), u'I', u's',
                                     static_cast<char16_t>(unit ^ 0x20U), static_cast<char16_t>(unit + 1)}) {
            const bool isEqual = EqualPaths({&text, 1}, {&other, 1});
            if (isEqual && text != other) ++equalOnes;
            if (isEqual != EqualForTheSystem({&text, 1}, {&other, 1})) ++differences;
        }
    }
    EXPECT_EQ(differences, 0);
    EXPECT_GT(equalOnes, 1000) << "the letters of all scripts";
}

}  // namespace
}  // namespace tarn::machine
