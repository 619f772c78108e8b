// Memory whose end is the end of a page with no page behind: a read past a frame's last byte ends the test.
#ifndef TARN_TESTS_SYSTEM_GUARDED_BLOCK_WIN32_H
#define TARN_TESTS_SYSTEM_GUARDED_BLOCK_WIN32_H

#include <cstdint>
#include <cstring>
#include <gtest/gtest.h>
#include <string_view>
#include <vector>
#include <windows.h>

namespace tarn::system_test {

class GuardedBlock {
 public:
    GuardedBlock() {
        EXPECT_NE(base_, nullptr);
        DWORD previous = 0;
        EXPECT_TRUE(VirtualProtect(base_ + kRoom, kPage, PAGE_NOACCESS, &previous));
    }
    ~GuardedBlock() { VirtualFree(base_, 0, MEM_RELEASE); }
    GuardedBlock(const GuardedBlock&) = delete;
    GuardedBlock& operator=(const GuardedBlock&) = delete;

    // The first length bytes, their last one at the end of the page.
    const std::uint8_t* Place(const std::vector<std::uint8_t>& bytes, std::size_t length) {
        EXPECT_LE(length, kRoom);
        std::memcpy(base_ + kRoom - length, bytes.data(), length);
        return base_ + kRoom - length;
    }
    const std::uint8_t* Place(const std::vector<std::uint8_t>& bytes) { return Place(bytes, bytes.size()); }
    // Data with spare bytes behind it, the last of them at the end of the page.
    std::uint8_t* Place(std::string_view data, std::size_t spare) {
        EXPECT_LE(data.size() + spare, kRoom);
        std::uint8_t* const at = base_ + kRoom - data.size() - spare;
        std::memcpy(at, data.data(), data.size());
        std::memset(at + data.size(), 0xAB, spare);
        return at;
    }

 private:
    static constexpr std::size_t kPage = 0x1000;
    static constexpr std::size_t kRoom = 32 * kPage;
    std::uint8_t* base_ =
        static_cast<std::uint8_t*>(VirtualAlloc(nullptr, kRoom + kPage, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE));
};

}  // namespace tarn::system_test

#endif
