// The codes into which the running system is classified: 50001 to 50049, or 0 when it is unknown.
// A name is the version, what the system is, and the architecture where it counts: "64" is any 64-bit one.
#ifndef TARN_MACHINE_SYSTEM_CODE_H
#define TARN_MACHINE_SYSTEM_CODE_H

#include <cstdint>

namespace tarn::machine::system_code {

inline constexpr std::uint32_t kUnknown = 0;

// The DOS-based line.
inline constexpr std::uint32_t kDos40 = 50023;
inline constexpr std::uint32_t kDos410 = 50024;
inline constexpr std::uint32_t kDos490 = 50025;

// 3.51 and 4.0.
inline constexpr std::uint32_t k351 = 50027;
inline constexpr std::uint32_t k40Workstation = 50020;
inline constexpr std::uint32_t k40Enterprise = 50021;
inline constexpr std::uint32_t k40Server = 50022;

// 5.0.
inline constexpr std::uint32_t k50DataCentre = 50017;
inline constexpr std::uint32_t k50Enterprise = 50018;
inline constexpr std::uint32_t k50Workstation = 50019;
inline constexpr std::uint32_t k50Server = 50028;

// 5.1, and 5.2 on the desktop.
inline constexpr std::uint32_t k51Personal = 50015;
inline constexpr std::uint32_t k51Professional = 50016;
inline constexpr std::uint32_t k52WorkstationX64 = 50013;

// 5.2 on servers.
inline constexpr std::uint32_t k52ItaniumDataCentre = 50003;
inline constexpr std::uint32_t k52ItaniumEnterprise = 50004;
inline constexpr std::uint32_t k52X64DataCentre = 50005;
inline constexpr std::uint32_t k52X64Enterprise = 50006;
inline constexpr std::uint32_t k52X64Server = 50007;
inline constexpr std::uint32_t k52DataCentre = 50008;
inline constexpr std::uint32_t k52Enterprise = 50009;
inline constexpr std::uint32_t k52Blade = 50010;
inline constexpr std::uint32_t k52Server = 50011;
inline constexpr std::uint32_t k52SecondRelease = 50012;
inline constexpr std::uint32_t k52Other = 50014;

// 6.0 to 6.3.
inline constexpr std::uint32_t k60Workstation = 50001;
inline constexpr std::uint32_t k60Server = 50002;
inline constexpr std::uint32_t k60Workstation64 = 50026;
inline constexpr std::uint32_t k60Server64 = 50029;
inline constexpr std::uint32_t k61Server = 50030;
inline constexpr std::uint32_t k61Server64 = 50031;
inline constexpr std::uint32_t k61Workstation = 50032;
inline constexpr std::uint32_t k61Workstation64 = 50033;
inline constexpr std::uint32_t k62Workstation = 50034;
inline constexpr std::uint32_t k62Workstation64 = 50035;
inline constexpr std::uint32_t k62Server = 50036;
inline constexpr std::uint32_t k62Server64 = 50037;
inline constexpr std::uint32_t k63Workstation = 50038;
inline constexpr std::uint32_t k63Workstation64 = 50039;
inline constexpr std::uint32_t k63Server64 = 50040;

// 10.0, by build number.
inline constexpr std::uint32_t k10Workstation = 50041;
inline constexpr std::uint32_t k10Workstation64 = 50042;
inline constexpr std::uint32_t k10WorkstationFrom22000 = 50048;
inline constexpr std::uint32_t k10Workstation64From22000 = 50049;
inline constexpr std::uint32_t k10Server64 = 50043;
inline constexpr std::uint32_t k10Server64From17623 = 50046;
inline constexpr std::uint32_t k10Server64From20285 = 50047;

}  // namespace tarn::machine::system_code

#endif
