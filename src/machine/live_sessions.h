// The terminal-services sessions of the machine and the accounts behind their names.
// Called under the write side of the parental-control lock, so by one thread at a time.
#ifndef TARN_MACHINE_LIVE_SESSIONS_H
#define TARN_MACHINE_LIVE_SESSIONS_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace tarn::machine {

// The system's answers about its terminal-services sessions.
class LiveSessionSource {
 public:
    virtual ~LiveSessionSource() = default;

    // The numbers of all sessions, also of those without a user. False when they cannot be enumerated.
    virtual bool ListSessions(std::vector<std::uint32_t>& sessionIds) = 0;
    // Empty texts where the system has none.
    virtual std::u16string DomainName(std::uint32_t sessionId) = 0;
    virtual std::u16string UserName(std::uint32_t sessionId) = 0;
    // The identifier of "DOMAIN\user" or "user", zeros behind it; as long as the system's longest.
    virtual bool ResolveAccount(const std::u16string& account, std::array<std::uint8_t, 68>& sid) = 0;
};

}  // namespace tarn::machine

#endif
