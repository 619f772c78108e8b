// The web addresses that the host's intrusion detection has had blocked: host and path together.
// Owns its texts. Any thread may call anything at any time; look-ups run beside one another, changes wait for them.
#ifndef TARN_NETWORK_IDS_BLOCKED_LIST_H
#define TARN_NETWORK_IDS_BLOCKED_LIST_H

#include <atomic>
#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_set>

#include "tarn/records.h"

#include "base/guarded.h"
#include "base/hash.h"

namespace tarn::network {

// Kept as one set of pairs in key form, since a hit is always host and path together; the cost of a look-up does not
// grow with the list. Looking up allocates nothing.
class IdsBlockedList {
 public:
    IdsBlockedList();

    // Adds the address of a request. An empty host, a path that cannot be normalised and a pair that is there already
    // add nothing.
    void Add(const IdsBlockRequest& request);

    // Whether host and path stand on the list; letter case, one outer slash on each side and a leading "www." do not
    // count. Takes the read side of the lock, but for an empty list.
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
    using Pairs = std::unordered_set<Pair, Hash, Equal>;

    base::Guarded<Pairs> pairs_;
    // Of pairs_, changed while its write side is held. A look-up that still sees 0 is one that came before the first
    // Add, which no order of calls can tell from one that waited for the lock.
    std::atomic<std::size_t> size_{0};
};

}  // namespace tarn::network

#endif
