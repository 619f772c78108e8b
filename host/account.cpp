#include "host/account.h"

#include <cstddef>
#include <fmt/format.h>

namespace tarn::host {

std::string FormatSid(const SidBytes& sid) {
    constexpr std::size_t kMaxSubAuthorities = 15;
    const std::size_t count = sid[1];
    if (sid[0] != 1 || count > kMaxSubAuthorities) return {};
    std::uint64_t authority = 0;  // six bytes, the highest first
    for (std::size_t i = 2; i < 8; ++i) authority = authority << 8 | sid[i];
    std::string text = fmt::format("S-1-{}", authority);
    for (std::size_t i = 0; i < count; ++i) {
        std::uint32_t part = 0;  // the lowest byte first
        for (std::size_t k = 4; k-- > 0;) part = part << 8 | sid[8 + 4 * i + k];
        text += fmt::format("-{}", part);
    }
    return text;
}

}  // namespace tarn::host
