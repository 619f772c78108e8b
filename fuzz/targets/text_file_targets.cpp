// Texts that people and programs write besides policies and lists: events, tests of a policy, what is typed.
#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "host/address_replacements.h"
#include "host/clock_time.h"
#include "host/expectations/case_file.h"
#include "host/expectations/expected_lines.h"
#include "making/capture_files.h"
#include "policy/policy_fix.h"
#include "policy/policy_lint.h"
#include "report_checks.h"
#include "targets.h"

namespace tarn::fuzz {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kTypes[] = {"verdict", "attack", "file",  "logon",       "not_examined",
                                  "policy",  "error",  "stats", "no such type"};
constexpr const char* kKeys[] = {"verdict",       "judged",   "reason",     "reason_text", "rule_text", "user",
                                 "entry",         "flow",     "latency_ns", "host",        "path",      "url",
                                 "time",          "capture",  "frame",      "what",        "share",     "file",
                                 "action",        "account",  "rule",       "rule_name",   "direction", "written",
                                 "description",   "details",  "requests",   "frames",      "bytes",     "captures",
                                 "not_examined",  "protocol", "text",       "event",       "report",    "prompt",
                                 "why_not_whole", "client",   "server",     "list",        "line",      "id"};
constexpr const char* kTexts[] = {"blocked", "allowed",   "none", "2026-03-07T21:30:05.25Z",
                                  "whole",   "inbound",   "part", "<script>alert(1)</script>",
                                  "tcp",     "192.0.2.1", "quic", "malicious_sites"};

std::string WithoutBadBytes(std::string_view text) {
    std::string clean(text);
    for (char& c : clean) c = static_cast<char>(c & 0x7F);
    return clean;
}

// A value that an event may have, or of another kind.
Json TakeValue(Pieces& pieces, int depth) {
    const std::uint8_t choice = pieces.Byte();
    switch (choice % 10) {
        case 0:
        case 1:
        case 2:
            return kTexts[(choice / 10) % std::size(kTexts)];
        case 3:
            return WithoutBadBytes(pieces.TakeText(pieces.Byte()));
        case 4:
            return pieces.Byte();
        case 5:
            return std::uint64_t{pieces.Number()} << (choice >> 3);
        case 6:
            return -static_cast<std::int64_t>(pieces.Number()) - 1;
        case 7:
            return pieces.Number() / 3.0 * (choice > 127 ? 1e300 : 1);
        case 8: {
            Json object = Json::object();
            for (std::uint8_t i = pieces.Byte() % 6; depth > 0 && i > 0; --i) {
                const char* const key = kKeys[pieces.Byte() % std::size(kKeys)];
                object[key] = TakeValue(pieces, depth - 1);
            }
            return object;
        }
        default:
            return choice > 127 ? Json(nullptr) : Json::array({choice > 63});
    }
}

std::string TakeEvents(Pieces& pieces) {
    std::string lines;
    for (std::size_t i = 0; i < 24 && !pieces.AtEnd(); ++i) {
        Json event = {{"type", kTypes[pieces.Byte() % std::size(kTypes)]}, {"version", 1}};
        for (std::uint8_t k = pieces.Byte() % 12; k > 0; --k) {
            const char* const key = kKeys[pieces.Byte() % std::size(kKeys)];
            event[key] = TakeValue(pieces, 3);
        }
        lines += event.dump() + "\n";
    }
    return lines;
}

bool SameTexts(const std::vector<policy::Mistake>& a, const std::vector<policy::Mistake>& b) {
    return std::ranges::equal(a, b, [](const auto& x, const auto& y) { return x.line == y.line && x.text == y.text; });
}

}  // namespace

// The first byte says whether the rest are lines as they stand, the same packed, or what events are made of.
void EventLines(Bytes input) {
    Pieces pieces(input);
    const std::uint8_t shape = pieces.Byte() % 4;
    std::string lines;
    if (shape >= 2) {
        lines = TakeEvents(pieces);
    } else {
        lines = pieces.TakeText(input.size());
        if (shape == 1) {
            const ByteList packed = Packed(AsBytes(lines));
            lines.assign(packed.begin(), packed.end());
        }
    }
    std::istringstream events(lines);
    RequireReport(events, std::nullopt);

    std::istringstream expected(lines);
    host::ExpectedLines wanted;
    std::string mistake;
    Require(wanted.Read(expected, mistake) == mistake.empty(), "expected lines are read or a mistake says why not");
    RequireHarmless(mistake);
    for (const host::ExpectedLine& line : wanted.Lines())
        Require(host::IsComparedType(line.type) && line.number != 0, "only what is compared is expected");
    Require(wanted.Missing().size() == wanted.Lines().size() || !mistake.empty(), "nothing was found yet");
}

void CaseFile(Bytes input) {
    const host::CaseFile read = host::ParseCases(AsText(input));
    std::uint32_t line = 0;
    for (const policy::Mistake& mistake : read.mistakes) {
        Require(mistake.line >= line && !mistake.text.empty(), "the mistakes stand in the order of the file");
        line = mistake.line;
    }
    Require(SameTexts(read.mistakes, host::ParseCases(AsText(input)).mistakes), "a file is read alike twice");
    if (!read.mistakes.empty()) return;
    for (const host::PolicyCase& one : read.cases) {
        Require(!one.name.empty() && one.line != 0, "a case has a name and a place");
        Require(one.kind != host::CaseKind::kUrl || !one.url.empty(), "a case asks for something");
    }
}

// Repairs a policy: the result has no mistake, nothing is left to repair, and what is right stays as it is.
void PolicyRepair(Bytes input) {
    const std::string_view text = AsText(input);
    const policy::ReadPolicy read = policy::ParsePolicy(text);
    const policy::FixedPolicy fixed = policy::FixPolicy(text);
    if (!read.mistakes.empty()) {
        Require(fixed.text == text && fixed.repaired.empty(), "a policy with mistakes stays as it is");
        return;
    }
    Require(policy::ParsePolicy(fixed.text).mistakes.empty(), "a repair makes no mistake");
    Require(!fixed.repaired.empty() || fixed.text == text, "without a repair the text stays as it is");
    const policy::FixedPolicy again = policy::FixPolicy(fixed.text);
    Require(again.text == fixed.text && again.repaired.empty(), "a repaired policy needs no further repair");
    const auto findings = policy::LintPolicy(read);
    Require(findings.size() >= fixed.left.size() || !fixed.repaired.empty(), "what is left was found before");
    policy::Place place{};
    for (const policy::Finding& finding : findings) {
        Require(!finding.text.empty(), "a finding says something");
        Require(finding.place.file > place.file || finding.place.line >= place.line, "findings stand in their order");
        Require(!policy::DescribeFinding(read.policy, finding).empty(), "a finding can be told");
        place = finding.place;
    }
}

// A time, pairs of addresses: what stands on a command line.
void CommandTexts(Bytes input) {
    const std::string_view text = AsText(input);
    constexpr TarnSystemTime kToday{2026, 3, 3, 4, 5, 6, 7, 8};
    if (const auto time = host::ParseClockTime(text, kToday)) {
        Require(time->month >= 1 && time->month <= 12 && time->day >= 1 && time->day <= 31,
                "a date is in the calendar");
        Require(time->hour <= 23 && time->minute <= 59 && time->second <= 59, "a time is one of a day");
        TarnSystemTime later = *time;
        later.minute = static_cast<std::uint16_t>(time->minute + 1);
        Require(host::MinutesOf(later) == host::MinutesOf(*time) + 1, "minutes follow each other");
    }
    std::vector<host::AddressReplacement> replacements;
    std::string mistake;
    const std::size_t half = text.find('\n');
    std::vector<std::string> pairs{std::string(text.substr(0, half))};
    if (half != text.npos) pairs.emplace_back(text.substr(half + 1));
    const bool isRead = host::ParseReplacements(pairs, replacements, mistake);
    Require(isRead == mistake.empty(), "address pairs are read or a mistake says why not");
    Require(!isRead || replacements.size() == pairs.size(), "each pair is one");
    RequireHarmless(mistake);
}

}  // namespace tarn::fuzz
