// tarnhost companions: checks the companion modules of a folder as the library would use them.
#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <memory>

#include "host/commands/command.h"
#include "host/companion_kit/module_facts.h"
#include "host/event.h"
#include "host/file_path.h"
#include "host/policy_file.h"
#include "host/printable_text.h"
#include "host/registered_folder.h"

namespace tarn::host {

namespace {

constexpr std::uint32_t kLeastSeconds = 10;  // what is called often takes some seconds by itself
constexpr std::uint32_t kMostSeconds = 600;

struct CompanionOptions {
    std::string folder;
    std::vector<std::string> modules;
    std::vector<std::string> addresses;
    std::uint32_t seconds = 20;
    bool writes = false;
};

struct CheckTotals {
    std::size_t modules = 0;
    std::size_t findings = 0;
    std::size_t notes = 0;
    std::size_t hidden = 0;  // notes of the text
};

std::string Counted(std::size_t count, const char* what) {
    return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

// What concerns a module as a whole is always told.
bool IsHidden(const CompanionFinding& finding, const Session& session) {
    return finding.isNote && !finding.function.empty() && !session.library.verbose;
}

void Print(const Session& session, const CompanionFinding& finding) {
    if (session.json) {
        Event event = BeginEvent("companion");
        event["module"] = finding.module;
        event["export"] = finding.function;
        event["level"] = finding.isNote ? "note" : "finding";
        event["finding"] = finding.text;
        event["consequence"] = finding.consequence;
        return WriteEvent(event, session.out);
    }
    if (IsHidden(finding, session)) return;
    session.out << fmt::format("{}{}{}: {}{}; {}\n", finding.module, finding.function.empty() ? "" : " ",
                               finding.function, finding.isNote ? "note: " : "", Printable(finding.text),
                               finding.consequence);
}

// A file of the folder that is not there, said without starting anything.
bool IsMissing(const std::string& folder, const ModuleFacts& module, CompanionFinding& finding) {
    std::error_code ignored;
    if (std::filesystem::exists(ToPath(folder + std::string(module.file)), ignored)) return false;
    finding = {std::string(module.file), "", "is missing", std::string(module.without), !module.isNeeded};
    return true;
}

std::vector<CompanionFinding> CheckOne(const CompanionCheck& check, const ModuleFacts& module,
                                       Environment& environment) {
    CompanionFinding missing;
    if (IsMissing(check.folder, module, missing)) return {missing};
    return environment.CheckCompanion(check);
}

bool IsFound(const CompanionFinding& finding) {
    return !finding.isNote;
}

CheckTotals CheckAll(const CompanionOptions& options, const std::string& folder, const Session& session) {
    CheckTotals totals;
    CompanionCheck check{folder, {}, {}, options.addresses, options.writes, options.seconds};
    for (const ModuleFacts& module : AllModules()) {
        check.module = module.file;
        const bool isWanted = options.modules.empty() || std::ranges::any_of(options.modules, [&](const auto& name) {
                                  return FindModuleFacts(name) == &module;
                              });
        if (isWanted && session.MayGoOn()) {
            const auto findings = CheckOne(check, module, session.environment);
            const auto found = static_cast<std::size_t>(std::ranges::count_if(findings, IsFound));
            for (const CompanionFinding& finding : findings) Print(session, finding);
            const auto hides = [&](const CompanionFinding& finding) { return IsHidden(finding, session); };
            if (!session.json && std::ranges::all_of(findings, hides))
                session.out << fmt::format("{}: ok\n", module.file);
            session.out.flush();
            ++totals.modules;
            totals.findings += found;
            totals.notes += findings.size() - found;
            totals.hidden += static_cast<std::size_t>(std::ranges::count_if(findings, hides));
            if (found != 0) continue;  // nobody's neighbour: it may crash there, too
        }
        std::error_code ignored;
        if (module.staysLoaded && std::filesystem::exists(ToPath(folder + check.module), ignored))
            check.neighbours.push_back(check.module);
    }
    return totals;
}

void PrintTotals(const CompanionOptions& options, const std::string& folder, const CheckTotals& totals,
                 const Session& session) {
    if (session.json) {
        Event event = BeginEvent("companions");
        event["folder"] = folder;
        event["modules"] = totals.modules;
        event["findings"] = totals.findings;
        event["notes"] = totals.notes;
        return WriteEvent(event, session.out);
    }
    session.out << fmt::format("{}: {}, {}\n", Printable(folder), Counted(totals.modules, "module"),
                               totals.findings == 0 ? "nothing found" : Counted(totals.findings, "finding"));
    if (totals.hidden != 0)
        session.out << fmt::format("{} not shown; --verbose shows all\n", Counted(totals.hidden, "note"));
    session.out << (options.writes
                        ? "not called: ResetBPUserWhitelist, ZRQuarantineFile, which would change this machine\n"
                        : "not called: what saves, empties or moves something; --write calls what saves\n");
}

int CheckCompanions(const CompanionOptions& options, const Session& session) {
    for (const std::string& name : options.modules)
        if (FindModuleFacts(name) == nullptr)
            return session.Fail(fmt::format("--module {}: there is no such companion module; tarnhost companions "
                                            "--help names them",
                                            Printable(name)),
                                kExitUsage);
    if (const std::string mistake = RegisteredFolderMistake(session.environment.InstallFolder(session.library));
        options.folder.empty() && !mistake.empty())
        return session.Fail(mistake, kExitFailed);
    std::error_code ignored;
    const std::string given =
        options.folder.empty() ? session.environment.InstallFolder(session.library) : options.folder;
    const std::filesystem::path path = std::filesystem::absolute(ToPath(given), ignored);
    if (!std::filesystem::is_directory(path, ignored))
        return session.Fail(fmt::format("{}: there is no such folder; name the one of the modules: tarnhost "
                                        "companions FOLDER",
                                        Printable(given)),
                            kExitUsage);
    if (!session.library.policyFile.empty() && !ReadPolicyText(session.library.policyFile))
        return session.Fail(fmt::format("--policy {}: cannot be read", Printable(session.library.policyFile)),
                            kExitUsage);
    std::string mistake;
    SavedState found;
    if (!session.environment.UseState(session.library, found, mistake)) return session.Fail(mistake, kExitFailed);
    if (!session.library.keepState.empty()) session.TellState(found);
    session.environment.UsePolicy(session.library);
    const std::string folder = FromPath((path / "").make_preferred());
    const CheckTotals totals = CheckAll(options, folder, session);
    PrintTotals(options, folder, totals, session);
    if (session.environment.IsInterrupted()) return kExitInterrupted;
    return totals.findings == 0 ? kExitOk : kExitFailed;
}

}  // namespace

RunCommand AddCompanionsCommand(CommandOptions command, Session& session) {
    const auto options = std::make_shared<CompanionOptions>();
    command.Add("FOLDER", options->folder,
                "Folder of the modules; without one that whose modules the other commands use");
    std::string names;
    for (const ModuleFacts& module : AllModules()) names += (names.empty() ? "" : ", ") + std::string(module.file);
    command.Add("--module", options->modules, fmt::format("Check this module alone (repeatable): {}", names))
        .Value("NAME")
        .Repeatable();
    command
        .Add("--ask", options->addresses,
             "Also ask about this address, host and path without a scheme, such as bad.example/setup "
             "(repeatable); name some that your modules know")
        .Value("ADDRESS")
        .Repeatable();
    command.Add("--seconds", options->seconds, "A call that does not come back within so many seconds hangs (20)")
        .Within(kLeastSeconds, kMostSeconds);
    command.Flag("--write", options->writes,
                 "Also call what saves: the DNS answers and sessions that were read, the cache of categories. "
                 "The reference modules save into the folder of --keep-state, others where they like");
    command.Notes(
        "Each module is loaded by a process of its own, called as the library calls it, and its answers are checked; "
        "a crash or a hang is a finding. No category is asked online.\n\n"
        "Exit code: 0 nothing was found; 1 something was; 2 the command line is wrong, or there is no such folder.");
    return [options, &session] { return CheckCompanions(*options, session); };
}

}  // namespace tarn::host
