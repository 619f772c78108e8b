/* The functions of the companion modules: the signature of each, which exports have it, what the arguments are for.
 * Usable from C11 and C++20. The records are in companion_records.h, the exports file by file in companion_modules.h.
 *
 * A uint8_t result is a boolean. A read fills *out, which it gets zeroed, and on failure says why in *error; a failed
 * read leaves the feature off or the list empty. Its release gets the address of the same record. reserved is 0, and
 * error is never null and may hold anything at the call.
 *
 * Threads: the functions named "any thread" are called by scans, several at once. All others are called by WSInit,
 * WSDeinit, WSShutDown and the two settings exports, one call at a time, while no scan runs. No function may throw or
 * call an export of tarn.dll: some are called under the library's locks. */
#ifndef TARN_COMPANIONS_H
#define TARN_COMPANIONS_H

#include "companion_records.h"

#if defined(_WIN32)
#define TARN_CALL __stdcall /* one convention exists on x86-64 */
#else
#define TARN_CALL
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- setrd.dll, the settings reader: lists and rules ---- */

/* ReadWSInternalWhiteList, ReadBPInternalWhiteList; in statrd.dll ReadBPUserWhiteList */
typedef uint8_t(TARN_CALL* ReadWhiteListFn)(uint64_t reserved, UrlListRecord* out, uint32_t* error);
/* ReleaseWSInternalWhiteList, ReleaseBPInternalWhiteList; in statrd.dll ReleaseBPUserWhiteList. Also called with an
 * empty record, when the read failed. ReleaseBPInternalWhiteList has to be there and is never called. */
typedef void(TARN_CALL* ReleaseWhiteListFn)(UrlListRecord* out);
/* The malicious sites. The release is also called with an empty record. */
typedef uint8_t(TARN_CALL* ReadBPSettingsFn)(uint64_t reserved, ThreatSiteList* out, uint32_t* error);
typedef void(TARN_CALL* ReleaseBPSettingsFn)(ThreatSiteList* out);
/* The phishing sites; released at once. */
typedef uint8_t(TARN_CALL* ReadAPSettingsFn)(uint64_t reserved, PhishingSiteList* out, uint32_t* error);
typedef void(TARN_CALL* ReleaseAPSettingsFn)(PhishingSiteList* out);
/* The IDS rules, of every system; the library copies those of the running one and releases the record at once. The
 * release is called a second time later, with an empty record or with one that had no rules. */
typedef uint8_t(TARN_CALL* ReadIDSSettingsFn)(uint64_t reserved, IdsSettingsRecord* out, uint32_t* error);
typedef void(TARN_CALL* ReleaseIDSSettingsFn)(IdsSettingsRecord* out);

/* ---- statrd.dll, the status reader: switches, users, and what is saved ---- */

/* ReadBPStatus, ReadAPStatus: not 0 = on. ReadWebSecCloudStatus: 0 = no category may be asked online; *out is 1 before,
 * and a failed read counts as 1. */
typedef uint8_t(TARN_CALL* ReadStatusFn)(uint64_t reserved, uint8_t* out, uint32_t* error);
/* ReadBPReportPromptStatus, ReadAPReportPromptStatus: handed on to the host. */
typedef uint8_t(TARN_CALL* ReadPromptStatusFn)(uint64_t reserved, PromptBytes* out, uint32_t* error);
typedef uint8_t(TARN_CALL* ReadIDSIPSStatusFn)(uint64_t reserved, IdsIpsStatus* out, uint32_t* error);
typedef uint8_t(TARN_CALL* ReadIDSIPSSettingsFn)(uint64_t reserved, IdsIpsSettings* out, uint32_t* error);
typedef void(TARN_CALL* ReleaseIDSIPSSettingsFn)(IdsIpsSettings* out);
/* Parental control. Each load of sitecls.dll reads the record once for its mode alone and does not release it, so the
 * module keeps such a record itself or accepts that it is never given back. */
typedef uint8_t(TARN_CALL* ReadPCSettingsFn)(uint64_t reserved, PcSettingsRecord* out, uint32_t* error);
typedef void(TARN_CALL* ReleasePCSettingsFn)(PcSettingsRecord* out);
/* Empties the user's white list for good: at WSInit with TARN_START_FRESH, not on a managed client. */
typedef uint8_t(TARN_CALL* ResetBPUserWhitelistFn)(uint64_t reserved, uint32_t* error);
/* The saved DNS answers: count says how many entries there are, 1 to TARN_DNS_RING_SLOTS, writeIndex which is the next
 * to be overwritten. A write hands over all slots, empty ones included; the record belongs to the library and is valid
 * during the call. */
typedef uint8_t(TARN_CALL* ReadDNSCacheSettingsFn)(uint64_t reserved, DnsCacheRecord* out, uint32_t* error);
typedef uint8_t(TARN_CALL* WriteDNSCacheSettingsFn)(uint64_t reserved, const DnsCacheRecord* record, uint32_t* error);
typedef void(TARN_CALL* ReleaseDNSCacheSettingsFn)(DnsCacheRecord* out);
/* The saved sessions of accounts. The record of a write belongs to the library and is valid during the call. */
typedef uint8_t(TARN_CALL* ReadPCSystemControlSettingsFn)(uint64_t reserved, PcSystemControlRecord* out,
                                                          uint32_t* error);
typedef uint8_t(TARN_CALL* WritePCSystemControlSettingsFn)(uint64_t reserved, const PcSystemControlRecord* record,
                                                           uint32_t* error);
typedef void(TARN_CALL* ReleasePCSystemControlSettingsFn)(PcSystemControlRecord* out);
/* The management server's host name or address, at most capacity - 1 units; asked of managed clients only. */
typedef uint8_t(TARN_CALL* ReadEPSServerIPFn)(char16_t* buffer, uint32_t capacity, uint32_t* error);

/* ---- sitecls.dll, categorisation ---- */

/* The mode of SCGetURLCategories: what the answer is for. */
enum TarnLookupMode {
    TARN_LOOKUP_DECIDE_NOW = 0, /* a connection or a frame waits for it */
    TARN_LOOKUP_AHEAD_OF_CONNECTION =
        1 /* a name was just resolved: the answer is thrown away, the time is the module's */
};

/* onlineAllowed: not 0 = categories may be asked online. False fails the load. */
typedef uint8_t(TARN_CALL* SCInitFn)(uint8_t onlineAllowed, uint32_t* error);
typedef void(TARN_CALL* SCDeinitFn)(uint32_t* error);
/* Any thread. hostOrUrl: host and path, for FTP behind "ftp://", or an address as text; never beginning with "[".
 * *categories and *count are null and 0 at the call; the most important category comes first. No category is true with
 * count 0; false makes the scan that asks false. */
typedef uint8_t(TARN_CALL* SCGetURLCategoriesFn)(const char* hostOrUrl, uint16_t** categories, uint16_t* count,
                                                 uint32_t mode);
/* Any thread. At most capacity - 1 units; on false the name stays empty. */
typedef uint8_t(TARN_CALL* SCGetCategoryNameFn)(uint16_t category, char16_t* buffer, uint32_t capacity);
/* Any thread. Called exactly once for each array that a look-up delivered, also when the look-up failed. */
typedef uint8_t(TARN_CALL* SCReleaseCategoriesFn)(uint16_t* categories);
/* At WSShutDown, with the host's four arguments as they are. The result is not looked at. */
typedef uint8_t(TARN_CALL* SCSaveCacheFileFn)(uint64_t a, uint64_t b, uint64_t c, uint64_t d);

/* ---- pktsig.dll, packet signatures ---- */

/* What PKSScanPacket leaves in PacketVerdict.action; the library makes TARN_PACKET_... of it. Anything else is handed
 * to the host as it is. */
enum { TARN_SIGNATURE_ATTACK = 0, TARN_SIGNATURE_NO_ATTACK = 2 };

/* *context is null at WSInit; a reload of the module finds it as the load before left it. False fails the load. */
typedef uint8_t(TARN_CALL* PKSInitFn)(void** context, uint32_t* error);
typedef void(TARN_CALL* PKSDeinitFn)(void* context, uint32_t* error);
/* Any thread. frame, length, ruleId and inbound as WSScanPacket got them. Of the verdict the module writes action and
 * reason, and what else it knows; the texts come from the IDS rule ruleId. On false the record stays as it is. */
typedef uint8_t(TARN_CALL* PKSScanPacketFn)(const uint8_t* frame, uint32_t length, uint16_t ruleId, uint8_t inbound,
                                            PacketVerdict* verdict);

/* ---- tlsinsp.dll, HTTPS inspection ---- */

typedef uint32_t(TARN_CALL* IntializeSSLFn)(void); /* 0 = failure, which fails the load */
typedef void(TARN_CALL* DeIntializeSSLFn)(void);
/* Any thread. data: the hello as the host handed it over; remoteIpv4: the first four bytes of the address as they
 * stand; remotePort: network byte order. *block is 0 at the call; true with *block not 0 blocks. */
typedef uint8_t(TARN_CALL* TiScanHttpsPacketFn)(uint32_t processId, const char* hostAndPath, uint32_t remoteIpv4,
                                                uint16_t remotePort, const uint8_t* data, uint32_t length,
                                                uint8_t* block);
typedef void(TARN_CALL* TiShowPopupFn)(void); /* has to be there and is never called */

/* ---- urlsig.dll, malicious URL patterns ---- */

/* Any thread. kind: TARN_KIND_...; remotePort: network byte order. *malicious is 0 at the call; true with *malicious
 * not 0 is a hit. */
typedef uint8_t(TARN_CALL* WSCheckURLMaliciousPatternFn)(uint8_t kind, const char* host, const char* path,
                                                         uint16_t remotePort, uint8_t* malicious);
typedef uint8_t(TARN_CALL* WSInitUrlsigFn)(void); /* false fails the load */
typedef void(TARN_CALL* WSDeInitUrlsigFn)(uint32_t* error);

/* ---- isolate.dll, quarantine ---- */

/* Any thread; the module is loaded for each call and freed behind it. path: the executable of the program that asked
 * for a malicious site. The reserved arguments are 0; the two outputs and the result are not looked at. */
typedef uint8_t(TARN_CALL* ZRQuarantineFileFn)(const char16_t* path, uint64_t reserved1,
                                               const QuarantineRequest* request, uint64_t reserved3, uint64_t reserved4,
                                               uint64_t reserved5, uint64_t* out1, uint32_t* out2);

/* ---- OPTSTORE.DLL and agentst.dll: each is loaded for one question and freed behind it ---- */

/* Asked of managed clients only, at each load of sitecls.dll. */
typedef uint8_t(TARN_CALL* ReadDisableFeaturesSettingsFn)(uint64_t reserved, DisabledFeatures* out, uint32_t* error);
/* The agent status byte: not 0 lets the video-sharing site pass. */
typedef uint8_t(TARN_CALL* GetYALStatusFn)(uint8_t* status);

#ifdef __cplusplus
}
#endif

#endif /* TARN_COMPANIONS_H */
