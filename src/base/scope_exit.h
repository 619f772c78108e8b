// Runs a piece of work when a scope is left, on whatever way, unless it was dismissed before.
// The work may not throw: it also runs while an exception unwinds the stack.
#ifndef TARN_BASE_SCOPE_EXIT_H
#define TARN_BASE_SCOPE_EXIT_H

#include <type_traits>
#include <utility>

namespace tarn::base {

template <class Work>
class [[nodiscard]] ScopeExit {
    static_assert(std::is_nothrow_invocable_v<Work&>, "declare the work noexcept");

 public:
    explicit ScopeExit(Work work) : work_(std::move(work)) {}
    ~ScopeExit() {
        if (armed_) work_();
    }
    ScopeExit(const ScopeExit&) = delete;
    ScopeExit& operator=(const ScopeExit&) = delete;

    void Dismiss() noexcept { armed_ = false; }

 private:
    Work work_;
    bool armed_ = true;
};

}  // namespace tarn::base

#endif
