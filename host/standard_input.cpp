#include "host/standard_input.h"

namespace tarn::host {

std::istream* StandardInput::Open(std::string& mistake) {
    if (!signals_) signals_ = environment_.Watch("", true, mistake);
    if (!signals_) return nullptr;
    stream_.clear();
    return &stream_;
}

std::size_t StandardInput::Fill(std::span<char> buffer) {
    out_.flush();
    Signal signal = Signal::kNone;
    do {
        signal = signals_->Next(true, true);
    } while (signal == Signal::kChanged);
    isCutOff_ = signal == Signal::kStop;
    return isCutOff_ ? 0 : signals_->ReadInput(buffer);
}

}  // namespace tarn::host
