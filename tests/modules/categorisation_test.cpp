#include "modules/categorisation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <utility>
#include <vector>

#include "fakes/fake_modules.h"
#include "modules/module_calls.h"

namespace tarn::modules {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

// What stands in the proxy file for a byte of the character: the reverse of its transformation.
std::uint8_t Scrambled(int byte) {
    return static_cast<std::uint8_t>(static_cast<std::uint8_t>(byte - 15) ^ 7U);
}

machine::FileStart ProxyFile(char16_t character, std::size_t count = 10) {
    machine::FileStart start{machine::FileStart::State::kRead, {}, count};
    start.bytes.fill(0xFF);
    start.bytes[0] = Scrambled(character & 0xFF);
    start.bytes[1] = Scrambled(character >> 8);
    return start;
}

TEST(ProxySwitch, KnownBytes) {
    // '1' is 0x31: 0x31 - 15 = 0x22, with 7 exclusive-or 0x25; NUL: 0xF1, 0xF6.
    EXPECT_TRUE(ProxySwitchIsOn(0x25, 0xF6));
    EXPECT_TRUE(ProxySwitchIsOn(0x24, 0xF6));
    EXPECT_FALSE(ProxySwitchIsOn(0x26, 0xF6)) << "the character 0";
    EXPECT_FALSE(ProxySwitchIsOn('1', 0)) << "a plain text is not the switch";
}

TEST(ProxySwitch, EveryPairOfBytes) {
    for (int first = 0; first < 256; ++first) {
        for (int second = 0; second < 256; ++second) {
            const int character = ((first ^ 7) + 15) % 256 + 256 * (((second ^ 7) + 15) % 256);
            ASSERT_EQ(ProxySwitchIsOn(static_cast<std::uint8_t>(first), static_cast<std::uint8_t>(second)),
                      character == '1' || character == '2')
                << first << " " << second;
        }
    }
}

// Everything speaks for the online look-up until a test changes it.
class OnlineLookup : public testing::Test {
 protected:
    OnlineLookup() {
        base::PathBuffer folder;
        fake.InstallFolder(folder);
        EXPECT_TRUE(calls.Load<SettingsReader>(folder));
        EXPECT_TRUE(calls.Load<StatusReader>(folder));
        fake.Give("ReadBPStatus", std::uint8_t{1});
        fake.Give("ReadWebSecCloudStatus", std::uint8_t{1});
        fake.Take();
    }
    bool Allowed() { return OnlineLookupAllowed(calls); }

    fakes::FakeModules fake;
    Companions companions;
    std::uint32_t error = 0;
    ModuleCalls calls{companions, fake, error};
};

TEST_F(OnlineLookup, AbsentProxyFileAllows) {
    EXPECT_TRUE(Allowed());
    EXPECT_THAT(fake.filesRead, ElementsAre(u"C:\\Suite\\proxyep.dat"));
    EXPECT_THAT(fake.journal, ElementsAre("ReadWebSecCloudStatus", "ReadBPStatus", "ReadAPStatus", "ReadPCSettings"));
}

TEST_F(OnlineLookup, ProxyFile) {
    for (const char16_t character : {u'1', u'2'}) {
        fake.proxyFile = ProxyFile(character);
        EXPECT_FALSE(Allowed());
        fake.proxyFile = ProxyFile(character, 2);
        EXPECT_FALSE(Allowed()) << "two bytes are enough";
    }
    EXPECT_THAT(fake.journal, IsEmpty()) << "nothing more is asked";
    for (const char16_t character : {u'0', u'3', u'\0', u'\x3100', u'\x0131'}) {
        fake.proxyFile = ProxyFile(character);
        EXPECT_TRUE(Allowed()) << static_cast<int>(character);
    }
}

TEST_F(OnlineLookup, AProxyFileThatCannotBeReadForbids) {
    fake.proxyFile.state = machine::FileStart::State::kUnreadable;
    EXPECT_FALSE(Allowed());
    for (const std::size_t count : {0U, 1U}) {
        fake.proxyFile = ProxyFile(u'0', count);
        EXPECT_FALSE(Allowed()) << count;
    }
    fake.proxyFile = ProxyFile(u'0', 2);
    EXPECT_TRUE(Allowed());
}

TEST_F(OnlineLookup, WithoutTheFolderOrRoomForThePathItIsForbidden) {
    fake.installFolder = std::u16string(247, u'd') + u"\\";  // 248 + 11 + NUL = 260
    EXPECT_TRUE(Allowed());
    fake.installFolder = std::u16string(248, u'd') + u"\\";
    EXPECT_FALSE(Allowed());
    fake.installFolder = u"C:\\Suite\\";
    fake.hasInstallFolder = false;
    EXPECT_FALSE(Allowed());
}

TEST_F(OnlineLookup, DisabledFeaturesOfAManagedClient) {
    const auto give = [&](std::uint8_t fifth, std::uint8_t eighth) {
        DisabledFeatures features{};
        features.bytes[5] = fifth;
        features.bytes[8] = eighth;
        fake.Give("ReadDisableFeaturesSettings", features);
    };
    give(1, 1);
    EXPECT_TRUE(Allowed()) << "not asked of a client that is not managed";
    EXPECT_EQ(fake.Count("load OPTSTORE.DLL"), 0U);
    fake.managed = true;
    EXPECT_FALSE(Allowed());
    for (const auto& [fifth, eighth] : {std::pair{1, 0}, {0, 1}, {0, 0}, {2, 1}, {1, 255}}) {
        give(static_cast<std::uint8_t>(fifth), static_cast<std::uint8_t>(eighth));
        EXPECT_TRUE(Allowed()) << fifth << " " << eighth;
    }
    fake.failing = {"ReadDisableFeaturesSettings"};
    EXPECT_FALSE(Allowed());
    fake.failing = {};
    fake.missingFunctions = {"ReadDisableFeaturesSettings"};
    EXPECT_FALSE(Allowed());
    fake.missingFunctions = {};
    fake.missingFiles = {"OPTSTORE.DLL"};
    EXPECT_FALSE(Allowed());
    EXPECT_FALSE(fake.Loaded().contains("OPTSTORE.DLL"));
}

TEST_F(OnlineLookup, AnUnknownHostExecutableForbids) {
    fake.hostExecutableKnown = false;
    EXPECT_FALSE(Allowed());
    EXPECT_THAT(fake.journal, IsEmpty());
}

TEST_F(OnlineLookup, CloudStatusOffForbidsAndAFailedReadDoesNot) {
    fake.Give("ReadWebSecCloudStatus", std::uint8_t{0});
    EXPECT_FALSE(Allowed());
    EXPECT_THAT(fake.Take(), ElementsAre("ReadWebSecCloudStatus"));
    fake.failing = {"ReadWebSecCloudStatus"};
    EXPECT_TRUE(Allowed());
}

TEST_F(OnlineLookup, AnyOfTheThreeFeaturesAllows) {
    for (int features = 0; features < 8; ++features) {
        fake.Give("ReadBPStatus", static_cast<std::uint8_t>(features & 1 ? 2 : 0));
        fake.Give("ReadAPStatus", static_cast<std::uint8_t>(features & 2 ? 1 : 0));
        PcSettingsRecord parental{};
        parental.mode = static_cast<std::uint8_t>(features & 4 ? 255 : 0);
        fake.Give("ReadPCSettings", parental);
        EXPECT_EQ(Allowed(), features != 0) << features;
    }
}

TEST_F(OnlineLookup, FailedStatusReadsCountAsOff) {
    fake.Give("ReadAPStatus", std::uint8_t{1});
    fake.failing = {"ReadBPStatus"};
    EXPECT_TRUE(Allowed());
    fake.failing = {"ReadBPStatus", "ReadAPStatus"};
    EXPECT_FALSE(Allowed()) << "what a failed read left counts for nothing";
}

TEST_F(OnlineLookup, WithoutTheParentalRecordItIsForbidden) {
    fake.failing = {"ReadPCSettings"};
    EXPECT_FALSE(Allowed());
    fake.failing = {};
    companions.statusReader = {};
    EXPECT_FALSE(Allowed());
}

TEST_F(OnlineLookup, TheParentalRecordIsNeverReleased) {
    EXPECT_TRUE(Allowed());
    EXPECT_THAT(fake.journal, Not(Contains("ReleasePCSettings")));
}

TEST(Categories, HowManyCount) {
    const std::vector<std::uint16_t> five = {1, 2, 3, 4, 5};
    const struct {
        std::uint8_t strictness;
        std::size_t count;
    } cases[] = {{0, 5}, {1, 2}, {2, 3}, {3, 1}, {4, 5}, {255, 5}};
    for (const auto& c : cases) {
        const auto considered = ConsideredCategories(five, c.strictness);
        EXPECT_EQ(considered.size(), c.count) << int{c.strictness};
        EXPECT_EQ(considered.data(), five.data()) << "the leading ones";
        EXPECT_EQ(ConsideredCategories(std::span(five).first(1), c.strictness).size(), 1U);
        EXPECT_TRUE(ConsideredCategories({}, c.strictness).empty());
    }
}

class Lookup : public testing::Test {
 protected:
    Lookup() {
        base::PathBuffer folder;
        fake.InstallFolder(folder);
        EXPECT_TRUE(calls.Load<Categorisation>(folder));
        fake.Take();
    }

    fakes::FakeModules fake;
    Companions companions;
    std::uint32_t error = 0;
    ModuleCalls calls{companions, fake, error};
};

TEST_F(Lookup, AnArrayIsReleasedExactlyOnce) {
    {
        const CategoryLookup lookup(companions.categorisation, "shop.example", TARN_LOOKUP_AHEAD_OF_CONNECTION);
        EXPECT_TRUE(lookup.Succeeded());
        EXPECT_THAT(lookup.Categories(), ElementsAre(10, 20, 30));
        EXPECT_THAT(fake.journal, ElementsAre("SCGetURLCategories shop.example 1"));
    }
    EXPECT_EQ(fake.Count("SCReleaseCategories"), 1U);
    EXPECT_EQ(fake.liveArrays, 0U);
    {
        CategoryLookup lookup(companions.categorisation, "ftp://a.example", TARN_LOOKUP_DECIDE_NOW);
        lookup.Release();
        EXPECT_TRUE(lookup.Categories().empty());
        lookup.Release();
    }
    EXPECT_EQ(fake.Count("SCReleaseCategories"), 2U);
}

TEST_F(Lookup, AnArrayWithoutCategoriesIsReleasedToo) {
    fake.categories = {};
    {
        const CategoryLookup lookup(companions.categorisation, "a.example", TARN_LOOKUP_DECIDE_NOW);
        EXPECT_TRUE(lookup.Succeeded());
        EXPECT_TRUE(lookup.Categories().empty());
    }
    EXPECT_EQ(fake.Count("SCReleaseCategories"), 1U);
}

TEST_F(Lookup, AFailedLookupReleasesWhatItWasHanded) {
    fake.failing = {"SCGetURLCategories"};
    {
        const CategoryLookup lookup(companions.categorisation, "a.example", TARN_LOOKUP_DECIDE_NOW);
        EXPECT_FALSE(lookup.Succeeded());
        EXPECT_TRUE(lookup.Categories().empty());
    }
    EXPECT_EQ(fake.Count("SCReleaseCategories"), 0U) << "there was no array";
    fake.returnsArrayOnFailure = true;
    {
        const CategoryLookup lookup(companions.categorisation, "a.example", TARN_LOOKUP_DECIDE_NOW);
        EXPECT_FALSE(lookup.Succeeded());
        EXPECT_TRUE(lookup.Categories().empty());
    }
    EXPECT_EQ(fake.Count("SCReleaseCategories"), 1U);
}

TEST_F(Lookup, WithoutTheModuleNothingIsCalled) {
    calls.Unload<Categorisation>();
    fake.Take();
    {
        const CategoryLookup lookup(companions.categorisation, "a.example", TARN_LOOKUP_DECIDE_NOW);
        EXPECT_FALSE(lookup.Succeeded());
    }
    CategoryName name;
    name.fill(u'z');
    EXPECT_FALSE(ReadCategoryName(companions.categorisation, 7, name));
    EXPECT_EQ(name, CategoryName{});
    EXPECT_THAT(fake.journal, IsEmpty());
}

TEST_F(Lookup, CategoryNames) {
    CategoryName name;
    name.fill(u'z');
    EXPECT_TRUE(ReadCategoryName(companions.categorisation, 7, name));
    EXPECT_EQ(base::FieldText(name), u"Shopping");
    EXPECT_TRUE(ReadCategoryName(companions.categorisation, 0xFFFF, name));
    EXPECT_EQ(base::FieldText(name), std::u16string(99, u'x')) << "a module that writes no NUL";
    fake.failing = {"SCGetCategoryName"};
    EXPECT_FALSE(ReadCategoryName(companions.categorisation, 7, name));
    EXPECT_EQ(name, CategoryName{}) << "nothing of what the module wrote stays";
}

#ifndef NDEBUG
TEST(CategoryLookupDeathTest, AHostInBracketsIsCaught) {
    const LoadedModule<Categorisation> none;
    EXPECT_DEATH(CategoryLookup(none, "[2001:db8::1]", TARN_LOOKUP_DECIDE_NOW), "hostOrUrl");
}
#endif

}  // namespace
}  // namespace tarn::modules
