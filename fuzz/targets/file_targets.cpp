// Files that people hand over: policies and captures; and the URLs that they type.
#include <algorithm>
#include <sstream>
#include <string>

#include "host/capture/capture_reader.h"
#include "host/capture/tcp_turns.h"
#include "host/capture/transport_view.h"
#include "host/composed_request.h"
#include "host/policy_changes.h"
#include "host/printable_text.h"
#include "host/protocol_choice.h"
#include "lists/published_lists.h"
#include "modules/ids_rules.h"
#include "parental/settings_copy.h"
#include "policy/list_file.h"
#include "policy/policy_reader.h"
#include "policy/policy_records.h"
#include "policy/site_judge.h"
#include "targets.h"
#include "url/request_parser.h"
#include "url/tls_client_hello.h"

namespace tarn::fuzz {
namespace {

bool IsInside(Bytes part, Bytes whole) {
    return part.empty() || (part.data() >= whole.data() && part.data() + part.size() <= whole.data() + whole.size());
}

// Builds every record of the policy, publishes what the library would, and releases the records.
void UseRecords(const policy::Policy& policy) {
    lists::PublishedLists lists;
    UrlListRecord urls{};
    Require(policy::BuildUrlList(policy.whiteLists.webSecurity, urls), "there is memory");
    lists.webSecurityInternal.Publish(urls);
    lists.user.Publish(urls);
    policy::ReleaseUrlList(urls);

    ThreatSiteList threats{};
    Require(policy::BuildThreatSites(policy, threats), "there is memory");
    lists.malicious.Publish(threats);
    policy::ReleaseThreatSites(threats);

    PhishingSiteList phishing{};
    Require(policy::BuildPhishingSites(policy, phishing), "there is memory");
    lists.phishing.Publish(phishing);
    policy::ReleasePhishingSites(phishing);

    IdsSettingsRecord rules{};
    Require(policy::BuildIdsRules(policy, rules), "there is memory");
    modules::IdsRuleTable table;
    Require(table.CopySelected(rules, 0), "the rules are copied");
    policy::ReleaseIdsRules(rules);

    PcSettingsRecord record{};
    Require(policy::BuildParental(policy, record), "there is memory");
    parental::SettingsCopy copy;
    Require(parental::CopyPcSettings(record, copy), "the parental settings are copied");
    policy::ReleaseParental(record);
    Require(lists::PublishProfiles(copy).size() == copy.entries.size(), "every user has a profile");

    const policy::CategoryIndex categories(policy.sites);
    for (const policy::CategorisedSite& site : policy.sites) (void)categories.Find(site.address);
    for (const policy::ListedText& pattern : policy.maliciousPatterns)
        (void)policy::MatchesPattern("http://shop.example/setup.exe?id=4711", pattern.text);
}

}  // namespace

void PolicyFile(Bytes input) {
    const auto read = policy::ParsePolicy(AsText(input));
    std::uint32_t line = 0;
    for (const policy::Mistake& mistake : read.mistakes) {
        Require(mistake.line >= line, "the mistakes stand in the order of the file");
        Require(!mistake.text.empty(), "a mistake says something");
        Require(!policy::Describe("policy.toml", mistake).empty(), "a mistake can be told");
        line = mistake.line;
    }
    if (!read.mistakes.empty()) return;
    UseRecords(read.policy);
    const host::PolicyChanges none = host::ComparePolicies(AsText(input), AsText(input));
    Require(none.changes.empty() && none.kinds.empty() && none.updated == 0, "a policy does not differ from itself");
    const host::PolicyChanges all = host::ComparePolicies("", AsText(input));
    const host::PolicyChanges back = host::ComparePolicies(AsText(input), "");
    Require(all.changes.size() == back.changes.size(), "what was added is what is taken away");
}

namespace {

// Checks what the parser of lists hands over.
class ListChecks : public policy::ListSink {
 public:
    explicit ListChecks(Bytes input) : input_(input) {}
    void Take(const policy::ListEntry& entry) override {
        const auto* const text = reinterpret_cast<const std::uint8_t*>(entry.text.data());
        Require(!entry.text.empty() && IsInside({text, entry.text.size()}, input_), "an entry lies in the text");
        Require(entry.text.find('\n') == std::string_view::npos, "an entry is of one line");
        InOrder(entry.line);
    }
    void Remark(policy::ListRemark remark, std::uint32_t line) override {
        Require(remark < policy::ListRemark::kCount, "a remark is one of those that there are");
        InOrder(line);
    }
    void Progress(std::size_t bytes) override {
        Require(bytes >= bytes_ && bytes <= input_.size(), "reading goes on and ends with the text");
        bytes_ = bytes;
    }
    [[nodiscard]] std::size_t BytesRead() const { return bytes_; }

 private:
    void InOrder(std::uint32_t line) {
        Require(line >= line_ && line != 0, "lines come in their order");
        line_ = line;
    }

    Bytes input_;
    std::uint32_t line_ = 0;
    std::size_t bytes_ = 0;
};

// The input as the only file there is.
class OneList : public policy::ListFiles {
 public:
    explicit OneList(Bytes input) : text_(AsText(input)) {}
    std::vector<std::string> Names(const std::string&) override { return {"list"}; }
    bool Read(const std::string&, std::string& text, std::string&) override {
        text = text_;
        return true;
    }

 private:
    std::string text_;
};

}  // namespace

void ListFile(Bytes input) {
    using policy::ListFormat;
    for (const ListFormat format :
         {ListFormat::kAuto, ListFormat::kDomains, ListFormat::kHosts, ListFormat::kAdblock, ListFormat::kTexts}) {
        ListChecks checks(input);
        policy::ParseList(AsText(input), format, (input.size() & 1U) != 0, checks);
        Require(checks.BytesRead() == input.size(), "a list is read to its end");
    }
    OneList list(input);
    const auto read = policy::ParsePolicy(
        "include = ['*', { files = 'l', list = 'phishing_sites' }, { files = 'l', list = 'sites', categories = [5] }, "
        "{ files = 'l', list = 'malicious_patterns' }]",
        {}, &list);
    Require(read.mistakes.empty(), "no short list is a mistake");
    UseRecords(read.policy);
}

void CaptureFile(Bytes input) {
    std::istringstream stream{std::string(AsText(input))};
    host::CaptureReader reader(stream);
    constexpr host::TurnLimits kLimits{512, 1024, 8, 4096, 4};
    std::uint64_t turns = 0;
    host::TcpTurns assembly(
        [&](const host::Turn& turn) {
            Require(turn.data.size() <= kLimits.turnBytes, "a turn is cut at its limit");
            Require(turn.data.size() <= turn.totalLength, "a turn is no longer than what was sent");
            ++turns;
        },
        kLimits);
    host::CapturedFrame frame;
    std::uint64_t frames = 0;
    std::uint64_t bytes = 0;
    while (reader.Next(frame)) {
        Require(frame.number == ++frames, "frames are numbered from 1 on");
        Require(frame.bytes.size() <= host::kMaxFrameBytes, "a frame is bounded");
        bytes += frame.bytes.size();
        (void)host::FormatTime(frame.timeNanoseconds);
        const ExactBlock block(frame.bytes);
        const auto view = host::ViewTransport(block.View());
        if (!view) continue;
        Require(IsInside(view->payload, block.View()), "the payload lies in its frame");
        const host::Utterance utterance{view->payload, view->destination.port, view->isTcp, true};
        if (const host::Protocol* const protocol = host::ChooseProtocol(utterance)) {
            const host::RequestView request = protocol->view(view->payload);
            constexpr std::size_t kWidth = 64;
            constexpr std::size_t kMostBytes = 4;  // of one character
            Require(host::Printable(request.host, kWidth).size() <= kMostBytes * kWidth, "a text is cut to its width");
        }
        if (view->isTcp) assembly.Add(*view, frame.number, frame.timeNanoseconds);
    }
    assembly.Finish();
    Require(reader.FrameCount() == frames, "every frame is counted");
    const bool isPacked = AsText(input).starts_with("\x1F\x8B");
    Require((isPacked || bytes <= input.size()) && reader.BytesRead() <= input.size(),
            "nothing is read that is not there");
    Require(!reader.Error().empty() || reader.BytesRead() == input.size(), "a file is read to its end or refused");
    Require(!reader.Next(frame), "behind the last frame there is none");
}

void ComposedUrl(Bytes input) {
    std::string mistake;
    const auto request = host::ComposeRequest(AsText(input), mistake);
    Require(request.has_value() == mistake.empty(), "a URL is taken or a mistake says why not");
    if (!request) return;
    Require(request->server.port != 0, "a request goes to a port");
    const ExactBlock block(request->data);
    if (request->protocol == &host::TlsProtocol()) {
        url::UrlText name;
        Require(url::ExtractTlsServerName(block.View(), name), "a composed hello is read");
        Require(name.Empty() == request->isServerKnown, "an address is no server name");
        Require(name.Empty() || request->view.host.starts_with(name.View()), "the hello names the host");
        Require(host::ViewTlsHello(block.View()).host == name.View(), "both readers see the same name");
        return;
    }
    Require(host::ViewHttpRequest(block.View()).host == request->view.host, "the viewer sees the host");
    url::ParsedRequest parsed;
    if (url::ParseHttpRequest(block.View(), parsed) && request->view.path.find("Host: ") == std::string::npos &&
        request->view.path != "/")
        Require(request->view.host.find(parsed.host.View()) != std::string::npos, "the library sees the host");
}

}  // namespace tarn::fuzz
