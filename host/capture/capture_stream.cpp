#include "host/capture/capture_stream.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>

#include "host/capture/link_layer.h"

namespace tarn::host {

bool CaptureStream::Read(std::size_t count, std::string_view what, std::vector<std::uint8_t>& out) {
    const std::uint64_t start = offset_;
    out.resize(count);
    input_->read(reinterpret_cast<char*>(out.data()), static_cast<std::streamsize>(count));
    const auto there = static_cast<std::size_t>(input_->gcount());
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
        input_->read(discarded.data(), static_cast<std::streamsize>(std::min<std::uint64_t>(left, discarded.size())));
        const auto there = static_cast<std::uint64_t>(input_->gcount());
        if (there == 0) return FailForEnd(start, count - left, count, what);
        offset_ += there;
        left -= there;
    }
    return true;
}

bool CaptureStream::AtEnd() {
    if (input_->peek() != std::istream::traits_type::eof()) return false;
    if (gzip_ != nullptr && !gzip_->Error().empty()) Fail(gzip_->Error());
    return true;
}

void CaptureStream::Unpack(base::Bytes begun) {
    gzip_ = std::make_unique<GzipInput>(*input_, begun);
    unpacked_ = std::make_unique<std::istream>(gzip_.get());
    input_ = unpacked_.get();
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
