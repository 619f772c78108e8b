// tarnhost policy: says what is wrong in a policy file of the reference companion modules.
#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <memory>
#include <tuple>

#include "host/commands/command.h"
#include "host/event.h"
#include "host/file_path.h"
#include "host/json_report.h"
#include "host/list_files.h"
#include "host/policy_check.h"
#include "host/policy_file.h"
#include "host/printable_text.h"
#include "host/registered_folder.h"
#include "host/verdict_words.h"
#include "policy/policy_fix.h"

namespace tarn::host {

namespace {

struct PolicyOptions {
    std::string file;
    std::string fixed;  // the file that gets the mended policy
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

// What is said of a policy, with its place.
struct Remark {
    std::string file;
    std::uint32_t line = 0;    // 0 when the whole file is meant
    std::uint32_t column = 0;  // 0 when the whole line is meant
    std::string text;
};

struct Remarks {
    std::vector<Remark> mistakes;
    std::vector<Remark> warnings;
    std::vector<Remark> repaired;
    bool isCopied = false;  // with --fix there was nothing to mend
};

void AddAll(const std::vector<policy::Mistake>& mistakes, const std::string& file, std::vector<Remark>& remarks) {
    for (const policy::Mistake& mistake : mistakes)
        remarks.push_back({mistake.file.empty() ? file : mistake.file, mistake.line, mistake.column, mistake.text});
}

void AddAll(const std::vector<policy::Finding>& findings, const std::string& file,
            const std::vector<std::string>& files, std::vector<Remark>& remarks) {
    for (const auto& [place, text, repair] : findings) {
        const bool isOther = place.file != 0 && place.file < files.size();
        remarks.push_back({isOther ? files[place.file] : file, place.line, 0, text});
    }
}

void PrintAsJson(const policy::ReadPolicy& read, const Remarks& remarks, const std::string& path, std::ostream& out) {
    const auto printAll = [&](const char* kind, const std::vector<Remark>& all) {
        for (const Remark& remark : all)
            WriteEvent(MistakeEvent(kind, remark.file, {remark.line, remark.column, remark.text}), out);
    };
    printAll("mistake", remarks.mistakes);
    printAll("repaired", remarks.repaired);
    printAll("warning", remarks.warnings);
    for (const policy::IncludedList& list : read.lists) WriteEvent(ListEvent(list), out);
    Event event = BeginStats({});
    event["policy_file"] = path;
    event["mistakes"] = remarks.mistakes.size();
    event["warnings"] = remarks.warnings.size();
    WriteEvent(event, out);
}

void PrintRemarks(const std::vector<Remark>& remarks, std::string_view kind, std::ostream& out) {
    for (const Remark& remark : remarks) {
        std::string place = remark.file;
        if (remark.line != 0) place += fmt::format(":{}", remark.line);
        if (remark.column != 0) place += fmt::format(":{}", remark.column);
        out << Printable(fmt::format("{}: {}{}", place, kind, remark.text)) << '\n';
    }
}

void PrintAsText(const policy::ReadPolicy& read, const Remarks& remarks, const std::string& path, std::ostream& out) {
    PrintRemarks(remarks.mistakes, "", out);
    PrintRemarks(remarks.repaired, "repaired: ", out);
    PrintRemarks(remarks.warnings, "warning: ", out);
    for (const policy::IncludedList& list : read.lists) out << Printable(DescribeList(list)) << '\n';
    if (remarks.isCopied) out << fmt::format("{}: a plain copy, for there was nothing to mend\n", Printable(path));
    std::string result = "no mistakes";
    if (!remarks.mistakes.empty())
        result = fmt::format("{}, so none of it would be used", Counted(remarks.mistakes.size(), "mistake"));
    else if (!remarks.warnings.empty())
        result += fmt::format(", {}", Counted(remarks.warnings.size(), "warning"));
    out << fmt::format("{}: {}\n", Printable(path), result);
}

std::string AbsolutePath(const std::filesystem::path& path) {
    std::error_code ignored;
    const std::filesystem::path absolute = std::filesystem::absolute(path, ignored);
    return FromPath(absolute.empty() ? path : absolute);
}

// A new file alone: nothing that stands there is lost. What went wrong, or nothing.
std::string WriteNewFile(const std::filesystem::path& path, const std::string& text) {
    std::error_code ignored;
    if (std::filesystem::exists(std::filesystem::symlink_status(path, ignored)))
        return "is there already, and is not overwritten; name a new file";
    std::ofstream output(path, std::ios::binary);
    output << text;
    output.close();
    return output ? "" : "cannot be written; is the folder there?";
}

// Whether a policy of that text finds its lists from another folder, too.
bool FindsLists(const std::string& text, const std::filesystem::path& from, const std::filesystem::path& to) {
    std::error_code error;
    if (std::filesystem::equivalent(from.parent_path(), to.parent_path(), error) || error) return true;
    const std::vector<std::string> names = policy::IncludePatterns(text);
    return std::all_of(names.begin(), names.end(), [](const std::string& name) {
        return ToPath(name).is_absolute() || name.starts_with('/') || name.starts_with('\\');
    });
}

// What is read of a policy file, its lists once.
struct PolicyInput {
    std::string path;  // absolute
    std::string text;
    policy::ListFiles& lists;
    policy::FindSid findSid;
    policy::AsciiHost asciiHost;
};

// The mended copy and what is left of the remarks; 0 when it was written.
int FixInto(const std::string& file, const PolicyInput& input, const Session& session, Remarks& remarks) {
    const std::filesystem::path target = ToPath(AbsolutePath(ToPath(file)));
    const std::filesystem::path source = ToPath(input.path);
    if (!FindsLists(input.text, source, target))
        return session.Fail(fmt::format("--fix {}: nothing was written; the policy includes lists by names that are "
                                        "meant from its own folder on: write the copy there, --fix {}",
                                        Printable(file), Printable(FromPath(source.parent_path() / target.filename()))),
                            kExitFailed);
    policy::FixedPolicy fixed = policy::FixPolicy(input.text, input.findSid, input.asciiHost, &input.lists);
    if (const std::string mistake = WriteNewFile(target, fixed.text); !mistake.empty())
        return session.Fail(fmt::format("--fix {}: {}", Printable(file), mistake), kExitFailed);
    const std::string name = FromPath(target.filename());
    remarks.warnings.clear();
    AddAll(fixed.read.warnings, name, remarks.warnings);
    AddAll(fixed.left, name, fixed.read.policy.files, remarks.warnings);
    AddAll(fixed.repaired, FromPath(source.filename()), fixed.read.policy.files, remarks.repaired);
    remarks.isCopied = fixed.repaired.empty();
    return kExitOk;
}

int CheckPolicy(const PolicyOptions& options, const Session& session) {
    // A policy that is named by the line or by the variable is none of the folder's.
    const bool isOfFolder = options.file.empty() && session.environment.Variable(kPolicyVariable).empty();
    if (const std::string mistake = RegisteredFolderMistake(session.environment.InstallFolder(session.library));
        isOfFolder && !mistake.empty())
        return session.FailWithTotals(mistake, kExitFailed, [&] {
            if (session.json) WriteEvent(BeginStats({1, false}), session.out);
        });
    const std::filesystem::path given =
        ToPath(options.file.empty() ? PolicyPath(session.environment, session.library) : options.file);
    std::string path = AbsolutePath(given);
    const auto text = ReadPolicyText(path);
    if (!text)
        return session.FailWithTotals(
            fmt::format("{}: cannot be read; name the policy file: tarnhost policy FILE", Printable(path)), kExitFailed,
            [&] {
                if (session.json) WriteEvent(BeginStats({1, false}), session.out);
            });
    ListFilesOnDisk onDisk(path, session.environment.IsErrorTerminal() ? &session.errors : nullptr);
    policy::RememberedLists lists(onDisk);
    const PolicyInput input{path, *text, lists,
                            options.accounts == "any" ? policy::FindSid() : SidsOf(session.environment),
                            [&](const std::string& host) { return session.environment.AsciiHost(host); }};
    const bool isFixed = !options.fixed.empty();
    const policy::ReadPolicy read =
        policy::ParsePolicy(*text, input.findSid, isFixed ? static_cast<policy::ListFiles*>(&lists) : &onDisk);
    std::string name = FromPath(given.filename());
    Remarks remarks;
    AddAll(read.mistakes, name, remarks.mistakes);
    AddAll(read.warnings, name, remarks.warnings);
    const bool isUsed = read.mistakes.empty();
    if (isUsed && !isFixed)
        AddAll(policy::LintPolicy(read, input.asciiHost), name, read.policy.files, remarks.warnings);
    if (isUsed && isFixed) {
        if (const int code = FixInto(options.fixed, input, session, remarks); code != kExitOk) return code;
        path = AbsolutePath(ToPath(options.fixed));
        name = FromPath(ToPath(options.fixed).filename());
    }
    const auto order = [&name](const Remark& remark) {  // included files behind the policy itself
        return std::tuple<bool, const std::string&, std::uint32_t>(remark.file != name, remark.file, remark.line);
    };
    std::stable_sort(remarks.warnings.begin(), remarks.warnings.end(),
                     [&order](const Remark& a, const Remark& b) { return order(a) < order(b); });
    const auto print = [&] {
        if (session.json)
            PrintAsJson(read, remarks, path, session.out);
        else
            PrintAsText(read, remarks, path, session.out);
    };
    if (!isUsed && isFixed)
        return session.FailWithTotals(
            fmt::format("--fix {}: nothing was written; mend the mistakes first", Printable(options.fixed)),
            kExitFailed, print);
    print();
    return isUsed ? kExitOk : kExitFailed;
}

}  // namespace

RunCommand AddPolicyCommand(CommandOptions command, Session& session) {
    const auto options = std::make_shared<PolicyOptions>();
    command.Add("FILE", options->file,
                "the policy file; without one that of the folder whose modules the other commands use");
    command
        .Add("--accounts", options->accounts,
             "machine = warn of accounts that this machine does not have (default), any = take every name, "
             "for the policy of another machine")
        .OneOf({"machine", "any"});
    command.Add("--fix", options->fixed,
                "write a copy to this new file in which what can never match is mended where that is safe: "
                "\"www.\", schemes, \"xn--\" forms, entries that stand there twice; comments stay");
    command.Notes(
        "Warnings name what is legal and surely not meant: entries that can never match, that another one hides, "
        "settings without effect. Exit code: 0 the policy would be used, with or without warnings; 1 it has mistakes "
        "or cannot be read, or the file of --fix cannot be written; 2 the command line is wrong.");
    return [options, &session] { return CheckPolicy(*options, session); };
}

}  // namespace tarn::host
