// The files that the reference status reader keeps, cut, too long and filled with rubbish: the library starts without
// them, and its next end writes them whole.
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>

#include "system/footprint_win32.h"
#include "system/loaded_tarn_win32.h"
#include "system/reference_install_win32.h"
#include "system/reported_events.h"

namespace tarn::system_test {
namespace {

class DamagedFiles : public testing::Test {
 protected:
    void SetUp() override { ASSERT_NE(library.Module(), nullptr); }
    ~DamagedFiles() override { tarn.WSDeinit(nullptr); }

    bool Report(std::uint32_t code) {
        LogonEvent event{};
        event.eventCode = code;
        event.sid[0] = 1;
        event.sid[1] = 1;
        event.sid[8] = 77;
        LogonVerdict verdict{};
        return tarn.WSScanLogonEventForPCCTRL(&event, &verdict) == 1;
    }
    // One life of the library; whether its start still knew the account.
    bool KnewTheAccount() {
        EXPECT_EQ(tarn.WSInit(TARN_START_RESTART, &error), 1);
        const bool knew = Report(kTick);
        EXPECT_TRUE(Report(kLogon));
        EXPECT_EQ(tarn.WSDeinit(&error), 1);
        EXPECT_EQ(ThreadsOf(library.Module()), 0U);
        return knew;
    }
    std::string Read(const char* file) {
        std::ifstream in(install.File("state") / file, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    void Write(const char* file, const std::string& bytes) {
        std::ofstream(install.File("state") / file, std::ios::binary) << bytes;
    }
    // What damage makes of a file.
    static std::vector<std::string> DamagedForms(const std::string& whole) {
        std::vector<std::string> forms;
        for (const std::size_t length :
             {std::size_t{0}, std::size_t{1}, std::size_t{4}, std::size_t{5}, whole.size() / 2, whole.size() - 1})
            forms.push_back(whole.substr(0, length));
        forms.push_back(whole + 'x');
        forms.push_back(whole + whole);
        forms.push_back(std::string(whole.size(), '\xFF'));
        forms.push_back("\xFF\xFF\xFF\xFF" + whole.substr(4));
        return forms;
    }

    ReferenceInstall install;
    LoadedTarn library{install.File("tarn.dll")};
    const Exports& tarn = library.Functions();
    std::uint32_t error = 0;
};

TEST_F(DamagedFiles, DamagedSessionsAreNone) {
    constexpr const char* kFile = "tarn-sessions.bin";
    EXPECT_FALSE(KnewTheAccount());
    EXPECT_TRUE(KnewTheAccount()) << "the file as it was written";
    const std::string whole = Read(kFile);
    ASSERT_EQ(whole.size(), 4 + sizeof(SavedSessionRecord));
    for (const std::string& form : DamagedForms(whole)) {
        SCOPED_TRACE(form.size());
        Write(kFile, form);
        EXPECT_FALSE(KnewTheAccount());
        EXPECT_EQ(Read(kFile).size(), whole.size()) << "the end writes it whole again";
    }
    EXPECT_TRUE(KnewTheAccount());
}

TEST_F(DamagedFiles, ASavedIdentifierThatIsNoneIsCarriedAlong) {
    constexpr const char* kFile = "tarn-sessions.bin";
    KnewTheAccount();
    std::string file = Read(kFile);
    ASSERT_EQ(file.size(), 4 + sizeof(SavedSessionRecord));
    file[4] = 9;  // its revision
    Write(kFile, file);
    EXPECT_FALSE(KnewTheAccount());
    const std::string after = Read(kFile);
    EXPECT_EQ(after.size(), 4 + 2 * sizeof(SavedSessionRecord));
    EXPECT_EQ(after.substr(4, sizeof(SavedSessionRecord)), file.substr(4));
}

TEST_F(DamagedFiles, DamagedAnswersAreNone) {
    constexpr const char* kFile = "tarn-dns-cache.bin";
    KnewTheAccount();
    const std::string whole = Read(kFile);
    ASSERT_EQ(whole.size(), 4 + std::size_t{TARN_DNS_RING_SLOTS} * sizeof(DnsAnswerEntry));
    for (const std::string& form : DamagedForms(whole)) {
        SCOPED_TRACE(form.size());
        Write(kFile, form);
        KnewTheAccount();
        EXPECT_EQ(Read(kFile).size(), whole.size());
    }
}

}  // namespace
}  // namespace tarn::system_test
