// The policy of the install folder for the reference modules. It is read once for all of them: the settings reader has
// the store, and the others ask it through an export; a module without that neighbour reads for itself.
// A module may ask on any thread; the policy is lent for the time of the call.
#ifndef TARN_COMPANIONS_POLICY_ACCESS_WIN32_H
#define TARN_COMPANIONS_POLICY_ACCESS_WIN32_H

#include <cstdint>
#include <exception>

#include "tarn/companions.h"

#include "policy/policy.h"

namespace tarn::policy {

// use is called at most once, must not throw, and must not keep the policy. 0, or the system's error.
using PolicyUse = void (*)(void* context, const Policy& policy);
// The settings reader's export, which only modules of the same build may call: Policy is the compiler's own layout.
using SharePolicyFn = std::uint32_t(TARN_CALL*)(const char* build, PolicyUse use, void* context);

// For the settings reader's export.
std::uint32_t SharePolicy(const char* build, PolicyUse use, void* context);
// Asks the settings reader, or reads.
std::uint32_t LendPolicy(PolicyUse use, void* context);

// Hands the policy to use, whose exceptions come through. False with the system's error for a policy that cannot be
// read, and 13 (invalid data) for one with mistakes.
template <class Use>
bool UsePolicy(std::uint32_t& error, Use&& use) {
    struct Call {
        Use& use;
        std::exception_ptr failure;
    } call{use, nullptr};
    const std::uint32_t failed = LendPolicy(
        [](void* context, const Policy& policy) {
            // An exception must not pass through another module.
            auto& own = *static_cast<Call*>(context);
            try {
                own.use(policy);
            } catch (...) {
                own.failure = std::current_exception();
            }
        },
        &call);
    if (call.failure) std::rethrow_exception(call.failure);
    if (failed != 0) error = failed;
    return failed == 0;
}

}  // namespace tarn::policy

#endif
