#include "host/policy_file.h"

#include <fstream>
#include <iterator>

#include "host/file_path.h"
#include "host/registered_folder.h"
#include "policy/policy_reader.h"

namespace tarn::host {

std::string PolicyPath(const Environment& environment, const LibraryOptions& options) {
    if (!options.policyFile.empty()) return options.policyFile;
    if (std::string named = environment.Variable(kPolicyVariable); !named.empty()) return named;
    const std::string folder = environment.InstallFolder(options);
    // A registered one without its backslash is named when the library is opened.
    const bool isWhole = RegisteredFolderMistake(folder).empty();
    return folder + (isWhole ? "" : "\\") + std::string(policy::kPolicyFile);
}

std::optional<std::string> ReadPolicyText(const std::string& file) {
    std::ifstream input(ToPath(file), std::ios::binary);
    if (!input) return std::nullopt;
    std::string text{std::istreambuf_iterator<char>(input), {}};
    if (input.bad()) return std::nullopt;
    return text;
}

policy::FindSid SidsOf(Environment& environment) {
    return [&environment](const std::string& name, SidBytes& sid) {
        Account account;
        if (!environment.FindAccount(name, account)) return false;
        sid = account.sid;
        return true;
    };
}

}  // namespace tarn::host
