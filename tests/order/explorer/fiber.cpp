#include "order/explorer/fiber.h"

#include <cstdlib>
#include <dlfcn.h>
#include <sys/mman.h>
#include <utility>
#include <vector>

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/common_interface_defs.h>
#endif

namespace tarn::order {
namespace {

constexpr std::size_t kStackSize = 192 * 1024;
constexpr std::size_t kGuard = 4096;

Fiber* entering = nullptr;  // the one that Resume starts

// The C library's own: AddressSanitizer's stand-in cleans the whole stack at each switch, which it need not do for one
// that it is told about.
int Swap(ucontext_t* from, const ucontext_t* to) {
    using Function = int (*)(ucontext_t*, const ucontext_t*);
    static const auto swap = reinterpret_cast<Function>(dlsym(dlopen("libc.so.6", RTLD_LAZY), "swapcontext"));
    if (swap == nullptr) std::abort();
    return swap(from, to);
}

// AddressSanitizer has to know on which stack the program runs.
void Leaving([[maybe_unused]] void** fakeStack, [[maybe_unused]] const void* bottom,
             [[maybe_unused]] std::size_t size) {
#ifdef __SANITIZE_ADDRESS__
    __sanitizer_start_switch_fiber(fakeStack, bottom, size);
#endif
}
void Arrived([[maybe_unused]] void* fakeStack, [[maybe_unused]] const void** bottom,
             [[maybe_unused]] std::size_t* size) {
#ifdef __SANITIZE_ADDRESS__
    __sanitizer_finish_switch_fiber(fakeStack, bottom, size);
#endif
}

}  // namespace

// Memory for one stack with a page below it that nobody may touch; used again by a later fiber.
class Fiber::Stack {
 public:
    Stack() {
        if (!Spare().empty()) {
            memory_ = Spare().back();
            Spare().pop_back();
            return;
        }
        memory_ = mmap(nullptr, kStackSize + kGuard, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory_ == MAP_FAILED || mprotect(memory_, kGuard, PROT_NONE) != 0) std::abort();
    }
    ~Stack() { Spare().push_back(memory_); }
    Stack(const Stack&) = delete;
    Stack& operator=(const Stack&) = delete;

    [[nodiscard]] void* Bottom() const { return static_cast<char*>(memory_) + kGuard; }

 private:
    static std::vector<void*>& Spare() {
        static std::vector<void*> spare;
        return spare;
    }

    void* memory_ = nullptr;
};

Fiber::Fiber(std::function<void()> body) : body_(std::move(body)), stack_(std::make_unique<Stack>()) {
    getcontext(&own_);
    own_.uc_stack.ss_sp = stack_->Bottom();
    own_.uc_stack.ss_size = kStackSize;
    own_.uc_link = nullptr;
    makecontext(&own_, &Fiber::Main, 0);
}

Fiber::~Fiber() = default;

// Leaves its own frame for good, so that nothing of it may stay marked.
__attribute__((no_sanitize_address)) void Fiber::Main() {
    Fiber* const self = entering;
    Arrived(nullptr, &self->callerBottom_, &self->callerSize_);
    self->body_();
    self->ended_ = true;
    Leaving(nullptr, self->callerBottom_, self->callerSize_);
    Swap(&self->own_, &self->caller_);
}

void Fiber::Resume() {
    entering = this;
    Leaving(&callerFakeStack_, stack_->Bottom(), kStackSize);
    Swap(&caller_, &own_);
    Arrived(callerFakeStack_, nullptr, nullptr);
}

void Fiber::Pause() {
    Leaving(&ownFakeStack_, callerBottom_, callerSize_);
    Swap(&own_, &caller_);
    Arrived(ownFakeStack_, &callerBottom_, &callerSize_);
}

}  // namespace tarn::order
