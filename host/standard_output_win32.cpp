#include "host/standard_output_win32.h"

#include <algorithm>
#include <fmt/format.h>

namespace tarn::host {

namespace {

constexpr std::size_t kBufferBytes = 8192;

}  // namespace

std::string StandardOutput::Mistake() const {
    switch (error_) {
        case ERROR_SUCCESS:
            return {};
        case ERROR_BROKEN_PIPE:
        case ERROR_NO_DATA:
        case ERROR_PIPE_NOT_CONNECTED:
            return "stopped, since whoever reads the output has closed it";
        case ERROR_DISK_FULL:
        case ERROR_HANDLE_DISK_FULL:
            return "the output is not complete: the disk is full; make room and run it again";
        default:
            return fmt::format("the output is not complete: it cannot be written (error {})", error_);
    }
}

StandardOutput::int_type StandardOutput::overflow(int_type next) {
    const char c = traits_type::to_char_type(next);
    if (traits_type::eq_int_type(next, traits_type::eof())) return sync() == 0 ? traits_type::not_eof(next) : next;
    return xsputn(&c, 1) == 1 ? next : traits_type::eof();
}

std::streamsize StandardOutput::xsputn(const char* text, std::streamsize count) {
    if (error_ != ERROR_SUCCESS) return 0;
    waiting_.append(text, static_cast<std::size_t>(count));
    const bool isLine = isTerminal_ && std::find(text, text + count, '\n') != text + count;
    if ((isLine || waiting_.size() >= kBufferBytes) && sync() != 0) return 0;
    return count;
}

int StandardOutput::sync() {
    std::size_t written = 0;
    while (error_ == ERROR_SUCCESS && written < waiting_.size()) {
        DWORD count = 0;
        const auto left = static_cast<DWORD>(std::min<std::size_t>(waiting_.size() - written, 1 << 20));
        if (WriteFile(file_, &waiting_[written], left, &count, nullptr) == 0)
            error_ = GetLastError();
        else if (count == 0)
            error_ = ERROR_DISK_FULL;
        written += count;
    }
    waiting_.clear();
    return error_ == ERROR_SUCCESS ? 0 : -1;
}

}  // namespace tarn::host
