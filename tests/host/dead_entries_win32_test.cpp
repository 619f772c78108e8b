// What the linter calls dead is dead, and what it says to write instead counts: asked of the real library.
#include <gmock/gmock.h>

#include "companions/dead_entries.h"
#include "host/install_copy_win32.h"

namespace tarn::host {
namespace {

using policy::JudgedAddress;
using policy::kJudgedAddresses;
using testing::ElementsAreArray;
using testing::HasSubstr;

class DeadEntries : public testing::Test {
 protected:
    // Address and reason of each verdict under a policy.
    std::vector<std::string> Judge(const std::string& policy) const {
        install.Write(kPolicy, policy);
        std::vector<std::string> arguments = {"--json", "url"};
        for (const JudgedAddress& judged : kJudgedAddresses) arguments.emplace_back(judged.address);
        const ProgramRun run = install.Run(arguments);
        EXPECT_EQ(run.exitCode, 0U) << run.errors;
        std::vector<std::string> verdicts;
        for (const nlohmann::json& line : run.Json()) {
            if (line.value("type", "") != "verdict") continue;
            const std::size_t number = verdicts.size();
            verdicts.push_back(Said(number < std::size(kJudgedAddresses) ? kJudgedAddresses[number].address : "?",
                                    line.at("reason").get<unsigned>()));
        }
        return verdicts;
    }

    static std::string Said(const std::string& address, unsigned reason) {
        return address + " " + std::to_string(reason);
    }
    template <class Reason>
    static std::vector<std::string> Expected(Reason reason) {
        std::vector<std::string> verdicts;
        for (const JudgedAddress& judged : kJudgedAddresses) verdicts.push_back(Said(judged.address, reason(judged)));
        return verdicts;
    }

    const InstallCopy install;
};

TEST_F(DeadEntries, MatchNothing) {
    EXPECT_THAT(Judge(policy::kDeadPolicy), ElementsAreArray(Expected([](const auto& judged) { return judged.dead; })));
}

TEST_F(DeadEntries, MatchWhenTheyAreWrittenAsTheFindingsSay) {
    EXPECT_THAT(Judge(policy::kMendedPolicy),
                ElementsAreArray(Expected([](const auto& judged) { return judged.mended; })));
}

// Names are converted by Windows here.
TEST_F(DeadEntries, TheFixChangesTheVerdictsOfThoseThatItRepairsAlone) {
    install.Write("dead.toml", policy::kDeadPolicy);
    const ProgramRun run = install.Run({"policy", "--fix", install.Path("fixed.toml"), install.Path("dead.toml")});
    EXPECT_EQ(run.exitCode, 0U) << run.errors;
    EXPECT_THAT(run.out, HasSubstr("repaired: malicious_sites.host \"münchen.example\" can never match"));
    EXPECT_EQ(install.Read("dead.toml"), policy::kDeadPolicy);
    EXPECT_THAT(
        Judge(install.Read("fixed.toml")),
        ElementsAreArray(Expected([](const auto& judged) { return judged.isRepaired ? judged.mended : judged.dead; })));
}

// A schedule that is on and has no time.
TEST_F(DeadEntries, AScheduleWithoutATimeAllowsNothing) {
    EXPECT_THAT(Judge("[parental]\nmode = 1\n[[parental.users]]\n[parental.users.schedule]\non = true\n"),
                ElementsAreArray(Expected([](const auto&) { return 5U; })));
}

}  // namespace
}  // namespace tarn::host
