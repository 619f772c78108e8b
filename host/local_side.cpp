#include "host/local_side.h"

#include <algorithm>

#include "host/flow.h"

namespace tarn::host {

LocalSide::LocalSide(std::vector<IpAddress> named) : addresses_(std::move(named)) {
    for (const IpAddress& address : addresses_) isFamilyKnown_[address.isIpv6 ? 1 : 0] = true;
}

std::optional<IpAddress> LocalSide::Learn(const TransportView& view) {
    bool& isKnown = isFamilyKnown_[view.source.address.isIpv6 ? 1 : 0];
    if (isKnown) return std::nullopt;
    isKnown = true;
    addresses_.push_back(IsFromClient(view) ? view.source.address : view.destination.address);
    return addresses_.back();
}

bool LocalSide::IsLocal(const IpAddress& address) const {
    return std::find(addresses_.begin(), addresses_.end(), address) != addresses_.end();
}

}  // namespace tarn::host
