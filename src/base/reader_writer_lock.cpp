#include "base/reader_writer_lock.h"

namespace tarn::base {

void ReaderWriterLock::AcquireForReading() {
    counters_.Enter();
    if (waitingWriters_ == 0 && state_ >= 0) {
        ++state_;
        counters_.Leave();
        return;
    }
    ++waitingReaders_;
    counters_.Leave();
    readers_.Wait();
}

void ReaderWriterLock::AcquireForWriting() {
    counters_.Enter();
    if (state_ == 0) {
        state_ = -1;
        counters_.Leave();
        return;
    }
    ++waitingWriters_;
    counters_.Leave();
    writers_.Wait();
}

void ReaderWriterLock::Release() {
    std::int32_t writersToWake = 0;
    std::int32_t readersToWake = 0;
    counters_.Enter();
    state_ += state_ < 1 ? 1 : -1;
    if (state_ == 0) {
        if (waitingWriters_ >= 1) {
            --waitingWriters_;
            state_ = -1;
            writersToWake = 1;
        } else if (waitingReaders_ > 0) {
            readersToWake = waitingReaders_;
            state_ = waitingReaders_;
            waitingReaders_ = 0;
        }
    }
    counters_.Leave();
    if (writersToWake != 0) writers_.Release(writersToWake);
    if (readersToWake != 0) readers_.Release(readersToWake);
}

}  // namespace tarn::base
