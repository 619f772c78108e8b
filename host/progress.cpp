#include "host/progress.h"

#include <fmt/format.h>
#include <utility>

namespace tarn::host {

namespace {

constexpr std::chrono::milliseconds kSilence{2000};
constexpr std::chrono::milliseconds kInterval{500};
constexpr double kMegabyte = 1e6;

}  // namespace

Progress::Progress(std::ostream& out, std::uint64_t total, Now now)
    : out_(out), total_(total), now_(std::move(now)), next_(now_() + kSilence) {}

void Progress::Update(std::uint64_t bytesRead) {
    const Clock::time_point time = now_();
    if (time < next_) return;
    next_ = time + kInterval;
    isShown_ = true;
    const double read = static_cast<double>(bytesRead) / kMegabyte;
    if (total_ == 0)
        out_ << fmt::format("\r{:.1f} MB read", read);
    else
        out_ << fmt::format("\r{:.1f} of {:.1f} MB read", read, static_cast<double>(total_) / kMegabyte);
    out_.flush();
}

void Progress::Clear() {
    if (!isShown_) return;
    isShown_ = false;
    out_ << "\r\x1b[K";
    out_.flush();
}

}  // namespace tarn::host
