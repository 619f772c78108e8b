// Names that are looked up while others wait: nobody holds anybody else up.
#include "host/serve/name_lookup.h"

#include <atomic>
#include <gmock/gmock.h>
#include <map>
#include <mutex>

#include "serve/gate.h"
#include "serve/serve_world.h"

namespace tarn::host::serve {
namespace {

using testing::HasSubstr;

// Answers by 192.0.2.1, "dead..." by nothing, "slow..." when it is let go.
class Names : public testing::Test {
 protected:
    ~Names() override { GoOn(); }
    NameLookup::Ask Asker() {
        return [state = state_](const std::string& name) -> FoundName {
            ++state->asked;
            if (name.starts_with("slow")) state->mayAnswer.Wait();
            if (name.starts_with("dead")) return {{}, "it is dead"};
            return {{*ParseIpAddress("192.0.2.1")}, {}};
        };
    }
    void GoOn() { state_->mayAnswer.Open(); }
    void Find(NameLookup& names, const std::string& name, const char* client = "192.0.2.7") {
        names.Find(name, *ParseIpAddress(client), [this, name](const FoundName& found) {
            const std::lock_guard lock(mutex_);
            found_[name].push_back(found.addresses.empty() ? found.mistake : FormatIpAddress(found.addresses.front()));
        });
    }
    std::vector<std::string> Found(const std::string& name) {
        const std::lock_guard lock(mutex_);
        return found_[name];
    }
    bool HasFound(const std::string& name, std::size_t count) {
        return Eventually([&] { return Found(name).size() == count; });
    }

    struct State {
        std::atomic<int> asked = 0;
        Gate mayAnswer;
    };
    std::shared_ptr<State> state_ = std::make_shared<State>();  // of threads that are left behind, too
    std::mutex mutex_;
    std::map<std::string, std::vector<std::string>> found_;
    ServeWorld world_;
};

TEST_F(Names, AreAskedForOnceByAllWhoWait) {
    NameLookup names(world_.io, Asker());
    for (int i = 0; i < 6; ++i) Find(names, "slow.example");
    Find(names, "site.example");
    EXPECT_TRUE(HasFound("site.example", 1));
    EXPECT_EQ(state_->asked, 2);
    GoOn();
    EXPECT_TRUE(HasFound("slow.example", 6));
    EXPECT_EQ(state_->asked, 2);
    Find(names, "slow.example");  // it is remembered
    EXPECT_TRUE(HasFound("slow.example", 7));
    EXPECT_EQ(state_->asked, 2);
}

TEST_F(Names, WithoutAnAnswerAreNotAskedForAgainAtOnce) {
    NameLookup names(world_.io, Asker(), {1, 8, 10s, 30s, 200ms});
    Find(names, "dead.example");
    EXPECT_TRUE(HasFound("dead.example", 1));
    Find(names, "dead.example");
    EXPECT_TRUE(HasFound("dead.example", 2));
    EXPECT_EQ(Found("dead.example")[1], "it is dead");
    EXPECT_EQ(state_->asked, 1);
    EXPECT_TRUE(Eventually([&] {
        Find(names, "dead.example");
        return state_->asked == 2;
    }));
}

TEST_F(Names, KeepNobodyWaitingForLong) {
    NameLookup names(world_.io, Asker(), {1, 4, 50ms, 30s, 5s});
    Find(names, "slow.example");
    Find(names, "other.example");  // there is no thread
    EXPECT_TRUE(HasFound("slow.example", 1));
    EXPECT_TRUE(HasFound("other.example", 1));
    EXPECT_THAT(Found("other.example")[0], HasSubstr("still looked up"));
    Find(names, "slow-third.example");  // the one that nobody waits for any more leaves its place
    EXPECT_TRUE(HasFound("slow-third.example", 1));
    EXPECT_THAT(Found("slow-third.example")[0], HasSubstr("still looked up"));
    EXPECT_LE(state_->asked, 1) << "there is one thread";
}

TEST_F(Names, OfOneClientHoldUpNoOther) {
    NameLookup names(world_.io, Asker(), {16, 256, 60s, 30s, 5s});
    for (int i = 0; i < 40; ++i) Find(names, "slow" + std::to_string(i) + ".example");
    EXPECT_TRUE(Eventually([&] { return state_->asked == 8; })) << "half of the threads";
    Find(names, "site.example", "192.0.2.8");
    EXPECT_TRUE(HasFound("site.example", 1));
    Find(names, "slow39.example", "192.0.2.8");  // the first client's turn has not come
    EXPECT_TRUE(Eventually([&] { return state_->asked == 10; }));
    Find(names, "other.example");
    EXPECT_TRUE(Found("other.example").empty());
    GoOn();
    EXPECT_TRUE(HasFound("other.example", 1));
    EXPECT_TRUE(HasFound("slow39.example", 2));
    EXPECT_TRUE(Eventually([&] { return state_->asked == 42; })) << "each once";
}

TEST_F(Names, OfOneClientLeaveRoomForOthers) {
    NameLookup names(world_.io, Asker(), {1, 8, 60s, 30s, 5s});
    for (int i = 0; i < 5; ++i) Find(names, "slow" + std::to_string(i) + ".example");
    EXPECT_TRUE(HasFound("slow4.example", 1));
    EXPECT_THAT(Found("slow4.example")[0], HasSubstr("too many names"));
    Find(names, "site.example", "192.0.2.8");
    Find(names, "slow0.example", "192.0.2.8");
    EXPECT_TRUE(Found("site.example").empty()) << "it waits for the thread";
    GoOn();
    EXPECT_TRUE(HasFound("site.example", 1));
    EXPECT_TRUE(HasFound("slow0.example", 2));
    EXPECT_EQ(state_->asked, 5);
}

TEST_F(Names, EndWithoutWaitingForTheSystem) {
    auto begin = std::chrono::steady_clock::now();
    {
        NameLookup names(world_.io, Asker());
        Find(names, "slow.example");
        EXPECT_TRUE(Eventually([&] { return state_->asked == 1; }));
        begin = std::chrono::steady_clock::now();
    }
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 10s);
    EXPECT_TRUE(Found("slow.example").empty());
}

}  // namespace
}  // namespace tarn::host::serve
