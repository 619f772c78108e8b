#include "host/report/time_line.h"

#include <array>

namespace tarn::host::report {

namespace {

constexpr std::int64_t kMillisecond = 1000;
constexpr std::int64_t kSecond = 1000 * kMillisecond;
constexpr std::int64_t kMinute = 60 * kSecond;
constexpr std::int64_t kHour = 60 * kMinute;
constexpr std::int64_t kDay = 24 * kHour;

// Each divides the next, so that stretches can be joined.
constexpr std::array kWidths{
    kMillisecond, 10 * kMillisecond, 100 * kMillisecond, kSecond,     5 * kSecond,  15 * kSecond, 30 * kSecond, kMinute,
    5 * kMinute,  15 * kMinute,      30 * kMinute,       kHour,       3 * kHour,    6 * kHour,    12 * kHour,   kDay,
    7 * kDay,     28 * kDay,         364 * kDay,         3640 * kDay, 36400 * kDay, 364000 * kDay};
constexpr std::size_t kMostKept = 4096;
constexpr std::int64_t kMostShown = 72;

// Also for times before 1970.
std::int64_t BeginOf(std::int64_t micros, std::int64_t width) {
    const std::int64_t rest = micros % width;
    return micros - (rest < 0 ? rest + width : rest);
}

void Join(Stretch& into, const Stretch& from) {
    into.blocked += from.blocked;
    into.allowed += from.allowed;
    into.none += from.none;
    into.attacks += from.attacks;
}

std::map<std::int64_t, Stretch> Joined(const std::map<std::int64_t, Stretch>& stretches, std::int64_t width) {
    std::map<std::int64_t, Stretch> joined;
    for (const auto& [begin, stretch] : stretches) Join(joined[BeginOf(begin, width)], stretch);
    return joined;
}

}  // namespace

void TimeLine::Add(std::int64_t micros, Mark mark) {
    Stretch& stretch = stretches_[BeginOf(micros, kWidths[width_])];
    switch (mark) {
        case Mark::kBlocked:
            ++stretch.blocked;
            break;
        case Mark::kAllowed:
            ++stretch.allowed;
            break;
        case Mark::kNone:
            ++stretch.none;
            break;
        case Mark::kAttack:
            ++stretch.attacks;
            break;
    }
    while (stretches_.size() > kMostKept && width_ + 1 < kWidths.size()) Coarsen();
}

void TimeLine::Coarsen() {
    ++width_;
    stretches_ = Joined(stretches_, kWidths[width_]);
}

TimeLine::Result TimeLine::Stretches() const {
    Result result;
    if (stretches_.empty()) return result;
    std::size_t chosen = width_;
    const auto spanOf = [&](std::int64_t width) {
        return (BeginOf(stretches_.rbegin()->first, width) - BeginOf(stretches_.begin()->first, width)) / width + 1;
    };
    while (chosen + 1 < kWidths.size() && spanOf(kWidths[chosen]) > kMostShown) ++chosen;
    result.width = kWidths[chosen];
    const auto joined = Joined(stretches_, result.width);
    for (std::int64_t begin = joined.begin()->first; begin <= joined.rbegin()->first; begin += result.width) {
        const auto found = joined.find(begin);
        result.stretches.push_back(found == joined.end() ? Stretch{} : found->second);
        result.stretches.back().begin = begin;
    }
    return result;
}

}  // namespace tarn::host::report
