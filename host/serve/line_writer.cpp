#include "host/serve/line_writer.h"

#include <condition_variable>
#include <deque>
#include <fmt/format.h>
#include <mutex>
#include <thread>
#include <utility>

#include "host/event.h"

namespace tarn::host::serve {

namespace {

std::string MissingLine(std::uint64_t count) {
    Event event = BeginEvent("error");
    event["text"] = fmt::format("{} events are missing here: they came faster than they were taken", count);
    return EventLine(event);
}

}  // namespace

struct LineWriter::State {
    Sink sink;
    std::size_t most;
    mutable std::mutex mutex;
    std::condition_variable changed;
    std::deque<std::string> lines;
    std::size_t bytes = 0;      // that wait or are being written
    std::uint64_t missing = 0;  // since the last line that found room
    std::uint64_t lost = 0;
    bool isEnding = false;
    bool hasEnded = false;

    void Run() {
        std::unique_lock lock(mutex);
        for (;;) {
            changed.wait(lock, [this] { return !lines.empty() || missing != 0 || isEnding; });
            if (missing != 0) lines.push_back(MissingLine(std::exchange(missing, 0)));
            if (lines.empty()) break;
            const std::deque<std::string> taken = std::exchange(lines, {});
            lock.unlock();
            for (const std::string& line : taken) sink.write(line);
            sink.flush();
            lock.lock();
            bytes = 0;
            for (const std::string& line : lines) bytes += line.size();
        }
        hasEnded = true;
        changed.notify_all();
    }
};

LineWriter::LineWriter(Sink sink, std::size_t mostBytes) : state_(std::make_shared<State>()) {
    state_->sink = std::move(sink);
    state_->most = mostBytes;
    std::thread([state = state_] { state->Run(); }).detach();
}

LineWriter::~LineWriter() {
    End();
}

void LineWriter::Put(const std::string& line) {
    State& state = *state_;
    const std::lock_guard lock(state.mutex);
    if (state.isEnding) return;
    if (state.bytes + line.size() > state.most && state.bytes != 0) {
        ++state.missing;
        ++state.lost;
        return;
    }
    if (state.missing != 0) state.lines.push_back(MissingLine(std::exchange(state.missing, 0)));
    state.lines.push_back(line);
    state.bytes += line.size();
    state.changed.notify_all();
}

bool LineWriter::End(std::chrono::milliseconds limit) {
    State& state = *state_;
    std::unique_lock lock(state.mutex);
    state.isEnding = true;
    state.changed.notify_all();
    return state.changed.wait_for(lock, limit, [&state] { return state.hasEnded; });
}

std::uint64_t LineWriter::Lost() const {
    const std::lock_guard lock(state_->mutex);
    return state_->lost;
}

}  // namespace tarn::host::serve
