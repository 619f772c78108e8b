// The session events that a host reports, by name, and how the library's answers to them read.
#ifndef TARN_HOST_SESSION_EVENTS_H
#define TARN_HOST_SESSION_EVENTS_H

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "host/account.h"
#include "host/judge.h"

namespace tarn::host {

// "logon", "tick", "disconnect", "logoff", or a number from 0 to 9.
std::optional<std::uint32_t> ParseSessionEvent(std::string_view text);
std::string SessionEventName(std::uint32_t event);

LogonEvent ComposeLogonEvent(std::uint32_t event, const Account& account, std::uint32_t sessionId);

// "allowed", "REFUSED", "no verdict".
std::string_view StateWord(const LogonJudgement& judgement);
// The same for programs: "allowed", "refused" or "none".
std::string_view VerdictName(const LogonJudgement& judgement);

}  // namespace tarn::host

#endif
