#include "host/serve/event_file.h"

#include <fmt/format.h>
#include <system_error>
#include <utility>

#include "host/file_path.h"
#include "host/printable_text.h"

namespace tarn::host::serve {

EventFile::EventFile(const std::string& name, std::uint64_t most, std::size_t count, Complain complain,
                     std::chrono::milliseconds tryAgain)
    : path_(ToPath(name)), most_(most), count_(count), complain_(std::move(complain)), tryAgain_(tryAgain) {
    if (!Open()) Fail("cannot be written");
}

bool EventFile::Open() {
    std::error_code error;
    const auto size = std::filesystem::file_size(path_, error);
    size_ = error ? 0 : size;
    file_.close();
    file_.clear();
    file_.open(path_, std::ios::binary | std::ios::app);
    return file_.is_open();
}

std::filesystem::path EventFile::Numbered(std::size_t number) const {
    std::filesystem::path name = path_;
    name += fmt::format(".{}", number);
    return name;
}

// So that there is no FILE.1. What cannot be renamed stays, and all that is older.
std::error_code EventFile::MakeRoom() const {
    std::error_code error;
    std::size_t gap = 1;
    while (gap < count_ - 1 && std::filesystem::exists(Numbered(gap), error)) ++gap;
    if (gap == count_ - 1) std::filesystem::remove(Numbered(gap), error);
    for (; !error && gap > 1; --gap) std::filesystem::rename(Numbered(gap - 1), Numbered(gap), error);
    return error;
}

// The full file gets another name first: nothing older is touched unless that worked.
void EventFile::Rotate() {
    file_.close();
    std::error_code error;
    std::error_code ignored;
    const std::filesystem::path full = Numbered(0);
    std::filesystem::rename(path_, full, error);
    if (!error) {
        if (count_ == 1) std::filesystem::remove(full, error);
        if (count_ != 1) error = MakeRoom();
        if (count_ != 1 && !error) std::filesystem::rename(full, Numbered(1), error);
        if (error) std::filesystem::rename(full, path_, ignored);
    }
    if (error) {
        nextRotation_ = std::chrono::steady_clock::now() + tryAgain_;
        if (!std::exchange(isHeld_, true))
            complain_(
                fmt::format("{}: is full and cannot be renamed ({}); is it open in another program? It grows until it "
                            "can be",
                            Printable(FromPath(path_)), error.message()));
    } else {
        isHeld_ = false;
    }
    Open();
}

void EventFile::Fail(const char* what) {
    file_.close();
    nextTry_ = std::chrono::steady_clock::now() + tryAgain_;
    if (std::exchange(isFailing_, true)) return;
    complain_(fmt::format("{}: {}; the filter goes on without events, and tries again now and then",
                          Printable(FromPath(path_)), what));
}

void EventFile::Write(const std::string& line) {
    if (isFailing_) {
        ++lost_;
        if (std::chrono::steady_clock::now() < nextTry_) return;
        if (!Open()) return Fail("cannot be written");
    }
    const bool isFull = size_ != 0 && size_ + line.size() + 1 > most_;
    if (isFull && std::chrono::steady_clock::now() >= nextRotation_) Rotate();
    file_ << line << '\n';
    size_ += line.size() + 1;
    if (isFailing_) file_.flush();
    if (!file_) return Fail("cannot be written any more");
    if (!std::exchange(isFailing_, false)) return;
    complain_(fmt::format("{}: is written again; {} events are missing", Printable(FromPath(path_)), lost_ - 1));
    lost_ = 0;
}

void EventFile::Flush() {
    if (isFailing_) return;
    file_.flush();
    if (!file_) Fail("cannot be written any more");
}

}  // namespace tarn::host::serve
