// Lines on their way to a file or a terminal: a queue of bounded size, and a thread that writes, so that whoever has a
// line never waits for a slow disk or for a reader that pauses. What finds no room is counted and told in its place.
// Any thread may put; End is for the owner.
#ifndef TARN_HOST_SERVE_LINE_WRITER_H
#define TARN_HOST_SERVE_LINE_WRITER_H

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace tarn::host::serve {

class LineWriter {
 public:
    static constexpr std::size_t kMostBytes = std::size_t{4} * 1024 * 1024;  // that wait
    static constexpr std::chrono::seconds kEndLimit{3};

    // Called on the writer's thread alone.
    struct Sink {
        std::function<void(const std::string& line)> write;
        std::function<void()> flush;  // after all that was there is written
    };

    explicit LineWriter(Sink sink, std::size_t mostBytes = kMostBytes);
    ~LineWriter();
    LineWriter(const LineWriter&) = delete;
    LineWriter& operator=(const LineWriter&) = delete;

    void Put(const std::string& line);
    // Writes what waits; nothing is taken afterwards. False when the sink has not given the thread back in that time:
    // the thread stays in it then, and what the sink uses has to live as long as the process.
    bool End(std::chrono::milliseconds limit = kEndLimit);

    [[nodiscard]] std::uint64_t Lost() const;

 private:
    struct State;
    std::shared_ptr<State> state_;  // of the thread, too
};

}  // namespace tarn::host::serve

#endif
