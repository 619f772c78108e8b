#include "host/policy_check.h"

#include <fmt/format.h>
#include <fstream>
#include <iterator>

#include "host/file_path.h"
#include "host/printable_text.h"

namespace tarn::host {

bool ReadPolicyMistakes(const std::string& file, std::vector<policy::Mistake>& mistakes) {
    std::ifstream input(ToPath(file), std::ios::binary);
    if (!input) return false;
    const std::string text{std::istreambuf_iterator<char>(input), {}};
    if (input.bad()) return false;
    mistakes = policy::ParsePolicy(text).mistakes;
    return true;
}

std::string DescribePolicyMistakes(const std::string& folder) {
    const std::string file = folder + std::string(policy::kPolicyFile);
    std::vector<policy::Mistake> mistakes;
    if (!ReadPolicyMistakes(file, mistakes) || mistakes.empty()) return {};
    std::string text = fmt::format("{}: a policy with mistakes is not used, so mend what is wrong:", Printable(file));
    for (const policy::Mistake& mistake : mistakes)
        text += "\n  " + Printable(policy::Describe(policy::kPolicyFile, mistake));
    return text;
}

}  // namespace tarn::host
