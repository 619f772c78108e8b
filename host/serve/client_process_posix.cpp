#include <unistd.h>

#include "host/serve/client_process.h"

namespace tarn::host::serve {

bool ReadSystemConnections(std::vector<OwnedConnection>& /*connections*/) {
    return false;
}

bool KnowsSystemUser(std::uint32_t /*processId*/) {
    return false;
}

bool HasClientsOutside() {
    return false;
}

std::uint32_t OwnProcessId() {
    return static_cast<std::uint32_t>(getpid());
}

}  // namespace tarn::host::serve
