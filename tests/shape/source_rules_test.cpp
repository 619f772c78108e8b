#include "shape/source_rules.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace tarn::shape {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

TEST(IncludesOf, FindsBothFormsAndNothingElse) {
    EXPECT_THAT(IncludesOf("#include <span>\n  #  include \"base/text.h\"  // why\n// see #include <map>\n#define X\n"),
                ElementsAre("<span>", "\"base/text.h\""));
}

TEST(CheckLayers, LooksDownOnly) {
    EXPECT_THAT(CheckLayers({"src/url/a.cpp", "#include \"network/b.h\"\n#include \"url/c.h\"\n#include <map>\n"}),
                IsEmpty());
    EXPECT_THAT(CheckLayers({"src/base/a.cpp", "#include \"tarn/records.h\"\n"}), IsEmpty());
    EXPECT_THAT(CheckLayers({"src/network/a.cpp", "#include \"url/b.h\"\n"}), ElementsAre(HasSubstr("not below")));
    EXPECT_THAT(CheckLayers({"src/base/a.h", "#include \"api/library.h\"\n"}), ElementsAre(HasSubstr("not below")));
}

TEST(CheckLayers, NeighboursDoNotKnowEachOther) {
    EXPECT_THAT(CheckLayers({"src/smb/a.cpp", "#include \"parental/b.h\"\n"}), ElementsAre(HasSubstr("not below")));
    EXPECT_THAT(CheckLayers({"src/parental/a.cpp", "#include \"smb/b.h\"\n"}), ElementsAre(HasSubstr("not below")));
}

TEST(CheckLayers, AnIncludeNamesItsLayer) {
    EXPECT_THAT(CheckLayers({"src/url/a.cpp", "#include \"b.h\"\n"}), ElementsAre(HasSubstr("names no layer")));
    EXPECT_THAT(CheckLayers({"src/url/a.cpp", "#include \"../host/b.h\"\n"}), ElementsAre(HasSubstr("names no layer")));
    EXPECT_THAT(CheckLayers({"src/cellar/a.cpp", ""}), ElementsAre(HasSubstr("no known layer")));
}

TEST(CheckSystemHeaders, StandInFilesNamedForThem) {
    const std::string text = "#include <Windows.h>\n";
    for (const char* path :
         {"src/base/a_win32.cpp", "tests/base/a_win32_test.cpp", "src/base/win32_owners.h", "src/api/dll_main.cpp",
          "host/console_win32.cpp", "companions/memory_win32.h", "examples/host/main.c"})
        EXPECT_THAT(CheckSystemHeaders({path, text}), IsEmpty()) << path;
    for (const char* path : {"src/base/a.cpp", "src/base/a_win32.h", "src/url/dll_main.cpp", "host/main.cpp",
                             "tests/base/a_test.cpp", "include/tarn/records.h"})
        EXPECT_THAT(CheckSystemHeaders({path, text}), ElementsAre(HasSubstr(path))) << path;
    EXPECT_THAT(CheckSystemHeaders({"src/url/a.cpp", "#include <wtsapi32.h>\n#include <winsock2.h>\n"}),
                testing::SizeIs(2));
}

TEST(CheckParserHeaders, StandInThreeFiles) {
    const std::string text = "#include <CLI/CLI.hpp>\n#include <map>\n";
    for (const char* path : {"host/command_line.cpp", "host/commands/options.cpp", "host/program_shape.cpp"})
        EXPECT_THAT(CheckParserHeaders({path, text}), IsEmpty()) << path;
    for (const char* path : {"host/commands/options.h", "host/commands/url_command.cpp", "tests/host/shell_test.cpp"})
        EXPECT_THAT(CheckParserHeaders({path, text}), ElementsAre(HasSubstr(path))) << path;
    EXPECT_THAT(CheckParserHeaders({"host/a.cpp", "#include \"CLI/App.hpp\"\n"}), testing::SizeIs(1));
    EXPECT_THAT(CheckParserHeaders({"host/a.cpp", "#include \"host/commands/options.h\"\n"}), IsEmpty());
}

TEST(CheckAbsoluteIncludes, RefusesRootsAndDrives) {
    EXPECT_THAT(CheckAbsoluteIncludes({"a.cpp", "#include </usr/include/fmt/core.h>\n"}), testing::SizeIs(1));
    EXPECT_THAT(CheckAbsoluteIncludes({"a.cpp", "#include \"C:/fmt/core.h\"\n"}), testing::SizeIs(1));
    EXPECT_THAT(CheckAbsoluteIncludes({"a.cpp", "#include <fmt/core.h>\n"}), IsEmpty());
}

std::string Guarded(const std::string& guard) {
    return "// What for.\n#ifndef " + guard + "\n#define " + guard + "\n#endif\n";
}

TEST(CheckGuard, SaysFolderAndFile) {
    EXPECT_THAT(CheckGuard({"src/url/url_scan.h", Guarded("TARN_URL_URL_SCAN_H")}), IsEmpty());
    EXPECT_THAT(CheckGuard({"include/tarn/tarn.h", Guarded("TARN_H")}), IsEmpty());
    EXPECT_THAT(CheckGuard({"include/tarn/records.h", Guarded("TARN_RECORDS_H")}), IsEmpty());
    EXPECT_THAT(CheckGuard({"tests/url/fixture.h", Guarded("TARN_TESTS_URL_FIXTURE_H")}), IsEmpty());
    EXPECT_THAT(CheckGuard({"host/replay.h", Guarded("TARN_HOST_REPLAY_H")}), IsEmpty());
    EXPECT_THAT(CheckGuard({"src/url/url_scan.h", Guarded("TARN_URL_SCAN_H")}), testing::SizeIs(1));
    EXPECT_THAT(CheckGuard({"src/url/a.h", "#ifndef TARN_URL_A_H\n#define TARN_URL_B_H\n#endif\n"}),
                testing::SizeIs(1));
    EXPECT_THAT(CheckGuard({"src/url/a.h", "#pragma once\n"}), testing::SizeIs(1));
}

TEST(CheckGuardsDiffer, NamesBothOwners) {
    const std::vector<SourceFile> files = {{"src/url/a.h", Guarded("TARN_URL_A_H")},
                                           {"tests/url/a.h", Guarded("TARN_URL_A_H")},
                                           {"tests/url/b.h", Guarded("TARN_TESTS_URL_B_H")}};
    EXPECT_THAT(CheckGuardsDiffer(files), ElementsAre("tests/url/a.h has the guard of src/url/a.h"));
}

TEST(CheckLength, CountsLines) {
    EXPECT_THAT(CheckLength({"a.cpp", std::string(kMaxLines, '\n')}), IsEmpty());
    EXPECT_THAT(CheckLength({"a.cpp", std::string(kMaxLines + 1, '\n')}), testing::SizeIs(1));
}

TEST(CheckUnlocked, OnlyTheParentalTablesAreReadWithoutTheirLock) {
    EXPECT_THAT(CheckUnlocked({"src/url/a.cpp", "use(flag.Unlocked());"}), testing::SizeIs(1));
    EXPECT_THAT(CheckUnlocked({"src/api/parental_tables.h", "tables_.Unlocked().settings"}), IsEmpty());
}

TEST(CheckThreadLocal, OnlyTheLibraryIsBound) {
    EXPECT_THAT(CheckThreadLocal({"src/url/a.cpp", "static thread_local int x;"}), testing::SizeIs(1));
    EXPECT_THAT(CheckThreadLocal({"src/url/a.cpp", "not_thread_local_at_all"}), IsEmpty());
    EXPECT_THAT(CheckThreadLocal({"host/a.cpp", "thread_local int x;"}), IsEmpty());
}

TEST(CheckByteIndexing, FindsWhatIsDeclaredAsBytes) {
    const auto check = [](const std::string& text) { return CheckByteIndexing({"src/smb/a.cpp", text}); };
    EXPECT_THAT(check("int F(base::Bytes frame) { return frame[0]; }"),
                ElementsAre("src/smb/a.cpp indexes the bytes 'frame'"));
    EXPECT_THAT(check("int F(const Bytes& frame) { return frame.data()[1] + frame[2]; }"), testing::SizeIs(2));
    EXPECT_THAT(check("base::Bytes a;\nint F() { return (a[0]); }"), testing::SizeIs(1));
    EXPECT_THAT(check("int F(base::Bytes frame); // frame[0]"), IsEmpty());
    EXPECT_THAT(check("int F(base::Bytes frame, int* x) { return x[frame.size()]; }"), IsEmpty());
    EXPECT_THAT(check("int F(base::Bytes frame, int* myframe) { return myframe[0]; }"), IsEmpty());
    EXPECT_THAT(check("int F(base::Bytes bytes, const Address& a) { return a.bytes[0]; }"), IsEmpty());
    EXPECT_THAT(check("int F(TheBytes frame) { return frame[0]; }"), IsEmpty());
}

TEST(CheckByteIndexing, TheReaderAndTheTestsMayIndex) {
    const std::string text = "int F(base::Bytes frame) { return frame[0]; }";
    EXPECT_THAT(CheckByteIndexing({"host/a.cpp", text}), testing::SizeIs(1));
    EXPECT_THAT(CheckByteIndexing({"src/base/byte_reader.h", text}), IsEmpty());
    EXPECT_THAT(CheckByteIndexing({"tests/a.cpp", text}), IsEmpty());
}

TEST(CheckQuirks, ANamedTestExists) {
    const std::vector<SourceFile> tests = {{"tests/a_test.cpp", "TEST(Ids, ReadFails_TurnsStatusOff) {"}};
    const auto check = [&](const std::string& text) { return CheckQuirks({"src/url/a.cpp", text}, tests); };
    EXPECT_THAT(check("// QUIRK: off.  Test: ReadFails_TurnsStatusOff\n"), IsEmpty());
    EXPECT_THAT(check("    // QUIRK: off,\n    // in two lines.  Test: Ids.ReadFails_TurnsStatusOff\n"), IsEmpty());
    EXPECT_THAT(check("// QUIRK: off. Test: ReadFails_TurnsStatusOff. More.\n"), IsEmpty());
    EXPECT_THAT(check("// QUIRK: off.\nint x;  // Test: ReadFails_TurnsStatusOff\n"),
                ElementsAre("src/url/a.cpp:1 marks a quirk and names no test"));
    EXPECT_THAT(check("\n// QUIRK: off.  Test: ReadFails\n"),
                ElementsAre("src/url/a.cpp:2: there is no test ReadFails"));
    EXPECT_THAT(check("// QUIRK: a.\n// QUIRK: b.  Test: ReadFails_TurnsStatusOff\n"), testing::SizeIs(1));
}

TEST(CheckQuirks, OnlyATestCaseCountsAsATest) {
    const auto accepts = [](const std::string& test) {
        return CheckQuirks({"src/url/a.cpp", "// QUIRK: off.  Test: Name\n"}, {{"tests/a_test.cpp", test}}).empty();
    };
    for (const char* test : {"TEST(Suite, Name) {", "TEST_F(Suite, Name) {", "TEST_P(Suite, Name) {",
                             "TYPED_TEST(Suite, Name) {", "TEST_F(Suite,\n       Name) {"})
        EXPECT_TRUE(accepts(test)) << test;
    for (const char* text :
         {"// Name\n", "Name();", "TEST(Name, Other) {", "TEST(Suite, NameLonger) {", "TEST(Suite, ALongerName) {",
          "INSTANTIATE_TEST_SUITE_P(Suite, Name)", "MY_TEST(Suite, Name) {", "TEST(Suite) { Call(1, Name); }"})
        EXPECT_FALSE(accepts(text)) << text;
}

}  // namespace
}  // namespace tarn::shape
