#include <memory>
#include <new>
#include <windows.h>

#include "base/assert.h"
#include "base/sync.h"

namespace tarn::base {
namespace {

constexpr LONG kMaxCount = 0x7FFFFFFF;

CRITICAL_SECTION* Section(unsigned char* storage) {
    return reinterpret_cast<CRITICAL_SECTION*>(storage);
}

struct Start {
    WorkerThread::Work work;
    void* argument;
    HMODULE module;  // a reference to the module of this code, so that it stays until the thread has left it
};

DWORD WINAPI Run(void* given) {
    const Start start = *static_cast<const Start*>(given);
    delete static_cast<Start*>(given);
    const std::uint32_t code = start.work(start.argument);
    FreeLibraryAndExitThread(start.module, code);  // does not return here, where no code may be left
}

HMODULE OwnModule() {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, reinterpret_cast<LPCWSTR>(&Run), &module);
    return module;
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

bool Event::Create() {
    Close();
    handle_ = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    return handle_ != nullptr;
}

void Event::Close() {
    if (void* const handle = handle_.exchange(nullptr)) CloseHandle(handle);
}

bool Event::Signal() {
    return SetEvent(handle_) != FALSE;
}

Event::WaitResult Event::Wait(std::uint32_t milliseconds) {
    switch (WaitForSingleObject(handle_, milliseconds)) {
        case WAIT_OBJECT_0:
            return WaitResult::kSignalled;
        case WAIT_TIMEOUT:
            return WaitResult::kTimedOut;
        default:
            return WaitResult::kFailed;
    }
}

bool WorkerThread::Start(Work work, void* argument) {
    TARN_ASSERT(!Exists());
    auto start = std::unique_ptr<base::Start>(new (std::nothrow) base::Start{work, argument, nullptr});
    if (start == nullptr) {
        SetLastError(OutOfMemoryError());
        return false;
    }
    start->module = OwnModule();
    if (start->module == nullptr) return false;
    handle_ = CreateThread(nullptr, 0, Run, start.get(), 0, nullptr);
    if (handle_ == nullptr) {
        const DWORD error = GetLastError();
        FreeLibrary(start->module);
        SetLastError(error);
        return false;
    }
    static_cast<void>(start.release());
    return true;
}

std::uint32_t WorkerThread::Join() {
    if (handle_ == nullptr) return 0;
    WaitForSingleObject(handle_, INFINITE);
    DWORD code = 0;
    GetExitCodeThread(handle_, &code);
    CloseHandle(handle_);
    handle_ = nullptr;
    return code;
}

void WorkerThread::Forget() {
    if (handle_ != nullptr) CloseHandle(handle_);
    handle_ = nullptr;
}

std::uint32_t LastSystemError() {
    return GetLastError();
}

std::uint32_t OutOfMemoryError() {
    return ERROR_NOT_ENOUGH_MEMORY;
}

}  // namespace tarn::base
