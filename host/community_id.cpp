#include "host/community_id.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "host/sha1.h"

namespace tarn::host {

namespace {

constexpr std::uint8_t kTcp = 6;
constexpr std::uint8_t kUdp = 17;

void AppendPort(std::uint16_t port, std::vector<std::uint8_t>& out) {
    out.push_back(static_cast<std::uint8_t>(port >> 8));
    out.push_back(static_cast<std::uint8_t>(port & 0xFF));
}

void AppendAddress(const IpAddress& address, std::vector<std::uint8_t>& out) {
    out.insert(out.end(), address.bytes.begin(), address.bytes.begin() + (address.isIpv6 ? 16 : 4));
}

std::string Base64(base::Bytes data) {
    constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (; !data.empty(); data = data.subspan(std::min<std::size_t>(3, data.size()))) {
        const base::Bytes three = data.first(std::min<std::size_t>(3, data.size()));
        const std::size_t taken = three.size();
        std::uint32_t group = 0;
        for (const std::uint8_t byte : three) group = group << 8 | byte;
        group <<= 8 * (3 - taken);
        for (std::size_t i = 0; i < 4; ++i) text += i <= taken ? kDigits[group >> (18 - 6 * i) & 0x3F] : '=';
    }
    return text;
}

}  // namespace

std::string CommunityId(const Flow& flow) {
    Endpoint first = flow.client;
    Endpoint second = flow.server;
    if (second < first) std::swap(first, second);
    std::vector<std::uint8_t> bytes{0, 0};  // the seed
    AppendAddress(first.address, bytes);
    AppendAddress(second.address, bytes);
    bytes.push_back(flow.isTcp ? kTcp : kUdp);
    bytes.push_back(0);
    AppendPort(first.port, bytes);
    AppendPort(second.port, bytes);
    return "1:" + Base64(Sha1(bytes));
}

}  // namespace tarn::host
