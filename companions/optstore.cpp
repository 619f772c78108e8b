// OPTSTORE.DLL: which features a management server has switched off, from the policy.
#include "policy_access_win32.h"

extern "C" std::uint8_t TARN_CALL ReadDisableFeaturesSettings(std::uint64_t, DisabledFeatures* out,
                                                              std::uint32_t* error) {
    if (out == nullptr || error == nullptr) return 0;
    try {
        const auto read = [&](const tarn::policy::Policy& policy) {
            *out = {};
            // Both bytes together forbid the online look-up.
            if (policy.managedClient.disableOnlineLookup) out->bytes[5] = out->bytes[8] = 1;
        };
        return tarn::policy::UsePolicy(*error, read) ? 1 : 0;
    } catch (...) {
        return 0;
    }
}
