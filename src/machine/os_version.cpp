#include "machine/os_version.h"

#include "machine/system_code.h"

namespace tarn::machine {
namespace {

constexpr std::uint16_t kSuiteEnterprise = 0x2;
constexpr std::uint16_t kSuiteDataCentre = 0x80;
constexpr std::uint16_t kSuitePersonal = 0x200;
constexpr std::uint16_t kSuiteBlade = 0x400;

constexpr std::uint16_t kItanium = 6;
constexpr std::uint16_t kAlpha64 = 7;
constexpr std::uint16_t kX64 = 9;
constexpr std::uint16_t kX86On64 = 10;

std::uint32_t ClassifyDosLine(const VersionRecord& v) {
    if (v.major != 4) return 0;
    if (v.minor == 0) return system_code::kDos40;
    if (v.minor == 10) return system_code::kDos410;
    return v.minor == 90 ? system_code::kDos490 : 0;
}

// 0 when the rules of the major version decide.
std::uint32_t Classify10(const VersionRecord& v, bool is64) {
    if (v.productType == kWorkstation) {
        if (is64) return v.build < 22000 ? system_code::k10Workstation64 : system_code::k10Workstation64From22000;
        return v.build < 22000 ? system_code::k10Workstation : system_code::k10WorkstationFrom22000;
    }
    if (!is64) return 0;
    if (v.build < 17623) return system_code::k10Server64;
    return v.build < 20285 ? system_code::k10Server64From17623 : system_code::k10Server64From20285;
}

std::uint32_t Classify63(const VersionRecord& v, bool is64) {
    if (v.productType == kWorkstation) return is64 ? system_code::k63Workstation64 : system_code::k63Workstation;
    return is64 ? system_code::k63Server64 : 0;
}

std::uint32_t Classify6(const VersionRecord& v, bool is64) {
    const bool workstation = v.productType == kWorkstation;
    switch (v.minor) {
        case 2:
            return workstation ? (is64 ? system_code::k62Workstation64 : system_code::k62Workstation)
                               : (is64 ? system_code::k62Server64 : system_code::k62Server);
        case 1:
            return workstation ? (is64 ? system_code::k61Workstation64 : system_code::k61Workstation)
                               : (is64 ? system_code::k61Server64 : system_code::k61Server);
        case 0:
            return workstation ? (is64 ? system_code::k60Workstation64 : system_code::k60Workstation)
                               : (is64 ? system_code::k60Server64 : system_code::k60Server);
        default:
            return 0;
    }
}

std::uint32_t Classify52Other(const SystemFacts& facts) {
    if (facts.secondRelease) return system_code::k52SecondRelease;
    return facts.version.productType == kWorkstation && facts.architecture == kX64 ? system_code::k52WorkstationX64
                                                                                   : system_code::k52Other;
}

std::uint32_t Classify52(const SystemFacts& facts) {
    const VersionRecord& v = facts.version;
    if (!IsServerType(v.productType)) return Classify52Other(facts);
    const bool dataCentre = (v.suiteMask & kSuiteDataCentre) != 0;
    const bool enterprise = (v.suiteMask & kSuiteEnterprise) != 0;
    if (facts.architecture == kItanium)
        return dataCentre   ? system_code::k52ItaniumDataCentre
               : enterprise ? system_code::k52ItaniumEnterprise
                            : Classify52Other(facts);
    if (facts.architecture == kX64)
        return dataCentre   ? system_code::k52X64DataCentre
               : enterprise ? system_code::k52X64Enterprise
                            : system_code::k52X64Server;
    if (dataCentre) return system_code::k52DataCentre;
    if (enterprise) return system_code::k52Enterprise;
    return (v.suiteMask & kSuiteBlade) != 0 ? system_code::k52Blade : system_code::k52Server;
}

std::uint32_t Classify5(const SystemFacts& facts) {
    const VersionRecord& v = facts.version;
    switch (v.minor) {
        case 2:
            return Classify52(facts);
        case 1:
            if (v.productType == kWorkstation && facts.architecture == kX64) return system_code::k52WorkstationX64;
            return (v.suiteMask & kSuitePersonal) != 0 ? system_code::k51Personal : system_code::k51Professional;
        case 0:
            if (v.productType == kWorkstation) return system_code::k50Workstation;
            if (!IsServerType(v.productType)) return 0;
            if ((v.suiteMask & kSuiteDataCentre) != 0) return system_code::k50DataCentre;
            return (v.suiteMask & kSuiteEnterprise) != 0 ? system_code::k50Enterprise : system_code::k50Server;
        default:
            return 0;
    }
}

std::uint32_t Classify4(const VersionRecord& v) {
    if (v.minor != 0) return 0;
    if (!IsServerType(v.productType)) return system_code::k40Workstation;
    return (v.suiteMask & kSuiteEnterprise) != 0 ? system_code::k40Enterprise : system_code::k40Server;
}

std::uint32_t ClassifyNtLine(const SystemFacts& facts) {
    const VersionRecord& v = facts.version;
    const bool is64 = Is64BitArchitecture(facts.architecture);
    if (facts.exactly10)
        if (const std::uint32_t code = Classify10(v, is64); code != 0) return code;
    if (facts.exactly63)
        if (const std::uint32_t code = Classify63(v, is64); code != 0) return code;
    switch (v.major) {
        case 6:
            return Classify6(v, is64);
        case 5:
            return Classify5(facts);
        case 4:
            return Classify4(v);
        case 3:
            return v.minor == 51 ? system_code::k351 : 0;
        default:
            return 0;
    }
}

}  // namespace

bool Is64BitArchitecture(std::uint16_t architecture) {
    return architecture == kItanium || architecture == kAlpha64 || architecture == kX64 || architecture == kX86On64;
}

bool IsServerType(std::uint8_t productType) {
    return productType == kDomainController || productType == kServer;
}

std::uint32_t ClassifySystem(const SystemFacts& facts) {
    constexpr std::uint32_t kDosLine = 1;
    constexpr std::uint32_t kNtLine = 2;
    if (!facts.versionKnown) return 0;
    if (facts.version.platform == kDosLine) return ClassifyDosLine(facts.version);
    return facts.version.platform == kNtLine ? ClassifyNtLine(facts) : 0;
}

VersionPair ExactVersion(int number, bool is64Bit) {
    switch (number) {
        case 1:
            return {5, 0};
        case 2:
            return {5, is64Bit ? 2U : 1U};
        case 3:
            return {5, 2};
        case 4:
            return {6, 0};
        case 5:
            return {6, 1};
        case 6:
            return {6, 2};
        case 7:
            return {6, 3};
        default:
            return {10, 0};
    }
}

}  // namespace tarn::machine
