#include "target.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace tarn::fuzz {

[[noreturn]] void EndWith(const char* rule) {
    std::fprintf(stderr, "This does not hold: %s\n", rule);
    std::abort();
}

ExactBlock::ExactBlock(Bytes bytes, std::size_t spare)
    : size_(bytes.size()), block_(new std::uint8_t[bytes.size() + spare]) {
    std::ranges::copy(bytes, block_.get());
    std::fill_n(block_.get() + size_, spare, std::uint8_t{0xAB});
}

std::uint8_t Pieces::Byte() {
    const Bytes one = Take(1);
    return one.empty() ? std::uint8_t{0} : one[0];
}

std::uint16_t Pieces::Number() {
    const std::uint8_t low = Byte();
    return static_cast<std::uint16_t>(low | (Byte() << 8));
}

Bytes Pieces::Take(std::size_t count) {
    const Bytes taken = rest_.first(std::min(count, rest_.size()));
    rest_ = rest_.subspan(taken.size());
    return taken;
}

std::string_view Pieces::TakeText(std::size_t count) {
    return AsText(Take(count));
}

std::string_view Pieces::Line() {
    const auto end = static_cast<std::size_t>(std::ranges::find(rest_, std::uint8_t{'\n'}) - rest_.begin());
    const std::string_view line = TakeText(end);
    Take(1);
    return line;
}

const Target* FindTarget(std::string_view name) {
    const auto all = AllTargets();
    const auto found = std::ranges::find(all, name, &Target::name);
    return found == all.end() ? nullptr : &*found;
}

void RunTarget(const Target& target, Bytes input) {
    const ExactBlock block(input.first(std::min(input.size(), target.mostBytes)));
    target.run(block.View());
}

}  // namespace tarn::fuzz
