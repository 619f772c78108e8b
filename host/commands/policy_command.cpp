// tarnhost policy: says what is wrong in a policy file of the reference companion modules.
#include <filesystem>
#include <fmt/format.h>
#include <memory>

#include "host/commands/command.h"
#include "host/event.h"
#include "host/file_path.h"
#include "host/json_report.h"
#include "host/policy_check.h"
#include "host/policy_file.h"
#include "host/printable_text.h"
#include "host/verdict_words.h"

namespace tarn::host {

namespace {

struct PolicyOptions {
    std::string file;
    std::string accounts = "machine";
};

std::string Counted(std::size_t count, const char* what) {
    return fmt::format("{} {}{}", count, what, count == 1 ? "" : "s");
}

Event ListEvent(const policy::IncludedList& list) {
    Event event = BeginEvent("policy");
    event["event"] = "list";
    event["file"] = list.name;
    event["list"] = list.list;
    event["entries"] = list.entries;
    event["repeated"] = list.repeated;
    event["exceptions"] = list.exceptions;
    event["excepted"] = list.excepted;
    event["unused"] = list.unused;
    return event;
}

void PrintAsJson(const policy::ReadPolicy& read, const std::string& name, const std::string& path, std::ostream& out) {
    const auto printAll = [&](const char* kind, const std::vector<policy::Mistake>& mistakes) {
        for (const policy::Mistake& mistake : mistakes) WriteEvent(MistakeEvent(kind, name, mistake), out);
    };
    printAll("mistake", read.mistakes);
    printAll("warning", read.warnings);
    for (const policy::IncludedList& list : read.lists) WriteEvent(ListEvent(list), out);
    Event event = BeginStats({});
    event["policy_file"] = path;
    event["mistakes"] = read.mistakes.size();
    event["warnings"] = read.warnings.size();
    WriteEvent(event, out);
}

// "lists/ads.txt: 99,871 entries for malicious_sites, 12 lines not used"
std::string DescribeList(const policy::IncludedList& list) {
    const auto entries = [](std::uint64_t count) {
        return fmt::format("{} {}", Grouped(count), count == 1 ? "entry" : "entries");
    };
    std::string text = fmt::format("{}: {} for {}", list.name, entries(list.entries), list.list);
    if (list.exceptions != 0)
        text += fmt::format(", {} exception{}", Grouped(list.exceptions), list.exceptions == 1 ? "" : "s");
    if (list.excepted != 0) text += fmt::format(", {} taken out by exceptions", entries(list.excepted));
    if (list.repeated != 0) text += fmt::format(", {} listed further up already", entries(list.repeated));
    if (list.unused != 0)
        text += fmt::format(", {} line{} not used", Grouped(list.unused), list.unused == 1 ? "" : "s");
    return text;
}

void PrintAsText(const policy::ReadPolicy& read, const std::string& name, const std::string& path, std::ostream& out) {
    for (const policy::Mistake& mistake : read.mistakes) out << Printable(policy::Describe(name, mistake)) << '\n';
    for (const policy::Mistake& warning : read.warnings)
        out << Printable(policy::DescribeWarning(name, warning)) << '\n';
    for (const policy::IncludedList& list : read.lists) out << Printable(DescribeList(list)) << '\n';
    std::string result = "no mistakes";
    if (!read.mistakes.empty())
        result = fmt::format("{}, so none of it would be used", Counted(read.mistakes.size(), "mistake"));
    else if (!read.warnings.empty())
        result += fmt::format(", {}", Counted(read.warnings.size(), "warning"));
    out << fmt::format("{}: {}\n", Printable(path), result);
}

int CheckPolicy(const PolicyOptions& options, const Session& session) {
    const std::filesystem::path given =
        ToPath(options.file.empty() ? PolicyPath(session.environment, session.library) : options.file);
    std::error_code ignored;
    const std::filesystem::path absolute = std::filesystem::absolute(given, ignored);
    const std::string path = FromPath(absolute.empty() ? given : absolute);
    const policy::FindSid findSid = options.accounts == "any" ? policy::FindSid() : SidsOf(session.environment);
    const auto read = ReadPolicyFile(path, findSid, session.environment.IsErrorTerminal() ? &session.errors : nullptr);
    if (!read)
        return session.FailWithTotals(
            fmt::format("{}: cannot be read; name the policy file: tarnhost policy FILE", Printable(path)), kExitFailed,
            [&] {
                if (session.json) WriteEvent(BeginStats({1, false}), session.out);
            });
    const std::string name = FromPath(given.filename());
    if (session.json)
        PrintAsJson(*read, name, path, session.out);
    else
        PrintAsText(*read, name, path, session.out);
    return read->mistakes.empty() ? kExitOk : kExitFailed;
}

}  // namespace

RunCommand AddPolicyCommand(CLI::App& command, Session& session) {
    const auto options = std::make_shared<PolicyOptions>();
    command.add_option("FILE", options->file,
                       "the policy file; without one that of the folder whose modules the other commands use");
    command
        .add_option("--accounts", options->accounts,
                    "machine = warn of accounts that this machine does not have (default), any = take every name, "
                    "for the policy of another machine")
        ->check(CLI::IsMember({"machine", "any"}));
    command.footer(
        "Exit code: 0 the policy would be used, with or without warnings; 1 it has mistakes or cannot be read; 2 the "
        "command line is wrong.");
    return [options, &session] { return CheckPolicy(*options, session); };
}

}  // namespace tarn::host
