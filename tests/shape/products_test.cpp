// What tarn.dll and the companions, as built, import and export, and how they are hardened.
#include <algorithm>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tarn/companion_modules.h"

#include "shape/pe_image.h"

namespace tarn::shape {
namespace {

using testing::ContainerEq;
using testing::Gt;
using testing::SizeIs;
using testing::UnorderedElementsAreArray;

struct Companion {
    std::string file;
    std::vector<std::string> functions;
};

std::vector<Companion> ListedCompanions() {
#define TARN_NAME(function, type) #function,
#define TARN_ROW(module, file, functions) {file, {functions(TARN_NAME)}},
    return {TARN_COMPANION_FILES(TARN_ROW)};
#undef TARN_ROW
#undef TARN_NAME
}

std::string InProductFolder(const std::string& file) {
    return std::string(TARN_PRODUCT_FOLDER) + "/" + file;
}

PeImage ImageOf(const std::string& file) {
    const auto image = ParsePeImage(ReadFileBytes(InProductFolder(file)));
    EXPECT_TRUE(image.has_value()) << file;
    return image.value_or(PeImage{});
}

// "module function" of each line that is no remark; a remark may stand behind two blanks.
std::vector<std::string> ReviewedImports(const std::string& list) {
    std::ifstream stream(std::string(TARN_SHAPE_FOLDER) + "/" + list);
    std::vector<std::string> imports;
    for (std::string line; std::getline(stream, line);) {
        line.resize(std::min(line.size(), line.find("  #")));
        if (!line.empty() && line.front() != '#') imports.push_back(line);
    }
    EXPECT_TRUE(std::is_sorted(imports.begin(), imports.end())) << list;
    return imports;
}

// Both ways, so that the list says neither less nor more than the files.
void ExpectReviewed(const std::set<std::string>& imports, const std::string& list) {
    EXPECT_THAT(imports, SizeIs(Gt(0U)));
    const std::vector<std::string> lines = ReviewedImports(list);
    const std::set<std::string> reviewed(lines.begin(), lines.end());
    EXPECT_EQ(reviewed.size(), lines.size()) << "a line of " << list << " stands twice";
    for (const std::string& import : imports)
        EXPECT_TRUE(reviewed.contains(import)) << import << " is imported and not in " << list;
    for (const std::string& import : reviewed)
        EXPECT_TRUE(imports.contains(import)) << import << " is in " << list << " and not imported";
}

TEST(ProductImports, OfTheLibraryAreTheReviewedOnes) {
    const std::vector<std::string> imports = ImageOf("tarn.dll").imports;
    ExpectReviewed({imports.begin(), imports.end()}, "tarn_imports.txt");
}

TEST(ProductImports, OfTheCompanionsAreTheReviewedOnes) {
    std::set<std::string> imports;
    for (const Companion& companion : ListedCompanions())
        for (const std::string& import : ImageOf(companion.file).imports) imports.insert(import);
    ExpectReviewed(imports, "companion_imports.txt");
}

TEST(CompanionList, IsTheSameForCMakeAndForCompilers) {
    std::vector<std::string> files;
    for (const Companion& companion : ListedCompanions()) files.push_back(companion.file);
    std::vector<std::string> built;
    const std::string_view list = TARN_COMPANION_FILES_OF_THE_BUILD;
    for (std::size_t begin = 0; begin <= list.size();) {
        const std::size_t end = std::min(list.find('|', begin), list.size());
        built.emplace_back(list.substr(begin, end - begin));
        begin = end + 1;
    }
    EXPECT_THAT(built, ContainerEq(files));
}

TEST(CompanionList, SaysWhatTheCompanionsExport) {
    for (Companion& companion : ListedCompanions()) {
        // The reference modules share the policy that one of them has read.
        if (companion.file == "setrd.dll") companion.functions.emplace_back("ShareReferencePolicy");
        EXPECT_THAT(ImageOf(companion.file).exportedNames, UnorderedElementsAreArray(companion.functions))
            << companion.file;
    }
}

struct Product : testing::TestWithParam<std::string> {};

std::vector<std::string> ProductFiles() {
    std::vector<std::string> files = {"tarn.dll"};
    for (const Companion& companion : ListedCompanions()) files.push_back(companion.file);
    return files;
}

TEST_P(Product, IsAHardened64BitDll) {
    const PeImage image = ImageOf(GetParam());
    EXPECT_EQ(image.machine, kMachineAmd64);
    EXPECT_TRUE(image.characteristics & kIsDll);
    EXPECT_TRUE(image.dllCharacteristics & kDynamicBase);
    EXPECT_TRUE(image.dllCharacteristics & kNxCompatible);
    EXPECT_TRUE(image.dllCharacteristics & kHighEntropyVa);
    EXPECT_FALSE(image.hasWritableCode);
    EXPECT_FALSE(image.delaysImports);
    EXPECT_EQ(image.timeStamp, 0U);
}

// The linker takes what ends the process into the file only where compiled code calls it.
TEST_P(Product, ChecksItselfAtRunTime) {
    const std::vector<std::uint8_t> file = ReadFileBytes(InProductFolder(GetParam()));
    const std::string_view text(reinterpret_cast<const char*>(file.data()), file.size());
    const auto names = [&](std::string_view name) { return text.find(name) != std::string_view::npos; };
    ASSERT_TRUE(names("WSScanUrl") || names("policy")) << "unreadable";
    EXPECT_EQ(names("__stack_chk_fail"), TARN_GUARDS_STACKS != 0);
    EXPECT_EQ(names("__glibcxx_assert_fail"), TARN_HAS_ASSERTIONS != 0);
}

INSTANTIATE_TEST_SUITE_P(All, Product, testing::ValuesIn(ProductFiles()),
                         [](const auto& row) { return row.param.substr(0, row.param.find('.')); });

}  // namespace
}  // namespace tarn::shape
