// Walks the arrays and chains of a module's record without leaving readable memory, and gathers what is wrong.
#ifndef TARN_HOST_COMPANION_KIT_RECORD_WALK_H
#define TARN_HOST_COMPANION_KIT_RECORD_WALK_H

#include <cstdint>
#include <cstring>
#include <fmt/format.h>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "host/companion_kit/record_checks.h"

namespace tarn::host {

class RecordWalk {
 public:
    explicit RecordWalk(const RecordMemory& memory) : memory_(memory) {}

    // The first few of a kind are told one by one; a kind is what has one consequence.
    void Add(std::string text, const char* consequence) {
        if (++seen_[consequence] <= kToldOfAKind) findings_.push_back({std::move(text), consequence});
    }

    // What can be read of an array of count entries.
    template <class Entry>
    std::span<const Entry> Array(const Entry* first, std::uint64_t count, std::string_view what) {
        if (count == 0) return {};
        if (first == nullptr) {
            Add(fmt::format("{}: the count is {} and the pointer is null", what, count), "the list counts as empty");
            return {};
        }
        const std::uint64_t readable = memory_.Readable(first, count * sizeof(Entry)) / sizeof(Entry);
        if (readable < count)
            Add(fmt::format("{}: the count is {}, but the memory holds {}", what, count, readable),
                "the library reads what is not there, and may crash");
        return {first, static_cast<std::size_t>(readable)};
    }

    // use(node, number from 0) for each node of the chain, at most told ones.
    template <class Node, class Use>
    void Chain(const Node* first, std::optional<std::uint64_t> told, std::string_view what, Use use) {
        std::unordered_set<const void*> met;
        std::uint64_t number = 0;
        for (const Node* node = first; node != nullptr; node = node->next) {
            if (memory_.Readable(node, sizeof(Node)) < sizeof(Node)) {
                Add(fmt::format("{}: node {} cannot be read", what, number + 1), "the library would crash");
                return;
            }
            if (!met.insert(node).second) {
                Add(fmt::format("{}: the chain runs in a loop behind node {}", what, number),
                    "the library takes each node once; a module that releases such a chain does not end");
                return;
            }
            if (told && number == *told) {
                Add(fmt::format("{}: the count is {}, and the chain is longer", what, *told),
                    "the library does not read the nodes behind the count");
                return;
            }
            use(*node, number++);
        }
        if (told && number < *told)
            Add(fmt::format("{}: the count is {}, and the chain ends behind {}", what, *told, number),
                "the list ends where the chain does");
    }

    // The text of a field; when it does not end inside, that is said.
    std::string_view Field(const char* field, std::size_t size, std::string_view what) {
        if (const void* const end = std::memchr(field, '\0', size))
            return {field, static_cast<std::size_t>(static_cast<const char*>(end) - field)};
        Add(fmt::format("{} has no NUL within its {} bytes", what, size), kCutText);
        return {field, size - 1};
    }
    void Field16(const void* field, std::size_t units, std::string_view what) {
        if (!EndsInside16(field, units)) Add(fmt::format("{} has no NUL within its {} units", what, units), kCutText);
    }
    // A text behind a pointer; nothing when there is none.
    std::optional<std::string_view> Text(const char* text, std::size_t limit, std::string_view what) {
        if (text == nullptr) {
            Add(fmt::format("{} is null", what), "the library passes the entry over");
            return std::nullopt;
        }
        const std::size_t readable = memory_.Readable(text, limit);
        if (readable == 0) {
            Add(fmt::format("{} cannot be read", what), "the library would crash");
            return std::nullopt;
        }
        if (const void* const end = std::memchr(text, '\0', readable))
            return std::string_view(text, static_cast<std::size_t>(static_cast<const char*>(end) - text));
        if (readable < limit)
            Add(fmt::format("{} has no NUL within its {} bytes of memory", what, readable),
                "the library reads what is not there, and may crash");
        else
            Add(fmt::format("{} has no NUL within {} bytes", what, limit),
                "no request has a host of that length: the entry is never found");
        return std::nullopt;
    }

    [[nodiscard]] RecordFindings Take() {
        for (const auto& [consequence, count] : seen_)
            if (count > kToldOfAKind)
                findings_.push_back({fmt::format("{} more of this kind", count - kToldOfAKind), consequence});
        seen_.clear();
        return std::exchange(findings_, {});
    }

 private:
    static constexpr std::size_t kToldOfAKind = 3;
    static constexpr const char* kCutText = "the library takes the last character for the NUL";

    const RecordMemory& memory_;
    RecordFindings findings_;
    std::map<std::string, std::size_t> seen_;
};

}  // namespace tarn::host

#endif
