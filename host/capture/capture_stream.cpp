#include "host/capture/capture_stream.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <utility>

namespace tarn::host {

namespace {

// Numbers as the pcap link-layer registry gives them.
constexpr std::pair<std::uint16_t, std::string_view> kLinkTypeNames[] = {
    {0, "BSD loopback"},
    {1, "Ethernet"},
    {9, "PPP"},
    {12, "raw IP"},
    {101, "raw IP"},
    {105, "IEEE 802.11"},
    {108, "OpenBSD loopback"},
    {113, "Linux cooked"},
    {127, "IEEE 802.11 with radiotap"},
    {187, "Bluetooth HCI"},
    {189, "USB (Linux)"},
    {192, "per-packet information"},
    {195, "IEEE 802.15.4"},
    {220, "USB (Linux)"},
    {228, "raw IPv4"},
    {229, "raw IPv6"},
    {249, "USB (Windows)"},
    {253, "netlink"},
    {276, "Linux cooked v2"},
};

std::string_view LinkTypeName(std::uint16_t linkType) {
    for (const auto& [number, name] : kLinkTypeNames)
        if (number == linkType) return name;
    return "a type without a name here";
}

}  // namespace

bool CaptureStream::Read(std::size_t count, std::string_view what, std::vector<std::uint8_t>& out) {
    const std::uint64_t start = offset_;
    out.resize(count);
    input_.read(reinterpret_cast<char*>(out.data()), static_cast<std::streamsize>(count));
    const auto there = static_cast<std::size_t>(input_.gcount());
    offset_ += there;
    if (there == count) return true;
    out.resize(there);
    return FailForEnd(start, there, count, what);
}

bool CaptureStream::Skip(std::uint64_t count, std::string_view what) {
    std::array<char, 4096> discarded{};
    const std::uint64_t start = offset_;
    std::uint64_t left = count;
    while (left > 0) {
        input_.read(discarded.data(), static_cast<std::streamsize>(std::min<std::uint64_t>(left, discarded.size())));
        const auto there = static_cast<std::uint64_t>(input_.gcount());
        if (there == 0) return FailForEnd(start, count - left, count, what);
        offset_ += there;
        left -= there;
    }
    return true;
}

bool CaptureStream::AtEnd() {
    return input_.peek() == std::istream::traits_type::eof();
}

bool CaptureStream::Fail(std::string message) {
    if (error_.empty()) error_ = std::move(message);
    return false;
}

bool CaptureStream::FailForLinkType(std::uint16_t linkType) {
    return Fail(fmt::format(
        "its frames are of link type {} ({}), and only Ethernet (1) can be replayed; capture on one network "
        "interface, not on \"any\"",
        linkType, LinkTypeName(linkType)));
}

bool CaptureStream::FailForEnd(std::uint64_t start, std::uint64_t there, std::uint64_t wanted, std::string_view what) {
    return Fail(
        fmt::format("the file is cut off: it ends at offset {}, inside {} that begins at offset {} ({} of {} "
                    "bytes are there)",
                    offset_, what, start, there, wanted));
}

}  // namespace tarn::host
