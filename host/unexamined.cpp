#include "host/unexamined.h"

#include <iterator>
#include <utility>

namespace tarn::host {

namespace {

constexpr std::string_view kNames[] = {
    "smb_encrypted",    "smb_compressed", "quic",       "ech", "http2",    "hello_split",
    "unknown_protocol", "vlan",           "ipv6",       "cut", "fragment", "pppoe",
    "damaged",          "other_datagram", "other_frame"};
static_assert(std::size(kNames) == kUnexaminedKinds);

// The same for both directions, whichever end was taken for the client.
Flow Undirected(Flow flow) {
    if (flow.server < flow.client) std::swap(flow.client, flow.server);
    return flow;
}

}  // namespace

std::string_view UnexaminedName(Unexamined kind) {
    return kNames[static_cast<std::size_t>(kind)];
}

void UnexaminedLog::Add(UnexaminedTraffic traffic) {
    counts_.Count(traffic.kind);
    if (!tell_) return;
    if (told_.size() >= kMaxFlows) told_.clear();
    std::uint16_t& told = traffic.flow ? told_[Undirected(*traffic.flow)] : toldWithoutFlow_;
    const auto bit = static_cast<std::uint16_t>(1u << static_cast<unsigned>(traffic.kind));
    if ((told & bit) != 0) return;
    told = static_cast<std::uint16_t>(told | bit);
    tell_(traffic);
}

}  // namespace tarn::host
