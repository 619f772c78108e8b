// Standard output as a stream that knows why a write failed. After a failure nothing more is written.
// A terminal sees each line at once, a file or pipe a full buffer.
#ifndef TARN_HOST_STANDARD_OUTPUT_WIN32_H
#define TARN_HOST_STANDARD_OUTPUT_WIN32_H

#include <streambuf>
#include <string>
#include <windows.h>

namespace tarn::host {

class StandardOutput : public std::streambuf {
 public:
    StandardOutput(HANDLE file, bool isTerminal) : file_(file), isTerminal_(isTerminal) {}
    ~StandardOutput() override { StandardOutput::sync(); }
    StandardOutput(const StandardOutput&) = delete;
    StandardOutput& operator=(const StandardOutput&) = delete;

    // What went wrong and what to do about it; empty as long as everything was written.
    [[nodiscard]] std::string Mistake() const;

 protected:
    int_type overflow(int_type next) override;
    std::streamsize xsputn(const char* text, std::streamsize count) override;
    int sync() override;

 private:
    HANDLE file_;
    bool isTerminal_;
    std::string waiting_;
    DWORD error_ = ERROR_SUCCESS;
};

}  // namespace tarn::host

#endif
