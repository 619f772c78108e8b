// A stand-in for the system's iphlpapi.dll: records the rows that SetTcpEntry gets and answers as the test says.
// It goes into the folder of one test program, so that no other program loads it.
#ifndef TARN_TESTS_NETWORK_SCRIPTED_IPHLPAPI_SCRIPTED_IPHLPAPI_H
#define TARN_TESTS_NETWORK_SCRIPTED_IPHLPAPI_SCRIPTED_IPHLPAPI_H

#include <cstdint>

namespace tarn::network {

struct TcpEntryScript {
    std::uint32_t answer;  // what SetTcpEntry returns
    std::uint32_t calls;
    std::uint8_t lastRow[20];  // the bytes of the last MIB_TCPROW
};

// Exported by the stand-in as "TcpEntryScriptOf", and by no other library of that name.
using TcpEntryScriptOfFn = TcpEntryScript*();

}  // namespace tarn::network

#endif
