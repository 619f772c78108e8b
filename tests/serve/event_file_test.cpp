// The file of the events: rotation by size, and what happens when it cannot be written.
#include "host/serve/event_file.h"

#include <fstream>
#include <gmock/gmock.h>
#include <iterator>

#include "host/file_path.h"

namespace tarn::host::serve {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

class EventFiles : public testing::Test {
 protected:
    EventFiles()
        : folder_(std::filesystem::temp_directory_path() /
                  ("tarn_events_" + std::to_string(std::chrono::steady_clock::now().time_since_epoch().count()))) {
        std::filesystem::create_directory(folder_);
    }
    ~EventFiles() override {
        std::error_code ignored;
        std::filesystem::remove_all(folder_, ignored);
    }
    std::string Read(const std::string& name) const {
        std::ifstream file(folder_ / name, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    EventFile::Complain Complain() {
        return [this](const std::string& mistake) { mistakes_.push_back(mistake); };
    }

    std::filesystem::path folder_;
    std::vector<std::string> mistakes_;
};

TEST_F(EventFiles, AreRotatedBySizeAndTheOldestIsRemoved) {
    EventFile file(FromPath(folder_ / "events"), 10, 3, Complain());
    for (const char* line : {"first", "two", "third", "fourth", "fifth", "six"}) file.Write(line);
    file.Flush();
    EXPECT_EQ(Read("events"), "fifth\nsix\n");
    EXPECT_EQ(Read("events.1"), "fourth\n");
    EXPECT_EQ(Read("events.2"), "third\n");
    EXPECT_FALSE(std::filesystem::exists(folder_ / "events.3"));
    EXPECT_THAT(mistakes_, IsEmpty());
}

TEST_F(EventFiles, GoOnWhereAnEarlierRunEnded) {
    EventFile(FromPath(folder_ / "events"), 100, 2, Complain()).Write("one");
    EventFile(FromPath(folder_ / "events"), 100, 2, Complain()).Write("two");
    EXPECT_EQ(Read("events"), "one\ntwo\n");
}

TEST_F(EventFiles, AreOneWhenOneIsKept) {
    EventFile file(FromPath(folder_ / "events"), 4, 1, Complain());
    file.Write("one");
    file.Write("two");
    file.Flush();
    EXPECT_EQ(Read("events"), "two\n");
    EXPECT_FALSE(std::filesystem::exists(folder_ / "events.1"));
}

TEST_F(EventFiles, ThatCannotBeWrittenAreToldOnce) {
    std::filesystem::create_directory(folder_ / "events");
    EventFile file(FromPath(folder_ / "events"), 100, 2, Complain());
    for (int i = 0; i < 100; ++i) file.Write("line");
    ASSERT_THAT(mistakes_, SizeIs(1));
    EXPECT_THAT(mistakes_[0], HasSubstr("cannot be written"));
    EXPECT_THAT(mistakes_[0], HasSubstr("the filter goes on"));
}

// As a program on Windows does that holds it open: here a folder stands in the way.
TEST_F(EventFiles, ThatCannotBeRenamedGrowAndNoOlderOneGoes) {
    EventFile file(FromPath(folder_ / "events"), 10, 3, Complain(), std::chrono::milliseconds(0));
    for (const char* line : {"oldest123", "older1234", "current12"}) file.Write(line);
    std::filesystem::create_directories(folder_ / "events.0" / "held");
    for (int i = 0; i < 5; ++i) file.Write("more");
    file.Flush();
    EXPECT_EQ(Read("events"), "current12\nmore\nmore\nmore\nmore\nmore\n");
    EXPECT_EQ(Read("events.1"), "older1234\n");
    EXPECT_EQ(Read("events.2"), "oldest123\n");
    ASSERT_THAT(mistakes_, SizeIs(1));
    EXPECT_THAT(mistakes_[0], HasSubstr("cannot be renamed"));
    std::filesystem::remove_all(folder_ / "events.0");
    file.Write("last");
    file.Flush();
    EXPECT_EQ(Read("events"), "last\n");
    EXPECT_EQ(Read("events.1"), "current12\nmore\nmore\nmore\nmore\nmore\n");
    EXPECT_EQ(Read("events.2"), "older1234\n");
}

TEST_F(EventFiles, StayWhereAnOlderOneIsHeld) {
    EventFile file(FromPath(folder_ / "events"), 10, 3, Complain(), std::chrono::milliseconds(0));
    for (const char* line : {"older1234", "current12"}) file.Write(line);
    std::filesystem::create_directories(folder_ / "events.2" / "held");  // cannot be removed
    for (int i = 0; i < 3; ++i) file.Write("more");
    file.Flush();
    EXPECT_EQ(Read("events"), "current12\nmore\nmore\nmore\n");
    EXPECT_EQ(Read("events.1"), "older1234\n");
    EXPECT_THAT(mistakes_, SizeIs(1));
}

}  // namespace
}  // namespace tarn::host::serve
