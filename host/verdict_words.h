// A verdict in words: the state, the reason, and the text of the rule that decided.
#ifndef TARN_HOST_VERDICT_WORDS_H
#define TARN_HOST_VERDICT_WORDS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "host/judge.h"
#include "host/verdict_report.h"

namespace tarn::host {

// "allowed", "BLOCKED", "stopped" (before the category step), "no verdict" (the scan returned false).
std::string_view StateWord(const Judgement& judgement);
inline constexpr std::size_t kStateWidth = 10;  // of the longest

// The same for programs: "allowed", "blocked" or "none".
std::string_view VerdictName(const Judgement& judgement);

// What a reason code means; a number that is none says so.
std::string_view ReasonWords(std::uint32_t reason);

// What the rule wrote into the verdict: a threat name and a URL, a URL, a category, a time. Empty when it wrote
// nothing.
std::string RuleText(const UrlVerdict& verdict);

// Of a malicious site, and of a blocked category (its number when it has no name); otherwise empty.
std::string ThreatName(const UrlVerdict& verdict);
std::string CategoryName(const UrlVerdict& verdict);

// The user that a parental rule or HTTPS inspection names; otherwise empty.
std::string RuleUser(const UrlVerdict& verdict);

// What the packet scan found.
std::string_view AttackWords(std::uint32_t reason);
// Whether that was an attack of an address on a service: its texts are emptied once the address is known.
bool IsServiceAttack(std::uint32_t reason);
// The rule's name and description; what is emptied for a known attacker is empty.
std::string AttackRule(const PacketVerdict& verdict);
std::string AttackDescription(const PacketVerdict& verdict);
std::string AttackDetails(const PacketVerdict& verdict);

// "created" and the like.
std::string_view FileWord(const SmbScanResult& event);
std::string FileShare(const SmbScanResult& event);
std::string FileName(const SmbScanResult& event);
// "1,001": a number for people.
std::string Grouped(std::uint64_t number);
// "386 of 386 frames are cut ...": what that means and how to do better.
std::string CutFramesWords(const ReplayTotals& replay);
// An IPv4 address of a record.
IpAddress AddressOf(std::uint32_t networkOrder);

}  // namespace tarn::host

#endif
