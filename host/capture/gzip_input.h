// Unpacks a gzip stream (RFC 1952, several members too) while it is read, in bounded memory.
// Borrows the packed stream, which must outlive it.
#ifndef TARN_HOST_CAPTURE_GZIP_INPUT_H
#define TARN_HOST_CAPTURE_GZIP_INPUT_H

#include <array>
#include <cstdint>
#include <istream>
#include <memory>
#include <streambuf>
#include <string>

#include "base/byte_reader.h"

struct z_stream_s;

namespace tarn::host {

class GzipInput : public std::streambuf {
 public:
    // begun: the bytes that were already taken from packed, at most kMaxBegun.
    GzipInput(std::istream& packed, base::Bytes begun);
    ~GzipInput() override;
    GzipInput(const GzipInput&) = delete;
    GzipInput& operator=(const GzipInput&) = delete;

    static constexpr std::size_t kMaxBegun = 16;

    // Why the stream ended before its end; empty when it did not.
    [[nodiscard]] const std::string& Error() const { return error_; }
    // Packed bytes that were read.
    [[nodiscard]] std::uint64_t BytesRead() const { return bytesRead_; }

 protected:
    int_type underflow() override;

 private:
    bool Refill();

    std::istream& packed_;
    std::unique_ptr<z_stream_s> inflater_;
    std::array<char, 16384> in_{};
    std::array<char, 65536> out_{};
    std::uint64_t bytesRead_ = 0;
    bool isBetweenMembers_ = false;
    std::string error_;
};

}  // namespace tarn::host

#endif
