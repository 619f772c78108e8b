// tarnhost report: what it reads, what it says of broken input, what stands in the page.
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <iterator>

#include "host/fake_machine.h"
#include "host/file_bytes.h"
#include "host/report/event_reader.h"
#include "host/temporary_file.h"

namespace tarn::host {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

using Json = nlohmann::json;

std::string Line(Json event) {
    event["version"] = 1;
    event["written"] = "2026-03-08T10:00:00.000001Z";
    return event.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

Json Request(const char* host, const char* verdict, int frame) {
    return {{"type", "verdict"},
            {"verdict", verdict},
            {"judged", "whole"},
            {"protocol", "http"},
            {"host", host},
            {"path", "/x"},
            {"reason_text", verdict == std::string("blocked") ? "malicious site" : "no rule decided"},
            {"capture", "one.pcap"},
            {"frame", frame},
            {"time", "2026-03-07T09:00:00.000000Z"},
            {"latency_ns", 1000 + frame}};
}

struct Report {
    Ran run;
    std::string page;
};
Report ReportOf(std::vector<std::string> words, std::string input = {}) {
    FakeMachine machine;
    machine.steps = {{Signal::kInput, std::move(input), [] {}}, {Signal::kInput, "", [] {}}};
    const TemporaryFile page("report.html", std::string());
    words.insert(words.begin(), "report");
    words.insert(words.end(), {"-o", page.Path()});
    Report report{RunWith(machine, std::move(words)), {}};
    std::ifstream file(std::filesystem::path(page.Path()), std::ios::binary);
    report.page.assign(std::istreambuf_iterator<char>(file), {});
    EXPECT_THAT(machine.opened, IsEmpty());  // the library has no part in it
    return report;
}

TEST(ReportCommand, WhatAFilterRefusedDidNotPass) {
    Json refused = Request("refused.example", "none", 1);
    refused["passed"] = false;
    refused["why_refused"] = "the protocol is not judged";
    Json passed = Request("passed.example", "none", 2);
    passed["passed"] = true;
    Json blocked = Request("blocked.example", "blocked", 3);
    blocked["passed"] = false;
    const auto [run, page] = ReportOf({"-"}, Line(refused) + Line(passed) + Line(blocked));
    EXPECT_EQ(run.code, 0) << run.errors;
    EXPECT_THAT(page, AllOf(HasSubstr("<b>2</b><span>blocked</span>"),
                            HasSubstr("<b>1</b><span>of them refused by the filter</span>"),
                            HasSubstr("<b>1</b><span>without a verdict</span>"),
                            HasSubstr("the protocol is not judged"), HasSubstr("\"refused\"")));
}

TEST(ReportCommand, CountsWhatTheEventsSay) {
    const TemporaryFile events(
        "events.jsonl", Line(Request("good.example", "allowed", 1)) + Line(Request("bad.example", "blocked", 2)) +
                            Line({{"type", "attack"}, {"verdict", "blocked"}, {"rule_name", "Overlong name"}}) +
                            Line({{"type", "stats"}, {"requests", 5}, {"not_examined", {{"quic", 1234}}}}));
    const auto [run, page] = ReportOf({events.Path()});
    EXPECT_EQ(run.code, 0);
    EXPECT_EQ(run.errors, "");
    EXPECT_THAT(run.out, HasSubstr("report.html: 4 events, 1 blocked, 1 attack"));
    EXPECT_THAT(page, AllOf(HasSubstr("<b>2</b><span>requests</span>"), HasSubstr("<b>1</b><span>blocked</span>"),
                            HasSubstr("Overlong name"), HasSubstr("bad.example"), HasSubstr("QUIC"), HasSubstr("1,234"),
                            HasSubstr("The runs judged 5 requests. Their events leave out 3")));
}

TEST(ReportCommand, ReadsListsPackedFilesAndStandardInput) {
    const TemporaryFile one("one.jsonl", Line(Request("one.example", "allowed", 1)));
    const TemporaryFile two("two.jsonl.gz", Packed(Line(Request("two.example", "blocked", 2))));
    const TemporaryFile list("list.txt", one.Path() + "\n" + two.Path() + "\n");
    const auto [run, page] = ReportOf({"@" + list.Path(), "-"}, Line(Request("three.example", "allowed", 3)));
    EXPECT_EQ(run.code, 0) << run.errors;
    EXPECT_THAT(page,
                AllOf(HasSubstr("<b>3</b><span>requests</span>"), HasSubstr("one.example"), HasSubstr("two.example"),
                      HasSubstr("three.example"), HasSubstr("one.jsonl, two.jsonl.gz, standard input")));
}

TEST(ReportCommand, CountsAnEventOfTwoFilesOnce) {
    const std::string both = Line(Request("both.example", "blocked", 1));
    const TemporaryFile one("one.jsonl", both);
    const TemporaryFile two("two.jsonl", both + Line(Request("other.example", "allowed", 2)));
    const auto [run, page] = ReportOf({one.Path(), two.Path()});
    EXPECT_EQ(run.code, 0);
    EXPECT_THAT(page, AllOf(HasSubstr("<b>2</b><span>requests</span>"),
                            HasSubstr("1 event stands in more than one file and is counted once")));
}

TEST(ReportCommand, NamesBrokenLinesAndGoesOn) {
    const TemporaryFile events("events.jsonl", "\n{\"type\": \n[1]\n{\"version\": 1}\n{\"type\": \"verdict\"}\n" +
                                                   std::string(report::kMostLineBytes + 1, 'x') + "\n" +
                                                   Line(Request("good.example", "allowed", 1)));
    const auto [run, page] = ReportOf({events.Path()});
    EXPECT_EQ(run.code, 1);
    EXPECT_THAT(
        run.errors,
        AllOf(HasSubstr("events.jsonl:2: this is no JSON object"), HasSubstr("events.jsonl:3: this is no JSON"),
              HasSubstr("events.jsonl:4: the event has no type"), HasSubstr("events.jsonl:5: the event is not of"),
              HasSubstr("events.jsonl:6: the line is longer than 1 MiB"), Not(HasSubstr("events.jsonl:7"))));
    EXPECT_THAT(page, AllOf(HasSubstr("<b>1</b><span>requests</span>"), HasSubstr("5 mistakes in the files"),
                            HasSubstr("events.jsonl:2: this is no JSON object")));
}

TEST(ReportCommand, NamesTwentyMistakesAndCountsTheRest) {
    std::string broken;
    for (int i = 0; i < 25; ++i) broken += "x\n";
    const TemporaryFile events("events.jsonl", broken);
    const auto [run, page] = ReportOf({events.Path()});
    EXPECT_EQ(run.code, 1);
    EXPECT_THAT(run.errors, AllOf(HasSubstr("events.jsonl:20:"), Not(HasSubstr("events.jsonl:21:")),
                                  HasSubstr("and 5 more mistakes")));
    EXPECT_THAT(page, HasSubstr("25 mistakes in the files"));
}

TEST(ReportCommand, ADamagedPackedFileIsNamed) {
    std::string packed = Packed(Line(Request("good.example", "allowed", 1)));
    packed.resize(packed.size() - 9);
    const TemporaryFile events("events.jsonl.gz", packed);
    const auto [run, page] = ReportOf({events.Path()});
    EXPECT_EQ(run.code, 1);
    EXPECT_THAT(run.errors, HasSubstr("events.jsonl.gz: the compressed file is cut off"));
}

TEST(ReportCommand, AMissingFileIsNamedAndTheOthersAreRead) {
    const TemporaryFile events("events.jsonl", Line(Request("good.example", "allowed", 1)));
    const auto [run, page] = ReportOf({"no-such.jsonl", events.Path()});
    EXPECT_EQ(run.code, 1);
    EXPECT_THAT(run.errors, HasSubstr("no-such.jsonl: cannot be opened"));
    EXPECT_THAT(page, HasSubstr("good.example"));
}

TEST(ReportCommand, WithoutAnyFileWritesNothing) {
    const auto [run, page] = ReportOf({"no-such.jsonl"});
    EXPECT_EQ(run.code, 1);
    EXPECT_EQ(page, "");
}

TEST(ReportCommand, DoesNotWriteOverWhatItReads) {
    FakeMachine machine;
    const TemporaryFile events("events.jsonl", Line(Request("good.example", "allowed", 1)));
    const Ran run = RunWith(machine, {"report", events.Path(), "-o", events.Path()});
    EXPECT_EQ(run.code, 2);
    EXPECT_THAT(run.errors, HasSubstr("this file is read; name another one"));
    EXPECT_EQ(RunWith(machine, {"report", events.Path()}).code, 2);
    EXPECT_EQ(RunWith(machine, {"report", events.Path(), "-o", "no-such-folder/x/report.html"}).code, 1);
}

TEST(ReportCommand, DoesNotWriteOverAPolicyOrWhatListsName) {
    FakeMachine machine;
    const TemporaryFile events("events.jsonl", Line(Request("good.example", "allowed", 1)));
    const TemporaryFile list("names.txt", events.Path() + "\n");
    const TemporaryFile policy("mine.toml", std::string("include = [\"bad.txt\"]\n"));
    const std::string included = (std::filesystem::path(policy.Folder()) / "bad.txt").string();
    std::ofstream(std::filesystem::path(included)) << "bad.example\n";
    for (const std::string& read : {events.Path(), list.Path(), policy.Path(), included}) {
        const std::string before = Whole(read);
        ASSERT_NE(before, "");
        const Ran run = RunWith(machine, {"report", "--policy", policy.Path(), "@" + list.Path(), "-o", read});
        EXPECT_EQ(run.code, 2) << read;
        EXPECT_THAT(run.errors, HasSubstr("this file is read; name another one"));
        EXPECT_EQ(Whole(read), before) << read;
    }
}

// What cannot be written leaves the page of yesterday and nothing beside it.
TEST(ReportCommand, ReplacesAnEarlierPageAsAWhole) {
    FakeMachine machine;
    const TemporaryFile events("events.jsonl", Line(Request("good.example", "allowed", 1)));
    const TemporaryFile page("report.html", std::string("yesterday"));
    const auto filesBeside = [&] {
        return std::distance(std::filesystem::directory_iterator(page.Folder()), std::filesystem::directory_iterator());
    };
    EXPECT_EQ(RunWith(machine, {"report", "no-such.jsonl", "-o", page.Path()}).code, 1);
    EXPECT_EQ(Whole(page.Path()), "yesterday");
    EXPECT_EQ(RunWith(machine, {"report", events.Path(), "-o", page.Path()}).code, 0);
    EXPECT_THAT(Whole(page.Path()), HasSubstr("good.example"));
    EXPECT_EQ(filesBeside(), 1);
    EXPECT_EQ(RunWith(machine, {"report", events.Path(), "-o", page.Folder()}).code, 1);
    EXPECT_EQ(filesBeside(), 1);
}

TEST(ReportCommand, PrintsThePageWhenItIsAskedTo) {
    FakeMachine machine;
    const TemporaryFile events("events.jsonl", Line(Request("good.example", "allowed", 1)));
    const Ran run = RunWith(machine, {"report", events.Path(), "-o", "-"});
    EXPECT_EQ(run.code, 0);
    EXPECT_EQ(run.out.rfind("<!doctype html>", 0), 0U);
    EXPECT_THAT(run.out, HasSubstr("</html>"));
}

TEST(ReportCommand, ListsTheEntriesOfAPolicyThatNeverDecided) {
    const TemporaryFile policy("mine.toml",
                               std::string("[white_lists]\nuser = [\"used.example\", \"idle.example\"]\n"));
    Json request = Request("used.example", "allowed", 1);
    request["entry"] = {{"list", "white_lists.user"}, {"text", "used.example"}, {"file", "mine.toml"}, {"line", 2}};
    const TemporaryFile events("events.jsonl", Line(request));
    const auto [run, page] = ReportOf({"--policy", policy.Path(), events.Path()});
    EXPECT_EQ(run.code, 0) << run.errors;
    EXPECT_THAT(page, AllOf(HasSubstr("1 of 2 entries of mine.toml decided nothing"), HasSubstr(">idle.example<")));
    const TemporaryFile broken("broken.toml", std::string("[white_list]\n"));
    EXPECT_EQ(ReportOf({"--policy", broken.Path(), events.Path()}).run.code, 1);
    EXPECT_EQ(ReportOf({"--policy", "no-such.toml", events.Path()}).run.code, 1);
}

// explain and test name entries, too, of what was only asked.
TEST(ReportCommand, CountsAnEntryForWhatItDecidedAlone) {
    const TemporaryFile policy("mine.toml",
                               std::string("[white_lists]\nuser = [\"used.example\", \"idle.example\"]\n"));
    std::string lines;
    for (const char* type : {"explain", "case", "change"})
        lines += Line(
            {{"type", type},
             {"verdict", "allowed"},
             {"entry", {{"list", "white_lists.user"}, {"text", "used.example"}, {"file", "mine.toml"}, {"line", 2}}}});
    const TemporaryFile events("events.jsonl", lines + Line(Request("good.example", "allowed", 1)));
    const auto [run, page] = ReportOf({"--policy", policy.Path(), events.Path()});
    EXPECT_EQ(run.code, 0) << run.errors;
    EXPECT_THAT(page, HasSubstr("2 of 2 entries of mine.toml decided nothing"));
}

// All that a page may not do is forbidden by its first lines, and no event gets out of its place.
TEST(ReportCommand, HostileTextsStayTexts) {
    const char* const kEvil = "</script><script>alert(1)</script><!--\u202E\x01\"'{{script}}";
    Json request = Request(kEvil, "blocked", 1);
    for (const char* field : {"path", "reason_text", "rule_text", "user", "capture", "protocol"})
        request[field] = kEvil;
    request["entry"] = {{"list", kEvil}, {"text", kEvil}, {"file", kEvil}, {"line", 1}};
    std::string lines = Line(request);
    for (const char* type : {"attack", "file", "logon", "not_examined", "policy", "error"})
        lines += Line({{"type", type},
                       {"verdict", kEvil},
                       {"what", kEvil},
                       {"rule_name", kEvil},
                       {"share", kEvil},
                       {"file", kEvil},
                       {"text", kEvil},
                       {"event", kEvil},
                       {"direction", kEvil},
                       {"action", kEvil},
                       {"account", kEvil}});
    lines += Line({{"type", "stats"}, {"not_examined", {{kEvil, 3}}}, {"latency_ns", {{kEvil, {{"calls", 3}}}}}});
    const TemporaryFile events("events.jsonl", lines);
    const auto [run, page] = ReportOf({events.Path()});
    EXPECT_EQ(run.code, 0) << run.errors;
    std::size_t scripts = 0;
    for (std::size_t at = page.find("<script"); at != std::string::npos; at = page.find("<script", at + 1)) ++scripts;
    EXPECT_EQ(scripts, 2U);  // the data and the page's own
    EXPECT_THAT(page, AllOf(Not(HasSubstr("alert(1)</script>")), Not(HasSubstr("<!--")), Not(HasSubstr("\u202E")),
                            HasSubstr("&lt;script&gt;alert(1)"), HasSubstr("default-src 'none'; style-src 'sha256-")));
}

}  // namespace
}  // namespace tarn::host
