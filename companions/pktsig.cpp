// pktsig.dll, the packet-signature module: byte patterns from the policy.
#include <memory>
#include <vector>

#include "policy/site_judge.h"
#include "policy_access_win32.h"

namespace {

using Signatures = std::vector<tarn::policy::PacketSignature>;

std::unique_ptr<const Signatures> signatures;  // between PKSInit and PKSDeinit

}  // namespace

extern "C" {

std::uint8_t TARN_CALL PKSInit(void** context, std::uint32_t* error) {
    std::uint32_t own = 0;
    if (context == nullptr) return 0;
    try {
        // Without a usable policy the module still starts: it then finds nothing.
        Signatures found;
        tarn::policy::UsePolicy(error != nullptr ? *error : own,
                                [&](const tarn::policy::Policy& policy) { found = policy.packetSignatures; });
        signatures = std::make_unique<const Signatures>(std::move(found));
        *context = const_cast<Signatures*>(signatures.get());
        return 1;
    } catch (...) {
        return 0;
    }
}

void TARN_CALL PKSDeinit(void*, std::uint32_t*) {
    signatures.reset();
}

// True with action 0 for an attack, 2 for a signature that only lets through; false when nothing was found.
std::uint8_t TARN_CALL PKSScanPacket(const std::uint8_t* frame, std::uint32_t length, std::uint16_t,
                                     std::uint8_t inbound, PacketVerdict* verdict) {
    constexpr std::uint32_t kAttack = 0;
    constexpr std::uint32_t kLetThrough = 2;
    if (frame == nullptr || verdict == nullptr || signatures == nullptr) return 0;
    const auto* found = tarn::policy::FindSignature(*signatures, {frame, length}, inbound != 0);
    if (found == nullptr) return 0;
    verdict->action = found->block ? kAttack : kLetThrough;
    verdict->reason = found->reason;
    return 1;
}

}  // extern "C"
