// Lines that wait for a slow reader: nobody else does, and what had no room is told.
#include "host/serve/line_writer.h"

#include <gmock/gmock.h>
#include <mutex>
#include <vector>

#include "serve/gate.h"
#include "serve/running_server.h"

namespace tarn::host::serve {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;
using testing::StartsWith;

// A reader that takes nothing until it is told to.
struct PausedReader {
    Gate mayRead;
    std::vector<std::string> lines;  // after End
    int flushes = 0;
    LineWriter::Sink Sink() {
        return {[this](const std::string& line) {
                    mayRead.Wait();
                    lines.push_back(line);
                },
                [this] { ++flushes; }};
    }
    void GoOn() { mayRead.Open(); }
};

TEST(LineWriter, WritesAllInOrderAndFlushes) {
    PausedReader reader;
    reader.GoOn();
    LineWriter writer(reader.Sink());
    for (const char* line : {"one", "two", "three"}) writer.Put(line);
    EXPECT_TRUE(writer.End());
    EXPECT_THAT(reader.lines, ElementsAre("one", "two", "three"));
    EXPECT_GE(reader.flushes, 1);
    EXPECT_EQ(writer.Lost(), 0U);
}

TEST(LineWriter, CountsWhatHasNoRoomAndTellsItInItsPlace) {
    PausedReader reader;
    LineWriter writer(reader.Sink(), 100);
    const std::string line(40, 'x');
    for (int i = 0; i < 7; ++i) writer.Put(line);
    EXPECT_EQ(writer.Lost(), 5U);
    reader.GoOn();
    EXPECT_TRUE(writer.End());
    ASSERT_THAT(reader.lines, SizeIs(3));
    EXPECT_EQ(reader.lines[1], line);
    EXPECT_THAT(reader.lines[2], StartsWith("{\"type\":\"error\",\"version\":1,"));
    EXPECT_THAT(reader.lines[2], HasSubstr("5 events are missing here"));
}

TEST(LineWriter, EndsWithoutAReaderThatNeverReads) {
    const auto reader = std::make_shared<PausedReader>();
    {
        LineWriter writer({[reader](const std::string&) { reader->mayRead.Wait(); }, [] {}});
        writer.Put("line");
        EXPECT_FALSE(writer.End(std::chrono::milliseconds(50)));
        writer.Put("taken no more");
        reader->GoOn();
    }
}

TEST(LineWriter, PageComesWhileTheOutputIsNotRead) {
    Origin origin(EchoRequests);
    RunningServer server;
    PausedReader reader;
    LineWriter writer(reader.Sink(), 4000);
    const auto printing = server.TheFilter().Events().Subscribe([&](const std::string& line) { writer.Put(line); });
    Peer client(server.Port());
    for (int i = 0; i < 50; ++i) {
        client.Send(Get("site.example", origin.Port()));
        ASSERT_THAT(client.ReadAnswer(), StartsWith("HTTP/1.1 200 "));
    }
    EXPECT_GT(writer.Lost(), 0U);
    reader.GoOn();
    EXPECT_TRUE(writer.End());
}

}  // namespace
}  // namespace tarn::host::serve
