#include "url/label_hashes.h"

#include "base/crc32.h"
#include "network/ip_address.h"

namespace tarn::url {
namespace {

constexpr std::size_t kPositions = 260;  // no host buffer holds more characters

// CRC-32 is linear: what a byte adds to the checksum depends on nothing but the byte and how many bytes follow. So one
// pass from the right gives the checksum of every text that ends where the host ends.
struct PositionTables {
    std::array<std::array<std::uint32_t, 256>, kPositions> byte;  // [bytes that follow][byte]
    std::array<std::uint32_t, kPositions + 1> start;              // [length]: what the all-ones start adds
};

constexpr std::uint32_t AddZeroBits(std::uint32_t state) {
    for (int bit = 0; bit < 8; ++bit) state = (state & 1U) != 0 ? (state >> 1) ^ 0xEDB88320U : state >> 1;
    return state;
}

constexpr PositionTables kTables = [] {
    PositionTables tables{};
    std::array<std::uint32_t, 256>& last = tables.byte[0];
    for (std::uint32_t i = 0; i < last.size(); ++i) last[i] = AddZeroBits(i);
    const auto addZeroByte = [&last](std::uint32_t state) { return last[state & 0xFFU] ^ (state >> 8); };
    for (std::size_t position = 1; position < kPositions; ++position)
        for (std::size_t i = 0; i < last.size(); ++i)
            tables.byte[position][i] = addZeroByte(tables.byte[position - 1][i]);
    tables.start[0] = 0xFFFFFFFFU;
    for (std::size_t length = 1; length <= kPositions; ++length)
        tables.start[length] = addZeroByte(tables.start[length - 1]);
    return tables;
}();

// Where the last kMaxLabelHashes - 1 starts behind the whole host lie is known only from the left: it counts the dots.
std::size_t CountDots(std::string_view host) {
    std::size_t dots = 0;
    for (const char c : host) dots += c == '.' ? 1U : 0U;
    return dots;
}

}  // namespace

bool ComputeLabelHashes(std::string_view host, LabelHashes& hashes) {
    if (host.empty() || host.front() == '.' || host.back() == '.') return false;
    IpAddressRecord address;
    hashes.isIpLiteral = network::ParseIpLiteral(host, address);
    hashes.count = 1;
    if (host.size() > kPositions) {
        hashes.values[0] = base::Crc32Of(host);
        for (std::size_t dot = host.find('.');
             !hashes.isIpLiteral && dot != std::string_view::npos && hashes.count < kMaxLabelHashes;
             dot = host.find('.', dot + 1))
            hashes.values[hashes.count++] = base::Crc32Of(host.substr(dot + 1));
        return true;
    }

    std::size_t label = hashes.isIpLiteral ? 0 : CountDots(host);  // the hash that ends at the dot met next
    if (label >= kMaxLabelHashes)
        hashes.count = kMaxLabelHashes;
    else
        hashes.count = label + 1;
    std::uint32_t sum = 0;
    for (std::size_t length = 0; length < host.size(); ++length) {
        const char c = host[host.size() - 1 - length];
        if (c == '.' && label != 0) {
            if (label < kMaxLabelHashes) hashes.values[label] = ~(sum ^ kTables.start[length]);
            --label;
        }
        sum ^= kTables.byte[length][static_cast<std::uint8_t>(c)];
    }
    hashes.values[0] = ~(sum ^ kTables.start[host.size()]);
    return true;
}

}  // namespace tarn::url
