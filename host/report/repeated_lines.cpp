#include "host/report/repeated_lines.h"

#include <bit>
#include <nlohmann/json.hpp>
#include <random>

#include "host/report/event_fields.h"

namespace tarn::host::report {

namespace {

constexpr std::size_t kWordBytes = 8;

struct State {
    std::uint64_t a, b, c, d;

    void Round() {
        a += b;
        c += d;
        b = std::rotl(b, 13) ^ a;
        d = std::rotl(d, 16) ^ c;
        a = std::rotl(a, 32);
        c += b;
        a += d;
        b = std::rotl(b, 17) ^ c;
        d = std::rotl(d, 21) ^ a;
        c = std::rotl(c, 32);
    }
    void Take(std::uint64_t word) {
        d ^= word;
        Round();
        Round();
        a ^= word;
    }
};

std::uint64_t WordAt(std::string_view text, std::size_t at, std::size_t count) {
    std::uint64_t word = 0;
    for (std::size_t i = 0; i < count; ++i) word |= std::uint64_t{static_cast<unsigned char>(text[at + i])} << (8 * i);
    return word;
}

}  // namespace

std::uint64_t KeyedHash(const std::array<std::uint64_t, 2>& key, std::string_view text) {
    State state{key[0] ^ 0x736f6d6570736575U, key[1] ^ 0x646f72616e646f6dU, key[0] ^ 0x6c7967656e657261U,
                key[1] ^ 0x7465646279746573U};
    std::size_t at = 0;
    for (; at + kWordBytes <= text.size(); at += kWordBytes) state.Take(WordAt(text, at, kWordBytes));
    state.Take(WordAt(text, at, text.size() - at) | std::uint64_t{text.size()} << 56);
    state.c ^= 0xFF;
    for (int i = 0; i < 4; ++i) state.Round();
    return state.a ^ state.b ^ state.c ^ state.d;
}

bool CanRepeat(const nlohmann::json& event) {
    return NumberOf(event, "frame").has_value() || TextOf(event, "type") == "stats";
}

RepeatedLines::RepeatedLines() {
    std::random_device random;
    for (std::uint64_t& word : key_) word = std::uint64_t{random()} << 32 | random();
}

void RepeatedLines::BeginFile() {
    before_.insert(here_.begin(), here_.end());
    here_.clear();
}

bool RepeatedLines::IsRepeated(std::string_view line) {
    const std::uint64_t hash = KeyedHash(key_, line);
    if (before_.count(hash) != 0) return true;
    here_.push_back(hash);
    return false;
}

}  // namespace tarn::host::report
