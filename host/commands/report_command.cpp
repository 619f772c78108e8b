// tarnhost report: makes a page of the events that the other commands print.
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <memory>

#include "host/commands/command.h"
#include "host/file_path.h"
#include "host/list_files.h"
#include "host/named_inputs.h"
#include "host/output_file.h"
#include "host/policy_check.h"
#include "host/policy_file.h"
#include "host/printable_text.h"
#include "host/report/event_reader.h"
#include "host/report/policy_entries.h"
#include "host/report/repeated_lines.h"
#include "host/report/report_model.h"
#include "host/report/report_page.h"
#include "host/standard_input.h"
#include "policy/list_reader.h"

namespace tarn::host {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t kMostProblems = 20;  // that are named

struct ReportOptions {
    std::vector<std::string> inputs;
    std::string output;
};

class MakingReport {
 public:
    explicit MakingReport(const Session& session) : session_(session) {}

    // False when there is nothing more to do.
    bool ReadFile(const std::string& name) {
        if (name == kStandardInput) return ReadStandardInput();
        const fs::path path = ToPath(name);
        std::error_code ignored;
        std::ifstream file(path, std::ios::binary);
        if (file && !fs::is_directory(path, ignored)) {
            ReadEvents(file, FromPath(path.filename()));
        } else {
            Complain(
                fmt::format("{}: cannot be opened; is the path right, and may you read the file?", Printable(name)));
        }
        return session_.MayGoOn();
    }

    void Complain(const std::string& problem) {
        if (++inputs_.problemCount > kMostProblems) return;
        inputs_.problems.push_back(problem);
        session_.Fail(problem, kExitFailed);
    }

    // False after the reason was printed.
    bool ReadPolicy() {
        const std::string& file = session_.library.policyFile;
        if (file.empty()) return true;
        const auto read = ReadPolicyFile(file);
        if (!read || !read->mistakes.empty()) {
            session_.Fail(
                read ? DescribePolicyMistakes(file)
                     : fmt::format("--policy {}: cannot be read; is the path right, and may you read the file?",
                                   Printable(file)),
                kExitFailed);
            return false;
        }
        std::vector<DecidingEntry> decided;
        for (const auto& [entry, counts] : model_.entries) decided.push_back(entry);
        const std::vector<DecidingEntry> all = report::EntriesOf(read->policy);
        inputs_.policy = FromPath(ToPath(file).filename());
        inputs_.policyEntries = all.size();
        inputs_.neverDecided = report::NeverDecided(all, decided);
        return true;
    }

    int Write(const std::string& output) {
        const std::string page = report::ReportPage(model_, inputs_);
        if (output == kStandardInput) {
            session_.out << page;
        } else {
            if (!WriteWholeFile(output, page)) return session_.Fail(CannotWrite("-o", output), kExitFailed);
            session_.out << fmt::format("{}: {} event{}, {} blocked, {} attack{}\n", Printable(output), model_.events,
                                        model_.events == 1 ? "" : "s", model_.requests.blocked, model_.attackFrames,
                                        model_.attackFrames == 1 ? "" : "s");
        }
        if (inputs_.problemCount > kMostProblems)
            session_.Fail(fmt::format("and {} more mistakes", inputs_.problemCount - kMostProblems), kExitFailed);
        return inputs_.problemCount == 0 ? kExitOk : kExitFailed;
    }

    [[nodiscard]] StandardInput& Input() { return input_; }
    [[nodiscard]] bool HasRead() const { return !inputs_.names.empty(); }

 private:
    bool ReadStandardInput() {
        std::string mistake;
        std::istream* const input = input_.Open(mistake);
        if (input == nullptr)
            Complain(mistake);
        else
            ReadEvents(*input, "standard input");
        return session_.MayGoOn();
    }

    void ReadEvents(std::istream& input, const std::string& name) {
        inputs_.names.push_back(name);
        report::EventReader reader(input, name, [this](const std::string& problem) { Complain(problem); });
        repeated_.BeginFile();
        constexpr std::uint64_t kEventsBetweenLooks = 1024;
        for (std::uint64_t count = 1; const auto event = reader.Next(); ++count) {
            if (report::CanRepeat(*event) && repeated_.IsRepeated(reader.Line()))
                ++inputs_.repeated;
            else
                model_.Add(*event);
            if (count % kEventsBetweenLooks == 0 && !session_.MayGoOn()) return;
        }
    }

    const Session& session_;
    StandardInput input_{session_.environment, session_.out};
    report::ReportModel model_;
    report::ReportInputs inputs_;
    report::RepeatedLines repeated_;
};

// All files that the page is made from: lists of files and the files in them, the policy and what it includes.
std::vector<std::string> FilesRead(const ReportOptions& options, const std::vector<std::string>& names,
                                   const std::string& policyFile) {
    std::vector<std::string> files = names;
    for (const std::string& input : options.inputs)
        if (input.starts_with('@')) files.push_back(input.substr(1));
    if (policyFile.empty()) return files;
    files.push_back(policyFile);
    ListFilesOnDisk lists(policyFile);
    for (const std::string& pattern : policy::IncludePatterns(ReadPolicyText(policyFile).value_or("")))
        for (const std::string& list :
             policy::IsPattern(pattern) ? lists.Names(pattern) : std::vector<std::string>{pattern})
            files.push_back(FromPath(ToPath(policyFile).parent_path() / ToPath(list)));
    return files;
}

int MakeReportPage(const ReportOptions& options, const Session& session) {
    MakingReport making(session);
    std::vector<std::string> names;
    for (const std::string& input : options.inputs) {
        if (input == kStandardInput) {
            names.push_back(input);
            continue;
        }
        ForEachText(
            {input}, making.Input(),
            [&](const std::string& name) {
                names.push_back(name);
                return true;
            },
            [&](const std::string& mistake) { making.Complain(mistake); });
    }
    if (options.output != kStandardInput &&
        IsOneOf(options.output, FilesRead(options, names, session.library.policyFile)))
        return session.Fail(fmt::format("-o {}: this file is read; name another one", Printable(options.output)),
                            kExitUsage);
    for (const std::string& name : names)
        if (!making.ReadFile(name)) break;
    if (session.environment.IsInterrupted()) return session.Fail("stopped; no report was written", kExitInterrupted);
    if (!making.HasRead()) return kExitFailed;
    if (!making.ReadPolicy()) return kExitFailed;
    return making.Write(options.output);
}

}  // namespace

RunCommand AddReportCommand(CommandOptions command, Session& session) {
    const auto options = std::make_shared<ReportOptions>();
    command
        .Add("EVENTS", options->inputs,
             "Files that tarnhost --json has printed, packed by gzip or not; @FILE is a list of such files, one "
             "a line, - standard input")
        .Required();
    command.Add("-o,--output", options->output, "The page to write; - prints it").Value("FILE").Required();
    command.Notes(
        "The page needs no other file and fetches nothing; any browser shows it. With --policy it also lists the "
        "entries of that policy that decided nothing.\nA line that is no event is named and left out, and the exit "
        "code is 1. An event that stands in two of the files counts once.");
    return [options, &session] { return MakeReportPage(*options, session); };
}

}  // namespace tarn::host
