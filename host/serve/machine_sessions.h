// Who is logged on to this machine, told to the library as it changes, so that everybody's time of use counts.
// Used by one thread at a time.
#ifndef TARN_HOST_SERVE_MACHINE_SESSIONS_H
#define TARN_HOST_SERVE_MACHINE_SESSIONS_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host/account.h"

namespace tarn::host::serve {

// That somebody uses now; one that another user's took the screen from is none.
struct MachineSession {
    std::uint32_t id = 0;
    std::string account;  // "DOMAIN\\name"
};
// Nothing where the system cannot tell.
std::optional<std::vector<MachineSession>> ReadSystemSessions();

class SessionReporter {
 public:
    struct Parts {
        std::function<std::optional<std::vector<MachineSession>>()> read;
        std::function<bool(const std::string& name, Account& account)> find;
        std::optional<Account> own;  // that counts as logged on where the system cannot tell
        std::function<void(std::uint32_t event, const Account& account, std::uint32_t session)> tell;
    };
    static constexpr std::chrono::seconds kLook{10};
    static constexpr unsigned kLooksPerTick = 6;  // a minute, as the library expects

    explicit SessionReporter(Parts parts) : parts_(std::move(parts)) {}

    // Tells who came and who left, and every sixth time that all others are still there. Every kLook.
    void Look();
    // All are told as logged off.
    void End();

 private:
    Parts parts_;
    std::map<std::uint32_t, Account> known_;
    unsigned looks_ = 0;
};

}  // namespace tarn::host::serve

#endif
