#include "host/serve/ftp_judge.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <utility>

#include "host/serve/ftp_data.h"
#include "host/serve/ftp_site.h"
#include "host/verdict_words.h"

namespace tarn::host::serve {

namespace {

constexpr std::size_t kMostNamed = 16;  // hosts in one session
// With an address and a scheme in front of it a name has to fit the 1,023 characters that a scan takes.
constexpr std::size_t kMostForm = 960;

const Protocol& FtpProtocol() {
    static const Protocol& ftp = *ChooseProtocol({{}, kFtpPort, true, true});
    return ftp;
}

// What follows such a command is in a form that is not read (RFC 2228). TLS has a hello.
bool HidesCommands(const FtpCommand& command) {
    constexpr std::string_view kVerbs[] = {"ADAT", "CONF", "ENC", "MIC"};
    return (command.verb == "AUTH" && !AsksForTls(command)) ||
           std::find(std::begin(kVerbs), std::end(kVerbs), command.verb) != std::end(kVerbs);
}

std::string RefusalFor(const Answer& answer) {
    const std::string why =
        answer.whyRefused.empty() ? std::string(ReasonWords(answer.judgement.verdict.reason)) : answer.whyRefused;
    return fmt::format("550 Blocked: {}.\r\n", why);
}

}  // namespace

std::string FtpJudge::RefusalOf(FtpLine kind, const FtpCommand& command) {
    if (kind == FtpLine::kUnclear) return "501 Servers read this line in different ways.\r\n";
    if (HidesCommands(command)) return "504 Only TLS is taken for protection.\r\n";
    std::string refusal = RefusalOfHosts(command);
    if (refusal.empty() && kind == FtpLine::kJudged) refusal = RefusalOfForms(command);
    return refusal;
}

std::string FtpJudge::RefusalOfHosts(const FtpCommand& command) {
    const auto sites = SitesOf(command);
    if (!sites) return "501 This names no host that can be judged.\r\n";
    for (const Target& site : *sites) {
        NamedServer named = server_;
        named.target = site;
        if (const auto address = ParseIpAddress(site.host)) named.endpoints = {{*address, site.port}};
        const bool isKnown = std::any_of(named_.begin(), named_.end(), [&](const NamedServer& one) {
            return IsSameName(one.target.host, site.host);
        });
        if (!isKnown && named_.size() == kMostNamed) return "501 The session names too many hosts.\r\n";
        const Answer answer = JudgeName(filter_, named);
        if (answer.isBlocked) return RefusalFor(answer);
        if (!isKnown) named_.push_back(std::move(named));
    }
    return {};
}

std::string FtpJudge::RefusalOfForms(const FtpCommand& command) const {
    std::vector<std::string> forms = folder_.JudgedForms(command);
    if (std::any_of(forms.begin(), forms.end(), [](const std::string& form) { return form.size() > kMostForm; }))
        return "501 The name is too long to be judged.\r\n";
    const std::string first = std::exchange(forms.front(), {});
    forms.erase(forms.begin());
    const base::Bytes data{reinterpret_cast<const std::uint8_t*>(first.data()), first.size()};
    Asked asked{&FtpProtocol(), data, server_.client, server_.First(), server_.processId};
    asked.alsoAs = std::move(forms);
    const Answer answer = filter_.Judge(asked);
    return answer.isBlocked ? RefusalFor(answer) : std::string();
}

bool FtpJudge::IsBlockedNow() const {
    const auto isBlocked = [this](NamedServer server) {
        server.isAgain = true;
        return JudgeName(filter_, server).isBlocked;
    };
    return isBlocked(server_) || std::any_of(named_.begin(), named_.end(), isBlocked);
}

}  // namespace tarn::host::serve
