#include "host/expectations/case_file.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <optional>
#include <tuple>

#include "tarn/records.h"

#include "host/capture/ip_address.h"
#include "host/clock_time.h"
#include "host/session_events.h"
#include "policy/values.h"

namespace tarn::host {

namespace {

using policy::Section;

constexpr std::size_t kMaxText = 65536;
constexpr std::size_t kMaxName = 1024;
constexpr std::int64_t kMaxTicks = std::int64_t{24} * 60;
constexpr const char* kWays[] = {"url", "extension", "request", "frame", "logon"};
constexpr const char* kVerdicts[] = {"blocked", "allowed", "none"};
constexpr const char* kLogonVerdicts[] = {"refused", "allowed", "none"};
constexpr TarnSystemTime kSomeDay{2026, 1, 4, 1, 0, 0, 0, 0};

// A text that must fit a rule of its own.
template <class Fits>
void ReadText(Section& section, const char* key, std::string& out, const char* wanted, const Fits& fits) {
    section.Read(key, out, {kMaxName});
    if (!out.empty() && !fits(out))
        section.Complain(*section.Find(key), fmt::format("{} is \"{}\"; allowed: {}", key, out, wanted));
}

void ReadServer(Section& section, PolicyCase& one) {
    ReadText(section, "server", one.server, "an address, such as \"192.0.2.10\"",
             [](const std::string& text) { return ParseIpAddress(text).has_value(); });
}

// The bytes of hex; a long run may go over several lines.
void ReadHex(Section& section, std::string& hex, std::vector<std::uint8_t>& bytes) {
    section.Read("hex", hex, {kMaxText});
    std::replace_if(
        hex.begin(), hex.end(), [](char c) { return c == '\n' || c == '\r' || c == '\t'; }, ' ');
    if (!hex.empty() && !policy::BytesOfHex(hex, bytes))
        section.Complain(*section.Find("hex"), "hex is no run of byte pairs; allowed: such as \"de ad be ef\"");
}

// From text or hex; false when the section has neither.
bool ReadBytes(Section& section, std::vector<std::uint8_t>& bytes) {
    std::string text;
    std::string hex;
    section.Read("text", text, {kMaxText});
    bytes.assign(text.begin(), text.end());
    ReadHex(section, hex, bytes);
    if (!text.empty() && !hex.empty()) section.Complain(section.Whole(), "text and hex are two ways; one is wanted");
    return !text.empty() || !hex.empty();
}

void ReadRequest(Section& section, PolicyCase& one) {
    if (!ReadBytes(section, one.bytes)) section.Complain(section.Whole(), "a request needs text or hex");
    ReadServer(section, one);
    section.Read("port", one.port, 0, 65535);
    section.Read("datagram", one.isDatagram);
}

void ReadFrame(Section& section, PolicyCase& one) {
    section.Read("capture", one.capture, {kMaxName});
    section.Read("frame", one.frame, 1, INT64_MAX);
    section.Read("inbound", one.isInbound);
    std::string hex;
    ReadHex(section, hex, one.bytes);
    if (hex.empty() == one.capture.empty())
        section.Complain(section.Whole(), "a frame needs either hex, or capture and frame");
    else if (!one.capture.empty() && one.frame == 0)
        section.Complain(section.Whole(), "frame is missing: the number of the frame in the capture, from 1 on");
}

void ReadLogon(Section& section, PolicyCase& one) {
    section.Read("account", one.account, {kMaxName});
    std::string event = "logon";
    ReadText(section, "event", event, "logon, tick, disconnect, logoff or a number from 0 to 9, as a text",
             [](const std::string& text) { return ParseSessionEvent(text).has_value(); });
    one.event = ParseSessionEvent(event).value_or(TARN_EVENT_LOGON);
    section.Read("ticks", one.ticks, 0, kMaxTicks);
}

// What is asked; exactly one way must be there.
void ReadSubject(Section& section, PolicyCase& one) {
    const auto ways = std::count_if(std::begin(kWays), std::end(kWays),
                                    [&](const char* way) { return section.Find(way) != nullptr; });
    if (ways != 1)
        section.Complain(
            section.Whole(),
            fmt::format("a case asks for one thing, and this one for {}; allowed: url, extension, request, "
                        "frame or logon",
                        ways));
    section.Read("url", one.url, {kMaxText});
    if (section.Find("extension") != nullptr) {
        one.kind = CaseKind::kExtension;
        section.Read("extension", one.url, {kMaxText});
    }
    section.Table("request", [&](Section& inner) {
        one.kind = CaseKind::kRequest;
        ReadRequest(inner, one);
    });
    section.Table("frame", [&](Section& inner) {
        one.kind = CaseKind::kFrame;
        ReadFrame(inner, one);
    });
    section.Table("logon", [&](Section& inner) {
        one.kind = CaseKind::kLogon;
        ReadLogon(inner, one);
    });
    if (section.Find("server") == nullptr) return;
    if (one.kind == CaseKind::kUrl)
        ReadServer(section, one);
    else
        section.Complain(*section.Find("server"), "server belongs to url; request has its own inside");
}

void ReadReason(Section& section, Expectation& expected) {
    const toml::node* const node = section.Find("reason");
    if (node == nullptr) return;
    const auto* number = node->as_integer();
    const auto* text = node->as_string();
    if (number != nullptr && number->get() >= 0 && number->get() <= UINT32_MAX)
        expected.reason = static_cast<std::uint32_t>(number->get());
    else if (text != nullptr && IsReasonText(text->get()))
        expected.reasonText = text->get();
    else
        section.Complain(
            *node,
            "reason is no reason; allowed: its number, such as 7, or its words as verdicts show them, such "
            "as \"malicious site\"");
}

void ReadExpected(Section& section, PolicyCase& one) {
    const bool isLogon = one.kind == CaseKind::kLogon;
    const auto& verdicts = isLogon ? kLogonVerdicts : kVerdicts;
    ReadText(section, "expect", one.expected.verdict, isLogon ? "refused, allowed or none" : "blocked, allowed or none",
             [&](const std::string& text) {
                 return std::find(std::begin(verdicts), std::end(verdicts), text) != std::end(verdicts);
             });
    ReadReason(section, one.expected);
    section.Read("entry", one.expected.entry, {kMaxName});
    if (section.Find("expect") == nullptr && section.Find("reason") == nullptr && section.Find("entry") == nullptr)
        section.Complain(section.Whole(), "the case expects nothing; expect, reason or entry is wanted");
}

std::string NameOf(const PolicyCase& one) {
    switch (one.kind) {
        case CaseKind::kUrl:
        case CaseKind::kExtension:
            return one.url;
        case CaseKind::kRequest:
            return fmt::format("request of line {}", one.line);
        case CaseKind::kFrame:
            return one.capture.empty() ? fmt::format("frame of line {}", one.line)
                                       : fmt::format("frame {} of {}", one.frame, one.capture);
        case CaseKind::kLogon:
            return fmt::format("{} of {}", SessionEventName(one.event),
                               one.account.empty() ? std::string("the account that asks") : one.account);
    }
    return {};
}

void ReadCase(Section& section, CaseFile& file) {
    PolicyCase one;
    one.line = section.Where().line;
    section.Read("name", one.name, {kMaxName});
    ReadSubject(section, one);
    std::string account;
    section.Read("account", account, {kMaxName});
    if (!account.empty() && !one.account.empty())
        section.Complain(*section.Find("account"), "account stands in logon already");
    if (one.account.empty()) one.account = std::move(account);
    ReadText(section, "at", one.at, "a local time, such as \"2026-03-07T21:30\" or \"21:30\"",
             [](const std::string& text) { return ParseClockTime(text, kSomeDay).has_value(); });
    ReadExpected(section, one);
    if (one.name.empty()) one.name = NameOf(one);
    file.cases.push_back(std::move(one));
}

}  // namespace

CaseFile ParseCases(std::string_view text) {
    CaseFile file;
    try {
        const toml::table table = toml::parse(text);
        Section top(table, "", file.mistakes);
        top.Read("policy", file.policy, {kMaxName});
        top.Read("together", file.isTogether);
        top.Tables("case", [&](Section& section) { ReadCase(section, file); });
        if (file.cases.empty()) top.Complain(table, "there is no case; each stands under [[case]]");
    } catch (const toml::parse_error& error) {
        file.mistakes.push_back(
            {error.source().begin.line, error.source().begin.column, std::string(error.description())});
    }
    std::stable_sort(file.mistakes.begin(), file.mistakes.end(), [](const auto& left, const auto& right) {
        return std::tie(left.line, left.column) < std::tie(right.line, right.column);
    });
    return file;
}

}  // namespace tarn::host
