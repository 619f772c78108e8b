// Maps from texts to the numbers of entries that are asked with parts of a longer text, without a copy of the part.
#ifndef TARN_HOST_EXPLAIN_TEXT_KEYS_H
#define TARN_HOST_EXPLAIN_TEXT_KEYS_H

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace tarn::host {

struct TextHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
};

template <class Value>
using TextMap = std::unordered_map<std::string, Value, TextHash, std::equal_to<>>;

// Ascending, each once.
using EntryNumbers = std::vector<std::uint32_t>;

// A place at which a listed text may end in the text that is asked.
inline bool EndsSegmentAt(std::string_view text, std::size_t at) {
    return at == text.size() || text[at] == '/';
}
inline bool EndsPartAt(std::string_view text, std::size_t at) {
    return EndsSegmentAt(text, at) || text[at] == '?' || text[at] == '#';
}
// Of a listed path, which may bring the "/" along.
inline bool EndsPathAt(std::string_view text, std::size_t at) {
    return EndsSegmentAt(text, at) || (at != 0 && text[at - 1] == '/');
}

}  // namespace tarn::host

#endif
