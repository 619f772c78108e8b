// tarn.dll as an object: it is started by the constructor and ended by the destructor.
// Any thread may judge; settings are exchanged while nobody does.
#ifndef TARN_CPP_HOST_TARN_LIBRARY_H
#define TARN_CPP_HOST_TARN_LIBRARY_H

#include <cstdint>
#include <optional>
#include <string>
#include <tarn/tarn.h>
#include <windows.h>

// The system's reader/writer lock, for std::shared_lock and std::unique_lock. (std::shared_mutex of the GNU tools for
// Windows fails silently when several threads take it for the first time.)
class ReaderWriterLock {
 public:
    void lock() { AcquireSRWLockExclusive(&lock_); }
    void unlock() { ReleaseSRWLockExclusive(&lock_); }
    void lock_shared() { AcquireSRWLockShared(&lock_); }
    void unlock_shared() { ReleaseSRWLockShared(&lock_); }

 private:
    SRWLOCK lock_ = SRWLOCK_INIT;
};

class TarnLibrary {
 public:
    // Throws std::runtime_error, with what to do about it, when the library does not start.
    TarnLibrary();
    ~TarnLibrary();
    TarnLibrary(const TarnLibrary&) = delete;
    TarnLibrary& operator=(const TarnLibrary&) = delete;

    // Nothing when there is no verdict: the caller decides whether to let pass or to block then.
    [[nodiscard]] std::optional<UrlVerdict> Judge(const std::string& host, const std::string& path,
                                                  std::uint32_t processId);

    // Reads all settings again; waits until no scan runs. False when some could not be read.
    bool ReadSettingsAgain();

 private:
    ReaderWriterLock lock_;  // shared by scans, held alone by what changes the settings
};

#endif
