// agentst.dll: the agent status byte, from the policy.
#include "policy_access_win32.h"

extern "C" std::uint8_t TARN_CALL GetYALStatus(std::uint8_t* status) {
    std::uint32_t error = 0;
    if (status == nullptr) return 0;
    try {
        const auto read = [&](const tarn::policy::Policy& policy) { *status = policy.features.agentStatus; };
        return tarn::policy::UsePolicy(error, read) ? 1 : 0;
    } catch (...) {
        return 0;
    }
}
