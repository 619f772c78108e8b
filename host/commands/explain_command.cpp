// tarnhost explain: why URLs are judged as they are, by the policy, and proved by asking the library again.
#include <fmt/format.h>
#include <memory>

#include "base/text.h"
#include "host/commands/url_options.h"
#include "host/event.h"
#include "host/explain/explanation_report.h"
#include "host/explain/proof.h"
#include "host/explain/remedy.h"
#include "host/explain/variant_library.h"
#include "host/policy_check.h"
#include "host/policy_file.h"
#include "host/printable_text.h"

namespace tarn::host {

namespace {

struct ExplainOptions : UrlOptions {
    bool isReported = false;
};

// One address as the library is asked about it.
struct AskedUrl {
    std::string url;
    JudgedRequest request;           // of a connection
    std::vector<std::uint8_t> data;  // its first bytes
    AskedAddress asked;
    Outcome outcome;
};

class Explaining {
 public:
    Explaining(const Session& session, const ExplainOptions& options, std::optional<IpAddress> server)
        : session_(session), isReported_(options.isReported), server_(server) {
        // One time for all, whatever the machine's clock says when the library is asked again.
        if (!session_.library.clock) session_.library.clock = session_.environment.LocalTime();
    }

    // False when there is nothing more to do.
    bool Take(const std::string& url) {
        if (!session_.MayGoOn()) return false;
        AskedUrl one;
        one.url = url;
        std::string mistake;
        if (!(isReported_ ? TakeReported(one, mistake) : TakeConnection(one, mistake)))
            Complain(fmt::format("\"{}\" cannot be explained: {}", Printable(url, kShownUrl), mistake));
        else
            asked_.push_back(std::move(one));
        return true;
    }

    void Complain(const std::string& mistake) {
        ++mistakes_;
        session_.Fail(mistake, kExitUsage);
    }

    int End() {
        if (asked_.empty()) return mistakes_ != 0 ? int{kExitUsage} : session_.Fail("no address was given", kExitUsage);
        Environment& environment = session_.environment;
        const std::string file = PolicyPath(environment, session_.library);
        const auto text = ReadPolicyText(file);
        if (!text)
            return session_.Fail(fmt::format("{}: cannot be read, and without a policy there is nothing to explain by; "
                                             "name it: --policy FILE",
                                             Printable(file)),
                                 kExitFailed);
        const policy::FindSid findSid = SidsOf(environment);
        const auto read = SharePolicyFile(file, findSid);  // what the library checks, too
        if (!JudgeAll()) return kExitFailed;               // says what is wrong with the policy, too
        if (!read || !read->mistakes.empty() || SharePolicyFile(file, findSid) != read)
            return session_.Fail(fmt::format("{}: changed meanwhile; try again", Printable(file)), kExitFailed);
        const PolicyIndex index(std::shared_ptr<const policy::Policy>(read, &read->policy));
        const PolicyVariant policy{file, *text};
        for (const AskedUrl& one : asked_) {
            if (!session_.MayGoOn()) break;
            ExplainOne(one, index, policy, findSid);
        }
        if (environment.IsInterrupted()) return session_.Fail("stopped", kExitInterrupted);
        if (isContradicted_)
            return session_.Fail(
                "the library says something else than the policy foretells; that may be where a managed client is "
                "installed, companion modules of another kind stand, or a host reported attacks; else it is a defect "
                "of tarnhost, which please report",
                kExitFailed);
        return session_.End(mistakes_ == 0 ? kExitOk : kExitFailed, isFound_, isUnjudged_);
    }

 private:
    bool TakeConnection(AskedUrl& one, std::string& mistake) const {
        const auto composed = ComposeRequestTo(server_, one.url, session_.environment, mistake);
        if (!composed) return false;
        one.request = {composed->protocol, composed->view, composed->server, std::nullopt, {}, {}};
        one.data = composed->data;
        one.asked = AskedOf(one.request);
        return true;
    }

    static bool TakeReported(AskedUrl& one, std::string& mistake) {
        if (!base::StartsWithIgnoringCase(one.url, "https://") || one.url.find('\0') != std::string::npos)
            mistake = "an extension's addresses are judged when they begin with https://";
        one.asked = AskedOfReported(one.url);
        return mistake.empty();
    }

    Outcome Ask(Judge& library, const AskedUrl& one) const {
        return OutcomeOf(isReported_ ? library.ScanExtensionUrl(TARN_KIND_TLS, one.url)
                                     : library.ScanUrl(one.request.protocol->kind, one.data, one.request.server));
    }

    bool JudgeAll() {
        const std::unique_ptr<Judge> library = session_.Library();
        if (!library) return false;
        for (AskedUrl& one : asked_) {
            one.outcome = Ask(*library, one);
            isFound_ |= one.outcome.isBlocked;
            isUnjudged_ |= !one.outcome.isVerdict;
        }
        return true;
    }

    void ExplainOne(const AskedUrl& one, const PolicyIndex& index, const PolicyVariant& policy,
                    const policy::FindSid& findSid) {
        Environment& environment = session_.environment;
        ScanQuestion question;
        question.asked = one.asked;
        environment.FindAccount({}, question.account);
        question.now = *session_.library.clock;
        question.isUserListEmpty = session_.library.mode == TARN_START_FRESH;
        Explanation explanation = Explain(index, question, one.url, one.outcome);
        explanation.remedy = FindRemedy(policy, index, question, Foretell(index, question), findSid);
        VariantLibrary variants(environment, session_.library);
        if (explanation.agrees)
            explanation.proofs =
                Prove(policy, index, question, findSid,
                      [&](const PolicyVariant& variant, std::string& whyNot) -> std::optional<Outcome> {
                          const auto library = variants.Open(variant, whyNot);
                          if (!library) return std::nullopt;
                          return Ask(*library, one);
                      });
        isContradicted_ |= !explanation.agrees;
        for (const Proof& proof : explanation.proofs) isContradicted_ |= proof.state == Proof::State::kContradicted;
        Print(explanation);
    }

    void Print(const Explanation& explanation) {
        if (!session_.json) {
            if (isPrinted_) session_.out << '\n';
            isPrinted_ = true;
            PrintExplanation(explanation, session_.out);
            return;
        }
        Event event = BeginEvent("explain");
        event.update(JsonOf(explanation));
        WriteEvent(event, session_.out);
    }

    Session session_;
    bool isReported_;
    std::optional<IpAddress> server_;
    std::vector<AskedUrl> asked_;
    std::uint64_t mistakes_ = 0;
    bool isFound_ = false;
    bool isUnjudged_ = false;
    bool isContradicted_ = false;
    bool isPrinted_ = false;
};

int ExplainUrls(const ExplainOptions& options, const Session& session) {
    std::optional<IpAddress> server;
    if (!options.ParseServer(session, server)) return kExitUsage;
    Explaining explaining(session, options, server);
    options.ForEach(
        session, [&](const std::string& url) { return explaining.Take(url); },
        [&](const std::string& mistake) { explaining.Complain(mistake); });
    return explaining.End();
}

}  // namespace

RunCommand AddExplainCommand(CommandOptions command, Session& session) {
    const auto options = std::make_shared<ExplainOptions>();
    command.Flag("--extension", options->isReported,
                 "Explain what is said to the extension of a browser, which reports whole https:// addresses");
    AddUrlOptions(command, *options);
    command.Notes(
        "Shown are the steps of the scan in their order with what each finds in the policy, the entries that name the "
        "address, and what to write to have it otherwise. Proved is asked anew: the library judges the address by the "
        "policy without the entry that decided, and without the next one, too. It judges for the account that tarnhost "
        "runs as; run tarnhost as another one to explain that one's verdicts.");
    return [options, &session] { return ExplainUrls(*options, session); };
}

}  // namespace tarn::host
