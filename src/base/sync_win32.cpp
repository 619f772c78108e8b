#include <windows.h>

#include "base/sync.h"

namespace tarn::base {
namespace {

constexpr LONG kMaxCount = 0x7FFFFFFF;

CRITICAL_SECTION* Section(unsigned char* storage) {
    return reinterpret_cast<CRITICAL_SECTION*>(storage);
}

}  // namespace

CriticalSection::CriticalSection() {
    static_assert(sizeof storage_ == sizeof(CRITICAL_SECTION) && alignof(CRITICAL_SECTION) <= 8);
    InitializeCriticalSection(Section(storage_));
}
CriticalSection::~CriticalSection() {
    DeleteCriticalSection(Section(storage_));
}
void CriticalSection::Enter() {
    EnterCriticalSection(Section(storage_));
}
void CriticalSection::Leave() {
    LeaveCriticalSection(Section(storage_));
}

Semaphore::Semaphore() : handle_(CreateSemaphoreW(nullptr, 0, kMaxCount, nullptr)) {}
Semaphore::~Semaphore() {
    if (handle_ != nullptr) CloseHandle(handle_);
}
void Semaphore::Wait() {
    WaitForSingleObject(handle_, INFINITE);
}
void Semaphore::Release(std::int32_t count) {
    ReleaseSemaphore(handle_, count, nullptr);
}

}  // namespace tarn::base
