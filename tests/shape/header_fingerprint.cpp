#include "shape/header_fingerprint.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <vector>

#include "base/hash.h"

namespace tarn::shape {

std::string NormalisedSource(std::string_view text) {
    std::string result;
    bool blankIsDue = false;
    for (std::size_t at = 0; at < text.size();) {
        const std::string_view rest = text.substr(at);
        if (rest.starts_with("//")) {
            at += std::min(rest.find('\n'), rest.size());
            blankIsDue = true;
        } else if (rest.starts_with("/*")) {
            const std::size_t end = rest.find("*/", 2);
            at += end == std::string_view::npos ? rest.size() : end + 2;
            blankIsDue = true;
        } else if (rest.front() == ' ' || rest.front() == '\t' || rest.front() == '\r' || rest.front() == '\n') {
            ++at;
            blankIsDue = true;
        } else {
            if (blankIsDue && !result.empty()) result += ' ';
            blankIsDue = false;
            result += rest.front();
            ++at;
        }
    }
    return result;
}

std::string FingerprintOf(const std::filesystem::path& folder) {
    std::vector<std::string> lines;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() != ".h") continue;
        std::ifstream stream(entry.path(), std::ios::binary);
        const std::string text{std::istreambuf_iterator<char>(stream), {}};
        std::array<char, 16> crc{};
        std::snprintf(crc.data(), crc.size(), "%08x ", static_cast<unsigned>(base::Crc32Of(NormalisedSource(text))));
        lines.push_back(crc.data() + entry.path().filename().string() + "\n");
    }
    std::sort(lines.begin(), lines.end(), [](const std::string& left, const std::string& right) {
        return left.substr(left.find(' ')) < right.substr(right.find(' '));
    });
    std::string all;
    for (const std::string& line : lines) all += line;
    return all;
}

}  // namespace tarn::shape
