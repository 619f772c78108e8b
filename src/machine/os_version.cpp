#include "machine/os_version.h"

namespace tarn::machine {
namespace {

constexpr std::uint8_t kWorkstation = 1;
constexpr std::uint8_t kDomainController = 2;
constexpr std::uint8_t kServer = 3;

constexpr std::uint16_t kSuiteEnterprise = 0x2;
constexpr std::uint16_t kSuiteDataCentre = 0x80;
constexpr std::uint16_t kSuitePersonal = 0x200;
constexpr std::uint16_t kSuiteBlade = 0x400;

constexpr std::uint16_t kItanium = 6;
constexpr std::uint16_t kX64 = 9;

bool IsServerType(std::uint8_t productType) {
    return productType == kDomainController || productType == kServer;
}

std::uint32_t ClassifyDosLine(const VersionRecord& v) {
    if (v.major != 4) return 0;
    if (v.minor == 0) return 50023;
    if (v.minor == 10) return 50024;
    return v.minor == 90 ? 50025 : 0;
}

// 0 when the rules of the major version decide.
std::uint32_t Classify10(const VersionRecord& v, bool is64) {
    if (v.productType == kWorkstation) {
        if (is64) return v.build < 22000 ? 50042 : 50049;
        return v.build < 22000 ? 50041 : 50048;
    }
    if (!is64) return 0;
    if (v.build < 17623) return 50043;
    return v.build < 20285 ? 50046 : 50047;
}

std::uint32_t Classify63(const VersionRecord& v, bool is64) {
    if (v.productType == kWorkstation) return is64 ? 50039 : 50038;
    return is64 ? 50040 : 0;
}

std::uint32_t Classify6(const VersionRecord& v, bool is64) {
    const bool workstation = v.productType == kWorkstation;
    switch (v.minor) {
        case 2:
            return workstation ? (is64 ? 50035 : 50034) : (is64 ? 50037 : 50036);
        case 1:
            return workstation ? (is64 ? 50033 : 50032) : (is64 ? 50031 : 50030);
        case 0:
            return workstation ? (is64 ? 50026 : 50001) : (is64 ? 50029 : 50002);
        default:
            return 0;
    }
}

std::uint32_t Classify52Other(const SystemFacts& facts) {
    if (facts.secondRelease) return 50012;
    return facts.version.productType == kWorkstation && facts.architecture == kX64 ? 50013 : 50014;
}

std::uint32_t Classify52(const SystemFacts& facts) {
    const VersionRecord& v = facts.version;
    if (!IsServerType(v.productType)) return Classify52Other(facts);
    const bool dataCentre = (v.suiteMask & kSuiteDataCentre) != 0;
    const bool enterprise = (v.suiteMask & kSuiteEnterprise) != 0;
    if (facts.architecture == kItanium) return dataCentre ? 50003 : enterprise ? 50004 : Classify52Other(facts);
    if (facts.architecture == kX64) return dataCentre ? 50005 : enterprise ? 50006 : 50007;
    if (dataCentre) return 50008;
    if (enterprise) return 50009;
    return (v.suiteMask & kSuiteBlade) != 0 ? 50010 : 50011;
}

std::uint32_t Classify5(const SystemFacts& facts) {
    const VersionRecord& v = facts.version;
    switch (v.minor) {
        case 2:
            return Classify52(facts);
        case 1:
            if (v.productType == kWorkstation && facts.architecture == kX64) return 50013;
            return (v.suiteMask & kSuitePersonal) != 0 ? 50015 : 50016;
        case 0:
            if (v.productType == kWorkstation) return 50019;
            if (!IsServerType(v.productType)) return 0;
            if ((v.suiteMask & kSuiteDataCentre) != 0) return 50017;
            return (v.suiteMask & kSuiteEnterprise) != 0 ? 50018 : 50028;
        default:
            return 0;
    }
}

std::uint32_t Classify4(const VersionRecord& v) {
    if (v.minor != 0) return 0;
    if (!IsServerType(v.productType)) return 50020;
    return (v.suiteMask & kSuiteEnterprise) != 0 ? 50021 : 50022;
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
            return v.minor == 51 ? 50027 : 0;
        default:
            return 0;
    }
}

}  // namespace

bool Is64BitArchitecture(std::uint16_t architecture) {
    return architecture == 6 || architecture == 7 || architecture == 9 || architecture == 10;
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
