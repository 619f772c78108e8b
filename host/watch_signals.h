// What a long-running command waits for, one thing at a time.
// The environment delivers the signals.
#ifndef TARN_HOST_WATCH_SIGNALS_H
#define TARN_HOST_WATCH_SIGNALS_H

#include <cstddef>
#include <span>
#include <string>

namespace tarn::host {

enum class Signal {
    kNone,     // nothing is pending
    kStop,     // Ctrl+C; from then on always
    kChanged,  // a file of the folder may have changed, and nothing more has been written for a moment
    kInput     // standard input has bytes, or has ended
};

class WatchSignals {
 public:
    virtual ~WatchSignals() = default;
    // With mayWait it waits for a signal and never answers kNone. kInput comes last and only when input is wanted.
    virtual Signal Next(bool mayWait, bool wantsInput) = 0;
    // After kInput: what is there, at most the size of buffer; 0 at the end.
    virtual std::size_t ReadInput(std::span<char> buffer) = 0;
    // From now on kChanged means the files of this folder too. One that is not there is left out.
    virtual void AlsoFolder(const std::string& /*folder*/) {}
};

}  // namespace tarn::host

#endif
