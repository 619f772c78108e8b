// Owners of the system's handles: each closes what it owns and keeps GetLastError across the close.
// An owner belongs to one thread. Only files that talk to Windows include this header.
#ifndef TARN_MACHINE_WIN32_OWNERS_H
#define TARN_MACHINE_WIN32_OWNERS_H

#include <utility>
#include <windows.h>

namespace tarn::machine {

// Traits give Type, kNone (the value that owns nothing) and Close.
template <class Traits>
class Unique {
 public:
    using Type = typename Traits::Type;

    Unique() = default;
    explicit Unique(Type value) : value_(value) {}
    Unique(Unique&& other) noexcept : value_(std::exchange(other.value_, Traits::None())) {}
    Unique& operator=(Unique&& other) noexcept {
        if (this != &other) Reset(std::exchange(other.value_, Traits::None()));
        return *this;
    }
    ~Unique() { Reset(); }

    [[nodiscard]] Type Get() const { return value_; }
    [[nodiscard]] bool Owns() const { return value_ != Traits::None(); }
    // For functions that hand the handle out through a pointer.
    [[nodiscard]] Type* Out() {
        Reset();
        return &value_;
    }
    [[nodiscard]] Type Release() { return std::exchange(value_, Traits::None()); }
    void Reset(Type value = Traits::None()) {
        if (value_ != Traits::None()) {
            const DWORD lastError = GetLastError();
            Traits::Close(value_);
            SetLastError(lastError);
        }
        value_ = value;
    }

 private:
    Type value_ = Traits::None();
};

struct HandleTraits {
    using Type = HANDLE;
    static Type None() { return nullptr; }
    static void Close(Type handle) { CloseHandle(handle); }
};
struct FileTraits {
    using Type = HANDLE;
    static Type None() { return INVALID_HANDLE_VALUE; }
    static void Close(Type handle) { CloseHandle(handle); }
};
struct ModuleTraits {
    using Type = HMODULE;
    static Type None() { return nullptr; }
    static void Close(Type module) { FreeLibrary(module); }
};
struct RegistryKeyTraits {
    using Type = HKEY;
    static Type None() { return nullptr; }
    static void Close(Type key) { RegCloseKey(key); }
};
struct ServiceTraits {
    using Type = SC_HANDLE;
    static Type None() { return nullptr; }
    static void Close(Type service) { CloseServiceHandle(service); }
};

using UniqueHandle = Unique<HandleTraits>;
using UniqueFile = Unique<FileTraits>;
using UniqueModule = Unique<ModuleTraits>;
using UniqueRegistryKey = Unique<RegistryKeyTraits>;
using UniqueService = Unique<ServiceTraits>;

// Records and cores use char16_t, the system wchar_t; both are UTF-16 units of two bytes.
inline const wchar_t* Wide(const char16_t* text) {
    return reinterpret_cast<const wchar_t*>(text);
}
inline wchar_t* Wide(char16_t* text) {
    return reinterpret_cast<wchar_t*>(text);
}

}  // namespace tarn::machine

#endif
