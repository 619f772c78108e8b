// Gives the frames of other link types the shape of Ethernet frames, the one that the library's scans take.
// The header that is put in front is made: its addresses are those of the capture where it has some, else zero.
#ifndef TARN_HOST_CAPTURE_LINK_LAYER_H
#define TARN_HOST_CAPTURE_LINK_LAYER_H

#include <cstdint>
#include <string_view>
#include <vector>

namespace tarn::host {

// Numbers as the pcap link-layer registry gives them.
[[nodiscard]] bool IsReplayedLinkType(std::uint16_t linkType);
[[nodiscard]] std::string_view LinkTypeName(std::uint16_t linkType);

// Turns a frame of a link type that is replayed into an Ethernet frame. One that is too short for its own header, or
// whose protocol has no Ethernet number, keeps its bytes behind a made header of type 0.
void MakeEthernet(std::uint16_t linkType, std::vector<std::uint8_t>& frame);

}  // namespace tarn::host

#endif
