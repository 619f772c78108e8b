// tarnhost extension: judges whole URLs as the extension of a browser reports them.
#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <nlohmann/json.hpp>

#include "base/text.h"
#include "host/commands/command.h"
#include "host/printable_text.h"
#include "host/verdict_words.h"

namespace tarn::host {

namespace {

constexpr std::size_t kUrlWidth = 44;
constexpr std::size_t kStateWidth = 10;   // "no verdict"
constexpr std::size_t kReasonWidth = 31;  // as in the lines of replay

// The connection that a URL asks for.
bool KindOfUrl(std::string_view url, std::uint8_t& kind, std::string& mistake) {
    const std::string_view scheme = url.substr(0, url.find("://"));
    if (scheme.size() == url.size())
        mistake = "it has no scheme; a browser reports whole addresses, such as https://shop.example/";
    else if (base::EqualIgnoringCase(scheme, "https"))
        kind = TARN_KIND_TLS;
    else if (base::EqualIgnoringCase(scheme, "http"))
        kind = TARN_KIND_HTTP;
    else
        mistake = fmt::format("its scheme is \"{}\", and http:// and https:// are reported", scheme);
    if (mistake.empty() && url.find('\0') != std::string_view::npos) mistake = "it has a NUL inside";
    return mistake.empty();
}

void PrintAsJson(const std::string& url, const Judgement& judgement, std::ostream& out) {
    nlohmann::ordered_json line;
    line["type"] = "verdict";
    line["url"] = url;
    line["verdict"] = StateWord(judgement);
    if (judgement.isValid) {
        const std::uint32_t reason = judgement.verdict.reason;
        line["reason"] = reason;
        line["reasonText"] = ReasonWords(reason);
        line["ruleText"] = RuleText(judgement.verdict);
        if (const std::string user = RuleUser(judgement.verdict); !user.empty()) line["user"] = user;
        line["reportByte"] = judgement.prompt.report;
        line["promptByte"] = judgement.prompt.prompt;
    }
    out << line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << '\n';
}

void PrintAsText(const std::string& url, const Judgement& judgement, std::ostream& out) {
    std::string line = fmt::format("{}  {}  ", Column(url, kUrlWidth), Column(StateWord(judgement), kStateWidth));
    if (!judgement.isValid) {
        out << line << "the library could not judge it\n";
        return;
    }
    const std::uint32_t reason = judgement.verdict.reason;
    std::string text = RuleText(judgement.verdict);
    if (text == url) text.clear();  // it stands in front
    line += fmt::format("{:>2} {:<{}}", reason, ReasonWords(reason), text.empty() ? 0 : kReasonWidth - 3);
    if (!text.empty()) line += "  " + Printable(text);
    if (const std::string user = RuleUser(judgement.verdict); !user.empty())
        line += fmt::format("  (user {})", Printable(user));
    out << line << '\n';
}

int JudgeReportedUrls(const std::vector<std::string>& urls, const Session& session) {
    std::vector<std::uint8_t> kinds;
    for (const std::string& url : urls) {
        std::string mistake;
        std::uint8_t kind = 0;
        if (!KindOfUrl(url, kind, mistake))
            return session.Fail(fmt::format("\"{}\" cannot be judged: {}", Printable(url), mistake), kExitUsage);
        kinds.push_back(kind);
    }
    const std::unique_ptr<Judge> library = session.Library();
    if (!library) return kExitFailed;
    for (std::size_t i = 0; i < urls.size(); ++i) {
        const Judgement judgement = library->ScanExtensionUrl(kinds[i], urls[i]);
        if (session.json)
            PrintAsJson(urls[i], judgement, session.out);
        else
            PrintAsText(urls[i], judgement, session.out);
    }
    return kExitOk;
}

}  // namespace

RunCommand AddExtensionCommand(CLI::App& command, Session& session) {
    const auto urls = std::make_shared<std::vector<std::string>>();
    command.add_option("URL", *urls, "whole http:// and https:// addresses")->required();
    command.footer(
        "The library looks at https:// only here: what http:// asks for it sees on the connection. It takes the "
        "process that calls it for the browser, so none is named. Without parental control in the settings it gives "
        "no verdict.");
    return [urls, &session] { return JudgeReportedUrls(*urls, session); };
}

}  // namespace tarn::host
