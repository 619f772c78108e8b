/* What tarn.dll and its companion modules exchange: settings records and the signature of every bound function.
 * Usable from C11 and C++20. The host's own records are in records.h.
 *
 * A module allocates what a read delivers from the process heap, so that a later instance of the same module can
 * release it. The library copies what it keeps and hands every record back to the release function that belongs to its
 * read. */
#ifndef TARN_COMPANIONS_H
#define TARN_COMPANIONS_H

#include "records.h"

#if !defined(__GNUC__)
#pragma pack(push, 1)
#endif

#if defined(_WIN32)
#define TARN_CALL __stdcall /* one convention exists on x86-64 */
#else
#define TARN_CALL
#endif

/* ---- Lists of sites ---- */

/* An array of patterns of 1024 characters each. A pattern that begins with '*' is searched anywhere. */
typedef struct TARN_PACKED UrlListRecord {
    uint32_t count;
    char (*entries)[TARN_URL_CAPACITY];
} UrlListRecord;
TARN_ASSERT_SIZE(UrlListRecord, 12);
TARN_ASSERT_OFFSET(UrlListRecord, count, 0);
TARN_ASSERT_OFFSET(UrlListRecord, entries, 4);

/* A path of a malicious site and the name of the threat behind it. */
typedef struct TARN_PACKED ThreatNode {
    char name[50];
    char path[200];
    struct ThreatNode* next;
} ThreatNode;
TARN_ASSERT_SIZE(ThreatNode, 258);
TARN_ASSERT_OFFSET(ThreatNode, name, 0);
TARN_ASSERT_OFFSET(ThreatNode, path, 50);
TARN_ASSERT_OFFSET(ThreatNode, next, 250);

typedef struct TARN_PACKED ThreatSiteEntry {
    uint8_t wholeSite;
    uint32_t hash; /* CRC-32 of host */
    char* host;
    ThreatNode* threats;
} ThreatSiteEntry;
TARN_ASSERT_SIZE(ThreatSiteEntry, 21);
TARN_ASSERT_OFFSET(ThreatSiteEntry, wholeSite, 0);
TARN_ASSERT_OFFSET(ThreatSiteEntry, hash, 1);
TARN_ASSERT_OFFSET(ThreatSiteEntry, host, 5);
TARN_ASSERT_OFFSET(ThreatSiteEntry, threats, 13);

/* The malicious sites, ascending by hash. */
typedef struct TARN_PACKED ThreatSiteList {
    uint32_t count;
    ThreatSiteEntry* entries;
} ThreatSiteList;
TARN_ASSERT_SIZE(ThreatSiteList, 12);
TARN_ASSERT_OFFSET(ThreatSiteList, count, 0);
TARN_ASSERT_OFFSET(ThreatSiteList, entries, 4);

typedef struct TARN_PACKED PathListNode {
    char path[TARN_URL_CAPACITY];
    struct PathListNode* next;
} PathListNode;
TARN_ASSERT_SIZE(PathListNode, 1032);
TARN_ASSERT_OFFSET(PathListNode, path, 0);
TARN_ASSERT_OFFSET(PathListNode, next, 1024);

typedef struct TARN_PACKED PhishingSiteEntry {
    uint8_t wholeSite;
    uint32_t hash; /* CRC-32 of host */
    char* host;
    PathListNode* paths;
} PhishingSiteEntry;
TARN_ASSERT_SIZE(PhishingSiteEntry, 21);
TARN_ASSERT_OFFSET(PhishingSiteEntry, wholeSite, 0);
TARN_ASSERT_OFFSET(PhishingSiteEntry, hash, 1);
TARN_ASSERT_OFFSET(PhishingSiteEntry, host, 5);
TARN_ASSERT_OFFSET(PhishingSiteEntry, paths, 13);

/* The phishing sites, ascending by hash. */
typedef struct TARN_PACKED PhishingSiteList {
    uint32_t count;
    PhishingSiteEntry* entries;
} PhishingSiteList;
TARN_ASSERT_SIZE(PhishingSiteList, 12);
TARN_ASSERT_OFFSET(PhishingSiteList, count, 0);
TARN_ASSERT_OFFSET(PhishingSiteList, entries, 4);

typedef struct TARN_PACKED UserUrlEntry {
    char host[256];
    char path[TARN_URL_CAPACITY];
    uint8_t hostOnly;          /* 1 = a host or domain, anything else = host plus path */
    uint8_t kind;              /* 2 = only for secure connections (kinds 3 and 4) */
    uint8_t includeSubdomains; /* 1 = subdomains match too */
    uint8_t reserved[5];
    struct UserUrlEntry* next;
} UserUrlEntry;
TARN_ASSERT_SIZE(UserUrlEntry, 1296);
TARN_ASSERT_OFFSET(UserUrlEntry, host, 0);
TARN_ASSERT_OFFSET(UserUrlEntry, path, 256);
TARN_ASSERT_OFFSET(UserUrlEntry, hostOnly, 1280);
TARN_ASSERT_OFFSET(UserUrlEntry, kind, 1281);
TARN_ASSERT_OFFSET(UserUrlEntry, includeSubdomains, 1282);
TARN_ASSERT_OFFSET(UserUrlEntry, reserved, 1283);
TARN_ASSERT_OFFSET(UserUrlEntry, next, 1288);

typedef struct TARN_PACKED UserUrlList {
    uint32_t count;
    UserUrlEntry* first;
} UserUrlList;
TARN_ASSERT_SIZE(UserUrlList, 12);
TARN_ASSERT_OFFSET(UserUrlList, count, 0);
TARN_ASSERT_OFFSET(UserUrlList, first, 4);

/* ---- Intrusion detection and prevention ---- */

typedef struct TARN_PACKED IdsIpsStatus {
    uint8_t enabled;
    uint8_t reserved[2];
} IdsIpsStatus;
TARN_ASSERT_SIZE(IdsIpsStatus, 3);
TARN_ASSERT_OFFSET(IdsIpsStatus, enabled, 0);

typedef struct TARN_PACKED IdsIpsSettings {
    uint32_t flags; /* the third byte is the alert byte */
    uint8_t extra;
    uint8_t reserved[86];
} IdsIpsSettings;
TARN_ASSERT_SIZE(IdsIpsSettings, 91);
TARN_ASSERT_OFFSET(IdsIpsSettings, flags, 0);
TARN_ASSERT_OFFSET(IdsIpsSettings, extra, 4);
TARN_ASSERT_OFFSET(IdsIpsSettings, reserved, 5);

/* One IDS rule. systems points to systemCount items two bytes apart, whose first byte names an operating system. */
typedef struct TARN_PACKED IdsRule {
    uint16_t id;
    uint8_t excluded; /* 1 = the user switched this rule off */
    char16_t name[50];
    char16_t description[150];
    char16_t details[400];
    uint8_t reserved1203[3950];
    uint8_t systemCount; /* 0 = every system */
    uint8_t reserved5154[237];
    uint8_t* systems;
    uint8_t reserved5399[8];
} IdsRule;
TARN_ASSERT_SIZE(IdsRule, 5407);
TARN_ASSERT_OFFSET(IdsRule, id, 0);
TARN_ASSERT_OFFSET(IdsRule, excluded, 2);
TARN_ASSERT_OFFSET(IdsRule, name, 3);
TARN_ASSERT_OFFSET(IdsRule, description, 103);
TARN_ASSERT_OFFSET(IdsRule, details, 403);
TARN_ASSERT_OFFSET(IdsRule, reserved1203, 1203);
TARN_ASSERT_OFFSET(IdsRule, systemCount, 5153);
TARN_ASSERT_OFFSET(IdsRule, reserved5154, 5154);
TARN_ASSERT_OFFSET(IdsRule, systems, 5391);
TARN_ASSERT_OFFSET(IdsRule, reserved5399, 5399);

typedef struct TARN_PACKED IdsSettingsRecord {
    uint32_t ruleCount;
    uint8_t extra;
    IdsRule* rules;
} IdsSettingsRecord;
TARN_ASSERT_SIZE(IdsSettingsRecord, 13);
TARN_ASSERT_OFFSET(IdsSettingsRecord, ruleCount, 0);
TARN_ASSERT_OFFSET(IdsSettingsRecord, extra, 4);
TARN_ASSERT_OFFSET(IdsSettingsRecord, rules, 5);

/* ---- Saved DNS answers ---- */

enum { TARN_DNS_RING_SLOTS = 3000 };

typedef struct TARN_PACKED DnsAnswerEntry {
    uint16_t addressCount; /* all that the response held; two are kept */
    char hostName[256];
    IpAddressRecord addresses[2];
} DnsAnswerEntry;
TARN_ASSERT_SIZE(DnsAnswerEntry, 292);
TARN_ASSERT_OFFSET(DnsAnswerEntry, addressCount, 0);
TARN_ASSERT_OFFSET(DnsAnswerEntry, hostName, 2);
TARN_ASSERT_OFFSET(DnsAnswerEntry, addresses, 258);

typedef struct TARN_PACKED DnsCacheRecord {
    uint16_t count;
    uint16_t writeIndex;
    DnsAnswerEntry* entries;
} DnsCacheRecord;
TARN_ASSERT_SIZE(DnsCacheRecord, 12);
TARN_ASSERT_OFFSET(DnsCacheRecord, count, 0);
TARN_ASSERT_OFFSET(DnsCacheRecord, writeIndex, 2);
TARN_ASSERT_OFFSET(DnsCacheRecord, entries, 4);

/* ---- Parental control ---- */

typedef struct TARN_PACKED TimeRange {
    uint32_t startHour;
    uint32_t startMinute;
    uint32_t endHour;
    uint32_t endMinute;
} TimeRange;
TARN_ASSERT_SIZE(TimeRange, 16);
TARN_ASSERT_OFFSET(TimeRange, startHour, 0);
TARN_ASSERT_OFFSET(TimeRange, startMinute, 4);
TARN_ASSERT_OFFSET(TimeRange, endHour, 8);
TARN_ASSERT_OFFSET(TimeRange, endMinute, 12);

typedef struct TARN_PACKED DaySchedule {
    uint32_t count;
    TimeRange* ranges;
} DaySchedule;
TARN_ASSERT_SIZE(DaySchedule, 12);
TARN_ASSERT_OFFSET(DaySchedule, count, 0);
TARN_ASSERT_OFFSET(DaySchedule, ranges, 4);

typedef struct TARN_PACKED CategoryList {
    uint32_t count;
    uint16_t* categories;
} CategoryList;
TARN_ASSERT_SIZE(CategoryList, 12);
TARN_ASSERT_OFFSET(CategoryList, count, 0);
TARN_ASSERT_OFFSET(CategoryList, categories, 4);

typedef struct TARN_PACKED SiteRule {
    char host[256];
    char path[TARN_URL_CAPACITY];
    uint8_t flag;
    uint8_t kind;
    uint8_t extra;
    uint32_t addressCount;
    IpAddressRecord* addresses; /* IPv4 as a host-order number in the first four bytes */
    struct SiteRule* next;
} SiteRule;
TARN_ASSERT_SIZE(SiteRule, 1303);
TARN_ASSERT_OFFSET(SiteRule, host, 0);
TARN_ASSERT_OFFSET(SiteRule, path, 256);
TARN_ASSERT_OFFSET(SiteRule, flag, 1280);
TARN_ASSERT_OFFSET(SiteRule, kind, 1281);
TARN_ASSERT_OFFSET(SiteRule, extra, 1282);
TARN_ASSERT_OFFSET(SiteRule, addressCount, 1283);
TARN_ASSERT_OFFSET(SiteRule, addresses, 1287);
TARN_ASSERT_OFFSET(SiteRule, next, 1295);

/* The first bytes of a user entry: identity, switches and time rules. Reserved bytes travel as they stand. */
typedef struct TARN_PACKED PcUserLeading {
    uint8_t sid[68]; /* zero-filled behind the identifier */
    uint8_t reserved68[5];
    uint8_t profileSwitch;
    uint8_t reserved74[4];
    uint8_t blockListSwitch;
    uint8_t categorySwitch;
    uint8_t scheduleSwitch;
    uint8_t reserved81[10];
    uint8_t scheduleSuspended; /* the schedule runs only when this is not 1 */
    uint8_t reserved92[109];
    uint8_t controlled;
    uint8_t exempt;
    uint8_t scheduleMode;       /* 1 = the hour grid decides, anything else = the daily allowance */
    uint8_t hourGrid[168];      /* hour x 7 + weekday, 0 = Sunday; non-zero = use allowed */
    uint16_t dailyAllowance[7]; /* hours, Sunday first */
} PcUserLeading;
TARN_ASSERT_SIZE(PcUserLeading, 386);
TARN_ASSERT_OFFSET(PcUserLeading, sid, 0);
TARN_ASSERT_OFFSET(PcUserLeading, profileSwitch, 73);
TARN_ASSERT_OFFSET(PcUserLeading, blockListSwitch, 78);
TARN_ASSERT_OFFSET(PcUserLeading, categorySwitch, 79);
TARN_ASSERT_OFFSET(PcUserLeading, scheduleSwitch, 80);
TARN_ASSERT_OFFSET(PcUserLeading, scheduleSuspended, 91);
TARN_ASSERT_OFFSET(PcUserLeading, controlled, 201);
TARN_ASSERT_OFFSET(PcUserLeading, exempt, 202);
TARN_ASSERT_OFFSET(PcUserLeading, scheduleMode, 203);
TARN_ASSERT_OFFSET(PcUserLeading, hourGrid, 204);
TARN_ASSERT_OFFSET(PcUserLeading, dailyAllowance, 372);

typedef struct TARN_PACKED PcUserEntryRecord {
    PcUserLeading leading;
    DaySchedule schedule[7]; /* Sunday first */
    CategoryList blockedCategories;
    CategoryList otherCategories;
    SiteRule* siteRules;
    UserUrlList allowedSites;
    UserUrlList scheduleAllowedSites;
} PcUserEntryRecord;
TARN_ASSERT_SIZE(PcUserEntryRecord, 526);
TARN_ASSERT_OFFSET(PcUserEntryRecord, leading, 0);
TARN_ASSERT_OFFSET(PcUserEntryRecord, schedule, 386);
TARN_ASSERT_OFFSET(PcUserEntryRecord, blockedCategories, 470);
TARN_ASSERT_OFFSET(PcUserEntryRecord, otherCategories, 482);
TARN_ASSERT_OFFSET(PcUserEntryRecord, siteRules, 494);
TARN_ASSERT_OFFSET(PcUserEntryRecord, allowedSites, 502);
TARN_ASSERT_OFFSET(PcUserEntryRecord, scheduleAllowedSites, 514);

/* Values of PcSettingsRecord.mode; any other value means one entry per user. */
enum { TARN_PC_ABSENT = 0, TARN_PC_ONE_FOR_ALL = 1 };

typedef struct TARN_PACKED PcSettingsRecord {
    uint8_t reserved0[192];
    uint8_t mode;
    PromptBytes prompt;
    uint8_t strictness; /* how many leading categories count: 1 = two, 2 = three, 3 = one, else all */
    uint32_t entryCount;
    PcUserEntryRecord* entries;
    uint8_t reserved208[380];
} PcSettingsRecord;
TARN_ASSERT_SIZE(PcSettingsRecord, 588);
TARN_ASSERT_OFFSET(PcSettingsRecord, mode, 192);
TARN_ASSERT_OFFSET(PcSettingsRecord, prompt, 193);
TARN_ASSERT_OFFSET(PcSettingsRecord, strictness, 195);
TARN_ASSERT_OFFSET(PcSettingsRecord, entryCount, 196);
TARN_ASSERT_OFFSET(PcSettingsRecord, entries, 200);
TARN_ASSERT_OFFSET(PcSettingsRecord, reserved208, 208);

/* What is kept of an account over a restart. */
typedef struct TARN_PACKED SavedSessionRecord {
    uint8_t sid[64];
    uint32_t accountTag;
    char16_t userName[260];
    int64_t lastUpdate; /* seconds since 1970, 0 = unknown */
    uint32_t usageTicks;
    uint8_t blocked;
} SavedSessionRecord;
TARN_ASSERT_SIZE(SavedSessionRecord, 601);
TARN_ASSERT_OFFSET(SavedSessionRecord, sid, 0);
TARN_ASSERT_OFFSET(SavedSessionRecord, accountTag, 64);
TARN_ASSERT_OFFSET(SavedSessionRecord, userName, 68);
TARN_ASSERT_OFFSET(SavedSessionRecord, lastUpdate, 588);
TARN_ASSERT_OFFSET(SavedSessionRecord, usageTicks, 596);
TARN_ASSERT_OFFSET(SavedSessionRecord, blocked, 600);

typedef struct TARN_PACKED PcSystemControlRecord {
    uint32_t count;
    SavedSessionRecord* records;
} PcSystemControlRecord;
TARN_ASSERT_SIZE(PcSystemControlRecord, 12);
TARN_ASSERT_OFFSET(PcSystemControlRecord, count, 0);
TARN_ASSERT_OFFSET(PcSystemControlRecord, records, 4);

/* ---- Categorisation and quarantine ---- */

/* Managed clients only: bytes[5] and bytes[8] both 1 forbid the online look-up. */
typedef struct TARN_PACKED DisabledFeatures {
    uint8_t bytes[64];
} DisabledFeatures;
TARN_ASSERT_SIZE(DisabledFeatures, 64);

typedef struct TARN_PACKED QuarantineRequest {
    uint32_t type; /* 2 */
    uint8_t flagA; /* 1 */
    uint8_t flagB; /* 1 */
    char16_t reason[100];
    char16_t* url;
} QuarantineRequest;
TARN_ASSERT_SIZE(QuarantineRequest, 214);
TARN_ASSERT_OFFSET(QuarantineRequest, type, 0);
TARN_ASSERT_OFFSET(QuarantineRequest, flagA, 4);
TARN_ASSERT_OFFSET(QuarantineRequest, flagB, 5);
TARN_ASSERT_OFFSET(QuarantineRequest, reason, 6);
TARN_ASSERT_OFFSET(QuarantineRequest, url, 206);

/* ---- Signatures ----
 *
 * A uint8_t result is a boolean. A read fills *out and reports a failure in *error; its release gets the same address.
 */

#ifdef __cplusplus
extern "C" {
#endif

/* setrd.dll and statrd.dll */
typedef uint8_t(TARN_CALL* ReadWhiteListFn)(uint64_t reserved, UrlListRecord* out, uint32_t* error);
typedef void(TARN_CALL* ReleaseWhiteListFn)(UrlListRecord* out);
typedef uint8_t(TARN_CALL* ReadBPSettingsFn)(uint64_t reserved, ThreatSiteList* out, uint32_t* error);
typedef void(TARN_CALL* ReleaseBPSettingsFn)(ThreatSiteList* out);
typedef uint8_t(TARN_CALL* ReadAPSettingsFn)(uint64_t reserved, PhishingSiteList* out, uint32_t* error);
typedef void(TARN_CALL* ReleaseAPSettingsFn)(PhishingSiteList* out);
typedef uint8_t(TARN_CALL* ReadIDSSettingsFn)(uint64_t reserved, IdsSettingsRecord* out, uint32_t* error);
typedef void(TARN_CALL* ReleaseIDSSettingsFn)(IdsSettingsRecord* out);
typedef uint8_t(TARN_CALL* ReadStatusFn)(uint64_t reserved, uint8_t* out, uint32_t* error);
typedef uint8_t(TARN_CALL* ReadPromptStatusFn)(uint64_t reserved, PromptBytes* out, uint32_t* error);
typedef uint8_t(TARN_CALL* ReadIDSIPSStatusFn)(uint64_t reserved, IdsIpsStatus* out, uint32_t* error);
typedef uint8_t(TARN_CALL* ReadIDSIPSSettingsFn)(uint64_t reserved, IdsIpsSettings* out, uint32_t* error);
typedef void(TARN_CALL* ReleaseIDSIPSSettingsFn)(IdsIpsSettings* out);
typedef uint8_t(TARN_CALL* ReadPCSettingsFn)(uint64_t reserved, PcSettingsRecord* out, uint32_t* error);
typedef void(TARN_CALL* ReleasePCSettingsFn)(PcSettingsRecord* out);
typedef uint8_t(TARN_CALL* ResetBPUserWhitelistFn)(uint64_t reserved, uint32_t* error);
typedef uint8_t(TARN_CALL* ReadDNSCacheSettingsFn)(uint64_t reserved, DnsCacheRecord* out, uint32_t* error);
typedef uint8_t(TARN_CALL* WriteDNSCacheSettingsFn)(uint64_t reserved, const DnsCacheRecord* record, uint32_t* error);
typedef void(TARN_CALL* ReleaseDNSCacheSettingsFn)(DnsCacheRecord* out);
typedef uint8_t(TARN_CALL* ReadPCSystemControlSettingsFn)(uint64_t reserved, PcSystemControlRecord* out,
                                                          uint32_t* error);
typedef uint8_t(TARN_CALL* WritePCSystemControlSettingsFn)(uint64_t reserved, const PcSystemControlRecord* record,
                                                           uint32_t* error);
typedef void(TARN_CALL* ReleasePCSystemControlSettingsFn)(PcSystemControlRecord* out);
typedef uint8_t(TARN_CALL* ReadEPSServerIPFn)(char16_t* buffer, uint32_t capacity, uint32_t* error);

/* sitecls.dll */
typedef uint8_t(TARN_CALL* SCInitFn)(uint8_t onlineAllowed, uint32_t* error);
typedef void(TARN_CALL* SCDeinitFn)(uint32_t* error);
typedef uint8_t(TARN_CALL* SCGetURLCategoriesFn)(const char* hostOrUrl, uint16_t** categories, uint16_t* count,
                                                 uint32_t mode);
typedef uint8_t(TARN_CALL* SCGetCategoryNameFn)(uint16_t category, char16_t* buffer, uint32_t capacity);
typedef uint8_t(TARN_CALL* SCReleaseCategoriesFn)(uint16_t* categories);
typedef uint8_t(TARN_CALL* SCSaveCacheFileFn)(uint64_t a, uint64_t b, uint64_t c, uint64_t d);

/* pktsig.dll */
typedef uint8_t(TARN_CALL* PKSInitFn)(void** context, uint32_t* error);
typedef void(TARN_CALL* PKSDeinitFn)(void* context, uint32_t* error);
typedef uint8_t(TARN_CALL* PKSScanPacketFn)(const uint8_t* frame, uint32_t length, uint16_t ruleId, uint8_t inbound,
                                            PacketVerdict* verdict);

/* tlsinsp.dll */
typedef uint32_t(TARN_CALL* IntializeSSLFn)(void); /* 0 = failure */
typedef void(TARN_CALL* DeIntializeSSLFn)(void);
typedef uint8_t(TARN_CALL* TiScanHttpsPacketFn)(uint32_t processId, const char* hostAndPath, uint32_t remoteIpv4,
                                                uint16_t remotePort, const uint8_t* data, uint32_t length,
                                                uint8_t* block);
typedef void(TARN_CALL* TiShowPopupFn)(void);

/* urlsig.dll; the port is in network byte order */
typedef uint8_t(TARN_CALL* WSCheckURLMaliciousPatternFn)(uint8_t kind, const char* host, const char* path,
                                                         uint16_t remotePort, uint8_t* malicious);
typedef uint8_t(TARN_CALL* WSInitUrlsigFn)(void);
typedef void(TARN_CALL* WSDeInitUrlsigFn)(uint32_t* error);

/* isolate.dll */
typedef uint8_t(TARN_CALL* ZRQuarantineFileFn)(const char16_t* path, uint64_t reserved1,
                                               const QuarantineRequest* request, uint64_t reserved3, uint64_t reserved4,
                                               uint64_t reserved5, uint64_t* out1, uint32_t* out2);

/* OPTSTORE.DLL and agentst.dll */
typedef uint8_t(TARN_CALL* ReadDisableFeaturesSettingsFn)(uint64_t reserved, DisabledFeatures* out, uint32_t* error);
typedef uint8_t(TARN_CALL* GetYALStatusFn)(uint8_t* status);

#ifdef __cplusplus
}
#endif

#if !defined(__GNUC__)
#pragma pack(pop)
#endif

#endif /* TARN_COMPANIONS_H */
