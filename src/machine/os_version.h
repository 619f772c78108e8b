// Classifies the running system, by what it reports of its version, into one of the codes of system_code.h.
// Pure functions of facts.
#ifndef TARN_MACHINE_OS_VERSION_H
#define TARN_MACHINE_OS_VERSION_H

#include <cstdint>

namespace tarn::machine {

// Product types, as the system numbers them.
inline constexpr std::uint8_t kWorkstation = 1;
inline constexpr std::uint8_t kDomainController = 2;
inline constexpr std::uint8_t kServer = 3;
bool IsServerType(std::uint8_t productType);

struct VersionRecord {
    std::uint32_t platform = 0;  // 1 = the DOS-based line, 2 = the NT line
    std::uint32_t major = 0;
    std::uint32_t minor = 0;
    std::uint32_t build = 0;
    std::uint16_t suiteMask = 0;
    std::uint8_t productType = 0;
};

struct SystemFacts {
    bool versionKnown = false;
    VersionRecord version;
    std::uint16_t architecture = 0;  // the native processor architecture code
    bool exactly10 = false;          // RtlVerifyVersionInfo says 10.0
    bool exactly63 = false;          // RtlVerifyVersionInfo says 6.3
    bool secondRelease = false;      // GetSystemMetrics index 89
};

// Architecture codes 6, 7, 9 and 10.
bool Is64BitArchitecture(std::uint16_t architecture);

std::uint32_t ClassifySystem(const SystemFacts& facts);

// The versions that can be asked for exactly, by number: 1 = 5.0; 2 = 5.1, or 5.2 on a 64-bit architecture; 3 = 5.2;
// 4 = 6.0; 5 = 6.1; 6 = 6.2; 7 = 6.3; any other = 10.0.
struct VersionPair {
    std::uint32_t major;
    std::uint32_t minor;
};
VersionPair ExactVersion(int number, bool is64Bit);

}  // namespace tarn::machine

#endif
