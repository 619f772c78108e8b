// The real LiveSessionSource: terminal services and account look-ups.
// Kept apart so that the rules never see a Windows type.
#ifndef TARN_MACHINE_LIVE_SESSIONS_WIN32_H
#define TARN_MACHINE_LIVE_SESSIONS_WIN32_H

#include "machine/live_sessions.h"

namespace tarn::machine {

class WindowsLiveSessions final : public LiveSessionSource {
 public:
    bool ListSessions(std::vector<std::uint32_t>& sessionIds) override;
    std::u16string DomainName(std::uint32_t sessionId) override;
    std::u16string UserName(std::uint32_t sessionId) override;
    bool ResolveAccount(const std::u16string& account, std::array<std::uint8_t, 68>& sid) override;
};

}  // namespace tarn::machine

#endif
