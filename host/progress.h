// Says on a terminal how much of a long file has been read, how fast that goes and how long the rest will take.
#ifndef TARN_HOST_PROGRESS_H
#define TARN_HOST_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>

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

    // Prints at most every half second, and nothing in the first two. Looks at the clock once in kStep bytes, so that
    // it may be called for every frame.
    void Update(std::uint64_t bytesRead);
    // Takes the line away before other output.
    void Clear();

    static constexpr std::uint64_t kStep = 65536;

 private:
    [[nodiscard]] std::string Text(std::uint64_t bytesRead, Clock::duration elapsed) const;

    std::ostream& out_;
    std::uint64_t total_;
    Now now_;
    Clock::time_point start_;
    Clock::time_point next_;
    std::uint64_t nextBytes_ = 0;  // before which the clock need not be asked
    bool isShown_ = false;
};

}  // namespace tarn::host

#endif
