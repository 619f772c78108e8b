// Standard input of a command, which may keep it waiting: what was printed is seen meanwhile, and Ctrl+C ends the wait.
// It borrows the environment and the output; one object at a time, for one thread.
#ifndef TARN_HOST_STANDARD_INPUT_H
#define TARN_HOST_STANDARD_INPUT_H

#include <istream>
#include <memory>
#include <ostream>
#include <span>
#include <string>

#include "host/judge.h"
#include "host/watched_input.h"

namespace tarn::host {

class StandardInput {
 public:
    StandardInput(Environment& environment, std::ostream& out) : environment_(environment), out_(out) {}
    StandardInput(const StandardInput&) = delete;
    StandardInput& operator=(const StandardInput&) = delete;

    // From the second time on it goes on where it was. Null with the reason in mistake.
    std::istream* Open(std::string& mistake);
    // Whether Ctrl+C ended it; the last line may then lack its end.
    [[nodiscard]] bool IsCutOff() const { return isCutOff_; }

 private:
    std::size_t Fill(std::span<char> buffer);

    Environment& environment_;
    std::ostream& out_;
    std::unique_ptr<WatchSignals> signals_;
    bool isCutOff_ = false;
    WatchedInput bytes_{[this](std::span<char> buffer) { return Fill(buffer); }};
    std::istream stream_{&bytes_};
};

}  // namespace tarn::host

#endif
