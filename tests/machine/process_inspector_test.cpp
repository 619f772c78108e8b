#include "machine/process_inspector.h"

#include <gtest/gtest.h>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tarn::machine {
namespace {

const std::u16string kDevicePath = u"\\Device\\HarddiskVolume1\\folder\\file.exe";

// DOS device names and what they stand for; remembers every name that it was asked.
struct Devices {
    std::map<std::u16string, std::u16string> targets;
    std::vector<std::u16string> asked;

    DosDeviceQuery Query() {
        return [this](const char16_t* name, std::array<char16_t, 259>& target) {
            asked.emplace_back(name);
            const auto found = targets.find(name);
            if (found == targets.end()) return false;
            base::CopyText(target, found->second);
            return true;
        };
    }

    std::optional<std::u16string> PathOf(const std::u16string& devicePath) {
        base::PathBuffer path{};
        if (!DrivePathFromDevicePath(devicePath, Query(), path)) return std::nullopt;
        return std::u16string(base::FieldText(path));
    }
};

TEST(ProcessIdentity, DevicePath_AsksForTheThreeCharacterName) {
    Devices usual{{{u"C:", u"\\Device\\HarddiskVolume1"}}, {}};
    EXPECT_EQ(usual.PathOf(kDevicePath), std::nullopt) << "no drive of a usual system has such a name";
    ASSERT_EQ(usual.asked.size(), 26U);
    for (std::size_t i = 0; i < 26; ++i)
        EXPECT_EQ(usual.asked[i], std::u16string(u"X:") + static_cast<char16_t>(u'A' + i));

    Devices named{{{u"X:C", u"\\Device\\HarddiskVolume1"}}, {}};
    EXPECT_EQ(named.PathOf(kDevicePath), u"C:\\folder\\file.exe");
    EXPECT_EQ(named.asked, (std::vector<std::u16string>{u"X:A", u"X:B", u"X:C"})) << "the first answer ends the search";
}

TEST(ProcessIdentity, OnlyAPrefixOfTheDevicePathNamesItsDrive) {
    Devices devices{{{u"X:A", u"\\Device\\HarddiskVolume2"},
                     {u"X:D", u"\\Device\\Harddisk"},
                     {u"X:E", u"\\Device\\HarddiskVolume1"}},
                    {}};
    EXPECT_EQ(devices.PathOf(kDevicePath), u"D:\\folder\\file.exe") << "the first prefix, however short";
    EXPECT_EQ(devices.PathOf(u"\\Device\\Floppy0\\a.exe"), std::nullopt);
    EXPECT_EQ(devices.PathOf(u"\\device\\harddiskvolume1\\a.exe"), std::nullopt) << "the letter case counts";
}

TEST(ProcessIdentity, EmptyAnswersNameNoDrive) {
    Devices devices{{{u"X:A", u""}, {u"X:Z", u"\\Device\\HarddiskVolume1"}}, {}};
    EXPECT_EQ(devices.PathOf(kDevicePath), u"Z:\\folder\\file.exe");
}

TEST(ProcessIdentity, ADevicePathNeedsTwoComponentsBeforeItsFile) {
    Devices devices{{{u"X:A", u"\\"}}, {}};
    for (const char16_t* path : {u"", u"\\", u"\\Device", u"\\Device\\HarddiskVolume1", u"a", u"ab"})
        EXPECT_EQ(devices.PathOf(path), std::nullopt) << std::u16string(path).size();
    EXPECT_TRUE(devices.asked.empty());
    EXPECT_EQ(devices.PathOf(u"\\Device\\Volume\\"), u"A:\\");
    Devices network{{{u"X:B", u"\\\\"}}, {}};
    EXPECT_EQ(network.PathOf(u"\\\\share\\file.exe"), u"B:\\file.exe") << "the second character may be the backslash";
}

TEST(ProcessIdentity, LengthBounds) {
    const std::u16string prefix = u"\\Device\\HarddiskVolume1";
    Devices devices{{{u"X:C", prefix}}, {}};
    const std::u16string longest = u"\\" + std::u16string(256, u'a');  // 259 units behind the drive
    EXPECT_EQ(devices.PathOf(prefix + longest), u"C:" + longest);
    devices.asked.clear();
    EXPECT_EQ(devices.PathOf(prefix + longest + u"a"), std::nullopt);
    EXPECT_TRUE(devices.asked.empty()) << "a path that does not fit ends the search before it starts";

    Devices full{{{u"X:C", prefix + u"\\" + std::u16string(258 - prefix.size() - 1, u'b')}}, {}};
    EXPECT_EQ(full.PathOf(kDevicePath), std::nullopt) << "an answer of 258 units, longer than the path";
}

}  // namespace
}  // namespace tarn::machine
