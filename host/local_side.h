// Tells which end of a captured conversation is this machine, as the frame scans want to know.
// A capture does not say it: whoever opens the first connection counts, unless the user names an address.
#ifndef TARN_HOST_LOCAL_SIDE_H
#define TARN_HOST_LOCAL_SIDE_H

#include <optional>
#include <vector>

#include "host/capture/transport_view.h"

namespace tarn::host {

class LocalSide {
 public:
    // Named addresses are this machine's; nothing is guessed for their family (IPv4, IPv6).
    explicit LocalSide(std::vector<IpAddress> named);

    // Guesses by the first connection of an address family. The result is the address of a new guess.
    std::optional<IpAddress> Learn(const TransportView& view);

    [[nodiscard]] bool IsLocal(const IpAddress& address) const;

 private:
    std::vector<IpAddress> addresses_;
    bool isFamilyKnown_[2] = {false, false};
};

}  // namespace tarn::host

#endif
