#include "host/capture/capture_stream.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>

#include "host/capture/link_layer.h"

namespace tarn::host {

bool CaptureStream::Read(std::span<std::uint8_t> out, std::string_view what) {
    const std::uint64_t start = offset_;
    const std::size_t there = ReadSome(out);
    return there == out.size() || FailForEnd(start, there, out.size(), what);
}

bool CaptureStream::Read(std::size_t count, std::string_view what, std::vector<std::uint8_t>& out) {
    const std::uint64_t start = offset_;
    out.resize(count);
    const std::size_t there = ReadSome(out);
    if (there == count) return true;
    out.resize(there);
    return FailForEnd(start, there, count, what);
}

// Takes what the stream has buffered straight from its buffer: a frame needs two reads, and one through the stream
// costs more than the bytes of most frames do.
std::size_t CaptureStream::ReadSome(std::span<std::uint8_t> out) {
    std::size_t there = 0;
    while (there < out.size() && HasMore()) {
        const std::size_t count = std::min(buffered_, out.size() - there);
        input_->rdbuf()->sgetn(reinterpret_cast<char*>(out.data()) + there, static_cast<std::streamsize>(count));
        buffered_ -= count;
        there += count;
    }
    offset_ += there;
    return there;
}

bool CaptureStream::HasMore() {
    if (buffered_ > 0) return true;
    if (input_->peek() == std::istream::traits_type::eof()) return false;
    // A stream without a buffer still has the byte that was looked at.
    buffered_ = static_cast<std::size_t>(std::max<std::streamsize>(input_->rdbuf()->in_avail(), 1));
    return true;
}

bool CaptureStream::Skip(std::uint64_t count, std::string_view what) {
    std::array<std::uint8_t, 4096> discarded{};
    const std::uint64_t start = offset_;
    std::uint64_t left = count;
    while (left > 0) {
        const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(left, discarded.size()));
        const std::size_t there = ReadSome(std::span(discarded).first(wanted));
        left -= there;
        if (there < wanted) return FailForEnd(start, count - left, count, what);
    }
    return true;
}

bool CaptureStream::AtEnd() {
    if (HasMore()) return false;
    if (gzip_ != nullptr && !gzip_->Error().empty()) Fail(gzip_->Error());
    return true;
}

void CaptureStream::Unpack(base::Bytes begun) {
    gzip_ = std::make_unique<GzipInput>(*input_, begun);
    unpacked_ = std::make_unique<std::istream>(gzip_.get());
    input_ = unpacked_.get();
    buffered_ = 0;
    offset_ = 0;
}

bool CaptureStream::Fail(std::string message) {
    if (error_.empty()) error_ = std::move(message);
    return false;
}

bool CaptureStream::FailForLinkType(std::uint16_t linkType) {
    return Fail(fmt::format(
        "its frames are of link type {} ({}), which cannot be replayed; capture as Ethernet, on \"any\" (Linux "
        "cooked), on a loopback interface or as raw IP",
        linkType, LinkTypeName(linkType)));
}

bool CaptureStream::FailForEnd(std::uint64_t start, std::uint64_t there, std::uint64_t wanted, std::string_view what) {
    if (gzip_ != nullptr && !gzip_->Error().empty()) return Fail(gzip_->Error());
    return Fail(
        fmt::format("the file is cut off: it ends at offset {}, inside {} that begins at offset {} ({} of {} "
                    "bytes are there)",
                    offset_, what, start, there, wanted));
}

}  // namespace tarn::host
