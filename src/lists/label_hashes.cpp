#include "lists/label_hashes.h"

#include <bit>

#include "base/assert.h"
#include "base/hash.h"
#include "base/text.h"
#include "network/ip_address.h"

namespace tarn::lists {
namespace {

constexpr std::size_t kPositions = 260;  // no host buffer holds more characters

// CRC-32 is linear: what half a byte adds to the checksum depends on nothing but its four bits and how many bytes
// follow. So one pass from the right gives the checksum of every text that ends where the host ends.
struct PositionTables {
    std::array<std::array<std::uint32_t, 16>, kPositions> low;   // [bytes that follow][low four bits]
    std::array<std::array<std::uint32_t, 16>, kPositions> high;  // [bytes that follow][high four bits]
    std::array<std::uint32_t, kPositions + 1> start;             // [length]: what the all-ones start adds

    [[nodiscard]] constexpr std::uint32_t Of(std::size_t follow, char c) const {
        const auto byte = static_cast<std::uint8_t>(c);
        return low[follow][byte & 15U] ^ high[follow][byte >> 4];
    }
};

constexpr std::uint32_t AddZeroByte(std::uint32_t state) {
    for (int bit = 0; bit < 8; ++bit) state = (state & 1U) != 0 ? (state >> 1) ^ base::kCrc32Polynomial : state >> 1;
    return state;
}

constexpr PositionTables kTables = [] {
    PositionTables tables{};
    for (std::uint32_t i = 0; i < 16; ++i) {
        tables.low[0][i] = AddZeroByte(i);
        tables.high[0][i] = AddZeroByte(i << 4);
    }
    for (std::size_t follow = 1; follow < kPositions; ++follow)
        for (std::size_t i = 0; i < 16; ++i) {
            tables.low[follow][i] = AddZeroByte(tables.low[follow - 1][i]);
            tables.high[follow][i] = AddZeroByte(tables.high[follow - 1][i]);
        }
    tables.start[0] = 0xFFFFFFFFU;
    for (std::size_t length = 1; length <= kPositions; ++length)
        tables.start[length] = AddZeroByte(tables.start[length - 1]);
    return tables;
}();

}  // namespace

std::uint32_t HostHash(std::string_view host) {
    if (host.size() > kPositions) return base::Crc32Of(host);
    std::uint32_t sum = kTables.start[host.size()];
    for (std::size_t i = 0; i < host.size(); ++i) sum ^= kTables.Of(host.size() - 1 - i, host[i]);
    return ~sum;
}

std::uint32_t HashWithWww(std::uint32_t hostHash, std::size_t hostLength) {
    constexpr std::string_view kWww = "www.";
    TARN_ASSERT(hostLength + kWww.size() <= kPositions);
    std::uint32_t sum = ~hostHash ^ kTables.start[hostLength] ^ kTables.start[hostLength + kWww.size()];
    for (std::size_t i = 0; i < kWww.size(); ++i) sum ^= kTables.Of(hostLength + kWww.size() - 1 - i, kWww[i]);
    return ~sum;
}

void HostKeys::Compute() {
    const std::string_view host = text_;
    hasUpper_ = base::HasUpper(host);
    const bool fits = host.size() <= kPositions;

    // The sums behind every place are kept, so that the pass itself need not know where the dots are.
    std::array<std::uint32_t, kPositions> behind;
    if (fits) {
        std::uint32_t sum = 0;
        for (std::size_t i = host.size(); i-- > 0;) {
            behind[i] = sum;
            sum ^= kTables.Of(host.size() - 1 - i, host[i]);
        }
        values_[0] = ~(sum ^ kTables.start[host.size()]);
    } else {
        values_[0] = HostHash(host);
    }
    const auto hashBehind = [&](std::size_t dot) {
        return fits ? ~(behind[dot] ^ kTables.start[host.size() - 1 - dot]) : HostHash(host.substr(dot + 1));
    };
    base::AnyBlockMask(
        host, [](base::Block16 block) { return block.EqualMask('.'); },
        [&](std::size_t at, unsigned dots) {
            for (; dots != 0; dots &= dots - 1U) {
                hasMoreDots_ = count_ == kMaxLabelHashes;
                if (hasMoreDots_) return true;
                values_[count_++] = hashBehind(at + static_cast<std::size_t>(std::countr_zero(dots)));
            }
            return false;
        });

    if (host.empty() || host.front() == '.' || host.back() == '.') return;
    IpAddressRecord address;
    isIpLiteral_ = network::ParseIpLiteral(host, address);
    labels_ = isIpLiteral_ ? std::uint8_t{1} : count_;
}

}  // namespace tarn::lists
