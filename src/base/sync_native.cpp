#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <memory>
#include <mutex>
#include <new>
#include <pthread.h>
#include <thread>

#include "base/assert.h"
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

struct NativeEvent {
    std::mutex mutex;
    std::condition_variable changed;
    bool signalled = false;
};

struct NativeThread {
    std::thread thread;
    std::uint32_t code = 0;
};

NativeEvent* AsEvent(void* handle) {
    return static_cast<NativeEvent*>(handle);
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

bool Event::Create() {
    Close();
    handle_ = new (std::nothrow) NativeEvent();
    return handle_ != nullptr;
}

void Event::Close() {
    delete AsEvent(handle_.exchange(nullptr));
}

bool Event::Signal() {
    NativeEvent* const event = AsEvent(handle_);
    if (event == nullptr) return false;
    {
        const std::lock_guard hold(event->mutex);
        event->signalled = true;
    }
    event->changed.notify_one();
    return true;
}

Event::WaitResult Event::Wait(std::uint32_t milliseconds) {
    NativeEvent* const event = AsEvent(handle_);
    if (event == nullptr) return WaitResult::kFailed;
    std::unique_lock hold(event->mutex);
    if (!event->changed.wait_for(hold, std::chrono::milliseconds(milliseconds), [event] { return event->signalled; }))
        return WaitResult::kTimedOut;
    event->signalled = false;
    return WaitResult::kSignalled;
}

bool WorkerThread::Start(Work work, void* argument) {
    TARN_ASSERT(!Exists());
    auto native = std::unique_ptr<NativeThread>(new (std::nothrow) NativeThread());
    if (native == nullptr) return false;
    try {
        native->thread = std::thread([made = native.get(), work, argument] { made->code = work(argument); });
    } catch (const std::exception&) {  // neither memory nor a thread to be had
        return false;
    }
    handle_ = native.release();
    return true;
}

std::uint32_t WorkerThread::Join() {
    auto* native = static_cast<NativeThread*>(handle_);
    if (native == nullptr) return 0;
    native->thread.join();
    const std::uint32_t code = native->code;
    delete native;
    handle_ = nullptr;
    return code;
}

// What the thread writes its code to stays.
void WorkerThread::Forget() {
    if (handle_ != nullptr) static_cast<NativeThread*>(handle_)->thread.detach();
    handle_ = nullptr;
}

std::uint32_t LastSystemError() {
    return static_cast<std::uint32_t>(errno);
}

std::uint32_t OutOfMemoryError() {
    return ENOMEM;
}

}  // namespace tarn::base
