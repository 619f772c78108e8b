#include "host/session_events.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstring>
#include <fmt/format.h>

#include "policy/values.h"

namespace tarn::host {

namespace {

struct NamedEvent {
    std::string_view name;
    std::uint32_t code;
};
// The library knows the codes only; of those that it treats alike one has the name.
constexpr NamedEvent kEvents[] = {{"tick", TARN_EVENT_TICK},
                                  {"logon", TARN_EVENT_LOGON},
                                  {"disconnect", TARN_EVENT_DISCONNECT},
                                  {"logoff", TARN_EVENT_LOGOFF}};

}  // namespace

std::optional<std::uint32_t> ParseSessionEvent(std::string_view text) {
    for (const NamedEvent& event : kEvents)
        if (event.name == text) return event.code;
    std::uint32_t code = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), code);
    if (error != std::errc{} || end != text.data() + text.size() || code > TARN_EVENT_JUDGED_9) return std::nullopt;
    return code;
}

std::string SessionEventName(std::uint32_t event) {
    for (const NamedEvent& named : kEvents)
        if (named.code == event) return std::string(named.name);
    return fmt::format("event {}", event);
}

LogonEvent ComposeLogonEvent(std::uint32_t event, const Account& account, std::uint32_t sessionId) {
    LogonEvent record{};
    record.eventCode = event;
    record.sessionId = sessionId;
    static_assert(sizeof record.sid <= sizeof account.sid);  // an identifier of the longest form loses its end
    std::memcpy(record.sid, account.sid.data(), sizeof record.sid);
    const std::u16string name = policy::Utf16(account.name);
    constexpr std::size_t kNameUnits = sizeof record.userName / sizeof(char16_t);
    std::memcpy(&record.userName, name.data(), std::min(name.size(), kNameUnits - 1) * sizeof(char16_t));
    return record;
}

std::string_view StateWord(const LogonJudgement& judgement) {
    if (!judgement.isValid) return "no verdict";
    return judgement.verdict.action == TARN_BLOCK ? "REFUSED" : "allowed";
}

std::string_view VerdictName(const LogonJudgement& judgement) {
    if (!judgement.isValid) return "none";
    return judgement.verdict.action == TARN_BLOCK ? "refused" : "allowed";
}

}  // namespace tarn::host
