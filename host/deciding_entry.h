// The entry of the policy that decided a verdict, as people find it.
#ifndef TARN_HOST_DECIDING_ENTRY_H
#define TARN_HOST_DECIDING_ENTRY_H

#include <cstdint>
#include <string>

namespace tarn::host {

struct DecidingEntry {
    std::string list;        // the key, such as "malicious_sites" or "parental.users.blocked_sites"
    std::string text;        // what is listed, such as "bad.example/setup"
    std::string file;        // as messages name it
    std::uint32_t line = 0;  // from 1
    bool operator==(const DecidingEntry&) const = default;
};

}  // namespace tarn::host

#endif
