// The web addresses that the host's intrusion detection has had blocked: host and path together.
// Owns its texts. Any thread may call anything at any time; look-ups run beside one another, changes wait for them.
#ifndef TARN_NETWORK_IDS_BLOCKED_LIST_H
#define TARN_NETWORK_IDS_BLOCKED_LIST_H

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_set>

#include "tarn/records.h"

#include "base/guarded.h"

namespace tarn::network {

// Kept as one set of "host NUL path" texts in key form, since a hit is always host and path together; the cost of a
// look-up does not grow with the list. Looking up allocates nothing.
class IdsBlockedList {
 public:
    IdsBlockedList();

    // Adds the address of a request. An empty host, a path that cannot be normalised and a pair that is there already
    // add nothing.
    void Add(const IdsBlockRequest& request);

    // Whether host and path stand on the list; letter case, one outer slash on each side and a leading "www." do not
    // count. Takes the read side of the lock.
    [[nodiscard]] bool Contains(std::string_view host, std::string_view path) const;

    void Clear();
    [[nodiscard]] std::size_t Size() const;

 private:
    friend struct IdsBlockedListLock;  // of the tests

    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
    };
    using Pairs = std::unordered_set<std::string, Hash, std::equal_to<>>;

    base::Guarded<Pairs> pairs_;
};

}  // namespace tarn::network

#endif
