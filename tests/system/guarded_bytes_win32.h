// Bytes that end where readable memory ends: whoever reads or writes one byte too far, faults.
// Built on whole pages, so only for a handful at a time.
#ifndef TARN_TESTS_SYSTEM_GUARDED_BYTES_WIN32_H
#define TARN_TESTS_SYSTEM_GUARDED_BYTES_WIN32_H

#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <string_view>
#include <windows.h>

namespace tarn::system_test {

class GuardedBytes {
 public:
    GuardedBytes() {
        base_ = static_cast<std::uint8_t*>(VirtualAlloc(nullptr, kRoom + kGuard, MEM_RESERVE, PAGE_NOACCESS));
        EXPECT_NE(base_, nullptr);
        EXPECT_NE(VirtualAlloc(base_, kRoom, MEM_COMMIT, PAGE_READWRITE), nullptr);
    }
    ~GuardedBytes() { VirtualFree(base_, 0, MEM_RELEASE); }
    GuardedBytes(const GuardedBytes&) = delete;
    GuardedBytes& operator=(const GuardedBytes&) = delete;

    // A copy of data with spare bytes behind it, at the very end of the memory.
    std::uint8_t* Place(std::string_view data, std::size_t spare) {
        std::uint8_t* const at = base_ + kRoom - data.size() - spare;
        std::memcpy(at, data.data(), data.size());
        std::memset(at + data.size(), 0xAB, spare);
        return at;
    }

 private:
    static constexpr std::size_t kRoom = 0x10000;
    static constexpr std::size_t kGuard = 0x10000;
    std::uint8_t* base_ = nullptr;
};

}  // namespace tarn::system_test

#endif
