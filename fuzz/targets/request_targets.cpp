// The two request parsers, the path they normalise and the server name of a TLS hello.
#include <algorithm>
#include <cstring>
#include <string>

#include "base/text.h"
#include "base/url_path.h"
#include "targets.h"
#include "url/request_parser.h"
#include "url/tls_client_hello.h"

namespace tarn::fuzz {
namespace {

std::string Lower(std::string_view text) {
    std::string lower(text);
    base::LowerAscii(lower.data(), lower.size());
    return lower;
}

template <class Text>
void RequireText(const Text& text) {
    Require(text.Length() <= Text::kMaxLength, "a text fits its buffer");
    Require(text.Text()[text.Length()] == '\0', "a text is terminated");
    Require(std::strlen(text.Text()) == text.Length(), "a text of a request holds no NUL");
}

bool IsNormalPath(std::string_view path) {
    return path.starts_with('/') && path.find_first_of("?#") == path.npos && path.find("//") == path.npos;
}

// What was there before must not show in the result.
url::ParsedRequest Stale() {
    url::ParsedRequest parsed;
    parsed.host.Assign("stale.example");
    parsed.path.Assign("/stale/path/that/is/rather/long");
    parsed.url.Assign("stale.example:8080/stale/path/that/is/rather/long");
    return parsed;
}

bool SameRequest(const url::ParsedRequest& a, const url::ParsedRequest& b) {
    return a.host.View() == b.host.View() && a.path.View() == b.path.View() && a.url.View() == b.url.View();
}

std::string_view UpToNul(std::string_view text) {
    return text.substr(0, std::min(text.find('\0'), text.size()));
}

}  // namespace

void HttpRequest(Bytes input) {
    url::ParsedRequest parsed;
    url::ParsedRequest again = Stale();
    const bool isRequest = url::ParseHttpRequest(input, parsed);
    Require(url::ParseHttpRequest(input, again) == isRequest, "a request is parsed alike twice");
    RequireText(parsed.url);

    const std::string_view seen = UpToNul(AsText(input.first(std::min(input.size(), url::kMaxRequestLength))));
    const ExactBlock shorter(AsBytes(seen));
    url::ParsedRequest fromShorter = Stale();
    Require(url::ParseHttpRequest(shorter.View(), fromShorter) == isRequest, "the request ends at its first NUL");
    if (!isRequest) return;

    Require(SameRequest(parsed, again), "what stood in the result before does not show");
    Require(SameRequest(parsed, fromShorter), "nothing behind the first NUL shows");
    RequireText(parsed.host);
    RequireText(parsed.path);
    const std::string_view host = parsed.host.View();
    const std::string_view path = parsed.path.View();
    Require(Lower(seen).find(host) != std::string::npos, "the host is part of the request");
    Require(Lower(host) == host && Lower(path) == path, "host and path are in lower case");
    Require(host.find("\r\n") == host.npos, "the host is of one line");
    Require(path.empty() || IsNormalPath(path), "a path is in its normal form");
    Require(path.empty() || Lower(parsed.url.View()).ends_with(path) || path == "/", "the URL ends with the path");
}

void FtpCommand(Bytes input) {
    url::UrlText match;
    url::UrlText display;
    url::UrlText matchAgain;
    url::UrlText displayAgain;
    matchAgain.Assign("/stale/path");
    displayAgain.Assign("/stale/path");
    const bool isCommand = url::ParseFtpCommand(input, match, display);
    Require(url::ParseFtpCommand(input, matchAgain, displayAgain) == isCommand, "a command is parsed alike twice");
    const std::string_view seen = UpToNul(AsText(input.first(std::min(input.size(), url::kMaxRequestLength))));
    RequireText(match);
    RequireText(display);
    if (!isCommand) return;
    Require(match.View() == matchAgain.View() && display.View() == displayAgain.View(), "nothing stale shows");
    Require(Lower(display.View()) == match.View(), "both paths differ in letter case only");
    const std::string_view path = display.View();
    Require(path == "/" || seen.find(path.substr(path.starts_with('/') ? 1 : 0)) != seen.npos,
            "the path is part of the command");
    Require(display.View().find("\r\n") == std::string_view::npos, "the path is of one line");
}

void UrlPath(Bytes input) {
    const std::string_view text = AsText(input);
    base::UrlText normal;
    const bool fits = base::NormalizeUrlPath(text, normal);
    Require(normal.Length() < base::kUrlCapacity && normal.Text()[normal.Length()] == '\0', "the path is terminated");
    base::UrlText inPlace;
    if (inPlace.Assign(text)) {
        Require(base::NormalizeUrlPath(inPlace) == fits, "a path is normalised in place alike");
        Require(!fits || inPlace.View() == normal.View(), "a path is normalised in place to the same");
    }
    if (!fits) return;
    Require(IsNormalPath(normal.View()), "a path is in its normal form");
    base::UrlText twice;
    Require(base::NormalizeUrlPath(normal.View(), twice) && twice.View() == normal.View(),
            "a normal path stays as it is");
}

void TlsHello(Bytes input) {
    constexpr std::string_view kStale = "stale.example";
    url::UrlText host;
    url::UrlText again;
    again.Assign(kStale);
    const bool isHello = url::ExtractTlsServerName(input, host);
    Require(url::ExtractTlsServerName(input, again) == isHello, "a hello is read alike twice");
    RequireText(host);
    if (!isHello) {
        Require(host.Empty() && again.View() == kStale, "what is no hello leaves the host");
        return;
    }
    Require(host.View() == again.View(), "nothing stale shows");
    Require(AsText(input).find(host.View()) != std::string_view::npos, "the name is part of the hello");

    ByteList longer(input.begin(), input.end());
    longer.push_back(0x16);
    Require(url::ExtractTlsServerName(longer, again) && host.View() == again.View(), "what follows does not matter");
}

}  // namespace tarn::fuzz
