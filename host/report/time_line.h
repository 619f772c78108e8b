// Counts what happened in equal stretches of time, in bounded memory: the stretches grow with the time that is covered.
#ifndef TARN_HOST_REPORT_TIME_LINE_H
#define TARN_HOST_REPORT_TIME_LINE_H

#include <cstdint>
#include <map>
#include <vector>

namespace tarn::host::report {

enum class Mark : std::uint8_t { kBlocked, kAllowed, kNone, kAttack };

struct Stretch {
    std::int64_t begin = 0;  // microseconds since 1970
    std::uint64_t blocked = 0;
    std::uint64_t allowed = 0;
    std::uint64_t none = 0;
    std::uint64_t attacks = 0;
    [[nodiscard]] std::uint64_t Requests() const { return blocked + allowed + none; }
};

class TimeLine {
 public:
    void Add(std::int64_t micros, Mark mark);

    struct Result {
        std::int64_t width = 0;          // of a stretch, in microseconds
        std::vector<Stretch> stretches;  // from the first to the last, the empty ones too; at most 72
    };
    [[nodiscard]] Result Stretches() const;

 private:
    void Coarsen();

    std::size_t width_ = 0;  // number of the width
    std::map<std::int64_t, Stretch> stretches_;
};

}  // namespace tarn::host::report

#endif
