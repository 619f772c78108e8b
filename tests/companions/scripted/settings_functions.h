// The functions by which a companion module hands out settings and takes them back, each with its record and the member
// of Answers that it delivers: READ(function, Record, field) and RELEASE(function, Record).
#ifndef TARN_TESTS_COMPANIONS_SCRIPTED_SETTINGS_FUNCTIONS_H
#define TARN_TESTS_COMPANIONS_SCRIPTED_SETTINGS_FUNCTIONS_H

#include "companions/scripted/companion_script.h"

#define TARN_SETTINGS_FUNCTIONS(READ, RELEASE)                              \
    READ(ReadWSInternalWhiteList, UrlListRecord, wsInternalWhiteList)       \
    RELEASE(ReleaseWSInternalWhiteList, UrlListRecord)                      \
    READ(ReadBPSettings, ThreatSiteList, bpSettings)                        \
    RELEASE(ReleaseBPSettings, ThreatSiteList)                              \
    READ(ReadIDSSettings, IdsSettingsRecord, idsSettings)                   \
    RELEASE(ReleaseIDSSettings, IdsSettingsRecord)                          \
    READ(ReadAPSettings, PhishingSiteList, apSettings)                      \
    RELEASE(ReleaseAPSettings, PhishingSiteList)                            \
    READ(ReadBPInternalWhiteList, UrlListRecord, bpInternalWhiteList)       \
    RELEASE(ReleaseBPInternalWhiteList, UrlListRecord)                      \
    READ(ReadBPStatus, std::uint8_t, bpStatus)                              \
    READ(ReadIDSIPSStatus, IdsIpsStatus, idsIpsStatus)                      \
    READ(ReadPCSettings, PcSettingsRecord, pcSettings)                      \
    RELEASE(ReleasePCSettings, PcSettingsRecord)                            \
    READ(ReadAPStatus, std::uint8_t, apStatus)                              \
    READ(ReadBPUserWhiteList, UrlListRecord, bpUserWhiteList)               \
    RELEASE(ReleaseBPUserWhiteList, UrlListRecord)                          \
    READ(ReadWebSecCloudStatus, std::uint8_t, cloudStatus)                  \
    READ(ReadDNSCacheSettings, DnsCacheRecord, dnsCache)                    \
    RELEASE(ReleaseDNSCacheSettings, DnsCacheRecord)                        \
    READ(ReadIDSIPSSettings, IdsIpsSettings, idsIpsSettings)                \
    RELEASE(ReleaseIDSIPSSettings, IdsIpsSettings)                          \
    READ(ReadBPReportPromptStatus, PromptBytes, bpPrompt)                   \
    READ(ReadAPReportPromptStatus, PromptBytes, apPrompt)                   \
    READ(ReadPCSystemControlSettings, PcSystemControlRecord, systemControl) \
    RELEASE(ReleasePCSystemControlSettings, PcSystemControlRecord)          \
    READ(ReadDisableFeaturesSettings, DisabledFeatures, disabledFeatures)

#endif
