// What a file holds, and what gzip makes of a text.
#ifndef TARN_TESTS_HOST_FILE_BYTES_H
#define TARN_TESTS_HOST_FILE_BYTES_H

#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <zlib.h>

namespace tarn::host {

inline std::string Whole(const std::string& path) {
    std::ifstream input(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(input), {}};
}

inline std::string Packed(const std::string& text) {
    z_stream packer{};
    EXPECT_EQ(deflateInit2(&packer, 6, Z_DEFLATED, 16 + MAX_WBITS, 8, Z_DEFAULT_STRATEGY), Z_OK);
    std::string source = text;
    std::string out(deflateBound(&packer, static_cast<uLong>(text.size())) + 32, '\0');
    packer.next_in = reinterpret_cast<Bytef*>(source.data());
    packer.avail_in = static_cast<uInt>(source.size());
    packer.next_out = reinterpret_cast<Bytef*>(out.data());
    packer.avail_out = static_cast<uInt>(out.size());
    EXPECT_EQ(deflate(&packer, Z_FINISH), Z_STREAM_END);
    out.resize(packer.total_out);
    deflateEnd(&packer);
    return out;
}

}  // namespace tarn::host

#endif
