// Says on a terminal how much of a long file has been read.
// Whether there is a terminal is left to the caller.
#ifndef TARN_HOST_PROGRESS_H
#define TARN_HOST_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <ostream>

namespace tarn::host {

class Progress {
 public:
    using Clock = std::chrono::steady_clock;
    using Now = std::function<Clock::time_point()>;

    // total: bytes of the file, 0 when unknown.
    Progress(std::ostream& out, std::uint64_t total, Now now = Clock::now);
    ~Progress() { Clear(); }
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    // Prints at most every half second, and nothing in the first two.
    void Update(std::uint64_t bytesRead);
    // Takes the line away before other output.
    void Clear();

 private:
    std::ostream& out_;
    std::uint64_t total_;
    Now now_;
    Clock::time_point next_;
    bool isShown_ = false;
};

}  // namespace tarn::host

#endif
