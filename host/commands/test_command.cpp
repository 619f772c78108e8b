// tarnhost test: asks the library for each case of a policy's tests and tells which verdicts are not the expected ones.
#include <chrono>
#include <fmt/format.h>
#include <memory>

#include "host/commands/command.h"
#include "host/expectations/case_file.h"
#include "host/expectations/case_report.h"
#include "host/expectations/case_runner.h"
#include "host/file_path.h"
#include "host/output_file.h"
#include "host/policy_check.h"
#include "host/policy_file.h"
#include "host/printable_text.h"

namespace tarn::host {

namespace {

struct TestOptions {
    std::vector<std::string> files;
    std::string junit;
};

// The cases of all files go into one report.
class Testing {
 public:
    explicit Testing(const Session& session)
        : session_(session), report_(session.out, {session.json, session.library.verbose, session.columns}) {}

    // False when the cases of the file could not be asked.
    bool Test(const std::string& name) {
        const auto text = ReadPolicyText(name);
        if (!text)
            return Complain(name, fmt::format("{}: cannot be read; is the path right, and may you read the file?",
                                              Printable(name)));
        CaseFile file = ParseCases(*text);
        if (!file.mistakes.empty()) {
            std::string told = fmt::format("{}: no case is asked before what is wrong is mended:", Printable(name));
            for (const policy::Mistake& mistake : file.mistakes)
                told += "\n  " + Printable(policy::Describe(FromPath(ToPath(name).filename()), mistake));
            return Complain(name, told);
        }
        const std::string folder = FromPath(ToPath(name).parent_path());
        LibraryOptions options = session_.library;
        if (options.policyFile.empty() && !file.policy.empty())
            options.policyFile = FromPath(ToPath(folder) / ToPath(file.policy));
        if (const std::string mistakes = PolicyMistakes(options); !mistakes.empty()) return Complain(name, mistakes);
        CaseRunner runner(session_.environment, options, folder, file.isTogether);
        for (const PolicyCase& one : file.cases) {
            if (!session_.MayGoOn()) return true;
            const auto begin = std::chrono::steady_clock::now();
            const RanCase ran = runner.Run(one);
            const std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
            report_.Add(name, one, ran, took.count());
        }
        return true;
    }

    int End(const std::string& junit, bool areFilesRead) {
        report_.Summary();
        std::vector<TestResult> results = report_.Results();
        results.insert(results.end(), failed_.begin(), failed_.end());
        if (session_.environment.IsInterrupted()) results.push_back(FailedResult("tarnhost test", "stopped"));
        if (!junit.empty() && !WriteJunit(junit, "tarnhost test", results))
            return session_.Fail(CannotWrite("--junit", junit), kExitFailed);
        if (session_.environment.IsInterrupted())
            return session_.Fail(fmt::format("stopped after {} cases", report_.Results().size()), kExitInterrupted);
        if (!areFilesRead || report_.HasFailures()) return kExitFailed;
        return report_.HasDifferences() ? kExitFound : kExitOk;
    }

 private:
    bool Complain(const std::string& file, const std::string& mistake) {
        failed_.push_back(FailedResult(FromPath(ToPath(file).filename()), mistake));
        session_.Fail(mistake, kExitFailed, file);
        return false;
    }

    std::string PolicyMistakes(const LibraryOptions& options) const {
        const std::string policy = PolicyPath(session_.environment, options);
        if (!options.policyFile.empty() && !ReadPolicyText(policy))
            return fmt::format("{}: this policy cannot be read; is the path right, and may you read the file?",
                               Printable(policy));
        return DescribePolicyMistakes(policy, SidsOf(session_.environment));
    }

    const Session& session_;
    CaseReport report_;
    std::vector<TestResult> failed_;  // files of which no case was asked
};

int TestCases(const TestOptions& options, const Session& session) {
    Testing testing(session);
    bool areFilesRead = true;
    for (const std::string& file : options.files) areFilesRead &= testing.Test(file);
    return testing.End(options.junit, areFilesRead);
}

}  // namespace

RunCommand AddTestCommand(CommandOptions command, Session& session) {
    const auto options = std::make_shared<TestOptions>();
    command.Add("CASES", options->files, "TOML files with the cases").Required().Value("FILE");
    command.Add("--junit", options->junit, "Also write the results as JUnit XML, for a test server").Value("FILE");
    command.Notes(
        "A case is a [[case]] with one of url, extension, request, frame or logon, perhaps at (a local time), account "
        "and name, and what is wanted: expect, reason, entry. policy at the top names the policy, from the folder of "
        "the cases; --policy names another one. Each case is asked of a library of its own, and nothing is left for "
        "the next one, unless the file says together = true.\n"
        "Exit codes: 0 every verdict is the expected one; 3 one is not; 1 a case could not be asked, or a file is "
        "wrong.");
    return [options, &session] { return TestCases(*options, session); };
}

}  // namespace tarn::host
