#include "host/policy_check.h"

#include <fmt/format.h>
#include <mutex>

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

std::shared_ptr<const policy::ReadPolicy> SharePolicyFile(const std::string& file, const policy::FindSid& findSid,
                                                          std::ostream* progress) {
    struct Reading {
        std::string file;
        std::string text;
        std::string lists;  // their state
        bool knowsAccounts = false;
        bool operator==(const Reading&) const = default;
    };
    static std::mutex mutex;
    static Reading last;                                  // under mutex, as the next one
    static std::weak_ptr<const policy::ReadPolicy> read;  // nobody is made to keep a long policy
    const auto text = ReadPolicyText(file);
    if (!text) return nullptr;
    std::error_code ignored;
    const std::filesystem::path path = std::filesystem::absolute(ToPath(file), ignored).lexically_normal();
    Reading now{FromPath(path), *text, ListFilesOnDisk(file).StateOf(policy::IncludePatterns(*text)), bool{findSid}};
    const std::lock_guard lock(mutex);
    auto shared = read.lock();
    if (shared && now == last) return shared;
    auto fresh = ReadPolicyFile(file, findSid, progress);
    if (!fresh) return nullptr;
    shared = std::make_shared<const policy::ReadPolicy>(std::move(*fresh));
    last = std::move(now);
    read = shared;
    return shared;
}

std::string DescribePolicyMistakes(const std::string& file, const policy::FindSid& findSid, std::ostream* progress) {
    const auto read = SharePolicyFile(file, findSid, progress);
    if (!read || read->mistakes.empty()) return {};
    std::string text = fmt::format("{}: a policy with mistakes is not used, so mend what is wrong:", Printable(file));
    for (const policy::Mistake& mistake : read->mistakes)
        text += "\n  " + Printable(policy::Describe(FromPath(ToPath(file).filename()), mistake));
    return text;
}

}  // namespace tarn::host
