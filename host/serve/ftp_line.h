// The lines of an FTP control connection (RFC 959): a command as its client sent it, and where a reply ends.
// Works on bytes from anywhere.
#ifndef TARN_HOST_SERVE_FTP_LINE_H
#define TARN_HOST_SERVE_FTP_LINE_H

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tarn::host::serve {

inline constexpr std::size_t kMostFtpLine = 512;    // with its end; some servers take the rest for a line of its own
inline constexpr std::size_t kMostFtpReply = 2048;  // of a server's line as much is read

enum class FtpLine {
    kSession,  // who the client is and how it wants to be served: names no file, and may hold a password
    kJudged,   // everything else
    kUnclear,  // a command that one server takes for another than the next does
    kBroken    // no command at all
};

// line: with or without its end. Signs of the terminal protocol in front of it do not count.
FtpLine KindOfFtpLine(std::string_view line);

// A command taken apart. Servers read its first word in any letters, and several pass over blanks around its argument.
struct FtpCommand {
    std::string verb;      // in capitals
    std::string argument;  // without the blanks around it
    std::string asSent;    // the argument with them, but for the one behind the verb
};
// line: with or without its end.
FtpCommand ReadFtpCommand(std::string_view line);

// Whether it asks for TLS. The server's word decides, so nothing behind it is sent before.
bool AsksForTls(const FtpCommand& command);

// Whether a client that says this first is one of FTP, by its first line, which need not be whole. greeting: what the
// server said before, as far as it is known. What clients of mail and of chats say is no FTP.
bool SpeaksFtp(std::string_view greeting, std::string_view said);

// Takes the first whole line off text, in the form in which it is judged and sent on: with "\r\n", without signs of the
// terminal protocol in front. Nothing while its end is missing.
std::optional<std::string> TakeFtpLine(std::string& text);

// Takes what a server says apart, and tells which line is the last one of an answer; one object for each connection.
class FtpReplies {
 public:
    using Tell = std::function<void(std::string_view line, bool endsAnswer)>;
    // said: what came next, whole lines or not. A line is told without its end, and no more than kMostFtpReply of it.
    void Read(std::string_view said, const Tell& tell);

    // line: the next one, without its end. False inside of an answer of several lines, and for one that only announces
    // another ("150").
    bool EndsAnswer(std::string_view line);

 private:
    std::string line_;  // so far
    std::string open_;  // the code of the answer of which lines are being read
};

}  // namespace tarn::host::serve

#endif
