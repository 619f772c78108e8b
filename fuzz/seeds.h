// The first inputs of every target: real payloads and frames out of tests/captures, texts written for the lists, and
// the inputs kept in fuzz/corpus, each a former finding or a shape that no capture has.
// What is made of them is left to libFuzzer and to the replay.
#ifndef TARN_FUZZ_SEEDS_H
#define TARN_FUZZ_SEEDS_H

#include <string_view>
#include <vector>

#include "target.h"

namespace tarn::fuzz {

std::vector<ByteList> SeedsOf(std::string_view target);

}  // namespace tarn::fuzz

#endif
