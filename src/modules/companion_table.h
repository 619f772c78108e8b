// The companion modules as a table: file, functions in binding order, handle. A wrong slot does not compile.
// Loading them is the loader's business, what their records mean is told by the rooms that read them.
#ifndef TARN_MODULES_COMPANION_TABLE_H
#define TARN_MODULES_COMPANION_TABLE_H

#include <string_view>
#include <tuple>

#include "tarn/companions.h"

namespace tarn::modules {

// One function of a module: its exported name and the slot that it is bound to.
template <class Functions, class Function>
struct Import {
    const char* name;
    Function Functions::*slot;
    bool tested = true;  // a missing function fails the load
};
template <class Functions, class Function>
Import(const char*, Function Functions::*) -> Import<Functions, Function>;
template <class Functions, class Function>
Import(const char*, Function Functions::*, bool) -> Import<Functions, Function>;

struct SettingsReader {
    ReadWhiteListFn ReadWSInternalWhiteList = nullptr;
    ReadBPSettingsFn ReadBPSettings = nullptr;
    ReadIDSSettingsFn ReadIDSSettings = nullptr;
    ReleaseIDSSettingsFn ReleaseIDSSettings = nullptr;
    ReleaseWhiteListFn ReleaseWSInternalWhiteList = nullptr;
    ReleaseBPSettingsFn ReleaseBPSettings = nullptr;
    ReadAPSettingsFn ReadAPSettings = nullptr;
    ReleaseAPSettingsFn ReleaseAPSettings = nullptr;
    ReadWhiteListFn ReadBPInternalWhiteList = nullptr;
    ReleaseWhiteListFn ReleaseBPInternalWhiteList = nullptr;

    static constexpr std::u16string_view kFile = u"setrd.dll";
    static constexpr auto Imports() {
        using S = SettingsReader;
        return std::tuple{Import{"ReadWSInternalWhiteList", &S::ReadWSInternalWhiteList},
                          Import{"ReadBPSettings", &S::ReadBPSettings},
                          Import{"ReadIDSSettings", &S::ReadIDSSettings},
                          Import{"ReleaseIDSSettings", &S::ReleaseIDSSettings},
                          Import{"ReleaseWSInternalWhiteList", &S::ReleaseWSInternalWhiteList},
                          Import{"ReleaseBPSettings", &S::ReleaseBPSettings},
                          Import{"ReadAPSettings", &S::ReadAPSettings},
                          Import{"ReleaseAPSettings", &S::ReleaseAPSettings},
                          Import{"ReadBPInternalWhiteList", &S::ReadBPInternalWhiteList},
                          Import{"ReleaseBPInternalWhiteList", &S::ReleaseBPInternalWhiteList}};
    }
};

struct StatusReader {
    ReadStatusFn ReadBPStatus = nullptr;
    ReadIDSIPSStatusFn ReadIDSIPSStatus = nullptr;
    ReadPCSettingsFn ReadPCSettings = nullptr;
    ReleasePCSettingsFn ReleasePCSettings = nullptr;
    ReadStatusFn ReadAPStatus = nullptr;
    ReadWhiteListFn ReadBPUserWhiteList = nullptr;
    ResetBPUserWhitelistFn ResetBPUserWhitelist = nullptr;
    ReleaseWhiteListFn ReleaseBPUserWhiteList = nullptr;
    ReadStatusFn ReadWebSecCloudStatus = nullptr;
    ReadDNSCacheSettingsFn ReadDNSCacheSettings = nullptr;
    WriteDNSCacheSettingsFn WriteDNSCacheSettings = nullptr;
    ReleaseDNSCacheSettingsFn ReleaseDNSCacheSettings = nullptr;
    ReadIDSIPSSettingsFn ReadIDSIPSSettings = nullptr;
    ReleaseIDSIPSSettingsFn ReleaseIDSIPSSettings = nullptr;
    ReadPromptStatusFn ReadBPReportPromptStatus = nullptr;
    ReadPromptStatusFn ReadAPReportPromptStatus = nullptr;
    ReadPCSystemControlSettingsFn ReadPCSystemControlSettings = nullptr;
    ReleasePCSystemControlSettingsFn ReleasePCSystemControlSettings = nullptr;
    WritePCSystemControlSettingsFn WritePCSystemControlSettings = nullptr;
    ReadEPSServerIPFn ReadEPSServerIP = nullptr;

    static constexpr std::u16string_view kFile = u"statrd.dll";
    static constexpr auto Imports() {
        using S = StatusReader;
        return std::tuple{Import{"ReadBPStatus", &S::ReadBPStatus}, Import{"ReadIDSIPSStatus", &S::ReadIDSIPSStatus},
                          Import{"ReadPCSettings", &S::ReadPCSettings},
                          Import{"ReleasePCSettings", &S::ReleasePCSettings}, Import{"ReadAPStatus", &S::ReadAPStatus},
                          Import{"ReadBPUserWhiteList", &S::ReadBPUserWhiteList},
                          Import{"ResetBPUserWhitelist", &S::ResetBPUserWhitelist},
                          Import{"ReleaseBPUserWhiteList", &S::ReleaseBPUserWhiteList},
                          Import{"ReadWebSecCloudStatus", &S::ReadWebSecCloudStatus},
                          Import{"ReadDNSCacheSettings", &S::ReadDNSCacheSettings},
                          Import{"WriteDNSCacheSettings", &S::WriteDNSCacheSettings},
                          Import{"ReleaseDNSCacheSettings", &S::ReleaseDNSCacheSettings},
                          Import{"ReadIDSIPSSettings", &S::ReadIDSIPSSettings},
                          Import{"ReleaseIDSIPSSettings", &S::ReleaseIDSIPSSettings},
                          Import{"ReadBPReportPromptStatus", &S::ReadBPReportPromptStatus},
                          // QUIRK: behind this function the pointer bound before it is tested again, so a reader
                          // without it loads. Test: StatusReaderWithoutApPromptStatus_Loads
                          Import{"ReadAPReportPromptStatus", &S::ReadAPReportPromptStatus, false},
                          Import{"ReadPCSystemControlSettings", &S::ReadPCSystemControlSettings},
                          Import{"ReleasePCSystemControlSettings", &S::ReleasePCSystemControlSettings},
                          Import{"WritePCSystemControlSettings", &S::WritePCSystemControlSettings},
                          Import{"ReadEPSServerIP", &S::ReadEPSServerIP}};
    }
};

struct Categorisation {
    SCInitFn SCInit = nullptr;
    SCDeinitFn SCDeinit = nullptr;
    SCGetURLCategoriesFn SCGetURLCategories = nullptr;
    SCGetCategoryNameFn SCGetCategoryName = nullptr;
    SCReleaseCategoriesFn SCReleaseCategories = nullptr;
    SCSaveCacheFileFn SCSaveCacheFile = nullptr;

    static constexpr std::u16string_view kFile = u"sitecls.dll";
    static constexpr auto Imports() {
        using S = Categorisation;
        return std::tuple{Import{"SCInit", &S::SCInit},
                          Import{"SCDeinit", &S::SCDeinit},
                          Import{"SCGetURLCategories", &S::SCGetURLCategories},
                          Import{"SCGetCategoryName", &S::SCGetCategoryName},
                          Import{"SCReleaseCategories", &S::SCReleaseCategories},
                          Import{"SCSaveCacheFile", &S::SCSaveCacheFile}};
    }
};

struct PacketSignatures {
    PKSInitFn PKSInit = nullptr;
    PKSDeinitFn PKSDeinit = nullptr;
    PKSScanPacketFn PKSScanPacket = nullptr;

    static constexpr std::u16string_view kFile = u"pktsig.dll";
    static constexpr auto Imports() {
        using S = PacketSignatures;
        return std::tuple{Import{"PKSInit", &S::PKSInit}, Import{"PKSDeinit", &S::PKSDeinit},
                          Import{"PKSScanPacket", &S::PKSScanPacket}};
    }
};

struct HttpsInspection {
    IntializeSSLFn IntializeSSL = nullptr;
    DeIntializeSSLFn DeIntializeSSL = nullptr;
    TiScanHttpsPacketFn TiScanHttpsPacket = nullptr;
    TiShowPopupFn TiShowPopup = nullptr;

    static constexpr std::u16string_view kFile = u"tlsinsp.dll";
    static constexpr auto Imports() {
        using S = HttpsInspection;
        return std::tuple{Import{"IntializeSSL", &S::IntializeSSL}, Import{"DeIntializeSSL", &S::DeIntializeSSL},
                          Import{"TiScanHttpsPacket", &S::TiScanHttpsPacket}, Import{"TiShowPopup", &S::TiShowPopup}};
    }
};

struct UrlPatterns {
    WSCheckURLMaliciousPatternFn WSCheckURLMaliciousPattern = nullptr;
    WSInitUrlsigFn WSInitUrlsig = nullptr;
    WSDeInitUrlsigFn WSDeInitUrlsig = nullptr;

    static constexpr std::u16string_view kFile = u"urlsig.dll";
    static constexpr auto Imports() {
        using S = UrlPatterns;
        return std::tuple{Import{"WSCheckURLMaliciousPattern", &S::WSCheckURLMaliciousPattern},
                          Import{"WSInitUrlsig", &S::WSInitUrlsig}, Import{"WSDeInitUrlsig", &S::WSDeInitUrlsig}};
    }
};

struct Quarantine {
    ZRQuarantineFileFn ZRQuarantineFile = nullptr;

    static constexpr std::u16string_view kFile = u"isolate.dll";
    static constexpr auto Imports() {
        using S = Quarantine;
        return std::tuple{Import{"ZRQuarantineFile", &S::ZRQuarantineFile}};
    }
};

struct DisabledFeaturesReader {
    ReadDisableFeaturesSettingsFn ReadDisableFeaturesSettings = nullptr;

    static constexpr std::u16string_view kFile = u"OPTSTORE.DLL";
    static constexpr auto Imports() {
        using S = DisabledFeaturesReader;
        return std::tuple{Import{"ReadDisableFeaturesSettings", &S::ReadDisableFeaturesSettings}};
    }
};

struct AgentStatusReader {
    GetYALStatusFn GetYALStatus = nullptr;

    static constexpr std::u16string_view kFile = u"agentst.dll";
    static constexpr auto Imports() {
        using S = AgentStatusReader;
        return std::tuple{Import{"GetYALStatus", &S::GetYALStatus}};
    }
};

// A module and what is bound of it. A module that failed to load or was unloaded keeps its stale handle and pointers
// unless the contract zeroes them; loaded alone says whether they may be used.
template <class Functions>
struct Companion {
    Functions functions;
    void* handle = nullptr;
    bool loaded = false;
};

// The long-lived modules. The quarantine module is loaded for each action, the two readers asked once are not kept.
struct Companions {
    Companion<SettingsReader> settingsReader;
    Companion<StatusReader> statusReader;
    Companion<Categorisation> categorisation;
    Companion<PacketSignatures> packetSignatures;
    Companion<HttpsInspection> httpsInspection;
    Companion<UrlPatterns> urlPatterns;
    void* packetContext = nullptr;  // filled by PKSInit
};

}  // namespace tarn::modules

#endif
