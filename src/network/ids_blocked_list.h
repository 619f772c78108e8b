// The web addresses that the host's intrusion detection has had blocked: host and path together.
// Owns its texts. Any thread may call anything at any time; look-ups run beside one another, changes wait for them.
#ifndef TARN_NETWORK_IDS_BLOCKED_LIST_H
#define TARN_NETWORK_IDS_BLOCKED_LIST_H

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "tarn/records.h"

#include "base/atomic.h"
#include "base/guarded.h"
#include "base/hash.h"
#include "base/key_filter.h"

namespace tarn::network {

// Kept as one set of pairs in key form, since a hit is always host and path together; the cost of a look-up does not
// grow with the list. Looking up allocates nothing.
class IdsBlockedList {
 public:
    // Adds the address of a request. An empty host, a path that cannot be normalised and a pair that is there already
    // add nothing.
    void Add(const IdsBlockRequest& request);

    // Whether host and path stand on the list; letter case, one outer slash on each side and a leading "www." do not
    // count. Takes the read side of the lock, but for a host of which nothing is listed.
    [[nodiscard]] bool Contains(std::string_view host, std::string_view path) const;

    void Clear();
    [[nodiscard]] std::size_t Size() const { return size_.load(std::memory_order_acquire); }

 private:
    friend struct IdsBlockedListLock;  // of the tests

    struct PairView {
        std::string_view host;
        std::string_view path;
        bool operator==(const PairView&) const = default;
    };
    struct Pair {
        explicit Pair(PairView view) : host(view.host), path(view.path) {}
        operator PairView() const { return {host, path}; }

        std::string host;
        std::string path;
    };
    struct Hash {
        using is_transparent = void;
        std::size_t operator()(PairView pair) const {
            constexpr std::hash<std::string_view> kHash;
            return static_cast<std::size_t>(base::Mix64(kHash(pair.host), kHash(pair.path)));
        }
    };
    struct Equal {
        using is_transparent = void;
        bool operator()(PairView a, PairView b) const { return a == b; }
    };
    struct Listed {
        // Three of four buckets stay empty: most look-ups are misses, and those then touch one word of the table.
        Listed() { pairs.max_load_factor(0.25F); }

        std::unordered_set<Pair, Hash, Equal> pairs;
        // A full filter gives way to one twice as large; a look-up may still read it, so all stay until the end.
        std::vector<std::unique_ptr<base::KeyFilter>> filters;
        std::size_t filterCapacity = 0;  // hosts that the last one is made for
    };

    [[nodiscard]] bool MayHold(std::string_view hostKey) const;
    // Before a pair of this host comes into the set.
    void AddToFilter(Listed& listed, std::string_view hostKey);

    base::Guarded<Listed> listed_;
    // Of listed_; both are changed while its write side is held, and read without the lock. That is linearizable: a
    // look-up that the filter answers beside an Add counts as one before it.
    std::atomic<std::size_t> size_{0};
    base::Atomic<const base::KeyFilter*> hosts_{nullptr};  // the last filter
};

}  // namespace tarn::network

#endif
