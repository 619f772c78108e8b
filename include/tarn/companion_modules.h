/* The list of the companion modules: their files and what each exports, as tables that hand their rows to a macro X.
 * Usable from C11 and C++20; L"" and u"" before a file name make it a wide one. */
#ifndef TARN_COMPANION_MODULES_H
#define TARN_COMPANION_MODULES_H

#include "companions.h"

/* X(module, file, functions): every companion, by the name of its file in the install folder. */
#define TARN_COMPANION_FILES(X)                                                        \
    X(SettingsReader, "setrd.dll", TARN_SETTINGS_READER_FUNCTIONS)                     \
    X(StatusReader, "statrd.dll", TARN_STATUS_READER_FUNCTIONS)                        \
    X(Categorisation, "sitecls.dll", TARN_CATEGORISATION_FUNCTIONS)                    \
    X(PacketSignatures, "pktsig.dll", TARN_PACKET_SIGNATURES_FUNCTIONS)                \
    X(HttpsInspection, "tlsinsp.dll", TARN_HTTPS_INSPECTION_FUNCTIONS)                 \
    X(UrlPatterns, "urlsig.dll", TARN_URL_PATTERNS_FUNCTIONS)                          \
    X(Quarantine, "isolate.dll", TARN_QUARANTINE_FUNCTIONS)                            \
    X(DisabledFeaturesReader, "OPTSTORE.DLL", TARN_DISABLED_FEATURES_READER_FUNCTIONS) \
    X(AgentStatusReader, "agentst.dll", TARN_AGENT_STATUS_READER_FUNCTIONS)

/* X(function, type): what a companion exports, in the order in which the library binds it. */
#define TARN_SETTINGS_READER_FUNCTIONS(X)             \
    X(ReadWSInternalWhiteList, ReadWhiteListFn)       \
    X(ReadBPSettings, ReadBPSettingsFn)               \
    X(ReadIDSSettings, ReadIDSSettingsFn)             \
    X(ReleaseIDSSettings, ReleaseIDSSettingsFn)       \
    X(ReleaseWSInternalWhiteList, ReleaseWhiteListFn) \
    X(ReleaseBPSettings, ReleaseBPSettingsFn)         \
    X(ReadAPSettings, ReadAPSettingsFn)               \
    X(ReleaseAPSettings, ReleaseAPSettingsFn)         \
    X(ReadBPInternalWhiteList, ReadWhiteListFn)       \
    X(ReleaseBPInternalWhiteList, ReleaseWhiteListFn)

#define TARN_STATUS_READER_FUNCTIONS(X)                                 \
    X(ReadBPStatus, ReadStatusFn)                                       \
    X(ReadIDSIPSStatus, ReadIDSIPSStatusFn)                             \
    X(ReadPCSettings, ReadPCSettingsFn)                                 \
    X(ReleasePCSettings, ReleasePCSettingsFn)                           \
    X(ReadAPStatus, ReadStatusFn)                                       \
    X(ReadBPUserWhiteList, ReadWhiteListFn)                             \
    X(ResetBPUserWhitelist, ResetBPUserWhitelistFn)                     \
    X(ReleaseBPUserWhiteList, ReleaseWhiteListFn)                       \
    X(ReadWebSecCloudStatus, ReadStatusFn)                              \
    X(ReadDNSCacheSettings, ReadDNSCacheSettingsFn)                     \
    X(WriteDNSCacheSettings, WriteDNSCacheSettingsFn)                   \
    X(ReleaseDNSCacheSettings, ReleaseDNSCacheSettingsFn)               \
    X(ReadIDSIPSSettings, ReadIDSIPSSettingsFn)                         \
    X(ReleaseIDSIPSSettings, ReleaseIDSIPSSettingsFn)                   \
    X(ReadBPReportPromptStatus, ReadPromptStatusFn)                     \
    X(ReadAPReportPromptStatus, ReadPromptStatusFn)                     \
    X(ReadPCSystemControlSettings, ReadPCSystemControlSettingsFn)       \
    X(ReleasePCSystemControlSettings, ReleasePCSystemControlSettingsFn) \
    X(WritePCSystemControlSettings, WritePCSystemControlSettingsFn)     \
    X(ReadEPSServerIP, ReadEPSServerIPFn)

#define TARN_CATEGORISATION_FUNCTIONS(X)          \
    X(SCInit, SCInitFn)                           \
    X(SCDeinit, SCDeinitFn)                       \
    X(SCGetURLCategories, SCGetURLCategoriesFn)   \
    X(SCGetCategoryName, SCGetCategoryNameFn)     \
    X(SCReleaseCategories, SCReleaseCategoriesFn) \
    X(SCSaveCacheFile, SCSaveCacheFileFn)

#define TARN_PACKET_SIGNATURES_FUNCTIONS(X) \
    X(PKSInit, PKSInitFn)                   \
    X(PKSDeinit, PKSDeinitFn)               \
    X(PKSScanPacket, PKSScanPacketFn)

#define TARN_HTTPS_INSPECTION_FUNCTIONS(X)    \
    X(IntializeSSL, IntializeSSLFn)           \
    X(DeIntializeSSL, DeIntializeSSLFn)       \
    X(TiScanHttpsPacket, TiScanHttpsPacketFn) \
    X(TiShowPopup, TiShowPopupFn)

#define TARN_URL_PATTERNS_FUNCTIONS(X)                          \
    X(WSCheckURLMaliciousPattern, WSCheckURLMaliciousPatternFn) \
    X(WSInitUrlsig, WSInitUrlsigFn)                             \
    X(WSDeInitUrlsig, WSDeInitUrlsigFn)

#define TARN_QUARANTINE_FUNCTIONS(X) X(ZRQuarantineFile, ZRQuarantineFileFn)

#define TARN_DISABLED_FEATURES_READER_FUNCTIONS(X) X(ReadDisableFeaturesSettings, ReadDisableFeaturesSettingsFn)

#define TARN_AGENT_STATUS_READER_FUNCTIONS(X) X(GetYALStatus, GetYALStatusFn)

#endif /* TARN_COMPANION_MODULES_H */
