#include "host/serve/ftp_line.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "base/text.h"

namespace tarn::host::serve {

namespace {

// Of RFC 959, 2228, 2389, 2428, 4217 and 7151.
constexpr std::string_view kSessionCommands[] = {
    "ABOR", "ACCT", "ALLO", "AUTH", "CCC",  "CDUP", "EPRT", "EPSV", "FEAT", "HELP",
    "HOST", "LANG", "MODE", "NOOP", "OPTS", "PASS", "PASV", "PBSZ", "PORT", "PROT",
    "PWD",  "QUIT", "REIN", "REST", "STRU", "SYST", "TYPE", "USER", "XCUP", "XPWD",
};
constexpr std::size_t kLongestCommand = 8;
constexpr char kSign = '\xFF';  // of the terminal protocol, and the byte behind it

bool IsLetter(char c) {
    const char lower = base::ToLowerAscii(c);
    return lower >= 'a' && lower <= 'z';
}

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

// Servers leave them out, take them for a blank or for the end of the line; 0xFF is a sign of the terminal protocol.
bool IsControl(char c) {
    return static_cast<unsigned char>(c) < ' ' || c == '\x7F' || c == kSign;
}

char ToCapital(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

}  // namespace

FtpLine KindOfFtpLine(std::string_view line) {
    const bool isLong = line.size() > kMostFtpLine;
    if (line.ends_with("\r\n")) line.remove_suffix(2);
    // A request for a web server says the same to everybody.
    if (line.find(" HTTP/1.") != std::string_view::npos) return FtpLine::kBroken;
    if (isLong || std::any_of(line.begin(), line.end(), IsControl)) return FtpLine::kUnclear;
    const std::string_view command = line.substr(0, line.find(' '));
    if (command.empty() || command.size() > kLongestCommand || !std::all_of(command.begin(), command.end(), IsLetter))
        return FtpLine::kBroken;
    const bool isSession = std::any_of(std::begin(kSessionCommands), std::end(kSessionCommands),
                                       [&](std::string_view one) { return base::EqualIgnoringCase(one, command); });
    return isSession ? FtpLine::kSession : FtpLine::kJudged;
}

std::optional<std::string> TakeFtpLine(std::string& text) {
    const std::size_t end = text.find('\n');
    if (end == std::string::npos) return std::nullopt;
    std::string line = text.substr(0, end);
    text.erase(0, end + 1);
    if (line.ends_with('\r')) line.pop_back();
    while (line.size() >= 2 && line.front() == kSign) line.erase(0, 2);
    return line + "\r\n";
}

FtpCommand ReadFtpCommand(std::string_view line) {
    line = line.substr(0, line.find_first_of("\r\n"));
    const std::size_t blank = std::min(line.find(' '), line.size());
    FtpCommand command;
    std::transform(line.begin(), line.begin() + static_cast<std::ptrdiff_t>(blank), std::back_inserter(command.verb),
                   ToCapital);
    line.remove_prefix(std::min(blank + 1, line.size()));
    command.asSent = line;
    line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
    command.argument = line.substr(0, line.find_last_not_of(' ') + 1);
    return command;
}

bool AsksForTls(const FtpCommand& command) {
    constexpr std::string_view kMechanisms[] = {"TLS", "TLS-C", "SSL", "TLS-P"};
    return command.verb == "AUTH" &&
           std::any_of(std::begin(kMechanisms), std::end(kMechanisms),
                       [&](std::string_view one) { return base::EqualIgnoringCase(one, command.argument); });
}

bool SpeaksFtp(std::string_view greeting, std::string_view said) {
    constexpr std::string_view kMail[] = {"EHLO", "HELO", "LHLO"};
    said.remove_prefix(std::min(said.find_first_not_of("\r\n\t "), said.size()));
    while (said.size() >= 2 && said.front() == kSign) said.remove_prefix(2);
    said = said.substr(0, kMostFtpLine);
    const std::string_view line(said.begin(), std::find_if(said.begin(), said.end(), IsControl));
    const FtpLine kind = KindOfFtpLine(line);
    const FtpCommand command = ReadFtpCommand(line);
    if (kind == FtpLine::kBroken || std::find(std::begin(kMail), std::end(kMail), command.verb) != std::end(kMail))
        return false;
    if (greeting.starts_with("220") || greeting.starts_with("120")) return true;  // "120": it will be ready soon
    const bool mayBecomeOne =
        std::string_view("220").starts_with(greeting) || std::string_view("120").starts_with(greeting);
    // Chats begin with a password, or with a user and more.
    const bool isChat =
        command.verb == "PASS" || (command.verb == "USER" && command.argument.find(' ') != std::string::npos);
    return mayBecomeOne && kind == FtpLine::kSession && !isChat;
}

void FtpReplies::Read(std::string_view said, const Tell& tell) {
    while (!said.empty()) {
        const std::size_t end = said.find('\n');
        const std::string_view part = said.substr(0, end);
        line_ += part.substr(0, kMostFtpReply - line_.size());
        if (end == std::string_view::npos) return;
        said.remove_prefix(end + 1);
        tell(line_, EndsAnswer(line_));
        line_.clear();
    }
}

bool FtpReplies::EndsAnswer(std::string_view line) {
    constexpr std::size_t kCode = 3;
    if (line.ends_with('\r')) line.remove_suffix(1);
    if (!open_.empty()) {
        // Some servers end it with the code alone.
        if (!line.starts_with(open_) || (line.size() > kCode && line[kCode] != ' ')) return false;
        open_.clear();
        return line.front() != '1';
    }
    if (line.size() < kCode || !std::all_of(line.begin(), line.begin() + kCode, IsDigit)) return false;
    if (line.size() > kCode && line[kCode] == '-') {
        open_ = line.substr(0, kCode);
        return false;
    }
    return line.front() != '1';
}

}  // namespace tarn::host::serve
