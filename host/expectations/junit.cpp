#include "host/expectations/junit.h"

#include <algorithm>
#include <fmt/format.h>

#include "host/output_file.h"
#include "host/printable_text.h"

namespace tarn::host {

namespace {

// Text and attributes of XML 1.0. Control characters, which it cannot hold, and bytes that are no UTF-8 become "\x..".
std::string Escaped(std::string_view text) {
    std::string out;
    std::size_t begin = 0;
    while (begin <= text.size()) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        const std::string line = Printable(text.substr(begin, end - begin));
        for (std::size_t i = 0; i < line.size(); ++i) {
            const std::string_view rest = std::string_view(line).substr(i);
            if (rest.starts_with("\xEF\xBF\xBE") || rest.starts_with("\xEF\xBF\xBF")) {  // U+FFFE, U+FFFF
                out += "\xEF\xBF\xBD";
                i += 2;
            } else if (line[i] == '&') {
                out += "&amp;";
            } else if (line[i] == '<') {
                out += "&lt;";
            } else if (line[i] == '>') {
                out += "&gt;";
            } else if (line[i] == '"') {
                out += "&quot;";
            } else {
                out += line[i];
            }
        }
        if (end == text.size()) break;
        out += '\n';
        begin = end + 1;
    }
    return out;
}

std::string OneLine(std::string_view text) {
    std::string line(text);
    std::replace(line.begin(), line.end(), '\n', ' ');
    return Escaped(line);
}

std::size_t CountOf(TestOutcome outcome, const std::vector<TestResult>& results) {
    return static_cast<std::size_t>(
        std::count_if(results.begin(), results.end(), [&](const TestResult& one) { return one.outcome == outcome; }));
}

std::string CaseOf(std::string_view suite, const TestResult& result) {
    std::string text = fmt::format("    <testcase classname=\"{}\" name=\"{}\" file=\"{}\"", OneLine(suite),
                                   OneLine(result.name), OneLine(result.file));
    if (result.line != 0) text += fmt::format(" line=\"{}\"", result.line);
    text += fmt::format(" time=\"{:.3f}\"", result.seconds);
    if (result.outcome == TestOutcome::kOk) return text + "/>\n";
    const char* const element = result.outcome == TestOutcome::kFailed ? "error" : "failure";
    return text + fmt::format(">\n      <{0} message=\"{1}\">{2}</{0}>\n    </testcase>\n", element,
                              OneLine(result.message), Escaped(result.details));
}

}  // namespace

TestResult FailedResult(std::string_view name, std::string_view message) {
    TestResult result;
    result.name = name;
    result.file = name;
    result.outcome = TestOutcome::kFailed;
    result.message = message;
    return result;
}

std::string JunitOf(std::string_view suite, const std::vector<TestResult>& results) {
    double seconds = 0;
    for (const TestResult& result : results) seconds += result.seconds;
    const std::string counts =
        fmt::format("tests=\"{}\" failures=\"{}\" errors=\"{}\" time=\"{:.3f}\"", results.size(),
                    CountOf(TestOutcome::kDifferent, results), CountOf(TestOutcome::kFailed, results), seconds);
    std::string text =
        fmt::format("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<testsuites {0}>\n  <testsuite name=\"{1}\" {0}>\n",
                    counts, OneLine(suite));
    for (const TestResult& result : results) text += CaseOf(suite, result);
    return text + "  </testsuite>\n</testsuites>\n";
}

bool WriteJunit(const std::string& file, std::string_view suite, const std::vector<TestResult>& results) {
    return WriteWholeFile(file, JunitOf(suite, results));
}

}  // namespace tarn::host
