// Three values of the host that travel behind the own arguments of the first module call that a settings change makes.
// Which calls may be that first one is told by the functions that take a PassThrough; the change makes one and hands it
// to them.
#ifndef TARN_MODULES_PASS_THROUGH_H
#define TARN_MODULES_PASS_THROUGH_H

#include <cstdint>
#include <type_traits>

#include "tarn/companions.h"

namespace tarn::modules {

// The first call takes the values, the later ones find none.
class PassThrough {
 public:
    PassThrough(std::uint64_t a, std::uint64_t b, std::uint64_t c) : a_(a), b_(b), c_(c) {}

    [[nodiscard]] bool Pending() const { return pending_; }

    // The caller of a function removes its arguments, so one that declares fewer is not disturbed.
    template <class Result, class... Parameters>
    Result Call(Result(TARN_CALL* function)(Parameters...), std::type_identity_t<Parameters>... arguments) {
        using Extended = Result(TARN_CALL*)(Parameters..., std::uint64_t, std::uint64_t, std::uint64_t);
        pending_ = false;
        const auto extended = reinterpret_cast<Extended>(reinterpret_cast<void (*)()>(function));
        return extended(arguments..., a_, b_, c_);
    }

 private:
    std::uint64_t a_;
    std::uint64_t b_;
    std::uint64_t c_;
    bool pending_ = true;
};

// Calls function, with the host's values behind its arguments when passed still holds them.
template <class Result, class... Parameters>
Result CallPassing(PassThrough* passed, Result(TARN_CALL* function)(Parameters...),
                   std::type_identity_t<Parameters>... arguments) {
    if (passed == nullptr || !passed->Pending()) return function(arguments...);
    return passed->Call(function, arguments...);
}

}  // namespace tarn::modules

#endif
