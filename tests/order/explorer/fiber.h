// A thread of an exploration: it runs on a stack of its own, only when it is told to, and stops where it wants to.
// The one real thread owns all of them.
#ifndef TARN_TESTS_ORDER_EXPLORER_FIBER_H
#define TARN_TESTS_ORDER_EXPLORER_FIBER_H

#include <functional>
#include <memory>
#include <ucontext.h>

namespace tarn::order {

class Fiber {
 public:
    explicit Fiber(std::function<void()> body);
    ~Fiber();
    Fiber(const Fiber&) = delete;
    Fiber& operator=(const Fiber&) = delete;

    // Runs the fiber until it pauses or ends. Not from a fiber.
    void Resume();
    // Gives control back to Resume's caller. Only from the fiber itself.
    void Pause();
    [[nodiscard]] bool Ended() const { return ended_; }

 private:
    class Stack;
    static void Main();

    std::function<void()> body_;
    std::unique_ptr<Stack> stack_;
    ucontext_t own_{};
    ucontext_t caller_{};
    void* ownFakeStack_ = nullptr;
    void* callerFakeStack_ = nullptr;
    const void* callerBottom_ = nullptr;
    std::size_t callerSize_ = 0;
    bool ended_ = false;
};

}  // namespace tarn::order

#endif
