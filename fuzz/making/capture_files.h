// Capture files of both formats from an input, packed now and then, and the frames that a reader has to find in them.
#ifndef TARN_FUZZ_MAKING_CAPTURE_FILES_H
#define TARN_FUZZ_MAKING_CAPTURE_FILES_H

#include <cstdint>
#include <vector>

#include "making/marked_bytes.h"
#include "target.h"

namespace tarn::fuzz {

struct MadeCapturedFrame {
    ByteList bytes;  // as the capture holds it
    std::uint64_t nanoseconds = 0;
    std::uint16_t linkType = 1;
    bool isCut = false;
};
using MadeFrames = std::vector<MadeCapturedFrame>;

MadeFrames PutPcap(Pieces& pieces, MarkedBytes& out);
MadeFrames PutPcapng(Pieces& pieces, MarkedBytes& out);

// As gzip packs it (RFC 1952).
ByteList Packed(Bytes bytes);

}  // namespace tarn::fuzz

#endif
