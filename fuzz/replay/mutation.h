// Changes inputs the way that libFuzzer does, by a generator with a fixed seed: equal runs see equal inputs.
#ifndef TARN_FUZZ_REPLAY_MUTATION_H
#define TARN_FUZZ_REPLAY_MUTATION_H

#include <cstdint>
#include <random>
#include <span>

#include "target.h"

namespace tarn::fuzz {

class Mutation {
 public:
    explicit Mutation(std::uint32_t seed) : random_(seed) {}
    // One of the inputs with one to four changes; inputs is not empty.
    ByteList Next(std::span<const ByteList> inputs);

 private:
    std::size_t Below(std::size_t bound) { return bound == 0 ? 0 : random_() % bound; }
    void Change(ByteList& bytes, std::span<const ByteList> inputs);

    std::mt19937 random_;
};

}  // namespace tarn::fuzz

#endif
