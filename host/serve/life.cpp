#include "host/serve/life.h"

#include <fmt/format.h>

#include "host/file_path.h"
#include "host/policy_file.h"
#include "host/printable_text.h"

namespace tarn::host::serve {

namespace {

// Notices of the policy's follower, told when no scan runs.
class NoticeGate : public host::Judge {
 public:
    NoticeGate(Filter& filter, std::function<void()> beforeNotice)
        : filter_(filter), beforeNotice_(std::move(beforeNotice)) {}
    Judgement ScanUrl(std::uint8_t, base::Bytes, const Endpoint&) override { return {}; }
    PacketVerdict ScanPacket(base::Bytes, std::uint16_t, bool) override { return {}; }
    std::optional<SmbScanResult> ScanSmb(base::Bytes, bool) override { return std::nullopt; }
    bool DropConnection(base::Bytes) override { return false; }
    void BlockAddress(const std::string&, const std::string&) override {}
    bool SettingsChanged(std::uint32_t kind) override {
        beforeNotice_();
        return filter_.SettingsChanged(kind);
    }
    bool UpdateSettingsChanged(std::uint32_t mask) override {
        beforeNotice_();
        return filter_.UpdateSettingsChanged(mask);
    }

 private:
    Filter& filter_;
    std::function<void()> beforeNotice_;
};

std::string FolderOf(const std::string& file) {
    return FromPath(std::filesystem::absolute(ToPath(file)).parent_path() / "");
}

std::string TextOfChanges(const Event& event, const std::string& file) {
    std::size_t count = 0;
    std::string waiting;  // keys of the table [serve]
    for (const auto& change : event.value("changes", Event::array())) {
        if (!change.value("at_restart", false))
            ++count;
        else
            waiting += (waiting.empty() ? "" : ", ") + Printable(change.value("key", ""));
    }
    std::string text = fmt::format("{} has changed", file);
    if (count != 0 || waiting.empty()) text += fmt::format(", and is used: {} change{}", count, count == 1 ? "" : "s");
    text += '\n';
    if (!waiting.empty()) text += fmt::format("  {}: counts when the server starts again\n", waiting);
    return text;
}

std::string TextOfPolicy(const Event& event) {
    const std::string what = event.value("event", "");
    const std::string file = Printable(event.value("file", ""));
    if (what == "used") return fmt::format("filtering by {}\n", file);
    if (what == "kept")
        return fmt::format("{} {}; what was read before stays\n", file, Printable(event.value("text", "")));
    if (what == "mistake" || what == "warning")
        return fmt::format("  {}:{}: {}{}\n", file, event.value("line", 0), what == "warning" ? "warning: " : "",
                           Printable(event.value("text", "")));
    if (what != "changed") return {};
    std::string text = TextOfChanges(event, file);
    for (const auto& notice : event.value("notices", Event::array()))
        if (!notice.value("succeeded", true))
            text +=
                fmt::format("  {} FAILED; the setting may be off until the next change\n", notice.value("call", ""));
    return text;
}

// A path of HTTP that is none names the server once more, as CONNECT does; that of FTP is a whole command.
std::string AddressOf(const Event& event) {
    if (event.contains("url")) return event.value("url", "");
    const std::string host = event.value("host", "");
    const std::string path = event.value("path", "");
    const std::string protocol = event.value("protocol", "");
    if (protocol == "ftp") return host.empty() || path.empty() ? host + path : host + ' ' + path;
    return protocol == "http" && !path.starts_with('/') ? host : host + path;
}

std::string TextOfVerdict(const Event& event) {
    const bool isBlocked = event.value("verdict", "") == "blocked";
    const std::string why = event.value(isBlocked ? "reason_text" : "why_refused", "");
    std::string line =
        fmt::format("{}  {}  {}", isBlocked ? "BLOCKED" : "REFUSED", Printable(AddressOf(event)), Printable(why));
    if (event.contains("entry"))
        line += fmt::format("  ({}:{})", Printable(event["entry"].value("file", "")), event["entry"].value("line", 0));
    return line + '\n';
}

std::string TextOfStart(const Event& event) {
    std::string text;
    for (const char* listener : {"proxy", "socks", "dns", "status", "block_page"})
        if (event.contains(listener)) text += fmt::format("{:<10} {}\n", listener, event.value(listener, ""));
    return text + "Ctrl+C ends it\n";
}

}  // namespace

Life::Life(Parts parts)
    : parts_(std::move(parts)),
      hasAccount_(parts_.environment.FindAccount({}, account_)),
      filter_({parts_.library, parts_.hub, parts_.settings, account_,
               [environment = &parts_.environment] { return environment->LocalTime(); },
               [environment = &parts_.environment](const std::string& host) { return environment->AsciiHost(host); },
               SidsOf(parts_.environment)}),
      sessions_({ReadSystemSessions,
                 [environment = &parts_.environment](const std::string& name, Account& account) {
                     return environment->FindAccount(name, account);
                 },
                 hasAccount_ ? std::optional(account_) : std::nullopt,
                 [this](std::uint32_t event, const Account& account, std::uint32_t session) {
                     filter_.SessionEvent(event, account, session);
                 }}),
      server_(filter_, parts_.settings) {}

void Life::TellStarted() {
    Event event = BeginEvent("serve");
    event["event"] = "started";
    const ServeSettings& listening = server_.Listening();
    const auto add = [&](const char* name, const std::optional<Endpoint>& endpoint) {
        if (endpoint) event[name] = FormatEndpoint(*endpoint);
    };
    add("proxy", listening.proxy);
    add("socks", listening.socks);
    add("dns", listening.dns);
    add("status", listening.status);
    add("block_page", listening.blockPage);
    parts_.hub.Write(event);
}

bool Life::Run(std::string& mistake) {
    const std::unique_ptr<WatchSignals> signals = parts_.environment.Watch(FolderOf(parts_.policyFile), false, mistake);
    if (!signals) return false;
    for (const std::string& folder : parts_.follower.ListFolders()) signals->AlsoFolder(folder);
    UsePolicy();
    sessions_.Look();
    server_.Every(SessionReporter::kLook, [this] { sessions_.Look(); });
    if (!server_.Start(mistake)) {
        sessions_.End();
        return false;
    }
    Event used = BeginEvent("policy");
    used["event"] = "used";
    used["file"] = parts_.policyFile;
    parts_.hub.Write(used);
    TellStarted();
    FollowPolicy();  // what changed before the folders were watched
    for (Signal signal = signals->Next(true, false); signal != Signal::kStop; signal = signals->Next(true, false)) {
        if (signal != Signal::kChanged) continue;
        FollowPolicy();
        for (const std::string& folder : parts_.follower.ListFolders()) signals->AlsoFolder(folder);
    }
    const bool hasDrained = server_.Stop();
    sessions_.End();
    filter_.TellTotals(!hasDrained);
    return true;
}

void Life::UsePolicy() {
    filter_.UsePolicy(parts_.follower.Used(), std::make_shared<const PolicyVariant>(
                                                  PolicyVariant{parts_.policyFile, parts_.follower.UsedText()}));
}

void Life::FollowPolicy() {
    bool isUsed = false;
    const auto use = [&] {
        if (!std::exchange(isUsed, true)) UsePolicy();
    };
    NoticeGate gate(filter_, use);
    const std::string before = parts_.follower.UsedText();
    if (parts_.follower.Follow(gate)) server_.JudgeAgain();
    if (parts_.follower.UsedText() != before) use();  // lines may have moved
}

std::string TextForPeople(const Event& event, bool quiet) {
    const std::string type = event.value("type", "");
    if (type == "verdict") {
        const bool isRefused = event.value("verdict", "") == "blocked" || !event.value("passed", true);
        return isRefused && !quiet ? TextOfVerdict(event) : std::string();
    }
    if (type == "policy") return TextOfPolicy(event);
    if (type == "serve") return TextOfStart(event);
    if (type == "error") return Printable(event.value("text", "")) + '\n';
    if (type != "stats") return {};
    return fmt::format("{} requests: {} allowed, {} blocked, {} refused, {} without a verdict\n",
                       event.value("requests", 0), event.value("allowed", 0), event.value("blocked", 0),
                       event.value("refused_unknown", 0), event.value("without_verdict", 0));
}

}  // namespace tarn::host::serve
