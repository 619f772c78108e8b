// The first inputs of the targets that make their messages, records and calls themselves: every input says something to
// them, so a few of any bytes are enough to begin with; and written ones where texts are read.
#ifndef TARN_FUZZ_MADE_SEEDS_H
#define TARN_FUZZ_MADE_SEEDS_H

#include <string_view>
#include <vector>

#include "target.h"

namespace tarn::fuzz {

// Empty for a target that is none of these.
std::vector<ByteList> MadeSeeds(std::string_view target);

}  // namespace tarn::fuzz

#endif
