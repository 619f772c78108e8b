// Who came and who left, as the library is told.
#include "host/serve/machine_sessions.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "host/session_events.h"

namespace tarn::host::serve {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Sessions : public testing::Test {
 protected:
    Sessions()
        : reporter_({[this] { return now_; },
                     [](const std::string& name, Account& account) {
                         if (name == "unknown") return false;
                         account.name = name;
                         account.sid[0] = static_cast<std::uint8_t>(name.front());
                         return true;
                     },
                     Account{"own", {}},
                     [this](std::uint32_t event, const Account& account, std::uint32_t session) {
                         told_.push_back(fmt::format("{} {} {}", SessionEventName(event), account.name, session));
                     }}) {}
    std::vector<std::string> Look(std::optional<std::vector<MachineSession>> now) {
        now_ = std::move(now);
        told_.clear();
        reporter_.Look();
        return told_;
    }

    std::optional<std::vector<MachineSession>> now_;
    std::vector<std::string> told_;
    SessionReporter reporter_;
};

TEST_F(Sessions, AreToldAsTheyComeAndGo) {
    EXPECT_THAT(Look(std::vector<MachineSession>{}), IsEmpty());
    EXPECT_THAT(Look({{{1, "anna"}}}), ElementsAre("logon anna 1"));
    EXPECT_THAT(Look({{{1, "anna"}, {2, "ben"}, {3, "unknown"}}}), ElementsAre("logon ben 2"));
    EXPECT_THAT(Look({{{2, "ben"}}}), ElementsAre("logoff anna 1"));
    EXPECT_THAT(Look({{{2, "carl"}}}), ElementsAre("logoff ben 2", "logon carl 2"));
    told_.clear();
    reporter_.End();
    EXPECT_THAT(told_, ElementsAre("logoff carl 2"));
}

TEST_F(Sessions, GetATickEachMinute) {
    Look({{{1, "anna"}}});
    for (unsigned minute = 0; minute < 2; ++minute) {
        for (unsigned i = 1; i < SessionReporter::kLooksPerTick; ++i) EXPECT_THAT(Look({{{1, "anna"}}}), IsEmpty());
        EXPECT_THAT(Look({{{1, "anna"}}}), ElementsAre("tick anna 1"));
    }
}

TEST_F(Sessions, AreTheOwnWhereTheSystemCannotTell) {
    EXPECT_THAT(Look(std::nullopt), ElementsAre("logon own 1"));
    EXPECT_THAT(Look(std::nullopt), IsEmpty());
}

}  // namespace
}  // namespace tarn::host::serve
