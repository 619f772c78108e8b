#include "host/text_report.h"

#include <fmt/format.h>

#include "host/printable_text.h"
#include "host/verdict_words.h"

namespace tarn::host {

namespace {

// Widths of the columns; the reason and the rule's text end the line and may be as long as they are.
constexpr std::size_t kTimeWidth = 15;    // 12:34:56.123456
constexpr std::size_t kClientWidth = 15;  // a dotted address
constexpr std::size_t kHostWidth = 26;
constexpr std::size_t kPathWidth = 32;
constexpr std::size_t kStateWidth = 10;   // "no verdict"
constexpr std::size_t kReasonWidth = 31;  // "26 no rule decided" and the like

std::string TimeOfDay(std::uint64_t nanoseconds) {
    const std::string time = FormatTime(nanoseconds);
    return time.empty() ? "-" : time.substr(time.find('T') + 1, kTimeWidth);
}

// The reason, with its number.
std::string Reason(const Judgement& judgement) {
    if (!judgement.isValid) return "the library could not judge it";
    const std::uint32_t reason = judgement.verdict.reason;
    return fmt::format("{:>2} {}", reason, ReasonWords(reason));
}

std::string WithoutTrailingBlanks(std::string line) {
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

}  // namespace

std::string TextReport::Coloured(std::string_view text, const Judgement& judgement) const {
    if (!style_.colour) return std::string(text);
    constexpr std::string_view kRed = "\x1b[31m";
    constexpr std::string_view kYellow = "\x1b[33m";
    constexpr std::string_view kGreen = "\x1b[32m";
    std::string_view colour = kGreen;
    if (!judgement.isValid)
        colour = kYellow;
    else if (judgement.verdict.allow == TARN_BLOCK)
        colour = kRed;
    return fmt::format("{}{}\x1b[0m", colour, text);
}

void TextReport::BeginCapture(const CaptureHeading& heading) {
    if (!isFirstCapture_) out_ << '\n';
    isFirstCapture_ = false;
    out_ << Printable(heading.name) << '\n';
    for (const AddressReplacement& replacement : heading.replacements)
        out_ << fmt::format("  address {} of the capture is replaced by {}\n", FormatIpAddress(replacement.from),
                            FormatIpAddress(replacement.to));
    out_ << WithoutTrailingBlanks(fmt::format("{}  {}  {}  {}  {}  {}", Column("time (UTC)", kTimeWidth),
                                              Column("client", kClientWidth), Column("host", kHostWidth),
                                              Column("path", kPathWidth), Column("verdict", kStateWidth), "reason"))
         << '\n';
}

void TextReport::Request(const JudgedRequest& request) {
    totals_.Count(request.judgement);
    std::string line;
    if (request.origin) {
        const std::string client = FormatIpAddress(request.origin->client.address);
        line += fmt::format("{}  {:<{}}  ", Column(TimeOfDay(request.origin->timeNanoseconds), kTimeWidth), client,
                            kClientWidth);
    }
    line += fmt::format("{}  {}  {}  ", Column(request.view.host, kHostWidth), Column(request.view.path, kPathWidth),
                        Coloured(Column(StateWord(request.judgement), kStateWidth), request.judgement));
    const std::string text = request.judgement.isValid ? RuleText(request.judgement.verdict) : std::string();
    line += fmt::format("{:<{}}", Reason(request.judgement), text.empty() ? 0 : kReasonWidth);
    if (!text.empty()) line += "  " + Printable(text);
    if (const std::string user = RuleUser(request.judgement.verdict); request.judgement.isValid && !user.empty())
        line += fmt::format("  (user {})", Printable(user));
    out_ << WithoutTrailingBlanks(line) << '\n';
    if (style_.verbose) Details(request);
}

void TextReport::Details(const JudgedRequest& request) {
    out_ << fmt::format("    {} to {} port {}", request.protocol->name, FormatIpAddress(request.server.address),
                        request.server.port);
    if (request.origin) {
        out_ << fmt::format(" from port {}, frame {}", request.origin->client.port, request.origin->frame);
        if (request.origin->replacedServer)
            out_ << ", in the capture to " << FormatIpAddress(*request.origin->replacedServer);
        if (request.origin->replacedClient)
            out_ << ", in the capture from " << FormatIpAddress(*request.origin->replacedClient);
    }
    out_ << fmt::format(", report byte {}, prompt byte {}\n", request.judgement.prompt.report,
                        request.judgement.prompt.prompt);
}

void TextReport::Summary() {
    out_ << fmt::format("\n{} request{}: {} allowed, {} blocked", totals_.requests, totals_.requests == 1 ? "" : "s",
                        totals_.allowed, totals_.blocked);
    if (totals_.withoutVerdict != 0) out_ << fmt::format(", {} without a verdict", totals_.withoutVerdict);
    out_ << '\n';
    for (const auto& [reason, count] : totals_.byReason)
        out_ << fmt::format("{:>7}  {:>2} {}\n", count, reason, ReasonWords(reason));
}

}  // namespace tarn::host
