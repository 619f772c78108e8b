#include "policy/list_files.h"

#include "base/text.h"

namespace tarn::policy {

NamePattern SplitPattern(std::string_view pattern) {
    const std::size_t end = pattern.find_last_of("/\\");
    if (end == std::string_view::npos) return {"", std::string(pattern)};
    return {std::string(pattern.substr(0, end + 1)), std::string(pattern.substr(end + 1))};
}

bool IsPattern(std::string_view text) {
    return SplitPattern(text).name.find_first_of("*?") != std::string::npos;
}

bool MatchesName(std::string_view name, std::string_view pattern) {
    // Back to the last "*" whenever what follows it does not fit.
    std::size_t at = 0;
    std::size_t wanted = 0;
    std::size_t star = std::string_view::npos;
    std::size_t tried = 0;
    while (at < name.size()) {
        const bool fits =
            wanted < pattern.size() && pattern[wanted] != '*' &&
            (pattern[wanted] == '?' || base::ToLowerAscii(pattern[wanted]) == base::ToLowerAscii(name[at]));
        if (fits) {
            ++at;
            ++wanted;
        } else if (wanted < pattern.size() && pattern[wanted] == '*') {
            star = wanted++;
            tried = at;
        } else if (star != std::string_view::npos) {
            wanted = star + 1;
            at = ++tried;
        } else {
            return false;
        }
    }
    while (wanted < pattern.size() && pattern[wanted] == '*') ++wanted;
    return wanted == pattern.size();
}

}  // namespace tarn::policy
