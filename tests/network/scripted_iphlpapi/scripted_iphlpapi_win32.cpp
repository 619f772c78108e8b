#include <cstring>

#include "network/scripted_iphlpapi/scripted_iphlpapi.h"

namespace {

tarn::network::TcpEntryScript script{};

}  // namespace

extern "C" {

tarn::network::TcpEntryScript* TcpEntryScriptOf() {
    return &script;
}

std::uint32_t SetTcpEntry(const void* row) {
    ++script.calls;
    std::memcpy(script.lastRow, row, sizeof script.lastRow);
    return script.answer;
}

}  // extern "C"
