#include "host/policy_check.h"

#include <fmt/format.h>

#include "host/policy_file.h"
#include "host/printable_text.h"

namespace tarn::host {

bool ReadPolicyMistakes(const std::string& file, std::vector<policy::Mistake>& mistakes,
                        const policy::FindSid& findSid) {
    const auto text = ReadPolicyText(file);
    if (!text) return false;
    mistakes = policy::ParsePolicy(*text, findSid).mistakes;
    return true;
}

std::string DescribePolicyMistakes(const std::string& folder, const policy::FindSid& findSid) {
    const std::string file = PolicyPath(folder);
    std::vector<policy::Mistake> mistakes;
    if (!ReadPolicyMistakes(file, mistakes, findSid) || mistakes.empty()) return {};
    std::string text = fmt::format("{}: a policy with mistakes is not used, so mend what is wrong:", Printable(file));
    for (const policy::Mistake& mistake : mistakes)
        text += "\n  " + Printable(policy::Describe(policy::kPolicyFile, mistake));
    return text;
}

}  // namespace tarn::host
