// What tests of commands have in common: exit codes, the captures that are read, the lines that come back.
#ifndef TARN_TESTS_HOST_COMMAND_RUNS_H
#define TARN_TESTS_HOST_COMMAND_RUNS_H

#include <sstream>
#include <string>
#include <vector>

#include "support/project_files.h"

namespace tarn::host {

inline constexpr int kCodeOk = 0;
inline constexpr int kCodeFailed = 1;
inline constexpr int kCodeUsage = 2;
inline constexpr int kCodeFound = 3;

inline const std::string kCurl = CaptureFileOf("http_curl.pcap");     // 10.20.30.41 asks, 37 requests
inline const std::string kMixed = CaptureFileOf("mixed_small.pcap");  // it is asked as well

inline std::vector<std::string> LinesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream input(text);
    for (std::string line; std::getline(input, line);) lines.push_back(line);
    return lines;
}

}  // namespace tarn::host

#endif
