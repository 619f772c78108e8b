// When the policy file is read, and what counts when it is damaged, empty, missing or still being written.
#include "policy/policy_store.h"

#include <deque>
#include <functional>
#include <gmock/gmock.h>

namespace tarn::policy {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::uint64_t kMillisecond = PolicyStore::kMillisecond;
constexpr const char* kPhishingOn = "[features]\nanti_phishing = true\n";
constexpr const char* kPhishingOff = "[features]\nanti_phishing = false\n";
constexpr const char* kMistaken = "[features]\nanti_phishing = 1\n";
constexpr const char* kUnrelated = "[ids]\nalert = 1\n";

// A file whose clock moves only while somebody waits.
class ScriptedFile : public PolicyFile {
 public:
    explicit ScriptedFile(const std::string& text) : text_(text) { state_ = {text.size(), now_, 1, 1}; }

    // As a save now does.
    void Save(const std::string& text) {
        text_ = text;
        state_.size = text.size();
        state_.written = now_;
    }
    void Rest() { now_ += PolicyStore::kRest; }
    void Pass(std::uint64_t time) { now_ += time; }
    // What happens while the next wait lasts.
    void DuringWait(std::function<void()> happens) { duringWaits_.push_back(std::move(happens)); }

    bool Look(FileState& state, std::uint32_t& error) override {
        if (isMissing) error = 2;
        state = state_;
        return !isMissing;
    }
    bool Read(std::string& text, FileState& state, std::uint32_t& error) override {
        if (isMissing || isOpenForWriting) {
            error = isMissing ? 2 : PolicyStore::kSharingViolation;
            return false;
        }
        ++reads;
        text = text_;
        state = state_;
        return true;
    }
    bool FindSid(const std::string& asked, std::array<std::uint8_t, 68>& sid) override {
        sid.fill(0);
        ++askedAccounts;
        return asked == account;
    }
    std::uint64_t Now() override { return now_; }
    void Wait(std::uint64_t time) override {
        now_ += time;
        waited += time;
        if (duringWaits_.empty()) return;
        const auto happens = std::move(duringWaits_.front());
        duringWaits_.pop_front();
        happens();
    }
    void Say(const std::string& lines) override { said.push_back(lines); }

    [[nodiscard]] std::string Name() const override { return name; }

    std::string name{kPolicyFile};
    bool isMissing = false;
    bool isOpenForWriting = false;
    std::string account;
    int reads = 0;
    int askedAccounts = 0;
    std::uint64_t waited = 0;
    std::vector<std::string> said;

 private:
    std::uint64_t now_ = std::uint64_t{1'000'000} * kMillisecond;
    std::string text_;
    FileState state_;
    std::deque<std::function<void()>> duringWaits_;
};

class Store : public testing::Test {
 protected:
    std::shared_ptr<const Policy> Get() {
        error_ = 0;
        return store_.Get(file_, error_);
    }
    bool HasPhishingOn() {
        const auto policy = Get();
        return policy != nullptr && policy->features.antiPhishing;
    }

    ScriptedFile file_{kPhishingOn};
    PolicyStore store_;
    std::uint32_t error_ = 0;
};

TEST_F(Store, NamesTheFileThatItReads) {
    file_.name = "pv.toml";
    file_.Save(kMistaken);
    file_.Rest();
    Get();
    ASSERT_THAT(file_.said, SizeIs(1));
    EXPECT_THAT(file_.said[0], HasSubstr("pv.toml:2:17: "));
    EXPECT_THAT(file_.said[0], testing::Not(HasSubstr("tarn-policy")));
}

TEST_F(Store, ReadsEachStateOfTheFileOnce) {
    const auto first = Get();
    ASSERT_NE(first, nullptr);
    EXPECT_TRUE(first->features.antiPhishing);
    EXPECT_EQ(Get(), first);
    EXPECT_EQ(Get(), first);
    EXPECT_EQ(file_.reads, 1);
    file_.Save(kPhishingOff);
    EXPECT_FALSE(HasPhishingOn());
    EXPECT_FALSE(HasPhishingOn());
    EXPECT_EQ(file_.reads, 2);
    EXPECT_THAT(file_.said, IsEmpty());
    EXPECT_TRUE(first->features.antiPhishing) << "whoever still has it keeps it";
}

TEST_F(Store, ASaveOfTheSameSizeIsSeenByItsTime) {
    file_.Save("[features]\nanti_phishing = true #\n");
    file_.Rest();
    EXPECT_TRUE(HasPhishingOn());
    file_.Save("[features]\nanti_phishing = false\n");
    EXPECT_FALSE(HasPhishingOn());
}

TEST_F(Store, AFileAtRestIsReadAtOnce) {
    file_.Rest();
    EXPECT_NE(Get(), nullptr);
    EXPECT_EQ(file_.waited, 0U);
}

TEST_F(Store, WaitsUntilNobodyHasWrittenForAWhile) {
    file_.Rest();
    ASSERT_TRUE(HasPhishingOn());
    file_.Save("");
    file_.DuringWait([&] { file_.Save("[features]\n"); });
    file_.DuringWait([&] { file_.Save(kPhishingOff); });
    EXPECT_FALSE(HasPhishingOn());
    EXPECT_EQ(file_.reads, 2) << "neither of the halves";
    EXPECT_EQ(file_.waited, 3 * PolicyStore::kRest);
    EXPECT_THAT(file_.said, IsEmpty());
}

TEST_F(Store, AFileThatIsOpenForWritingIsNotAtRest) {
    file_.Rest();
    file_.isOpenForWriting = true;
    file_.DuringWait([&] { file_.isOpenForWriting = false; });
    EXPECT_NE(Get(), nullptr);
    EXPECT_EQ(file_.waited, PolicyStore::kRest);
}

TEST_F(Store, AFileThatNeverRestsLeavesWhatWasReadBefore) {
    ASSERT_TRUE(HasPhishingOn());
    file_.waited = 0;
    file_.Save(kPhishingOff);
    for (int i = 0; i < 100; ++i) file_.DuringWait([&] { file_.Save(kPhishingOff); });
    EXPECT_TRUE(HasPhishingOn());
    EXPECT_EQ(file_.waited, PolicyStore::kMaxWait);
    EXPECT_THAT(file_.said, ElementsAre(HasSubstr("is being written all the time: what was read before stays")));
}

TEST_F(Store, ManyQuestionsAboutAFileThatNeverRestsWaitOnce) {
    ASSERT_TRUE(HasPhishingOn());
    file_.waited = 0;
    file_.Save(kPhishingOff);
    file_.isOpenForWriting = true;
    for (int i = 0; i < 20; ++i) EXPECT_TRUE(HasPhishingOn());
    EXPECT_EQ(file_.waited, PolicyStore::kMaxWait);
    file_.Rest();
    file_.isOpenForWriting = false;
    EXPECT_FALSE(HasPhishingOn()) << "at rest at last";
    EXPECT_EQ(file_.waited, PolicyStore::kMaxWait);
}

TEST_F(Store, WithNothingFromBeforeAFileThatNeverRestsIsReadAsItStands) {
    for (int i = 0; i < 100; ++i) file_.DuringWait([&] { file_.Save(kPhishingOn); });
    EXPECT_TRUE(HasPhishingOn());
    EXPECT_EQ(file_.waited, PolicyStore::kMaxWait);
}

TEST_F(Store, ATimeInTheFutureIsNotWaitedFor) {
    file_.Pass(1'000 * kMillisecond);
    file_.Save(kPhishingOn);
    file_.Pass(0 - 900 * kMillisecond);  // the clock was put back
    EXPECT_TRUE(HasPhishingOn());
    EXPECT_EQ(file_.waited, 0U);
}

TEST_F(Store, MistakesLeaveWhatWasReadBeforeAndAreSaidOnce) {
    ASSERT_TRUE(HasPhishingOn());
    file_.Save(kMistaken);
    EXPECT_TRUE(HasPhishingOn());
    EXPECT_TRUE(HasPhishingOn());
    EXPECT_THAT(file_.said, ElementsAre(AllOf(HasSubstr("tarn-policy.toml:2:17: "),
                                              HasSubstr("is not used: what was read before stays"))));
    file_.Save(kPhishingOff);
    EXPECT_FALSE(HasPhishingOn());
}

TEST_F(Store, MistakesAtTheStartAreAnError) {
    file_.Save(kMistaken);
    EXPECT_EQ(Get(), nullptr);
    EXPECT_EQ(error_, PolicyStore::kInvalidData);
    EXPECT_EQ(Get(), nullptr);
    EXPECT_EQ(error_, PolicyStore::kInvalidData);
    EXPECT_EQ(file_.reads, 1);
    EXPECT_THAT(file_.said, ElementsAre(HasSubstr("is not used: every feature is off")));
}

TEST_F(Store, AFileThatLostEverythingLeavesWhatWasReadBefore) {
    ASSERT_TRUE(HasPhishingOn());
    for (const char* lost : {"", "# cut\n", "[features]\n", kUnrelated}) {
        file_.said.clear();
        file_.Save(lost);
        EXPECT_TRUE(HasPhishingOn()) << lost;
        EXPECT_TRUE(HasPhishingOn()) << lost;
        EXPECT_THAT(file_.said, ElementsAre(HasSubstr("sets nothing of what it set before"))) << lost;
    }
    file_.Save(std::string(kUnrelated) + kPhishingOff);
    EXPECT_FALSE(HasPhishingOn());
}

TEST_F(Store, AnEmptyFileAtTheStartIsTakenWithAWarning) {
    file_.Save("");
    EXPECT_NE(Get(), nullptr);
    EXPECT_THAT(file_.said, ElementsAre("tarn-policy.toml: warning: the file sets nothing, so nothing is blocked\n"));
}

TEST_F(Store, AMissingFileLeavesWhatWasReadBefore) {
    ASSERT_TRUE(HasPhishingOn());
    file_.isMissing = true;
    EXPECT_TRUE(HasPhishingOn());
    EXPECT_TRUE(HasPhishingOn());
    EXPECT_THAT(file_.said, ElementsAre(HasSubstr("cannot be read (error 2); what was read before stays")));
    file_.isMissing = false;
    EXPECT_TRUE(HasPhishingOn());
    EXPECT_EQ(file_.reads, 1);
}

TEST_F(Store, AFileThatWasNeverThereIsAnError) {
    file_.isMissing = true;
    EXPECT_EQ(Get(), nullptr);
    EXPECT_EQ(error_, 2U);
    EXPECT_EQ(Get(), nullptr);
    EXPECT_THAT(file_.said,
                ElementsAre(HasSubstr("every feature is off: put the policy beside the companion modules")));
    file_.isMissing = false;
    EXPECT_TRUE(HasPhishingOn());
}

TEST_F(Store, AnUnknownAccountIsLookedUpAgainAfterAMinute) {
    file_.Save(std::string(kPhishingOn) + "[parental]\nmode = 2\n[[parental.users]]\naccount = \"anna\"\n");
    EXPECT_THAT(Get()->parental.users, IsEmpty());
    EXPECT_THAT(Get()->parental.users, IsEmpty());
    EXPECT_EQ(file_.askedAccounts, 1);
    EXPECT_THAT(file_.said, ElementsAre(HasSubstr("warning: this machine has no account \"anna\"")));
    file_.account = "anna";
    file_.Pass(PolicyStore::kAccountsAgain);
    EXPECT_THAT(Get()->parental.users, SizeIs(1));
    file_.Pass(PolicyStore::kAccountsAgain);
    EXPECT_THAT(Get()->parental.users, SizeIs(1));
    EXPECT_EQ(file_.askedAccounts, 2) << "once they are known, never again";
    EXPECT_THAT(file_.said, SizeIs(1));
}

}  // namespace
}  // namespace tarn::policy
