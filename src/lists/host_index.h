// The hosts of a threat list: from a host as a whole to its number, whatever the number of hosts.
// Copies the texts. Any number of threads may look up while nobody builds.
#ifndef TARN_LISTS_HOST_INDEX_H
#define TARN_LISTS_HOST_INDEX_H

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "lists/hash_index.h"
#include "lists/label_hashes.h"

namespace tarn::lists {

class HostIndex {
 public:
    static constexpr std::uint32_t kNone = HashIndex::kNone;

    struct Host {
        std::uint32_t hash;  // the CRC-32 of text
        std::string_view text;
    };

    // The hosts are numbered from 0 as they come, sorted by hash; the texts are copied.
    void Build(std::span<const Host> hosts) {
        *this = {};
        for (const Host& host : hosts) {
            entries_.push_back(
                {host.hash, static_cast<std::uint32_t>(texts_.size()), static_cast<std::uint32_t>(host.text.size())});
            texts_.insert(texts_.end(), host.text.begin(), host.text.end());
        }
        index_.Build(entries_.size(), [this](std::size_t i) { return entries_[i].hash; });
    }

    // The number of exactly this host, letter case included; kNone when it is not listed.
    [[nodiscard]] std::uint32_t Find(const HostKey& host) const {
        for (std::uint32_t i = index_.First(host.hash); i < entries_.size() && entries_[i].hash == host.hash; ++i)
            if (std::string_view(texts_.data() + entries_[i].textAt, entries_[i].length) == host.text) return i;
        return kNone;
    }

 private:
    struct Entry {
        std::uint32_t hash;
        std::uint32_t textAt;  // in texts_
        std::uint32_t length;
    };
    std::vector<Entry> entries_;
    std::vector<char> texts_;
    HashIndex index_;
};

}  // namespace tarn::lists

#endif
