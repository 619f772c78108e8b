// The frames of a capture, read once and kept in memory. What is done with them is left to the benchmarks.
#ifndef TARN_BENCH_CAPTURED_FRAMES_H
#define TARN_BENCH_CAPTURED_FRAMES_H

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "host/capture/capture_reader.h"

namespace tarn::bench {

using Frames = std::vector<std::vector<std::uint8_t>>;

inline Frames CapturedFrames(const std::string& capture) {
    Frames frames;
    std::ifstream file(TARN_CAPTURE_FOLDER "/" + capture, std::ios::binary);
    host::CaptureReader reader(file);
    host::CapturedFrame frame;
    while (reader.Next(frame)) frames.push_back(frame.bytes);
    return frames;
}

// The peer of every frame scan: each byte of each frame looked at once and nothing decided.
inline std::uint64_t SumOfBytes(const Frames& frames) {
    std::uint64_t sum = 0;
    for (const auto& frame : frames)
        for (const std::uint8_t byte : frame) sum += byte;
    return sum;
}

}  // namespace tarn::bench

#endif
