// The version queries of processes to which the system reports different versions.
#include "machine/os_version_win32.h"

#include <gtest/gtest.h>

#include "machine/facts_program_win32.h"
#include "machine/win32_owners.h"

namespace tarn::machine {
namespace {

// The version that Wine reports to a program of this file name, as long as this object lives.
class ReportedVersion {
 public:
    ReportedVersion(const std::string& program, const std::string& version)
        : key_("Software\\Wine\\AppDefaults\\" + program) {
        RegSetKeyValueA(HKEY_CURRENT_USER, key_.c_str(), "Version", REG_SZ, version.c_str(),
                        static_cast<DWORD>(version.size() + 1));
    }
    ~ReportedVersion() { RegDeleteTreeA(HKEY_CURRENT_USER, key_.c_str()); }
    ReportedVersion(const ReportedVersion&) = delete;
    ReportedVersion& operator=(const ReportedVersion&) = delete;

 private:
    std::string key_;
};

using OsVersion = FactsProgram;

TEST_F(OsVersion, ReportedVersions) {
    ASSERT_TRUE(UnderWine()) << "only Wine reports another version to a program: run this there";
    // Which of the versions 5.0, 5.2 (5.1 on 32 bits), 5.2, 6.0, 6.1, 6.2, 6.3 and 10.0 it is exactly.
    const struct {
        const char* version;
        const char* expected;
    } cases[] = {
        {"winxp64", "system 50013 version 5.2 type 1 architecture 9 exactly 01100000 older 0 https 0"},
        {"win2003", "system 50007 version 5.2 type 3 architecture 9 exactly 01100000 older 0 https 0"},
        {"vista", "system 50026 version 6.0 type 1 architecture 9 exactly 00010000 older 0 https 1"},
        {"win8", "system 50035 version 6.2 type 1 architecture 9 exactly 00000100 older 0 https 1"},
        {"win81", "system 50039 version 6.3 type 1 architecture 9 exactly 00000010 older 0 https 1"},
        {"win10", "system 50042 version 10.0 type 1 architecture 9 exactly 00000001 older 0 https 1"},
    };
    for (const auto& c : cases) {
        const std::string program = Unique(std::string("facts-") + c.version) + ".exe";
        const ReportedVersion reported(program, c.version);
        CopyProgram(folder / program);
        const auto lines = RunAs(folder / program, {"system"});
        ASSERT_EQ(lines.size(), 1U) << c.version;
        EXPECT_EQ(lines[0], c.expected) << c.version;
    }
}

TEST_F(OsVersion, ThisSystemIsClassifiedByWhatItReports) {
    const SystemFacts facts = QuerySystemFacts();
    ASSERT_TRUE(facts.versionKnown);
    EXPECT_EQ(facts.version.platform, 2U);
    EXPECT_GE(facts.version.major, 5U);
    EXPECT_GT(facts.version.build, 0U);
    SYSTEM_INFO info{};
    GetNativeSystemInfo(&info);
    EXPECT_EQ(facts.architecture, info.wProcessorArchitecture);
    EXPECT_NE(ClassifySystem(facts), 0U);
}

}  // namespace
}  // namespace tarn::machine
