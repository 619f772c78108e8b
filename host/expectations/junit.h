// The results of tests in the XML that test servers read.
#ifndef TARN_HOST_EXPECTATIONS_JUNIT_H
#define TARN_HOST_EXPECTATIONS_JUNIT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::host {

inline constexpr std::size_t kJunitColumns = 80;  // of the details

enum class TestOutcome { kOk, kDifferent, kFailed };

struct TestResult {
    std::string name;
    std::string file;
    std::uint32_t line = 0;  // 0: of no line
    TestOutcome outcome = TestOutcome::kOk;
    std::string message;  // one line; of what is not kOk
    std::string details;
    double seconds = 0;
};

// What failed apart from any result: a capture that is cut off, a file that cannot be read.
TestResult FailedResult(std::string_view name, std::string_view message);

std::string JunitOf(std::string_view suite, const std::vector<TestResult>& results);
// False when the file cannot be written.
bool WriteJunit(const std::string& file, std::string_view suite, const std::vector<TestResult>& results);

}  // namespace tarn::host

#endif
