// Browsing protection's action through the built library, against programs that really run: what the quarantine module
// is handed, when it is loaded and freed, and whom the action leaves alone.
#include <cstddef>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <windows.h>

#include "machine/win32_owners.h"
#include "system/scan_fixture_win32.h"

namespace tarn::system_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using url::ProfileShape;

// A copy of the idle program, running until the end of the test.
class Program {
 public:
    explicit Program(const std::filesystem::path& file) : file_(file) {
        wchar_t own[MAX_PATH];
        GetModuleFileNameW(nullptr, own, MAX_PATH);
        std::filesystem::create_directories(file.parent_path());
        std::filesystem::copy_file(std::filesystem::path(own).parent_path() / "idle_program.exe", file);
        SECURITY_ATTRIBUTES inherited{sizeof inherited, nullptr, TRUE};
        machine::UniqueHandle input;
        machine::UniqueHandle output;
        machine::UniqueHandle signal;
        EXPECT_TRUE(CreatePipe(input.Out(), end_.Out(), &inherited, 0));
        EXPECT_TRUE(CreatePipe(signal.Out(), output.Out(), &inherited, 0));
        SetHandleInformation(end_.Get(), HANDLE_FLAG_INHERIT, 0);
        SetHandleInformation(signal.Get(), HANDLE_FLAG_INHERIT, 0);
        STARTUPINFOW start{};
        start.cb = sizeof start;
        start.dwFlags = STARTF_USESTDHANDLES;
        start.hStdInput = input.Get();
        start.hStdOutput = output.Get();
        PROCESS_INFORMATION made{};
        EXPECT_TRUE(CreateProcessW(file.c_str(), nullptr, nullptr, nullptr, TRUE, 0, nullptr, nullptr, &start, &made))
            << GetLastError();
        id_ = made.dwProcessId;
        process_.Reset(made.hProcess);
        const machine::UniqueHandle thread(made.hThread);
        output.Reset();  // so that the read ends if the program does
        char running = 0;
        DWORD count = 0;
        EXPECT_TRUE(ReadFile(signal.Get(), &running, 1, &count, nullptr));
        EXPECT_EQ(running, 'r');
    }
    ~Program() {
        end_.Reset();
        EXPECT_EQ(WaitForSingleObject(process_.Get(), 20000), WAIT_OBJECT_0);
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    std::uint32_t Id() const { return id_; }
    std::string Quarantined() const { return "ZRQuarantineFile 0 2 " + file_.string(); }

 private:
    std::filesystem::path file_;
    std::uint32_t id_ = 0;
    machine::UniqueHandle process_;
    machine::UniqueHandle end_;
};

class ProgramActions : public ScanRecords {
 protected:
    ProgramActions() { MakeMalicious("bad.example", "Worm"); }
    std::vector<std::string> VisitBy(const Program& program, const std::string& target) {
        processId = program.Id();
        NewLines();
        EXPECT_TRUE(Visit("bad.example", target));
        EXPECT_EQ(ExpectedVerdict(Blocks(TARN_REASON_MALICIOUS))
                      .ThreatName("Worm")
                      .ThreatUrl("bad.example" + target)
                      .Difference(verdict),
                  "");
        EXPECT_EQ(Prompt(), "3 4");
        EXPECT_EQ(GetModuleHandleA("isolate.dll"), nullptr) << "freed behind each action";
        return NewLines();
    }
};

TEST_F(ProgramActions, TheProgramIsQuarantinedOnceWithReasonAndUrl) {
    const Program program(folder / "programs" / "Reader.exe");
    ASSERT_TRUE(Init());
    EXPECT_THAT(VisitBy(program, "/x"),
                ElementsAre("load isolate.dll", program.Quarantined(), "for bad.example/x", "unload isolate.dll"));
    EXPECT_THAT(VisitBy(program, "/y"), IsEmpty()) << "each executable is acted on once";

    QuarantineRequest expected{};
    expected.type = 2;
    expected.flagA = 1;
    expected.flagB = 1;
    const std::u16string reason = u"Browsing Protection Malicious URL";
    std::memcpy(reinterpret_cast<char*>(&expected) + offsetof(QuarantineRequest, reason), reason.data(),
                reason.size() * sizeof(char16_t));
    EXPECT_EQ(std::memcmp(&answers.quarantined, &expected, offsetof(QuarantineRequest, url)), 0)
        << "zero-filled behind the reason";

    const Program other(folder / "programs" / "Other.exe");
    EXPECT_THAT(VisitBy(other, "/y"),
                ElementsAre("load isolate.dll", other.Quarantined(), "for bad.example/y", "unload isolate.dll"));
    ASSERT_TRUE(Init());
    EXPECT_THAT(VisitBy(program, "/z"), testing::SizeIs(4)) << "a start forgets the programs";
}

TEST_F(ProgramActions, AFailedQuarantineCountsAndFreesTheModule) {
    const Program program(folder / "Reader.exe");
    ScriptSetResult("ZRQuarantineFile", 0);
    ASSERT_TRUE(Init());
    EXPECT_THAT(VisitBy(program, "/x"), testing::SizeIs(4));
    ScriptSetResult("ZRQuarantineFile", 1);
    EXPECT_THAT(VisitBy(program, "/x"), IsEmpty());
}

TEST_F(ProgramActions, WithoutTheModuleOrItsFunctionTheVerdictStandsAndNothingIsRemembered) {
    const Program program(folder / "Reader.exe");
    const std::filesystem::path kept = folder / "kept.dll";
    std::filesystem::rename(folder / "isolate.dll", kept);
    ASSERT_TRUE(Init());
    EXPECT_THAT(VisitBy(program, "/x"), IsEmpty());
    std::filesystem::copy_file(kept, folder / "isolate.dll");
    HideExport("isolate.dll", "ZRQuarantineFile");
    EXPECT_THAT(VisitBy(program, "/x"), ElementsAre("load isolate.dll", "unload isolate.dll"));
    RemoveModule("isolate.dll");
    std::filesystem::copy_file(kept, folder / "isolate.dll");
    EXPECT_THAT(VisitBy(program, "/x"), testing::SizeIs(4));
}

TEST_F(ProgramActions, BrowsersOfTheExclusionListAreLeftAlone) {
    const Program browser(folder / "programs" / "FoxBrowser.exe");
    const Program third(folder / "programs" / "third.exe");
    WriteFile("browskip.ini", std::string("[BROWSER_EXCLUSION_LIST]\r\nCOUNT=2\r\nNAMES=other.exe|foxBROWSER.exe|"
                                          "third.exe\r\n"));
    ASSERT_TRUE(Init());
    EXPECT_THAT(VisitBy(browser, "/x"), IsEmpty());
    EXPECT_THAT(VisitBy(third, "/x"), testing::SizeIs(4)) << "only the first two names count";
    WriteFile("browskip.ini", std::string("[BROWSER_EXCLUSION_LIST]\r\nCOUNT=9\r\nNAMES=foxbrowser.exe|" +
                                          std::string(50, 'n') + "\r\n"));
    ASSERT_TRUE(Init());
    EXPECT_THAT(VisitBy(browser, "/x"), testing::SizeIs(4)) << "a name that is too long leaves no list at all";
}

TEST_F(ProgramActions, APatternAndAMaliciousCategoryActTooAndAPhishingSiteDoesNot) {
    TakeProfiles({ProfileShape{}});
    answers.malicious = 1;
    answers.apStatus = 1;
    const Program first(folder / "first.exe");
    const Program second(folder / "second.exe");
    ASSERT_TRUE(Init());
    processId = first.Id();
    NewLines();
    ASSERT_TRUE(Visit("a.example:8080", "/Pattern"));
    EXPECT_EQ(ExpectedVerdict(Blocks(TARN_REASON_MALICIOUS))
                  .ThreatName("Malicious Url")
                  .ThreatUrl("a.example/pattern")
                  .Difference(verdict),
              "");
    EXPECT_EQ(Prompt(), "3 4");
    EXPECT_THAT(NewLines(), ElementsAre("SCGetURLCategories a.example:8080/Pattern 0",
                                        "WSCheckURLMaliciousPattern 1 a.example /pattern 20480", "load isolate.dll",
                                        first.Quarantined(), "for a.example/pattern", "unload isolate.dll"));

    processId = second.Id();
    Categorise({3});
    ASSERT_TRUE(Visit("a.example", "/Phish"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_PHISHING));
    EXPECT_THAT(NewLines(), ElementsAre("SCGetURLCategories a.example/Phish 0", "SCReleaseCategories"));

    Categorise({2});
    ASSERT_TRUE(Visit("a.example:8080", "/Category"));
    EXPECT_EQ(ExpectedVerdict(Blocks(TARN_REASON_MALICIOUS_CATEGORY))
                  .ThreatUrl("a.example:8080/Category")
                  .Difference(verdict),
              "");
    EXPECT_EQ(Prompt(), "3 4");
    EXPECT_THAT(NewLines(),
                ElementsAre("SCGetURLCategories a.example:8080/Category 0", "SCReleaseCategories", "load isolate.dll",
                            second.Quarantined(), "for a.example/category", "unload isolate.dll"));
}

TEST_F(ProgramActions, NobodyIsNotActedAgainst) {
    ASSERT_TRUE(Init());
    processId = kNobody;
    NewLines();
    ASSERT_TRUE(Visit("bad.example", "/x"));
    EXPECT_THAT(Verdict(), Blocks(TARN_REASON_MALICIOUS)) << "the verdict needs no user";
    EXPECT_THAT(NewLines(), IsEmpty());
}

}  // namespace
}  // namespace tarn::system_test
