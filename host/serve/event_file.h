// The events as a file of JSON lines. When it is full it becomes FILE.1, that one FILE.2, and the oldest is removed.
// Called by one thread at a time. A file that cannot be written, and one that cannot be renamed because a program holds
// it open, is told once and tried again now and then; the latter grows meanwhile, and no older one is removed.
#ifndef TARN_HOST_SERVE_EVENT_FILE_H
#define TARN_HOST_SERVE_EVENT_FILE_H

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <system_error>

namespace tarn::host::serve {

class EventFile {
 public:
    using Complain = std::function<void(const std::string& mistake)>;
    static constexpr std::chrono::seconds kTryAgain{5};

    // most: bytes of one file; count: files in all.
    EventFile(const std::string& name, std::uint64_t most, std::size_t count, Complain complain,
              std::chrono::milliseconds tryAgain = kTryAgain);

    void Write(const std::string& line);
    // What was written reaches those who read along.
    void Flush();

 private:
    bool Open();
    void Rotate();
    [[nodiscard]] std::error_code MakeRoom() const;
    [[nodiscard]] std::filesystem::path Numbered(std::size_t number) const;
    void Fail(const char* what);

    std::filesystem::path path_;
    std::uint64_t most_;
    std::size_t count_;
    Complain complain_;
    std::chrono::milliseconds tryAgain_;
    std::ofstream file_;
    std::uint64_t size_ = 0;
    std::uint64_t lost_ = 0;  // lines
    bool isFailing_ = false;
    bool isHeld_ = false;  // it could not be renamed
    std::chrono::steady_clock::time_point nextTry_{};
    std::chrono::steady_clock::time_point nextRotation_{};
};

}  // namespace tarn::host::serve

#endif
