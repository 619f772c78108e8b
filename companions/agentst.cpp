// agentst.dll: the agent status byte, from the policy.
#include "module_files_win32.h"

extern "C" std::uint8_t TARN_CALL GetYALStatus(std::uint8_t* status) {
    std::uint32_t error = 0;
    if (status == nullptr) return 0;
    try {
        tarn::policy::Policy policy;
        if (!tarn::policy::LoadPolicy(policy, error)) return 0;
        *status = policy.features.agentStatus;
        return 1;
    } catch (...) {
        return 0;
    }
}
