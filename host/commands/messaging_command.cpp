// tarnhost messaging: answers the extension of a browser, which starts it and asks about each page that is opened.
#include <cstdint>
#include <filesystem>
#include <fmt/format.h>
#include <istream>
#include <memory>
#include <optional>

#include "host/commands/command.h"
#include "host/coverage.h"
#include "host/event.h"
#include "host/explain/week_times.h"
#include "host/file_path.h"
#include "host/native_messages.h"
#include "host/policy_file.h"
#include "host/policy_follower.h"
#include "host/printable_text.h"
#include "host/reported_url.h"
#include "host/serve/pages/block_page.h"
#include "host/verdict_words.h"
#include "host/watched_input.h"

namespace tarn::host {

namespace {

struct MessagingOptions {
    std::string origin;        // that a browser names
    std::string parentWindow;  // as browsers on Windows do
};

// The policy file, followed as watch does. A host with other companion modules may have none.
class FollowedPolicy {
 public:
    FollowedPolicy(const Session& session, std::string file)
        : follower_(
              file, SidsOf(session.environment),
              [&session](std::chrono::milliseconds time) { session.environment.Pause(time); }, session.errors, false),
          file_(std::move(file)) {
        Environment& environment = session.environment;
        follower_.UseAsciiHost([&environment](const std::string& host) { return environment.AsciiHost(host); });
    }

    // Before the library starts; false with the reason.
    bool Begin(std::string& mistake) {
        std::error_code ignored;
        isThere_ = std::filesystem::exists(ToPath(file_), ignored);
        return !isThere_ || follower_.Begin(mistake);
    }
    [[nodiscard]] std::string Folder() const {
        return isThere_ ? FromPath(std::filesystem::absolute(ToPath(file_)).parent_path() / "") : std::string();
    }
    void Follow(Judge& library, WatchSignals& signals) {
        if (!isThere_) return;
        follower_.Follow(library);
        for (const std::string& folder : follower_.ListFolders()) signals.AlsoFolder(folder);
    }
    // Null without one.
    [[nodiscard]] std::shared_ptr<const policy::Policy> Used() const {
        if (!isThere_) return nullptr;
        return follower_.Used();
    }

 private:
    PolicyFollower follower_;
    std::string file_;
    bool isThere_ = false;
};

class Messaging {
 public:
    Messaging(const Session& session, Judge& library, FollowedPolicy& policy, WatchSignals& signals)
        : session_(session),
          library_(library),
          policy_(policy),
          signals_(signals),
          entries_(FinderFor(session.environment, session.library)) {
        entries_.ReadBy([this] { return policy_.Used(); });
    }

    int AnswerAll() {
        WatchedInput input([this](std::span<char> buffer) { return Fill(buffer); });
        std::istream stream(&input);
        std::string message;
        while (session_.out) {
            switch (ReceiveMessage(stream, message)) {
                case Received::kMessage:
                    Send(Answer(message));
                    break;
                case Received::kTooLong:
                    Send({{"error", fmt::format("the message is too long; at most {} bytes are read", kMostReceived)}});
                    break;
                case Received::kEnd:
                    return kExitOk;
                case Received::kBroken:
                    if (isStopped_) return kExitOk;
                    return session_.Fail("what came from the browser is no message; is it a browser that asks?",
                                         kExitFailed);
            }
        }
        return kExitOk;  // whoever read the answers is gone
    }

 private:
    std::size_t Fill(std::span<char> buffer) {
        session_.out.flush();
        while (true) {
            const Signal signal = signals_.Next(true, true);
            if (signal == Signal::kInput) return signals_.ReadInput(buffer);
            if (signal == Signal::kStop) isStopped_ = true;
            if (isStopped_) return 0;
            policy_.Follow(library_, signals_);
            entries_.Forget();
        }
    }

    void Send(const Event& answer) {
        if (!SendMessage(answer, session_.out) && session_.out)
            SendMessage({{"error", "the answer is too long to be sent"}}, session_.out);
    }

    Event Answer(const std::string& message) {
        const Event asked = Event::parse(message, nullptr, false);
        if (!asked.is_object()) return {{"error", "the message is no JSON object"}};
        Event answer = Event::object();
        if (asked.contains("id") && asked["id"].is_number_unsigned()) answer["id"] = asked["id"];
        const auto text = [&asked](const char* key) {
            const auto found = asked.find(key);
            return found != asked.end() && found->is_string() ? found->get<std::string>() : std::string();
        };
        const std::string type = text("type");
        if (type == "hello")
            answer["program"] = "tarnhost " TARN_VERSION;
        else if (type == "judge")
            AnswerUrl(text("url"), text("languages"), answer);
        else
            answer["error"] = "type is neither \"hello\" nor \"judge\"";
        return answer;
    }

    void AnswerUrl(const std::string& url, const std::string& languages, Event& answer) {
        std::uint8_t kind = 0;
        std::string mistake;
        if (!KindOfReported(url, kind, mistake)) {
            answer["error"] = fmt::format("\"{}\" cannot be judged: {}", Printable(url, kShownUrl), mistake);
            return;
        }
        const Judgement judgement = library_.ScanExtensionUrl(kind, url);
        const Coverage coverage = CoverageOfReported(kind, url, judgement);
        answer["verdict"] = VerdictName(judgement);
        answer["judged"] = ExtentWord(coverage.extent);
        if (!coverage.IsWhole()) answer["why_not_whole"] = coverage.why;
        if (!judgement.isValid) return;
        const std::uint32_t reason = judgement.verdict.reason;
        answer["reason"] = reason;
        answer["reason_text"] = ReasonWords(reason);
        if (!IsBlocked(judgement)) return;
        const auto entry = entries_.FindReported(url, judgement);
        if (entry) answer["entry"] = EntryMember(*entry);
        serve::BlockedPage page = serve::BlockedPageOf(url, judgement, entry, session_.environment.LocalTime());
        serve::TellWhenAllowed(page, MinutesToWait(judgement));
        answer["page"] = serve::BlockPageHtml(page, serve::ChooseLanguage(languages));
    }

    // As the filter tells it: by the schedule of the first account, at the time of the verdict.
    [[nodiscard]] std::optional<std::uint32_t> MinutesToWait(const Judgement& judgement) const {
        const auto policy = policy_.Used();
        if (judgement.verdict.reason != TARN_REASON_SCHEDULE || !policy || policy->parental.users.empty())
            return std::nullopt;
        return MinutesUntilAllowed(policy->parental.users.front(), judgement.verdict.localTime);
    }

    static constexpr std::size_t kShownUrl = 80;  // of one that is refused

    const Session& session_;
    Judge& library_;
    FollowedPolicy& policy_;
    WatchSignals& signals_;
    EntryFinder entries_;
    bool isStopped_ = false;
};

// The browser shows it; it does not show the error output.
int FailToBrowser(const Session& session, const std::string& mistake) {
    SendMessage({{"error", mistake}}, session.out);
    return session.Fail(mistake, kExitFailed);
}

int AnswerBrowser(const Session& session) {
    std::string mistake;
    Environment& environment = session.environment;
    FollowedPolicy policy(session, PolicyPath(environment, session.library));
    if (!policy.Begin(mistake)) return FailToBrowser(session, mistake);
    const std::unique_ptr<Judge> library = session.Library();
    if (!library)
        return FailToBrowser(session,
                             "the library did not start; \"tarnhost extension https://shop.example/\" says why");
    const std::unique_ptr<WatchSignals> signals = environment.Watch(policy.Folder(), true, mistake);
    if (!signals) return FailToBrowser(session, mistake);
    policy.Follow(*library, *signals);  // for what changed before its folder was watched
    return Messaging(session, *library, policy, *signals).AnswerAll();
}

}  // namespace

RunCommand AddMessagingCommand(CommandOptions command, Session& session) {
    const auto options = std::make_shared<MessagingOptions>();
    command.Add("ORIGIN", options->origin, "The extension that asks, as a browser names it");
    command.Add("--parent-window", options->parentWindow, "A window of the browser, as it names it; not used")
        .Value("NUMBER");
    command.Notes(
        "A browser starts it once its extension is installed (extension/README.md) and ends it by closing the standard "
        "input. Messages have four bytes of length in front, in both directions: \"type\": \"judge\" with \"url\" "
        "is answered by a verdict and, for what is blocked, by the page that tells why. The policy is followed as "
        "watch does.");
    return [options, &session] { return AnswerBrowser(session); };
}

}  // namespace tarn::host
