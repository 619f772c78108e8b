// The lock where the system has no semaphore left: nobody waits, and nobody hangs.
#include <gtest/gtest.h>
#include <windows.h>

#include "base/reader_writer_lock.h"
#include "system/import_patch_win32.h"

namespace tarn::base {
namespace {

int semaphoresRefused = 0;
HANDLE WINAPI NoSemaphore(SECURITY_ATTRIBUTES*, LONG first, LONG most, const wchar_t* name) {
    ++semaphoresRefused;
    EXPECT_EQ(first, 0);
    EXPECT_EQ(most, 0x7FFFFFFF);
    EXPECT_EQ(name, nullptr);
    SetLastError(ERROR_NO_SYSTEM_RESOURCES);
    return nullptr;
}

class WithoutSemaphores : public testing::Test {
 protected:
    WithoutSemaphores() { semaphoresRefused = 0; }
    void SetUp() override { ASSERT_TRUE(patch_.IsInPlace()); }

 private:
    system_test::ImportPatch patch_{GetModuleHandleW(nullptr), "CreateSemaphoreW", NoSemaphore};
};

TEST_F(WithoutSemaphores, AWaitReturnsAtOnce) {
    Semaphore semaphore;
    EXPECT_EQ(semaphoresRefused, 1);
    semaphore.Wait();
    semaphore.Release(1);
    semaphore.Wait();
}

TEST_F(WithoutSemaphores, ALockIsEnteredAtOnceByEverybody) {
    ReaderWriterLock lock;
    EXPECT_EQ(semaphoresRefused, 2);
    lock.AcquireForReading();
    lock.AcquireForWriting();  // would wait for the reader
    lock.AcquireForReading();  // would wait for the writer
    lock.Release();            // the reader's: hands the lock to the writer
    lock.Release();            // the writer's: hands it to the second reader
    lock.Release();
    lock.AcquireForWriting();
    lock.Release();
}

}  // namespace
}  // namespace tarn::base
