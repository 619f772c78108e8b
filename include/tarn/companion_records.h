/* The records that tarn.dll and its companion modules exchange. Usable from C11 and C++20. The modules' functions are
 * in companions.h, the records of the host in records.h.
 *
 * A module allocates what a read delivers from the process heap, so that a later instance of the same module can
 * release it. The library copies what it keeps, changes nothing and hands each record back to the release function that
 * belongs to its read. */
#ifndef TARN_COMPANION_RECORDS_H
#define TARN_COMPANION_RECORDS_H

#include "records.h"

#if !defined(__GNUC__)
#pragma pack(push, 1)
#endif

/* ---- Lists of sites ---- */

/* The white lists. An entry is the beginning of host and path, without a scheme; behind it stands "/" or the end and,
 * in the internal lists, also "?" or "#". In the internal lists an entry that begins with '*' is searched anywhere. */
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
    uint8_t wholeSite; /* 1 = every path, anything else = the paths of threats */
    uint32_t hash;     /* CRC-32 of host; with another one the entry is never found */
    char* host;        /* without "www." */
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
    uint8_t wholeSite; /* 1 = every path, anything else = the paths listed */
    uint32_t hash;     /* CRC-32 of host; with another one the entry is never found */
    char* host;        /* as it is asked for, "www." included */
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

/* Values of UserUrlEntry.kind and SiteRule.kind; the others mean the same as TARN_SITE_ANY. */
enum {
    TARN_SITE_ANY = 1,
    TARN_SITE_SECURE = 2 /* the whole site, on secure connections only (TARN_KIND_TLS and TARN_KIND_HTTP_SECURE) */
};

/* A site that parental control allows. */
typedef struct TARN_PACKED UserUrlEntry {
    char host[256];
    char path[TARN_URL_CAPACITY];
    uint8_t hostOnly;          /* 1 = a host or domain, anything else = host plus path */
    uint8_t kind;              /* TARN_SITE_...; counts for entries without a path */
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
TARN_ASSERT_OFFSET(IdsIpsStatus, reserved, 1);

enum { TARN_IDS_ALERT_SHIFT = 16 }; /* the alert byte of IdsIpsSettings.flags: (uint8_t)(flags >> 16) */

typedef struct TARN_PACKED IdsIpsSettings {
    uint32_t flags; /* its third byte becomes PacketVerdict.alertFlag when a signature matches */
    uint8_t extra;  /* kept, not read */
    uint8_t reserved[86];
} IdsIpsSettings;
TARN_ASSERT_SIZE(IdsIpsSettings, 91);
TARN_ASSERT_OFFSET(IdsIpsSettings, flags, 0);
TARN_ASSERT_OFFSET(IdsIpsSettings, extra, 4);
TARN_ASSERT_OFFSET(IdsIpsSettings, reserved, 5);

/* Systems that an IDS rule is for, by Windows version. */
enum {
    TARN_SYSTEM_5_0 = 50,
    TARN_SYSTEM_5_1 = 51, /* and the servers of 5.2 */
    TARN_SYSTEM_5_2 = 52, /* the 64-bit workstation */
    TARN_SYSTEM_6_0 = 60,
    TARN_SYSTEM_6_1 = 61,
    TARN_SYSTEM_6_2 = 62,
    TARN_SYSTEM_6_3 = 63,
    TARN_SYSTEM_10_0 = 100 /* Windows 10 and 11, and the servers since 2016 */
};

/* One IDS rule. systems points to systemCount items two bytes apart, whose first byte is a TARN_SYSTEM_... */
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
    uint8_t extra; /* kept, not read */
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

/* A span of a day in which the web may be used. A range outside 00:00 to 23:59 is skipped; one that does not end after
 * its start voids the schedule: nothing is allowed. An end of 23:59 means midnight. */
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

/* A site that parental control blocks. */
typedef struct TARN_PACKED SiteRule {
    char host[256];
    char path[TARN_URL_CAPACITY];
    uint8_t flag;  /* 1 = the host as a whole, anything else = its path */
    uint8_t kind;  /* TARN_SITE_... */
    uint8_t extra; /* 1 = the domains below it too */
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

/* Values of PcUserLeading.scheduleMode; any other value is the allowance as well. */
enum { TARN_SCHEDULE_ALLOWANCE = 0, TARN_SCHEDULE_HOUR_GRID = 1 };

/* The first bytes of a user entry: identity, switches and time rules. Reserved bytes travel as they stand. */
typedef struct TARN_PACKED PcUserLeading {
    uint8_t sid[68]; /* zero-filled behind the identifier */
    uint8_t reserved68[5];
    uint8_t profileSwitch; /* this and the following: not 0 = on */
    uint8_t reserved74[4];
    uint8_t blockListSwitch;
    uint8_t categorySwitch;
    uint8_t scheduleSwitch; /* the web, by the seven days of the schedule */
    uint8_t reserved81[10];
    uint8_t scheduleSuspended; /* the schedule runs only when this is not 1 */
    uint8_t reserved92[109];
    uint8_t controlled;         /* not 0 = logons of the account are judged */
    uint8_t exempt;             /* 1 = but always allowed */
    uint8_t scheduleMode;       /* TARN_SCHEDULE_... */
    uint8_t hourGrid[168];      /* hour x 7 + weekday, 0 = Sunday; non-zero = use allowed */
    uint16_t dailyAllowance[7]; /* hours, Sunday first */
} PcUserLeading;
TARN_ASSERT_SIZE(PcUserLeading, 386);
TARN_ASSERT_OFFSET(PcUserLeading, sid, 0);
TARN_ASSERT_OFFSET(PcUserLeading, reserved68, 68);
TARN_ASSERT_OFFSET(PcUserLeading, profileSwitch, 73);
TARN_ASSERT_OFFSET(PcUserLeading, reserved74, 74);
TARN_ASSERT_OFFSET(PcUserLeading, blockListSwitch, 78);
TARN_ASSERT_OFFSET(PcUserLeading, categorySwitch, 79);
TARN_ASSERT_OFFSET(PcUserLeading, scheduleSwitch, 80);
TARN_ASSERT_OFFSET(PcUserLeading, reserved81, 81);
TARN_ASSERT_OFFSET(PcUserLeading, scheduleSuspended, 91);
TARN_ASSERT_OFFSET(PcUserLeading, reserved92, 92);
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

/* Values of PcSettingsRecord.mode; any other value means one entry per user as well. */
enum { TARN_PC_ABSENT = 0, TARN_PC_ONE_FOR_ALL = 1, TARN_PC_ONE_PER_USER = 2 };

/* Values of PcSettingsRecord.strictness: how many of a site's leading categories count. Any other value: all. */
enum {
    TARN_STRICTNESS_ALL = 0,
    TARN_STRICTNESS_FIRST_TWO = 1,
    TARN_STRICTNESS_FIRST_THREE = 2,
    TARN_STRICTNESS_FIRST_ONE = 3
};

typedef struct TARN_PACKED PcSettingsRecord {
    uint8_t reserved0[192];
    uint8_t mode;
    PromptBytes prompt;
    uint8_t strictness; /* TARN_STRICTNESS_... */
    uint32_t entryCount;
    PcUserEntryRecord* entries;
    uint8_t reserved208[380];
} PcSettingsRecord;
TARN_ASSERT_SIZE(PcSettingsRecord, 588);
TARN_ASSERT_OFFSET(PcSettingsRecord, reserved0, 0);
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

/* The categories that the library acts on itself; every other number is the module's own. */
enum { TARN_CATEGORY_MALICIOUS = 2, TARN_CATEGORY_PHISHING = 3 };

/* Places in DisabledFeatures.bytes: when both bytes are 1, no category may be asked online. */
enum { TARN_DISABLED_ONLINE_LOOKUP = 5, TARN_DISABLED_ONLINE_LOOKUP_TOO = 8 };

/* Asked of managed clients only. */
typedef struct TARN_PACKED DisabledFeatures {
    uint8_t bytes[64];
} DisabledFeatures;
TARN_ASSERT_SIZE(DisabledFeatures, 64);
TARN_ASSERT_OFFSET(DisabledFeatures, bytes, 0);

enum { TARN_QUARANTINE_PROGRAM = 2 }; /* the value of QuarantineRequest.type */

typedef struct TARN_PACKED QuarantineRequest {
    uint32_t type;        /* TARN_QUARANTINE_PROGRAM */
    uint8_t flagA;        /* 1 */
    uint8_t flagB;        /* 1 */
    char16_t reason[100]; /* for the quarantine's own records */
    char16_t* url;        /* what the program asked for; valid during the call */
} QuarantineRequest;
TARN_ASSERT_SIZE(QuarantineRequest, 214);
TARN_ASSERT_OFFSET(QuarantineRequest, type, 0);
TARN_ASSERT_OFFSET(QuarantineRequest, flagA, 4);
TARN_ASSERT_OFFSET(QuarantineRequest, flagB, 5);
TARN_ASSERT_OFFSET(QuarantineRequest, reason, 6);
TARN_ASSERT_OFFSET(QuarantineRequest, url, 206);

#if !defined(__GNUC__)
#pragma pack(pop)
#endif

#endif /* TARN_COMPANION_RECORDS_H */
