#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <iterator>

#include "shape/source_rules.h"

namespace tarn::shape {
namespace {

namespace fs = std::filesystem;

using testing::IsEmpty;

// This test's own cases hold breaches on purpose.
constexpr std::string_view kCasesOfTheRules = "tests/shape/source_rules_test.cpp";

std::string ReadWhole(const fs::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

bool IsSource(const fs::path& path) {
    return path.extension() == ".h" || path.extension() == ".cpp" || path.extension() == ".c";
}

std::vector<SourceFile> FilesUnder(std::initializer_list<const char*> folders) {
    const fs::path root = TARN_SOURCE_FOLDER;
    std::vector<SourceFile> files;
    for (const char* folder : folders)
        for (const auto& entry : fs::recursive_directory_iterator(root / folder))
            if (const std::string path = entry.path().lexically_relative(root).generic_string();
                IsSource(entry.path()) && path != kCasesOfTheRules)
                files.push_back({path, ReadWhole(entry.path())});
    std::sort(files.begin(), files.end(), [](const auto& left, const auto& right) { return left.path < right.path; });
    return files;
}

const std::vector<SourceFile>& AllFiles() {
    static const std::vector<SourceFile> kFiles =
        FilesUnder({"include", "src", "companions", "host", "tests", "bench", "fuzz", "examples"});
    return kFiles;
}

template <class Rule>
Complaints CheckAll(Rule&& rule) {
    Complaints all;
    for (const SourceFile& file : AllFiles()) {
        const Complaints some = rule(file);
        all.insert(all.end(), some.begin(), some.end());
    }
    return all;
}

TEST(Sources, AreFound) {
    EXPECT_GT(AllFiles().size(), 10U);
}

TEST(Sources, NoFileIncludesFromALayerAbove) {
    EXPECT_THAT(CheckAll(CheckLayers), IsEmpty());
}

TEST(Sources, SystemHeadersStandInFilesNamedForThem) {
    EXPECT_THAT(CheckAll(CheckSystemHeaders), IsEmpty());
}

TEST(Sources, TheParserOfTheCommandLineIsIncludedWhereItIsUsed) {
    EXPECT_THAT(CheckAll(CheckParserHeaders), IsEmpty());
}

TEST(Sources, NoHeaderIsIncludedByItsPlaceOnOneMachine) {
    EXPECT_THAT(CheckAll(CheckAbsoluteIncludes), IsEmpty());
}

TEST(Sources, GuardsSayFolderAndFile) {
    EXPECT_THAT(CheckAll(CheckGuard), IsEmpty());
    EXPECT_THAT(CheckGuardsDiffer(AllFiles()), IsEmpty());
}

TEST(Sources, AFileIsOneIdea) {
    EXPECT_THAT(CheckAll(CheckLength), IsEmpty());
}

TEST(Sources, OnlyTheParentalTablesAreReadWithoutTheirLock) {
    EXPECT_THAT(CheckAll(CheckUnlocked), IsEmpty());
}

TEST(Sources, TheLibraryHasNoThreadLocal) {
    EXPECT_THAT(CheckAll(CheckThreadLocal), IsEmpty());
}

TEST(Sources, UntrustedBytesAreReadThroughTheByteReader) {
    EXPECT_THAT(CheckAll(CheckByteIndexing), IsEmpty());
}

TEST(Sources, EveryQuirkNamesATestThatExists) {
    const std::vector<SourceFile> tests = FilesUnder({"tests"});
    EXPECT_THAT(CheckAll([&](const SourceFile& file) {
                    return file.path.starts_with("tests/shape/") ? Complaints{} : CheckQuirks(file, tests);
                }),
                IsEmpty());
}

TEST(Sources, EveryFolderSaysWhatItDecides) {
    const fs::path root = TARN_SOURCE_FOLDER;
    std::vector<fs::path> folders;
    for (const auto& entry : fs::directory_iterator(root / "src"))
        if (entry.is_directory()) folders.push_back(entry.path());
    ASSERT_GE(folders.size(), 7U);
    for (const char* folder : {"companions", "host", "tests", "bench", "fuzz", "examples"})
        folders.push_back(root / folder);
    for (const fs::path& folder : folders) EXPECT_FALSE(ReadWhole(folder / "README.md").empty()) << folder;
}

}  // namespace
}  // namespace tarn::shape
