// TLS hellos and DNS responses from an input, with what a reader has to find in them.
// The lengths are right.
#ifndef TARN_FUZZ_MAKING_MESSAGES_H
#define TARN_FUZZ_MAKING_MESSAGES_H

#include <cstdint>
#include <string>
#include <vector>

#include "tarn/records.h"

#include "making/marked_bytes.h"
#include "target.h"

namespace tarn::fuzz {

struct MadeHello {
    bool isTaken = true;  // by the library, within its documented bounds
    std::string name{};   // of the server; empty for none
    bool hides = false;   // has the extension for encrypted hellos
};
MadeHello PutHello(Pieces& pieces, MarkedBytes& out);

struct MadeDnsResponse {
    bool isTaken = true;                       // by the library, within its documented bounds
    std::string name{};                        // of the question
    std::vector<IpAddressRecord> addresses{};  // all, IPv4 first
};
MadeDnsResponse PutDnsResponse(Pieces& pieces, MarkedBytes& out);

}  // namespace tarn::fuzz

#endif
