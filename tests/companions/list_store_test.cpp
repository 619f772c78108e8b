// When lists are read again: a change of one, a new one, one that goes, one that is being written.
#include <deque>
#include <functional>
#include <gmock/gmock.h>
#include <map>

#include "policy/policy_store.h"

namespace tarn::policy {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr std::uint64_t kStart = std::uint64_t{1'000'000} * PolicyStore::kMillisecond;

// A policy and lists whose clock moves only while somebody waits.
class ScriptedFolder : public PolicyFile {
 public:
    explicit ScriptedFolder(const std::string& policy) { Save("", policy); }

    // As a save now does; the policy has no name.
    void Save(const std::string& name, const std::string& text) {
        files_[name] = {text, {text.size(), now_, 1, files_.contains(name) ? files_[name].state.file : ++lastFile_}};
    }
    void Remove(const std::string& name) { files_.erase(name); }
    void Rest() { now_ += PolicyStore::kRest; }
    void DuringWait(std::function<void()> happens) { duringWaits_.push_back(std::move(happens)); }

    bool Look(FileState& state, std::uint32_t& error) override { return LookAtList("", state, error); }
    bool Read(std::string& text, FileState& state, std::uint32_t& error) override {
        return ReadList("", text, state, error);
    }
    std::vector<std::string> ListNames(const std::string& pattern) override {
        std::vector<std::string> names;
        for (const auto& [name, file] : files_)
            if (!name.empty() && MatchesName(name, pattern)) names.push_back(name);
        return names;
    }
    bool LookAtList(const std::string& name, FileState& state, std::uint32_t& error) override {
        const auto found = files_.find(name);
        error = found == files_.end() ? kNotFound : 0;
        if (error == 0) state = found->second.state;
        return error == 0;
    }
    bool ReadList(const std::string& name, std::string& text, FileState& state, std::uint32_t& error) override {
        if (!LookAtList(name, state, error)) return false;
        ++reads[name];
        error = name == openForWriting ? PolicyStore::kSharingViolation : 0;
        if (name == tooLarge) error = 223;
        if (error != 0) return false;
        text = files_[name].text;
        return true;
    }
    bool FindSid(const std::string&, std::array<std::uint8_t, 68>&) override { return false; }
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

    std::string openForWriting = "none";
    std::string tooLarge = "none";
    std::map<std::string, int> reads;
    std::uint64_t waited = 0;
    std::vector<std::string> said;

 private:
    struct File {
        std::string text;
        FileState state;
    };
    std::map<std::string, File> files_;
    std::uint64_t now_ = kStart;
    std::uint64_t lastFile_ = 0;
    std::deque<std::function<void()>> duringWaits_;
};

class ListStore : public testing::Test {
 protected:
    // The malicious hosts of what counts now, behind one another.
    std::string Hosts() {
        error_ = 0;
        const auto policy = store_.Get(folder_, error_);
        if (policy == nullptr) return "nothing";
        std::string hosts;
        for (const MaliciousSite& site : policy->maliciousSites) hosts += site.host + " ";
        return hosts;
    }
    ListStore() {
        folder_.Save("a.txt", "a.example\n");
        folder_.Rest();
    }

    ScriptedFolder folder_{"include = [\"*.txt\"]\n"};
    PolicyStore store_;
    std::uint32_t error_ = 0;
};

TEST_F(ListStore, ReadsEachStateOnce) {
    EXPECT_EQ(Hosts(), "a.example ");
    EXPECT_EQ(Hosts(), "a.example ");
    EXPECT_EQ(folder_.reads["a.txt"], 1);
    EXPECT_EQ(folder_.reads[""], 1);
    EXPECT_EQ(folder_.waited, 0U);
}

TEST_F(ListStore, SeesAListThatChangedComesOrGoes) {
    ASSERT_EQ(Hosts(), "a.example ");
    folder_.Save("a.txt", "b.example\n");
    EXPECT_EQ(Hosts(), "b.example ");
    EXPECT_EQ(folder_.waited, PolicyStore::kRest);
    folder_.Save("c.txt", "c.example\n");
    EXPECT_EQ(Hosts(), "b.example c.example ");
    folder_.Remove("a.txt");
    EXPECT_EQ(Hosts(), "c.example ");
    folder_.Save("d.csv", "d.example\n");
    EXPECT_EQ(Hosts(), "c.example ");
    EXPECT_EQ(folder_.reads[""], 4) << "what does not match is no change";
}

TEST_F(ListStore, WaitsUntilNobodyWritesAList) {
    ASSERT_EQ(Hosts(), "a.example ");
    folder_.Save("a.txt", "");
    folder_.DuringWait([&] { folder_.Save("a.txt", "half\n"); });
    folder_.DuringWait([&] { folder_.Save("a.txt", "whole.example\n"); });
    EXPECT_EQ(Hosts(), "whole.example ");
    EXPECT_EQ(folder_.reads["a.txt"], 2) << "neither of the halves";
}

TEST_F(ListStore, AListThatIsOpenForWritingIsNotAtRest) {
    folder_.openForWriting = "a.txt";
    folder_.DuringWait([&] { folder_.openForWriting = "none"; });
    EXPECT_EQ(Hosts(), "a.example ");
    EXPECT_EQ(folder_.waited, PolicyStore::kRest);
}

TEST_F(ListStore, AListThatNeverRestsLeavesWhatWasReadBefore) {
    ASSERT_EQ(Hosts(), "a.example ");
    folder_.Save("a.txt", "b.example\n");
    folder_.Rest();
    folder_.openForWriting = "a.txt";
    EXPECT_EQ(Hosts(), "a.example ");
    EXPECT_THAT(folder_.said, ElementsAre(HasSubstr("is being written all the time: what was read before stays")));
    folder_.openForWriting = "none";
    EXPECT_EQ(Hosts(), "b.example ");
}

TEST_F(ListStore, AMissingListIsAMistakeUntilItIsThere) {
    folder_.Save("", "include = [\"gone.txt\"]\n");
    EXPECT_EQ(Hosts(), "nothing");
    EXPECT_EQ(error_, PolicyStore::kInvalidData);
    EXPECT_THAT(folder_.said, ElementsAre(AllOf(HasSubstr("tarn-policy.toml:1:12: gone.txt: cannot be read (error 2)"),
                                                HasSubstr("every feature is off"))));
    EXPECT_EQ(Hosts(), "nothing");
    folder_.Save("gone.txt", "there.example\n");
    EXPECT_EQ(Hosts(), "there.example ");
    folder_.Remove("gone.txt");
    EXPECT_EQ(Hosts(), "there.example ") << "what was read before stays";
}

TEST_F(ListStore, AListThatIsTooLargeIsAMistakeAndNotReadAgainBeforeItChanges) {
    folder_.tooLarge = "a.txt";
    EXPECT_EQ(Hosts(), "nothing");
    EXPECT_EQ(Hosts(), "nothing");
    EXPECT_EQ(folder_.reads["a.txt"], 1);
    EXPECT_THAT(folder_.said, ElementsAre(HasSubstr("a.txt: cannot be read (error 223)")));
}

TEST_F(ListStore, LinesThatAreNotUsedAreSaidOnceAndNotReadAgain) {
    folder_.Save("a.txt", "a b\na.example\n");
    EXPECT_EQ(Hosts(), "a.example ");
    EXPECT_EQ(Hosts(), "a.example ");
    EXPECT_THAT(folder_.said, ElementsAre(HasSubstr("a.txt:1: warning: 1 line not used: it is no host name")));
    for (int i = 0; i < 200; ++i) folder_.Rest();  // longer than accounts wait
    EXPECT_EQ(Hosts(), "a.example ");
    EXPECT_EQ(folder_.reads["a.txt"], 1);
}

}  // namespace
}  // namespace tarn::policy
