// tarnhost policy: says what is wrong in a policy file of the reference companion modules.
#include <filesystem>
#include <fmt/format.h>
#include <memory>
#include <nlohmann/json.hpp>

#include "host/commands/command.h"
#include "host/file_path.h"
#include "host/policy_check.h"
#include "host/policy_file.h"
#include "host/printable_text.h"

namespace tarn::host {

namespace {

void PrintAsJson(const std::vector<policy::Mistake>& mistakes, const std::string& file, std::ostream& out) {
    using Json = nlohmann::ordered_json;
    const auto print = [&](const Json& line) {
        out << line.dump(-1, ' ', false, Json::error_handler_t::replace) << '\n';
    };
    for (const policy::Mistake& mistake : mistakes)
        print({{"type", "mistake"},
               {"file", file},
               {"line", mistake.line},
               {"column", mistake.column},
               {"text", mistake.text}});
    print({{"type", "summary"}, {"file", file}, {"mistakes", mistakes.size()}});
}

int CheckPolicy(const std::string& given, const Session& session) {
    const std::string file = given.empty() ? session.environment.OwnFolder() + std::string(policy::kPolicyFile) : given;
    std::vector<policy::Mistake> mistakes;
    if (!ReadPolicyMistakes(file, mistakes, SidsOf(session.environment)))
        return session.Fail(
            fmt::format("{}: cannot be read; name the policy file: tarnhost policy FILE", Printable(file)),
            kExitFailed);

    const std::string name = FromPath(ToPath(file).filename());
    if (session.json) {
        PrintAsJson(mistakes, name, session.out);
    } else {
        for (const policy::Mistake& mistake : mistakes)
            session.out << Printable(policy::Describe(name, mistake)) << '\n';
        session.out << fmt::format("{}: {}\n", Printable(name),
                                   mistakes.empty() ? "no mistakes"
                                                    : fmt::format("{} mistake{}, so none of it would be used",
                                                                  mistakes.size(), mistakes.size() == 1 ? "" : "s"));
    }
    return mistakes.empty() ? kExitOk : kExitFailed;
}

}  // namespace

RunCommand AddPolicyCommand(CLI::App& command, Session& session) {
    const auto file = std::make_shared<std::string>();
    command.add_option("FILE", *file, "the policy file; without one the one beside tarnhost");
    return [file, &session] { return CheckPolicy(*file, session); };
}

}  // namespace tarn::host
