#include "host/policy_turns.h"

#include "host/policy_file.h"
#include "policy/list_files.h"
#include "policy/policy_reader.h"

namespace tarn::host {

ScheduleTurns TurnsOfPolicy(Environment& environment, const LibraryOptions& options) {
    const auto text = ReadPolicyText(PolicyPath(environment, options));
    if (!text || text->find("schedule") == std::string::npos) return {};  // a long policy takes a while to read
    policy::PassedOverLists noLists;
    const policy::ReadPolicy read = policy::ParsePolicy(*text, SidsOf(environment), &noLists);
    return read.mistakes.empty() ? ScheduleTurns(read.policy.parental) : ScheduleTurns();
}

}  // namespace tarn::host
