// tarnhost impact: judges the same traffic by two policies and tells which verdicts would change, by entry.
#include <fmt/format.h>
#include <memory>

#include "host/commands/capture_options.h"
#include "host/commands/command.h"
#include "host/impact/capture_pass.h"
#include "host/impact/impact_items.h"
#include "host/impact/impact_report.h"
#include "host/impact/verdict_changes.h"
#include "host/named_inputs.h"
#include "host/policy_check.h"
#include "host/policy_file.h"
#include "host/printable_text.h"
#include "host/standard_input.h"

namespace tarn::host {

namespace {

struct ImpactOptions {
    CaptureOptions captures;
    std::string before;
    std::string after;
    std::vector<std::string> urls;
    std::string expect;
    std::size_t samples = 3;
};

class JudgingImpact {
 public:
    JudgingImpact(const Session& session, const ImpactOptions& options, PassInputs inputs)
        : session_(session),
          options_(options),
          inputs_(std::move(inputs)),
          report_(session.out, {session.json, session.quiet, options.samples, session.columns}),
          changes_([this](const VerdictChange& change) { report_.Change(change, after_.Captures()); }) {
        now_ = session.library.clock.value_or(session.environment.LocalTime());
    }

    void Complain(const std::string& mistake) {
        ++failed_;
        session_.Fail(mistake, kExitFailed);
    }

    int Run() {
        const std::string before =
            options_.before.empty() ? PolicyPath(session_.environment, session_.library) : options_.before;
        for (const std::string& policy : {before, options_.after})
            if (!IsUsable(policy)) return kExitFailed;
        if (!Pass(before, before_, true)) return kExitFailed;
        if (session_.MayGoOn() && !Pass(options_.after, after_, false)) return kExitFailed;
        if (session_.environment.IsInterrupted())
            return session_.Fail("stopped before all was judged by both policies, so nothing is known of the change",
                                 kExitInterrupted);
        changes_.End();
        if (!changes_.IsSameTraffic())
            return session_.Fail("an input changed while it was read for the second time; run it again", kExitFailed);
        report_.Summary(
            {before, options_.after, changes_.Requests(), changes_.AttacksBefore(), changes_.AttacksAfter(), failed_});
        if (failed_ != 0 || !areSettingsRead_) return kExitFailed;
        return options_.expect == "none" && report_.Changes() != 0 ? kExitFound : kExitOk;
    }

 private:
    bool IsUsable(const std::string& policy) {
        std::string mistake;
        if (!ReadPolicyText(policy))
            mistake = fmt::format("{}: this policy cannot be read; is the path right, and may you read the file?",
                                  Printable(policy));
        else
            mistake = DescribePolicyMistakes(policy, SidsOf(session_.environment));
        if (!mistake.empty()) session_.Fail(mistake, kExitFailed);
        return mistake.empty();
    }

    // False when the library cannot be opened with that policy. What is wrong with the inputs is told once.
    bool Pass(const std::string& policy, ImpactItems& items, bool isFirst) {
        Session session = session_;
        session.library.policyFile = policy;
        session.library.clock = now_;  // of both passes, until a capture tells a time
        const std::unique_ptr<Judge> library = session.Library();
        if (!library) return false;
        const PassWorld world{session.environment,
                              [&](const std::string& mistake) {
                                  if (isFirst) Complain(mistake);
                              },
                              [&] { return session_.MayGoOn(); },
                              session.environment.IsErrorTerminal() ? &session.errors : nullptr};
        const PassEnd end = JudgeInputs(inputs_, *library, session.library, items, world);
        if (isFirst && end.cutFrames != 0)
            Complain(fmt::format("{} frames are cut, and what stands behind the cut was not judged", end.cutFrames));
        if (!end.areSettingsRead) {
            areSettingsRead_ = false;
            session_.Fail("the library could not read its parental settings again when the schedule turned",
                          kExitFailed);
        }
        return true;
    }

    const Session& session_;
    const ImpactOptions& options_;
    PassInputs inputs_;
    TarnSystemTime now_{};
    ImpactReport report_;
    VerdictChanges changes_;
    ImpactItems before_{[this](const ImpactItem& item) { changes_.Before(item); }};
    ImpactItems after_{[this](const ImpactItem& item) { changes_.After(item); }};
    std::uint64_t failed_ = 0;
    bool areSettingsRead_ = true;
};

int TellImpact(const ImpactOptions& options, const Session& session) {
    std::optional<CaptureOptions::Parsed> parsed = options.captures.Parse(session);
    if (!parsed) return kExitUsage;
    PassInputs inputs{{}, {}, std::move(parsed->replacements), std::move(parsed->frames), !session.at.empty()};
    std::vector<std::string> mistakes;
    for (NamedInput& input : ListCaptures(options.captures.captures)) {
        if (input.name == kStandardInput)
            return session.Fail("standard input can be read once, and both policies want it; name a file", kExitUsage);
        if (input.mistake.empty())
            inputs.captures.push_back(std::move(input));
        else
            mistakes.push_back(std::move(input.mistake));
    }
    StandardInput input(session.environment, session.out);
    ForEachText(
        options.urls, input,
        [&](const std::string& url) {
            inputs.urls.push_back(url);
            return session.MayGoOn();
        },
        [&](const std::string& mistake) { mistakes.push_back(mistake); });
    if (inputs.captures.empty() && inputs.urls.empty() && mistakes.empty())
        return session.Fail("nothing to judge was given; name captures, or addresses with --urls", kExitUsage);
    JudgingImpact judging(session, options, std::move(inputs));
    for (const std::string& mistake : mistakes) judging.Complain(mistake);
    return judging.Run();
}

}  // namespace

RunCommand AddImpactCommand(CommandOptions command, Session& session) {
    const auto options = std::make_shared<ImpactOptions>();
    AddCaptureOptions(command, options->captures, kWithoutDrop);
    command.Add("--before", options->before, "The policy as it is; without it the one in use").Value("FILE");
    command.Add("--after", options->after, "The policy as it would be").Required().Value("FILE");
    command.Add("--urls", options->urls, "Addresses to judge, too; @FILE is a list, one a line (repeatable)")
        .Value("URL")
        .Repeatable();
    command.Add("--samples", options->samples, "How many examples each entry gets (default 3)").Within(0, 1000);
    command.Add("--expect", options->expect, "none: end with exit code 3 when a verdict would change").OneOf({"none"});
    command.Notes(
        "Each input is judged twice, by a library of its own each time, and both begin with the same state. A verdict "
        "changes when what it says or its reason does. A change counts for the entry of the new policy that "
        "decides now, else for the one of the old policy that decided. A million requests take 16 MB; of those that no "
        "entry decides up to 10,000 hosts are told apart.");
    return [options, &session] { return TellImpact(*options, session); };
}

}  // namespace tarn::host
