#include "machine/os_version.h"

#include <gtest/gtest.h>
#include <map>
#include <string>
#include <tuple>
#include <vector>

namespace tarn::machine {
namespace {

constexpr std::uint16_t kX86 = 0;
constexpr std::uint16_t kArm = 5;
constexpr std::uint16_t kItanium = 6;
constexpr std::uint16_t kAlpha64 = 7;
constexpr std::uint16_t kX64 = 9;
constexpr std::uint16_t kX86OnItanium = 10;
constexpr std::uint16_t kArm64 = 12;  // not one of the four that count as 64-bit here

constexpr std::uint16_t kEnterprise = 0x2;
constexpr std::uint16_t kDataCentre = 0x80;
constexpr std::uint16_t kPersonal = 0x200;
constexpr std::uint16_t kBlade = 0x400;
constexpr std::uint16_t kNoneOfThem = 0xFFFF & ~(kEnterprise | kDataCentre | kPersonal | kBlade);

using Shorts = std::vector<std::uint16_t>;
const Shorts kAll64 = {kItanium, kAlpha64, kX64, kX86OnItanium};
const Shorts kAll32 = {kX86, kArm, 8, 11, kArm64, 0xFFFF};
const Shorts kAny = {kX86, kArm, kItanium, kAlpha64, kX64, kX86OnItanium, kArm64};
const Shorts kServers = {2, 3};
const Shorts kNotWorkstation = {0, 2, 3, 4, 255};
const Shorts kNeither = {0, 4, 255};
const Shorts kEveryType = {0, 1, 2, 3, 4, 255};
const Shorts kAnySuite = {0, kEnterprise, kDataCentre, kPersonal, kBlade, 0xFFFF};
const Shorts kNoSuite = {0, kNoneOfThem};

struct Row {
    std::uint32_t major;
    std::uint32_t minor;
    Shorts types;
    Shorts architectures;
    Shorts suites;
    std::uint32_t code;
    std::vector<std::uint32_t> builds = {0, 2600, 22000, 0xFFFFFFFF};
    int secondRelease = -1;  // -1 = whatever it is
};

SystemFacts FactsOf(std::uint32_t platform, std::uint32_t major, std::uint32_t minor) {
    SystemFacts facts;
    facts.versionKnown = true;
    facts.version.platform = platform;
    facts.version.major = major;
    facts.version.minor = minor;
    facts.exactly10 = major == 10 && minor == 0;
    facts.exactly63 = major == 6 && minor == 3;
    return facts;
}

void ExpectRow(const Row& row) {
    SystemFacts facts = FactsOf(2, row.major, row.minor);
    for (const std::uint16_t type : row.types)
        for (const std::uint16_t architecture : row.architectures)
            for (const std::uint16_t suite : row.suites)
                for (const std::uint32_t build : row.builds)
                    for (const bool secondRelease : {false, true}) {
                        if (row.secondRelease != -1 && (row.secondRelease == 1) != secondRelease) continue;
                        facts.version.productType = static_cast<std::uint8_t>(type);
                        facts.architecture = architecture;
                        facts.version.suiteMask = suite;
                        facts.version.build = build;
                        facts.secondRelease = secondRelease;
                        EXPECT_EQ(ClassifySystem(facts), row.code)
                            << row.major << "." << row.minor << "." << build << " type " << type << " architecture "
                            << architecture << " suite " << suite << " second release " << secondRelease;
                    }
}

TEST(ClassifySystem, Version10) {
    const Row rows[] = {{10, 0, {1}, kAll64, kAnySuite, 50042, {0, 10240, 21999}},
                        {10, 0, {1}, kAll64, kAnySuite, 50049, {22000, 26100, 0xFFFFFFFF}},
                        {10, 0, {1}, kAll32, kAnySuite, 50041, {0, 10240, 21999}},
                        {10, 0, {1}, kAll32, kAnySuite, 50048, {22000, 26100, 0xFFFFFFFF}},
                        {10, 0, kNotWorkstation, kAll64, kAnySuite, 50043, {0, 14393, 17622}},
                        {10, 0, kNotWorkstation, kAll64, kAnySuite, 50046, {17623, 17763, 20284}},
                        {10, 0, kNotWorkstation, kAll64, kAnySuite, 50047, {20285, 20348, 0xFFFFFFFF}},
                        {10, 0, kNotWorkstation, kAll32, kAnySuite, 0}};
    for (const Row& row : rows) ExpectRow(row);
}

TEST(ClassifySystem, Version63) {
    const Row rows[] = {{6, 3, {1}, kAll32, kAnySuite, 50038},
                        {6, 3, {1}, kAll64, kAnySuite, 50039},
                        {6, 3, kNotWorkstation, kAll64, kAnySuite, 50040},
                        {6, 3, kNotWorkstation, kAll32, kAnySuite, 0}};
    for (const Row& row : rows) ExpectRow(row);
}

TEST(ClassifySystem, Version6) {
    const Row rows[] = {{6, 2, {1}, kAll32, kAnySuite, 50034},
                        {6, 2, {1}, kAll64, kAnySuite, 50035},
                        {6, 2, kNotWorkstation, kAll32, kAnySuite, 50036},
                        {6, 2, kNotWorkstation, kAll64, kAnySuite, 50037},
                        {6, 1, {1}, kAll32, kAnySuite, 50032},
                        {6, 1, {1}, kAll64, kAnySuite, 50033},
                        {6, 1, kNotWorkstation, kAll32, kAnySuite, 50030},
                        {6, 1, kNotWorkstation, kAll64, kAnySuite, 50031},
                        {6, 0, {1}, kAll32, kAnySuite, 50001},
                        {6, 0, {1}, kAll64, kAnySuite, 50026},
                        {6, 0, kNotWorkstation, kAll32, kAnySuite, 50002},
                        {6, 0, kNotWorkstation, kAll64, kAnySuite, 50029},
                        {6, 4, kEveryType, kAny, kAnySuite, 0}};
    for (const Row& row : rows) ExpectRow(row);
}

TEST(ClassifySystem, Version52) {
    const Shorts both = {kEnterprise | kDataCentre, kDataCentre, 0xFFFF};
    const Shorts enterprise = {kEnterprise, kEnterprise | kBlade, kEnterprise | kPersonal};
    const Shorts blade = {kBlade, kBlade | kPersonal};
    const Shorts others = {0, kPersonal};
    const Shorts othersOrBlade = {0, kPersonal, kBlade};
    const Shorts rest = {kX86, kArm, kAlpha64, kX86OnItanium, kArm64};
    const std::vector<std::uint32_t> builds = {3790};
    const Row rows[] = {
        {5, 2, {1}, kAny, kAnySuite, 50012, builds, 1},
        {5, 2, {1}, {kX64}, kAnySuite, 50013, builds, 0},
        {5, 2, {1}, {kX86, kArm, kItanium, kAlpha64, kX86OnItanium, kArm64}, kAnySuite, 50014, builds, 0},
        {5, 2, kNeither, kAny, kAnySuite, 50012, builds, 1},
        {5, 2, kNeither, kAny, kAnySuite, 50014, builds, 0},
        {5, 2, kServers, {kItanium}, both, 50003, builds},
        {5, 2, kServers, {kItanium}, enterprise, 50004, builds},
        {5, 2, kServers, {kItanium}, othersOrBlade, 50012, builds, 1},
        {5, 2, kServers, {kItanium}, othersOrBlade, 50014, builds, 0},
        {5, 2, kServers, {kX64}, both, 50005, builds},
        {5, 2, kServers, {kX64}, enterprise, 50006, builds},
        {5, 2, kServers, {kX64}, othersOrBlade, 50007, builds},
        {5, 2, kServers, rest, both, 50008, builds},
        {5, 2, kServers, rest, enterprise, 50009, builds},
        {5, 2, kServers, rest, blade, 50010, builds},
        {5, 2, kServers, rest, others, 50011, builds}};
    for (const Row& row : rows) ExpectRow(row);
}

TEST(ClassifySystem, Version51And50) {
    const Shorts withoutPersonal = {0, kEnterprise, kDataCentre, kBlade, 0xFFFF & ~kPersonal};
    const Shorts personal = {kPersonal, 0xFFFF};
    const Shorts not9 = {kX86, kArm, kItanium, kAlpha64, kX86OnItanium, kArm64};
    const Row rows[] = {{5, 1, {1}, {kX64}, kAnySuite, 50013},
                        {5, 1, {1}, not9, personal, 50015},
                        {5, 1, {1}, not9, withoutPersonal, 50016},
                        {5, 1, kNotWorkstation, kAny, personal, 50015},
                        {5, 1, kNotWorkstation, kAny, withoutPersonal, 50016},
                        {5, 0, {1}, kAny, kAnySuite, 50019},
                        {5, 0, kServers, kAny, {kDataCentre, kDataCentre | kEnterprise, 0xFFFF}, 50017},
                        {5, 0, kServers, kAny, {kEnterprise, kEnterprise | kBlade}, 50018},
                        {5, 0, kServers, kAny, {0, kPersonal, kBlade}, 50028},
                        {5, 0, kNeither, kAny, kAnySuite, 0},
                        {5, 3, kEveryType, kAny, kAnySuite, 0}};
    for (const Row& row : rows) ExpectRow(row);
}

TEST(ClassifySystem, Version4And3) {
    const Row rows[] = {{4, 0, kServers, kAny, {kEnterprise, 0xFFFF}, 50021},
                        {4, 0, kServers, kAny, {0, kDataCentre, kPersonal, kBlade}, 50022},
                        {4, 0, {0, 1, 4, 255}, kAny, kAnySuite, 50020},
                        {4, 10, kEveryType, kAny, kAnySuite, 0},
                        {3, 51, kEveryType, kAny, kAnySuite, 50027},
                        {3, 50, kEveryType, kAny, kAnySuite, 0},
                        {3, 0, kEveryType, kAny, kNoSuite, 0}};
    for (const Row& row : rows) ExpectRow(row);
}

TEST(ClassifySystem, TheDosLine) {
    const std::map<std::pair<std::uint32_t, std::uint32_t>, std::uint32_t> codes = {
        {{4, 0}, 50023}, {{4, 10}, 50024}, {{4, 90}, 50025}, {{4, 1}, 0}, {{4, 89}, 0},
        {{3, 51}, 0},    {{5, 0}, 0},      {{6, 1}, 0},      {{10, 0}, 0}};
    for (const auto& [version, code] : codes)
        EXPECT_EQ(ClassifySystem(FactsOf(1, version.first, version.second)), code)
            << version.first << "." << version.second;
}

TEST(ClassifySystem, OtherPlatformsAndUnknownVersionsAreUnknown) {
    for (const std::uint32_t platform : {0U, 3U, 0xFFFFFFFFU}) {
        SystemFacts facts = FactsOf(platform, 10, 0);
        facts.version.productType = 1;
        facts.architecture = kX64;
        EXPECT_EQ(ClassifySystem(facts), 0U) << platform;
    }
    SystemFacts unknown = FactsOf(2, 10, 0);
    unknown.version.productType = 1;
    unknown.versionKnown = false;
    EXPECT_EQ(ClassifySystem(unknown), 0U);
    for (const std::uint32_t major : {0U, 1U, 2U, 7U, 8U, 9U, 11U}) {
        SystemFacts facts = FactsOf(2, major, 0);
        facts.version.productType = 1;
        EXPECT_EQ(ClassifySystem(facts), 0U) << major;
    }
}

TEST(ClassifySystem, TheExactQueryDecidesNotTheRecord) {
    SystemFacts facts = FactsOf(2, 10, 0);
    facts.version.productType = 1;
    facts.version.build = 19045;
    facts.architecture = kX64;
    facts.exactly10 = false;
    EXPECT_EQ(ClassifySystem(facts), 0U) << "10.0 in the record alone is no rule";
    facts.exactly63 = true;
    EXPECT_EQ(ClassifySystem(facts), 50039U);

    // A record that was made for an older program, on a system of 10.0 or 6.3.
    facts = FactsOf(2, 6, 2);
    facts.version.productType = 1;
    facts.architecture = kX64;
    EXPECT_EQ(ClassifySystem(facts), 50035U);
    facts.exactly63 = true;
    EXPECT_EQ(ClassifySystem(facts), 50039U);
    facts.exactly10 = true;
    EXPECT_EQ(ClassifySystem(facts), 50042U) << "10.0 is asked first";
    facts.version.productType = 3;
    facts.architecture = kX86;
    EXPECT_EQ(ClassifySystem(facts), 50036U) << "neither has a 32-bit server, so the record's version decides";
}

TEST(Is64BitArchitecture, FourCodes) {
    for (std::uint16_t code = 0; code < 20; ++code)
        EXPECT_EQ(Is64BitArchitecture(code), code == 6 || code == 7 || code == 9 || code == 10) << code;
    EXPECT_FALSE(Is64BitArchitecture(0xFFFF));
}

TEST(ExactVersion, Numbers) {
    const std::tuple<int, std::uint32_t, std::uint32_t> table[] = {{1, 5, 0},  {3, 5, 2},  {4, 6, 0},  {5, 6, 1},
                                                                   {6, 6, 2},  {7, 6, 3},  {8, 10, 0}, {0, 10, 0},
                                                                   {9, 10, 0}, {-1, 10, 0}};
    for (const auto& [number, major, minor] : table)
        for (const bool is64 : {false, true}) {
            EXPECT_EQ(ExactVersion(number, is64).major, major) << number;
            EXPECT_EQ(ExactVersion(number, is64).minor, minor) << number;
        }
    EXPECT_EQ(ExactVersion(2, false).minor, 1U);
    EXPECT_EQ(ExactVersion(2, true).minor, 2U);
    EXPECT_EQ(ExactVersion(2, true).major, 5U);
}

}  // namespace
}  // namespace tarn::machine
