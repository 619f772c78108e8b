// What a check's process says and how it ends, the facts of the modules, the probes of their functions.
#include <atomic>
#include <cstring>
#include <gmock/gmock.h>
#include <set>
#include <thread>

#include "host/companion_kit/module_facts.h"
#include "host/companion_kit/probe.h"
#include "host/companion_kit/probe_lines.h"

namespace tarn::host {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

auto Says(const std::string& function, const std::string& text) {
    return AllOf(Field("function", &CompanionFinding::function, function),
                 Field("text", &CompanionFinding::text, HasSubstr(text)));
}

TEST(ModuleFacts, EachNameHasItsFacts) {
    std::set<std::string_view> files;
    for (const ModuleFacts& module : AllModules()) {
        files.insert(module.file);
        EXPECT_FALSE(module.functions.empty()) << module.file;
        EXPECT_EQ(module.isNeeded, module.without == "WSInit is false") << module.file;
        EXPECT_EQ(FindModuleFacts(module.file), &module);
    }
    EXPECT_THAT(files, SizeIs(9));
    EXPECT_EQ(AllModules()[0].file, "setrd.dll");
    EXPECT_EQ(FindModuleFacts("optstore.dll"), FindModuleFacts("OPTSTORE.DLL"));
    EXPECT_EQ(FindModuleFacts("other.dll"), nullptr);
    EXPECT_TRUE(MayBeMissing("ReadAPReportPromptStatus"));
    EXPECT_FALSE(MayBeMissing("ReadBPReportPromptStatus"));
}

// ---- Between the two processes ----

TEST(ProbeLines, ACheckSurvivesTheWay) {
    const CompanionCheck check{"C:\\m\xC3\xBC\\", "setrd.dll", {"statrd.dll"}, {"a.example/b"}, true, 20};
    CompanionCheck read;
    ASSERT_TRUE(ReadCheck(TextOf(check), read));
    EXPECT_EQ(read.folder, check.folder);
    EXPECT_EQ(read.module, check.module);
    EXPECT_EQ(read.neighbours, check.neighbours);
    EXPECT_EQ(read.addresses, check.addresses);
    EXPECT_TRUE(read.writes);
    EXPECT_FALSE(ReadCheck("{}", read));
    EXPECT_FALSE(ReadCheck("no object", read));
}

class Lines : public testing::Test {
 protected:
    void Read(std::string line) {
        ASSERT_THAT(line, EndsWith("\n"));
        line.pop_back();
        lines.Read(line);
    }
    CompanionCheck check{"C:\\m\\", "setrd.dll", {}, {}, false, 7};
    ProbeLines lines{check};
};

TEST_F(Lines, FindingsComeThroughAsTheyWere) {
    const CompanionFinding finding{"setrd.dll", "ReadBPSettings", "what\n\"is\"", "so", true};
    lines.Read("what a module prints");
    Read(FindingLine(finding));
    Read(EndLine());
    EXPECT_THAT(lines.Findings({}), ElementsAre(finding));
}

TEST_F(Lines, ACrashIsNamedWithItsCall) {
    Read(CallLine("ReadAPSettings"));
    Read(CallLine("ReadBPSettings"));
    EXPECT_THAT(lines.Findings({false, 0xC0000005}),
                ElementsAre(Says("ReadBPSettings", "crashed in ReadBPSettings (0xC0000005)")));
}

TEST_F(Lines, ACrashOnThreadsBelongsToTheExport) {
    Read(CallLine("SCGetURLCategories on 8 threads"));
    EXPECT_THAT(lines.Findings({false, 0xC0000005}),
                ElementsAre(Says("SCGetURLCategories", "on 8 threads (0xC0000005)")));
}

TEST_F(Lines, AHangIsNamedWithItsCall) {
    Read(CallLine("ReadBPSettings"));
    EXPECT_THAT(lines.Findings({true, 1}),
                ElementsAre(Says("ReadBPSettings", "not come back within 7 s in ReadBPSettings")));
}

TEST_F(Lines, AnEndWithoutTheLastLineIsAFindingWhateverTheExitCode) {
    Read(CallLine("its load"));
    EXPECT_THAT(lines.Findings({false, 0}), ElementsAre(Says("", "ended the process in its load (exit code 0)")));
    EXPECT_THAT(lines.Findings({false, 3}), ElementsAre(Says("", "exit code 3")));
}

TEST_F(Lines, AProcessThatSaidNothingFoundNothingOut) {
    EXPECT_THAT(lines.Findings({false, 0}), ElementsAre(Says("", "before the first call")));
}

TEST_F(Lines, ACrashBehindTheLastCallIsFound) {
    Read(CallLine("its end"));
    Read(EndLine());
    EXPECT_THAT(lines.Findings({false, 0xC0000005}), ElementsAre(Says("", "crashed behind the last call")));
}

// ---- The probes, with functions of this program ----

class FakeWorld : public ProbeWorld {
 public:
    [[nodiscard]] std::size_t Readable(const void*, std::size_t size) const override { return size; }
    [[nodiscard]] HeapUse Heap() const override { return {lost / 10, lost}; }
    bool Reload() override {
        ++reloads;
        return reloads < failsFrom;
    }
    static inline std::uint64_t lost = 0;
    int reloads = 0;
    int failsFrom = 100;
};

class FakeReport : public ProbeReport {
 public:
    void Calling(std::string_view function) override { calls.emplace_back(function); }
    void Add(const CompanionFinding& finding) override { (finding.isNote ? notes : findings).push_back(finding); }
    std::vector<std::string> calls;
    std::vector<CompanionFinding> findings;
    std::vector<CompanionFinding> notes;
};

class Probes : public testing::Test {
 protected:
    Probes() { FakeWorld::lost = 0; }
    FakeWorld world;
    FakeReport report;
    CompanionCheck check{"C:\\m\\", "urlsig.dll", {}, {}, false, 7};
    Probe probe{world, report, check};
};

std::uint8_t TARN_CALL Starts() {
    return 1;
}
void TARN_CALL Ends(std::uint32_t*) {}
std::uint8_t TARN_CALL Harmless(std::uint8_t, const char*, const char*, std::uint16_t, std::uint8_t*) {
    return 1;
}

TEST_F(Probes, AHealthyModuleIsAskedAndLoadedTwice) {
    UrlPatternsCalls calls{Harmless, Starts, Ends};
    ProbeModule(probe, calls);
    EXPECT_THAT(report.findings, IsEmpty());
    EXPECT_THAT(report.notes, IsEmpty());
    EXPECT_EQ(world.reloads, 1);
    EXPECT_THAT(report.calls,
                ElementsAre("WSInitUrlsig", "WSCheckURLMaliciousPattern", "WSCheckURLMaliciousPattern on 8 threads",
                            "WSCheckURLMaliciousPattern again and again", "WSDeInitUrlsig", "its second load",
                            "WSInitUrlsig", "WSDeInitUrlsig"));
}

TEST_F(Probes, AModuleThatDoesNotLoadAgainIsFound) {
    UrlPatternsCalls calls{Harmless, Starts, Ends};
    world.failsFrom = 1;
    ProbeModule(probe, calls);
    EXPECT_THAT(report.findings, ElementsAre(Says("", "second time")));
}

std::uint8_t TARN_CALL ForgetsToStart() {
    return 0;
}
TEST_F(Probes, AnOptionalModuleMayRefuseToStart) {
    UrlPatternsCalls calls{Harmless, ForgetsToStart, Ends};
    ProbeModule(probe, calls);
    EXPECT_THAT(report.findings, IsEmpty());
    EXPECT_THAT(report.notes, ElementsAre(Says("WSInitUrlsig", "fails")));
}

std::uint8_t TARN_CALL DiffersByThread(std::uint8_t, const char*, const char*, std::uint16_t, std::uint8_t* malicious) {
    static const std::thread::id first = std::this_thread::get_id();
    *malicious = std::this_thread::get_id() == first ? 0 : 1;
    return 1;
}
TEST_F(Probes, AnswersThatDifferUnderThreadsAreFound) {
    UrlPatternsCalls calls{DiffersByThread, Starts, Ends};
    ProbeModule(probe, calls);
    EXPECT_THAT(report.findings, ElementsAre(Says("WSCheckURLMaliciousPattern", "on 8 threads at once differ")));
}

std::uint8_t TARN_CALL Throws(std::uint8_t, const char*, const char*, std::uint16_t, std::uint8_t*) {
    throw 1;
}
TEST_F(Probes, AnExceptionIsFound) {
    UrlPatternsCalls calls{Throws, Starts, Ends};
    ProbeModule(probe, calls);
    EXPECT_THAT(report.findings, ElementsAre(Says("WSCheckURLMaliciousPattern", "throws an exception")));
}

std::uint8_t TARN_CALL Loses(std::uint8_t* status) {
    FakeWorld::lost += 40;
    *status = 1;
    return 1;
}
TEST_F(Probes, WhatStaysBehindInEachRoundIsFound) {
    AgentStatusReaderCalls calls{Loses};
    ProbeModule(probe, calls);
    EXPECT_THAT(report.findings, ElementsAre(Says("GetYALStatus", "leaves 40 bytes behind in each round (100 rounds")));
}

std::uint8_t TARN_CALL GrowsOnce(std::uint8_t*) {
    static int calls = 0;
    if (++calls == 40) FakeWorld::lost += 100000;
    return 1;
}
TEST_F(Probes, WhatGrowsOnceIsNoLeak) {
    AgentStatusReaderCalls calls{GrowsOnce};
    ProbeModule(probe, calls);
    EXPECT_THAT(report.findings, IsEmpty());
}

std::uint8_t TARN_CALL Overruns(std::uint8_t* status) {
    std::memset(status, 0, 5);
    return 1;
}
TEST_F(Probes, WritingBehindTheOutputIsFound) {
    AgentStatusReaderCalls calls{Overruns};
    ProbeModule(probe, calls);
    EXPECT_THAT(report.findings, ElementsAre(Says("GetYALStatus", "writes 4 bytes behind its output of 1")));
}

std::uint8_t TARN_CALL Refuses(std::uint8_t*) {
    return 0;
}
TEST_F(Probes, ARefusalIsANote) {
    AgentStatusReaderCalls calls{Refuses};
    ProbeModule(probe, calls);
    EXPECT_THAT(report.findings, IsEmpty());
    EXPECT_THAT(report.notes, ElementsAre(Says("GetYALStatus", "says no")));
}

}  // namespace
}  // namespace tarn::host
