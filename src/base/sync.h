// The two waiting primitives that ReaderWriterLock is built on: a critical section and a counting semaphore.
// Each has a Win32 and a native implementation, so that ThreadSanitizer sees the real lock algorithm.
#ifndef TARN_BASE_SYNC_H
#define TARN_BASE_SYNC_H

#include <cstdint>

namespace tarn::base {

// A process-local mutex; re-entrant on Windows, where nothing relies on it. Also satisfies BasicLockable.
class CriticalSection {
 public:
    CriticalSection();
    ~CriticalSection();
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

    void Enter();
    void Leave();
    void lock() { Enter(); }
    void unlock() { Leave(); }

 private:
    alignas(8) unsigned char storage_[40];  // a CRITICAL_SECTION (40 bytes on x86-64) or a pthread_mutex_t
};

// Initial count 0, maximum 2147483647.
class Semaphore {
 public:
    Semaphore();
    ~Semaphore();
    Semaphore(const Semaphore&) = delete;
    Semaphore& operator=(const Semaphore&) = delete;

    // Waits without a time limit. A semaphore that could not be created makes this return at once.
    void Wait();
    void Release(std::int32_t count);

 private:
    void* handle_ = nullptr;
};

}  // namespace tarn::base

#endif
