// Judges one Ethernet frame: brute-force attempts by known malicious addresses first, then the attack signatures.
// Any thread may call; the frame and the verdict belong to the caller. Companion modules are called without a lock.
#ifndef TARN_NETWORK_PACKET_SCAN_H
#define TARN_NETWORK_PACKET_SCAN_H

#include <cstdint>

#include "tarn/records.h"

#include "modules/companions.h"
#include "modules/settings_state.h"
#include "network/reported_attackers.h"

namespace tarn::network {

struct PacketScanContext {
    const modules::Companions& companions;
    const modules::SettingsState& settings;  // the IDS status, the alert byte and the rules are read
    const std::uint8_t& strictness;          // how many leading categories of an address count
    ReportedAttackerList& reportedAttackers;
};

// frame: Ethernet II with IPv4 and TCP behind; no byte past frameLength is read, and a frame that is too short for the
// brute-force test goes to the signatures. inbound: not 0 = the source is the remote end. False, with nothing written,
// only without a frame; otherwise the verdict's action is written, and the rest by the step that needs it.
bool ScanPacket(const PacketScanContext& context, const std::uint8_t* frame, std::uint32_t frameLength,
                std::uint16_t ruleId, std::uint8_t inbound, PacketVerdict& verdict);

}  // namespace tarn::network

#endif
