#include "host/serve/machine_sessions.h"

namespace tarn::host::serve {

std::optional<std::vector<MachineSession>> ReadSystemSessions() {
    return std::nullopt;
}

}  // namespace tarn::host::serve
