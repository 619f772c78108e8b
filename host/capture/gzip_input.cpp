#include "host/capture/gzip_input.h"

#include <algorithm>
#include <zlib.h>

namespace tarn::host {

namespace {

constexpr int kGzipOnly = 16 + MAX_WBITS;

Bytef* AsBytes(char* text) {
    return reinterpret_cast<Bytef*>(text);
}

}  // namespace

GzipInput::GzipInput(std::istream& packed, base::Bytes begun)
    : packed_(packed), inflater_(std::make_unique<z_stream>()) {
    const std::size_t count = std::min(begun.size(), kMaxBegun);
    std::copy_n(begun.begin(), count, in_.begin());
    inflater_->next_in = AsBytes(in_.data());
    inflater_->avail_in = static_cast<uInt>(count);
    bytesRead_ = count;
    if (inflateInit2(inflater_.get(), kGzipOnly) != Z_OK) error_ = "there is no memory to unpack it";
}

GzipInput::~GzipInput() {
    inflateEnd(inflater_.get());
}

bool GzipInput::Refill() {
    if (inflater_->avail_in != 0) return true;
    packed_.read(in_.data(), static_cast<std::streamsize>(in_.size()));
    const auto count = static_cast<std::size_t>(packed_.gcount());
    inflater_->next_in = AsBytes(in_.data());
    inflater_->avail_in = static_cast<uInt>(count);
    bytesRead_ += count;
    return count != 0;
}

GzipInput::int_type GzipInput::underflow() {
    inflater_->next_out = AsBytes(out_.data());
    inflater_->avail_out = static_cast<uInt>(out_.size());
    while (error_.empty() && inflater_->avail_out == out_.size()) {
        if (!Refill()) {
            if (!isBetweenMembers_) error_ = "the compressed file is cut off";
            break;
        }
        if (isBetweenMembers_) {
            isBetweenMembers_ = false;
            inflateReset(inflater_.get());
        }
        const int result = inflate(inflater_.get(), Z_NO_FLUSH);
        if (result == Z_STREAM_END)
            isBetweenMembers_ = true;
        else if (result != Z_OK && result != Z_BUF_ERROR)
            error_ = "the compressed file is damaged";
    }
    const std::size_t count = out_.size() - inflater_->avail_out;
    setg(out_.data(), out_.data(), out_.data() + count);
    return count == 0 ? traits_type::eof() : traits_type::to_int_type(out_[0]);
}

}  // namespace tarn::host
