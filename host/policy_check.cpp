#include "host/policy_check.h"

#include <fmt/format.h>

#include "host/file_path.h"
#include "host/list_files.h"
#include "host/policy_file.h"
#include "host/printable_text.h"

namespace tarn::host {

Event MistakeEvent(const char* kind, const std::string& file, const policy::Mistake& mistake) {
    Event event = BeginEvent("policy");
    event["event"] = kind;
    event["file"] = mistake.file.empty() ? file : mistake.file;
    event["line"] = mistake.line;
    event["column"] = mistake.column;
    event["text"] = mistake.text;
    return event;
}

std::optional<policy::ReadPolicy> ReadPolicyFile(const std::string& file, const policy::FindSid& findSid,
                                                 std::ostream* progress) {
    const auto text = ReadPolicyText(file);
    if (!text) return std::nullopt;
    ListFilesOnDisk lists(file, progress);
    policy::ReadPolicy read = policy::ParsePolicy(*text, findSid, &lists);
    read.policy.files.front() = FromPath(ToPath(file).filename());
    return read;
}

std::string DescribePolicyMistakes(const std::string& file, const policy::FindSid& findSid, std::ostream* progress) {
    const auto read = ReadPolicyFile(file, findSid, progress);
    if (!read || read->mistakes.empty()) return {};
    std::string text = fmt::format("{}: a policy with mistakes is not used, so mend what is wrong:", Printable(file));
    for (const policy::Mistake& mistake : read->mistakes)
        text += "\n  " + Printable(policy::Describe(FromPath(ToPath(file).filename()), mistake));
    return text;
}

}  // namespace tarn::host
