// tarnhost logon: which events go to the library, and which rule of the policy explains its answer.
#include <cstring>
#include <filesystem>
#include <gmock/gmock.h>

#include "host/fake_machine.h"
#include "host/logon_rule.h"
#include "host/session_events.h"
#include "host/temporary_file.h"
#include "policy/policy_reader.h"

namespace tarn::host {
namespace {

using testing::AllOf;
using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr const char* kGrid =
    "[parental]\nmode = 2\n[[parental.users]]\naccount = \"anna\"\ncontrolled = true\nuse_hour_grid = true\n"
    "hours = { saturday = [14] }\n";
constexpr const char* kAllowance =
    "[parental]\nmode = 1\n[[parental.users]]\ncontrolled = true\nallowance = { saturday = 2 }\n";

SidBytes Sid(const char* text) {
    SidBytes sid{};
    EXPECT_TRUE(policy::SidOfText(text, sid));
    return sid;
}

LogonRule RuleFor(const std::string& policyText) {
    FakeMachine machine;
    const auto read = policy::ParsePolicy(policyText, [&](const std::string& name, SidBytes& sid) {
        Account account;
        const bool isKnown = machine.FindAccount(name, account);
        sid = account.sid;
        return isKnown;
    });
    EXPECT_THAT(read.mistakes, IsEmpty()) << policyText;
    return FindLogonRule(read.policy, Sid("S-1-5-21-1-2-3-1001"), machine.now);
}

TEST(LogonRule, IsThatOfTheAccountsEntry) {
    EXPECT_EQ(RuleFor("").kind, LogonRuleKind::kAbsent);
    EXPECT_EQ(RuleFor("parental.mode = 1").kind, LogonRuleKind::kNotListed);
    EXPECT_EQ(RuleFor("[parental]\nmode = 2\n[[parental.users]]\naccount = \"S-1-5-9\"\ncontrolled = true").kind,
              LogonRuleKind::kNotListed);
    EXPECT_EQ(RuleFor("[parental]\nmode = 1\n[[parental.users]]\nprofile = true").kind, LogonRuleKind::kNotChecked);
    EXPECT_EQ(RuleFor("[parental]\nmode = 1\n[[parental.users]]\ncontrolled = true\nexempt = true").kind,
              LogonRuleKind::kExempt);
    EXPECT_EQ(RuleFor(kGrid).kind, LogonRuleKind::kTimeGrid);
    const LogonRule allowance = RuleFor(kAllowance);
    EXPECT_EQ(allowance.kind, LogonRuleKind::kAllowance);
    EXPECT_EQ(allowance.allowedHours, 2u);
}

TEST(LogonRule, WithOneScheduleForAllTheFirstEntryCounts) {
    EXPECT_EQ(RuleFor("[parental]\nmode = 1\n[[parental.users]]\naccount = \"S-1-5-9\"\ncontrolled = true").kind,
              LogonRuleKind::kAllowance);
}

TEST(LogonRule, SaysWhatIsLeftAndNeverLessThanNothing) {
    const LogonRule rule = RuleFor(kAllowance);
    EXPECT_EQ(UsageWords(rule, 1), "used today: 1 minute, left: 119 minutes");
    EXPECT_EQ(UsageWords(rule, 500), "used today: 500 minutes, left: 0 minutes");
    EXPECT_EQ(UsageWords(RuleFor(kGrid), 30), "used today: 30 minutes");
    EXPECT_EQ(RefusalWords(RuleFor(kGrid)), "the time grid does not allow Saturday 14:00 to 14:59");
    EXPECT_EQ(RefusalWords(rule), "the allowance of 2 hours is used up");
}

TEST(SessionEvent, HasANameOrANumber) {
    EXPECT_EQ(ParseSessionEvent("tick"), 0u);
    EXPECT_EQ(ParseSessionEvent("logon"), 1u);
    EXPECT_EQ(ParseSessionEvent("9"), 9u);
    EXPECT_EQ(ParseSessionEvent("10"), std::nullopt);
    EXPECT_EQ(ParseSessionEvent(""), std::nullopt);
    EXPECT_EQ(ParseSessionEvent("logon "), std::nullopt);
    EXPECT_EQ(SessionEventName(3), "logoff");
    EXPECT_EQ(SessionEventName(7), "event 7");
}

TEST(SessionEvent, CarriesTheAccountAndCutsItsName) {
    const LogonEvent event = ComposeLogonEvent(1, {std::string(400, 'a'), Sid("S-1-5-21-1-2-3-1001")}, 7);
    EXPECT_EQ(std::uint32_t{event.eventCode}, 1u);
    EXPECT_EQ(std::uint32_t{event.sessionId}, 7u);
    const SidBytes sid = Sid("S-1-5-21-1-2-3-1001");
    EXPECT_EQ(std::memcmp(event.sid, sid.data(), sizeof event.sid), 0);
    char16_t name[260];
    std::memcpy(name, &event.userName, sizeof name);
    EXPECT_EQ(name[258], u'a');
    EXPECT_EQ(name[259], u'\0');
}

TEST(Account, ShowsItsIdentifierAsItIsWritten) {
    EXPECT_EQ(FormatSid(Sid("S-1-5-21-1-2-3-4294967295")), "S-1-5-21-1-2-3-4294967295");
    EXPECT_EQ(FormatSid({}), "");
    SidBytes tooMany{};
    tooMany[0] = 1;
    tooMany[1] = 16;
    EXPECT_EQ(FormatSid(tooMany), "");
}

class LogonCommand : public testing::Test {
 protected:
    explicit LogonCommand() { machine_.installFolder = policy_.Folder() + "/"; }
    Ran Run(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "logon");
        return RunWith(machine_, std::move(arguments));
    }

    FakeMachine machine_;
    TemporaryFile policy_{"tarn-policy.toml", kAllowance};
};

TEST_F(LogonCommand, ReportsALogonOfTheAccountThatItRunsAs) {
    const Ran run = Run({});
    EXPECT_EQ(run.code, 0);
    EXPECT_THAT(run.out, AllOf(HasSubstr("me, S-1-5-21-1-2-3-1000"), HasSubstr("an allowance of 2 hours on a Saturday"),
                               HasSubstr("logon             allowed")));
    ASSERT_THAT(machine_.told.events, SizeIs(1));
    EXPECT_EQ(std::uint32_t{machine_.told.events[0].eventCode}, 1u);
}

// A policy of times of use has nothing to scan URLs by, and that is no mistake.
TEST_F(LogonCommand, SaysNothingOfUrlScanning) {
    Run({});
    RunWith(machine_, {"url", "http://a.example/"});
    ASSERT_THAT(machine_.opened, SizeIs(2));
    EXPECT_FALSE(machine_.opened[0].judgesUrls);
    EXPECT_TRUE(machine_.opened[1].judgesUrls);
}

TEST_F(LogonCommand, ARefusalBySpentAllowanceNamesTheTick) {
    machine_.told.onLogon = [&](const LogonEvent&) {
        return ToldLibrary::Logon(machine_.told.events.size() > 120 ? TARN_BLOCK : TARN_ALLOW);
    };
    SavedSessionRecord saved{};
    const SidBytes sid = Sid("S-1-5-21-1-2-3-1001");
    std::memcpy(saved.sid, sid.data(), sizeof saved.sid);
    saved.usageTicks = 120;
    machine_.sessions = {SavedSessionRecord{}, saved};
    const Ran run = Run({"--user", "anna", "--ticks", "120"});
    EXPECT_EQ(run.code, 0);
    EXPECT_THAT(
        run.out,
        AllOf(HasSubstr("tick 1 to 119     allowed\n"),
              HasSubstr("tick 120          REFUSED     19 parental control: the allowance of 2 hours is used up\n"),
              HasSubstr("used today: 120 minutes, left: 0 minutes\n")));
    EXPECT_THAT(machine_.told.events, SizeIs(121));
}

TEST_F(LogonCommand, ARefusalByTheTimeGridNamesTheHour) {
    policy_.Write(kGrid);
    machine_.told.onLogon = [](const LogonEvent&) { return ToldLibrary::Logon(TARN_BLOCK); };
    auto lines = JsonLines(Run({"--user", "anna", "--json"}).out);
    ASSERT_THAT(lines, SizeIs(3));
    EXPECT_EQ(lines[0]["event"], "used");
    EXPECT_EQ(std::filesystem::path(lines[0]["file"].get<std::string>()), std::filesystem::path(policy_.Path()));
    lines.erase(lines.begin());
    EXPECT_EQ(lines[0]["account"], "anna");
    EXPECT_EQ(lines[0]["rule"], "time_grid");
    EXPECT_EQ(lines[0]["sid"], "S-1-5-21-1-2-3-1001");
    EXPECT_EQ(lines[0]["verdict"], "refused");
    EXPECT_EQ(lines[0]["reason"], 19);
    EXPECT_EQ(lines[1]["type"], "stats");
    EXPECT_EQ(lines[1]["refused"], 1);
    EXPECT_EQ(lines[0]["reason_text"], "the time grid does not allow Saturday 14:00 to 14:59");
}

TEST_F(LogonCommand, AnEventThatTheLibraryCannotEnterHasNoVerdict) {
    machine_.told.onLogon = [](const LogonEvent&) { return LogonJudgement{}; };
    EXPECT_THAT(Run({"--event", "tick"}).out, HasSubstr("tick 1            no verdict  the library knows no session"));
}

TEST_F(LogonCommand, AnUnknownAccountIsNamedBeforeTheLibraryStarts) {
    const Ran run = Run({"--user", "no\x1bone"});
    EXPECT_EQ(run.code, 1);
    EXPECT_THAT(run.errors, HasSubstr("this machine has no user account \"no\\x1bone\""));
    EXPECT_THAT(machine_.opened, IsEmpty());
    EXPECT_EQ(run.out, "");
}

TEST_F(LogonCommand, AnUnknownEventIsAMistakeOfUse) {
    const Ran run = Run({"--event", "reboot"});
    EXPECT_EQ(run.code, 2);
    EXPECT_THAT(run.errors, HasSubstr("--event reboot: logon, tick, disconnect, logoff or a number"));
}

TEST_F(LogonCommand, WithoutAPolicyTheReasonIsNotKnown) {
    machine_.installFolder = "nowhere/";
    machine_.told.onLogon = [](const LogonEvent&) { return ToldLibrary::Logon(TARN_BLOCK); };
    EXPECT_THAT(Run({}).out,
                AllOf(HasSubstr("not known: there is no policy"), HasSubstr("19 parental control: refused by")));
}

TEST(PolicyAccount, ABadIdentifierIsNoName) {
    const auto mistakes =
        policy::ParsePolicy("[[parental.users]]\naccount = \"S-1-\"\n", [](const std::string&, SidBytes&) {
            return true;
        }).mistakes;
    ASSERT_THAT(mistakes, SizeIs(1));
    EXPECT_THAT(mistakes[0].text, HasSubstr("is no account identifier"));
}

}  // namespace
}  // namespace tarn::host
