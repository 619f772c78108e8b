// What the scans do not look into, or not wholly: its kinds, how often each was met, and where first.
#ifndef TARN_HOST_UNEXAMINED_H
#define TARN_HOST_UNEXAMINED_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "host/flow.h"

namespace tarn::host {

enum class Unexamined : std::uint8_t {
    kSmbEncrypted,     // messages
    kSmbCompressed,    // the same
    kQuic,             // datagrams: web traffic over UDP
    kEch,              // hellos that may hide the name that is meant
    kHttp2,            // turns of clients, from the one on that begins HTTP/2 in the clear
    kHelloSplit,       // hellos in several segments
    kUnknownProtocol,  // other turns of clients, in no protocol that there is a URL scan for
    kVlan,             // frames: neither the SMB monitor nor the attacks on services see them
    kIpv6,             // the same
    kCut,              // frames of which the capture holds only the beginning
    kFragment,         // of IP packets
    kPppoe,            // frames
    kDamaged,          // frames with headers that do not fit
    kOtherDatagram,    // neither QUIC nor DNS
    kOtherFrame        // neither TCP nor UDP
};
inline constexpr std::size_t kUnexaminedKinds = 15;

// As programs name it.
[[nodiscard]] std::string_view UnexaminedName(Unexamined kind);

class UnexaminedCounts {
 public:
    [[nodiscard]] std::uint64_t Of(Unexamined kind) const { return counts_[static_cast<std::size_t>(kind)]; }
    void Count(Unexamined kind) { ++counts_[static_cast<std::size_t>(kind)]; }

 private:
    std::array<std::uint64_t, kUnexaminedKinds> counts_{};
};

// The first of its kind in a connection, or in the capture where a frame tells no connection.
struct UnexaminedTraffic {
    Unexamined kind{};
    std::uint64_t frame = 0;
    std::uint64_t timeNanoseconds = 0;
    std::optional<Flow> flow{};
    std::string outerName{};  // of kEch: what stands in the clear
};

// Of one capture. Tells each kind once for each connection; of so many connections that they are forgotten, again.
class UnexaminedLog {
 public:
    using Tell = std::function<void(const UnexaminedTraffic&)>;
    static constexpr std::size_t kMaxFlows = 8192;

    // tell: empty when the counts are all that is wanted.
    UnexaminedLog(UnexaminedCounts& counts, Tell tell) : counts_(counts), tell_(std::move(tell)) {}

    void Add(UnexaminedTraffic traffic);

 private:
    UnexaminedCounts& counts_;
    Tell tell_;
    std::map<Flow, std::uint16_t> told_;  // a bit for each kind
    std::uint16_t toldWithoutFlow_ = 0;
};

}  // namespace tarn::host

#endif
