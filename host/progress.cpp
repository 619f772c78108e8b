#include "host/progress.h"

#include <cmath>
#include <fmt/format.h>
#include <utility>

namespace tarn::host {

namespace {

constexpr std::chrono::milliseconds kSilence{2000};
constexpr std::chrono::milliseconds kInterval{500};
constexpr double kMegabyte = 1e6;
constexpr double kLongSeconds = 120;  // from here on in minutes

// One decimal where whole megabytes would say little.
std::string Megabytes(double bytes) {
    const double number = bytes / kMegabyte;
    return number < 9.95 ? fmt::format("{:.1f}", number) : fmt::format("{:.0f}", number);
}

std::string Left(double seconds) {
    if (seconds < kLongSeconds) return fmt::format("{:.0f} s left", std::ceil(seconds));
    return fmt::format("{:.0f} min left", std::ceil(seconds / 60));
}

}  // namespace

Progress::Progress(std::ostream& out, std::uint64_t total, Now now)
    : out_(out), total_(total), now_(std::move(now)), start_(now_()), next_(start_ + kSilence) {}

void Progress::Update(std::uint64_t bytesRead) {
    if (bytesRead < nextBytes_) return;
    nextBytes_ = bytesRead + kStep;
    const Clock::time_point time = now_();
    if (time < next_) return;
    next_ = time + kInterval;
    isShown_ = true;
    // Behind the text stands what is left of a longer one.
    out_ << '\r' << Text(bytesRead, time - start_) << "\x1b[K";
    out_.flush();
}

std::string Progress::Text(std::uint64_t bytesRead, Clock::duration elapsed) const {
    const auto read = static_cast<double>(bytesRead);
    const double rate = read / std::chrono::duration<double>(elapsed).count();  // the silence is over: never by 0
    std::string text = Megabytes(read);
    if (total_ != 0) text += " of " + Megabytes(static_cast<double>(total_));
    text += fmt::format(" MB, {} MB/s", Megabytes(rate));
    // A file that grows while it is read has nothing left that could be told.
    if (bytesRead != 0 && bytesRead < total_) text += ", " + Left(static_cast<double>(total_ - bytesRead) / rate);
    return text;
}

void Progress::Clear() {
    if (!isShown_) return;
    isShown_ = false;
    out_ << "\r\x1b[K";
    out_.flush();
}

}  // namespace tarn::host
