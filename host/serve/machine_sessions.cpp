#include "host/serve/machine_sessions.h"

#include "tarn/records.h"

namespace tarn::host::serve {

namespace {

constexpr std::uint32_t kOwnSession = 1;

}  // namespace

void SessionReporter::Look() {
    std::map<std::uint32_t, Account> now;
    if (const auto sessions = parts_.read()) {
        for (const MachineSession& session : *sessions) {
            Account account;
            if (parts_.find(session.account, account)) now.emplace(session.id, account);
        }
    } else if (parts_.own) {
        now.emplace(kOwnSession, *parts_.own);
    }
    for (const auto& [id, account] : known_)
        if (const auto same = now.find(id); same == now.end() || same->second.sid != account.sid)
            parts_.tell(TARN_EVENT_LOGOFF, account, id);
    const bool isTick = looks_ != 0 && looks_ % kLooksPerTick == 0;
    ++looks_;
    for (const auto& [id, account] : now) {
        const auto same = known_.find(id);
        if (same == known_.end() || same->second.sid != account.sid)
            parts_.tell(TARN_EVENT_LOGON, account, id);
        else if (isTick)
            parts_.tell(TARN_EVENT_TICK, account, id);
    }
    known_ = std::move(now);
}

void SessionReporter::End() {
    for (const auto& [id, account] : known_) parts_.tell(TARN_EVENT_LOGOFF, account, id);
    known_.clear();
}

}  // namespace tarn::host::serve
