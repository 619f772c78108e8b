// An account of this machine, as parental control knows it: by its security identifier.
#ifndef TARN_HOST_ACCOUNT_H
#define TARN_HOST_ACCOUNT_H

#include <array>
#include <cstdint>
#include <string>

namespace tarn::host {

// In the packed form that the system uses, zeros behind it.
using SidBytes = std::array<std::uint8_t, 68>;

struct Account {
    std::string name;  // without its domain
    SidBytes sid{};
};

// "S-1-5-21-...", or empty for bytes that are no identifier.
std::string FormatSid(const SidBytes& sid);

}  // namespace tarn::host

#endif
