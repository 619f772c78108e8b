#include <condition_variable>
#include <mutex>
#include <new>
#include <pthread.h>

#include "base/sync.h"

namespace tarn::base {
namespace {

pthread_mutex_t* Mutex(unsigned char* storage) {
    return reinterpret_cast<pthread_mutex_t*>(storage);
}

struct NativeSemaphore {
    std::mutex mutex;
    std::condition_variable changed;
    std::int64_t count = 0;
};

NativeSemaphore* Native(void* handle) {
    return static_cast<NativeSemaphore*>(handle);
}

}  // namespace

CriticalSection::CriticalSection() {
    static_assert(sizeof storage_ >= sizeof(pthread_mutex_t) && alignof(pthread_mutex_t) <= 8);
    pthread_mutex_init(Mutex(storage_), nullptr);
}
CriticalSection::~CriticalSection() {
    pthread_mutex_destroy(Mutex(storage_));
}
void CriticalSection::Enter() {
    pthread_mutex_lock(Mutex(storage_));
}
void CriticalSection::Leave() {
    pthread_mutex_unlock(Mutex(storage_));
}

Semaphore::Semaphore() : handle_(new (std::nothrow) NativeSemaphore()) {}
Semaphore::~Semaphore() {
    delete Native(handle_);
}
void Semaphore::Wait() {
    if (handle_ == nullptr) return;
    std::unique_lock hold(Native(handle_)->mutex);
    Native(handle_)->changed.wait(hold, [this] { return Native(handle_)->count > 0; });
    --Native(handle_)->count;
}
void Semaphore::Release(std::int32_t count) {
    if (handle_ == nullptr) return;
    {
        const std::lock_guard hold(Native(handle_)->mutex);
        Native(handle_)->count += count;
    }
    Native(handle_)->changed.notify_all();
}

}  // namespace tarn::base
