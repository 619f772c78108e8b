#include "shape/pe_image.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string_view>

namespace tarn::shape {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t kSectionAddress = 0x1000;
constexpr std::uint32_t kSectionOffset = 0x200;

void Put(std::vector<std::uint8_t>& bytes, std::size_t at, std::uint64_t value, std::size_t size) {
    if (bytes.size() < at + size) bytes.resize(at + size);
    for (std::size_t i = 0; i < size; ++i) bytes[at + i] = static_cast<std::uint8_t>(value >> (8 * i));
}

void PutText(std::vector<std::uint8_t>& bytes, std::size_t at, std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) Put(bytes, at + i, static_cast<std::uint8_t>(text[i]), 1);
    Put(bytes, at + text.size(), 0, 1);
}

// Two exports, three addresses, two imported modules, a version resource: all in one section that ends the file.
std::vector<std::uint8_t> SmallImage() {
    std::vector<std::uint8_t> file;
    Put(file, 0, 0x5A4D, 2);
    Put(file, 60, 0x80, 4);
    Put(file, 0x80, 0x4550, 4);
    Put(file, 0x84, kMachineAmd64, 2);
    Put(file, 0x86, 1, 2);     // sections
    Put(file, 0x88, 77, 4);    // time stamp
    Put(file, 0x94, 0xF0, 2);  // bytes of the optional header
    Put(file, 0x96, kIsDll, 2);
    const std::size_t optional = 0x98;
    Put(file, optional, 0x20B, 2);
    Put(file, optional + 70, kDynamicBase | kNxCompatible, 2);
    Put(file, optional + 108, 16, 4);
    Put(file, optional + 112, kSectionAddress, 4);               // exports
    Put(file, optional + 112 + 8, kSectionAddress + 0x80, 4);    // imports
    Put(file, optional + 112 + 16, kSectionAddress + 0x100, 4);  // resources
    const std::size_t section = optional + 0xF0;
    Put(file, section + 12, kSectionAddress, 4);
    Put(file, section + 16, 0x180, 4);
    Put(file, section + 20, kSectionOffset, 4);

    const std::size_t exports = kSectionOffset;
    Put(file, exports + 20, 3, 4);
    Put(file, exports + 24, 2, 4);
    Put(file, exports + 32, kSectionAddress + 0x30, 4);
    Put(file, exports + 0x30, kSectionAddress + 0x40, 4);
    Put(file, exports + 0x34, kSectionAddress + 0x50, 4);
    PutText(file, exports + 0x40, "WSFirst");
    PutText(file, exports + 0x50, "WSSecond");

    const std::size_t imports = kSectionOffset + 0x80;
    Put(file, imports + 0, kSectionAddress + 0x140, 4);
    Put(file, imports + 12, kSectionAddress + 0xC0, 4);
    Put(file, imports + 20 + 0, kSectionAddress + 0x150, 4);
    Put(file, imports + 20 + 12, kSectionAddress + 0xD0, 4);
    PutText(file, imports + 0x40, "KERNEL32.dll");
    PutText(file, imports + 0x50, "ws2_32.dll");

    const std::size_t resources = kSectionOffset + 0x100;
    Put(file, resources + 12, 1, 2);  // one type with a name of its own
    Put(file, resources + 14, 1, 2);
    Put(file, resources + 24, kVersionResource, 4);

    const std::size_t lookUps = kSectionOffset + 0x140;
    Put(file, lookUps, kSectionAddress + 0x160, 8);
    Put(file, lookUps + 0x10, 1ULL << 63 | 115, 8);
    PutText(file, lookUps + 0x22, "Sleep");
    Put(file, kSectionOffset + 0x17F, 0, 1);
    return file;
}

TEST(PeImage, ReadsAllThreeTables) {
    const std::vector<std::uint8_t> file = SmallImage();
    const auto image = ParsePeImage(file);
    ASSERT_TRUE(image.has_value());
    EXPECT_EQ(image->machine, kMachineAmd64);
    EXPECT_EQ(image->timeStamp, 77U);
    EXPECT_EQ(image->characteristics, kIsDll);
    EXPECT_EQ(image->dllCharacteristics, kDynamicBase | kNxCompatible);
    EXPECT_EQ(image->exportedAddresses, 3U);
    EXPECT_THAT(image->exportedNames, ElementsAre("WSFirst", "WSSecond"));
    EXPECT_THAT(image->importedModules, ElementsAre("kernel32.dll", "ws2_32.dll"));
    EXPECT_THAT(image->imports, ElementsAre("kernel32.dll Sleep", "ws2_32.dll #115"));
    EXPECT_FALSE(image->delaysImports);
    EXPECT_FALSE(image->hasWritableCode);
    EXPECT_THAT(image->resourceTypes, ElementsAre(kVersionResource));
}

TEST(PeImage, AnImageWithoutTablesIsOne) {
    std::vector<std::uint8_t> file = SmallImage();
    for (std::size_t directory = 0; directory < 3; ++directory) Put(file, 0x98 + 112 + 8 * directory, 0, 4);
    Put(file, 0x98 + 112 + std::size_t{8} * 13, kSectionAddress, 4);
    const auto image = ParsePeImage(file);
    ASSERT_TRUE(image.has_value());
    EXPECT_THAT(image->exportedNames, IsEmpty());
    EXPECT_THAT(image->importedModules, IsEmpty());
    EXPECT_TRUE(image->delaysImports);
    EXPECT_THAT(image->resourceTypes, IsEmpty());
}

TEST(PeImage, SeesWritableCode) {
    const auto hasWritableCode = [](std::uint32_t flags) {
        std::vector<std::uint8_t> file = SmallImage();
        Put(file, 0x98 + 0xF0 + 36, flags, 4);
        return ParsePeImage(file).value().hasWritableCode;
    };
    EXPECT_FALSE(hasWritableCode(0xC0000040)) << "data";
    EXPECT_FALSE(hasWritableCode(0x60000020)) << "code";
    EXPECT_TRUE(hasWritableCode(0xE0000020));
}

TEST(PeImage, RefusesOtherKinds) {
    for (const std::size_t at : {std::size_t{0}, std::size_t{0x80}, std::size_t{0x98}}) {
        std::vector<std::uint8_t> file = SmallImage();
        file[at] ^= 0xFFU;
        EXPECT_FALSE(ParsePeImage(file).has_value()) << "byte " << at;
    }
}

TEST(PeImage, RefusesEveryTruncation) {
    const std::vector<std::uint8_t> file = SmallImage();
    for (std::size_t size = 0; size < file.size(); ++size) {
        const auto block =
            std::make_unique<std::uint8_t[]>(size);  // of the exact size, so that a read behind it is seen
        std::copy_n(file.begin(), size, block.get());
        EXPECT_FALSE(ParsePeImage({block.get(), size}).has_value()) << size << " bytes";
    }
}

TEST(PeImage, StaysInsideWithAnyNumberWrong) {
    const std::vector<std::uint8_t> file = SmallImage();
    for (std::size_t at = 0; at + 4 <= file.size(); ++at) {
        for (const std::uint64_t value : {0xFFFFFFFFULL, 0x7FFFFFFFULL, 0x1000ULL, 0x117EULL, 0ULL}) {
            std::vector<std::uint8_t> broken = file;
            Put(broken, at, value, 4);
            const auto image = ParsePeImage(broken);
            // Whatever is read lies in the one section, whose 384 bytes hold at most 96 names.
            EXPECT_LE(image ? image->exportedNames.size() : 0U, 96U) << "offset " << at;
        }
    }
}

}  // namespace
}  // namespace tarn::shape
