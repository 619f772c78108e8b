/* The records that the host shares with tarn.dll: requests it fills, verdicts it reads.
 * Usable from C11 and C++20. What the companion modules exchange is in companion_records.h, the exports are in tarn.h.
 *
 * Every record is packed and little-endian, a boolean is one byte. Reserved bytes are zero when the library writes a
 * record and ignored when it reads one. Texts are NUL-terminated: char is ASCII or UTF-8, char16_t is UTF-16. */
#ifndef TARN_RECORDS_H
#define TARN_RECORDS_H

#include <stddef.h>
#include <stdint.h>
#ifndef __cplusplus
#include <uchar.h>
#endif

/* GCC and clang: the attribute, since it turns a reference to a misaligned member into an error where the pragma is
 * silent. */
#if defined(__GNUC__)
#define TARN_PACKED __attribute__((packed))
#else
#define TARN_PACKED
#pragma pack(push, 1)
#endif

#ifdef __cplusplus
#define TARN_STATIC_ASSERT(condition) static_assert(condition, #condition)
#else
#define TARN_STATIC_ASSERT(condition) _Static_assert(condition, #condition)
#endif
#define TARN_ASSERT_SIZE(type, size) TARN_STATIC_ASSERT(sizeof(type) == (size))
#define TARN_ASSERT_OFFSET(type, field, offset) TARN_STATIC_ASSERT(offsetof(type, field) == (offset))

#define TARN_HOST_CAPACITY 260 /* characters of a host name, its NUL included */
#define TARN_URL_CAPACITY 1024 /* characters of a path or URL, its NUL included */

/* Values of IpAddressRecord.family. */
enum { TARN_FAMILY_IPV4 = 0, TARN_FAMILY_IPV6 = 1 };

/* An address; IPv4 takes the first four bytes in network order, the rest are zero. */
typedef struct TARN_PACKED IpAddressRecord {
    uint8_t family;
    uint8_t bytes[16];
} IpAddressRecord;
TARN_ASSERT_SIZE(IpAddressRecord, 17);
TARN_ASSERT_OFFSET(IpAddressRecord, family, 0);
TARN_ASSERT_OFFSET(IpAddressRecord, bytes, 1);

/* The same eight words as the system's SYSTEMTIME. */
typedef struct TARN_PACKED TarnSystemTime {
    uint16_t year;
    uint16_t month;
    uint16_t dayOfWeek; /* 0 = Sunday */
    uint16_t day;
    uint16_t hour;
    uint16_t minute;
    uint16_t second;
    uint16_t milliseconds;
} TarnSystemTime;
TARN_ASSERT_SIZE(TarnSystemTime, 16);
TARN_ASSERT_OFFSET(TarnSystemTime, year, 0);
TARN_ASSERT_OFFSET(TarnSystemTime, month, 2);
TARN_ASSERT_OFFSET(TarnSystemTime, dayOfWeek, 4);
TARN_ASSERT_OFFSET(TarnSystemTime, day, 6);
TARN_ASSERT_OFFSET(TarnSystemTime, hour, 8);
TARN_ASSERT_OFFSET(TarnSystemTime, minute, 10);
TARN_ASSERT_OFFSET(TarnSystemTime, second, 12);
TARN_ASSERT_OFFSET(TarnSystemTime, milliseconds, 14);

/* Values of ScanRequest.kind; any other value ends a scan at once with the default verdict. Messages of a DNS server,
 * remote port 53, are recognised by the port, whatever the kind. */
enum {
    TARN_KIND_HTTP = 1,       /* a request of plain HTTP */
    TARN_KIND_FTP = 2,        /* a line of an FTP control connection */
    TARN_KIND_TLS = 3,        /* a ClientHello, from its record header on; WSWebExtScanUrl takes this kind alone */
    TARN_KIND_HTTP_SECURE = 4 /* an HTTP request out of an encrypted connection that the host has opened */
};

/* The first bytes that a client sent on a connection, or a message of a DNS server. The scan writes a NUL at
 * data[dataLength], so the host leaves one spare byte behind the data, and it turns NULs inside the data of kinds 1, 2
 * and 4 into blanks: the buffer belongs to the calling thread alone while the call lasts. Nothing is kept of it. */
typedef struct TARN_PACKED ScanRequest {
    uint32_t processId; /* the program that asks: whose user it is and, on a malicious site, which file is acted on;
                           0 = unknown: a block that needs the user does not come about */
    uint8_t* data;
    uint32_t dataLength;           /* the spare byte not counted */
    IpAddressRecord remoteAddress; /* the server */
    uint16_t remotePort;           /* network byte order */
    uint8_t reserved[6];
    uint8_t stopBeforeCategories; /* 1 = end before the category step, with allow 9 */
    uint8_t kind;                 /* TARN_KIND_... */
} ScanRequest;
TARN_ASSERT_SIZE(ScanRequest, 43);
TARN_ASSERT_OFFSET(ScanRequest, processId, 0);
TARN_ASSERT_OFFSET(ScanRequest, data, 4);
TARN_ASSERT_OFFSET(ScanRequest, dataLength, 12);
TARN_ASSERT_OFFSET(ScanRequest, remoteAddress, 16);
TARN_ASSERT_OFFSET(ScanRequest, remotePort, 33);
TARN_ASSERT_OFFSET(ScanRequest, reserved, 35);
TARN_ASSERT_OFFSET(ScanRequest, stopBeforeCategories, 41);
TARN_ASSERT_OFFSET(ScanRequest, kind, 42);

/* Values of UrlVerdict.allow and, the first two, of LogonVerdict.action. */
enum {
    TARN_BLOCK = 0,
    TARN_ALLOW = 1,
    TARN_STOPPED_BEFORE_CATEGORIES = 9 /* the request asked for it; the categories are still to be judged */
};

/* Values of UrlVerdict.reason. */
enum {
    TARN_REASON_PHISHING = 0,               /* block: on the phishing list, or of the phishing category */
    TARN_REASON_MALICIOUS_CATEGORY = 1,     /* block: of the malicious category */
    TARN_REASON_MALICIOUS = 2,              /* block: on the malicious list, or matches a malicious pattern */
    TARN_REASON_SCHEDULE = 5,               /* block: outside the allowed time */
    TARN_REASON_PARENTAL_SITE = 6,          /* block: a site that parental control blocks */
    TARN_REASON_PARENTAL_CATEGORY = 7,      /* block: a category that parental control blocks */
    TARN_REASON_PHISHING_WHITE_LISTED = 8,  /* allow: a phishing site on a white list */
    TARN_REASON_MALICIOUS_WHITE_LISTED = 9, /* allow: a malicious site on a white list */
    TARN_REASON_HTTPS_INSPECTION = 15,      /* block: HTTPS inspection says so */
    TARN_REASON_IDS_BLOCKED = 22,           /* block: added by WSAddURLToIDSBlockedList */
    TARN_REASON_DEFAULT = 26                /* allow: no rule decided */
};

/* A malicious site's threat and URL, for reasons 2, 9 and 1 (1 leaves the name unwritten). */
typedef struct TARN_PACKED ThreatText {
    char name[50];
    char url[TARN_URL_CAPACITY];
} ThreatText;
TARN_ASSERT_SIZE(ThreatText, 1074);
TARN_ASSERT_OFFSET(ThreatText, name, 0);
TARN_ASSERT_OFFSET(ThreatText, url, 50);

/* A scan presets allow and reason; every other field is written only by the rule that needs it. */
typedef struct TARN_PACKED UrlVerdict {
    uint32_t allow;
    uint32_t reason;
    union {
        char url[TARN_URL_CAPACITY]; /* reasons 6, 15, 0, 8, 7 */
        ThreatText threat;           /* reasons 2, 9, 1 */
    } text;
    uint32_t categoryId;                 /* reason 7 */
    char16_t categoryName[100];          /* reason 7 */
    char16_t userName[260];              /* reasons 5, 6, 7, 15 */
    char blockedPath[TARN_URL_CAPACITY]; /* reason 22 */
    char blockedHost[TARN_URL_CAPACITY]; /* reason 22 */
    TarnSystemTime localTime;            /* reason 5 */
} UrlVerdict;
TARN_ASSERT_SIZE(UrlVerdict, 3870);
TARN_ASSERT_OFFSET(UrlVerdict, allow, 0);
TARN_ASSERT_OFFSET(UrlVerdict, reason, 4);
TARN_ASSERT_OFFSET(UrlVerdict, text, 8);
TARN_ASSERT_OFFSET(UrlVerdict, categoryId, 1082);
TARN_ASSERT_OFFSET(UrlVerdict, categoryName, 1086);
TARN_ASSERT_OFFSET(UrlVerdict, userName, 1286);
TARN_ASSERT_OFFSET(UrlVerdict, blockedPath, 1806);
TARN_ASSERT_OFFSET(UrlVerdict, blockedHost, 2830);
TARN_ASSERT_OFFSET(UrlVerdict, localTime, 3854);

/* How the feature that decided wants the user told, as the companion modules deliver it; what the two bytes mean is
 * theirs and the host's. They are written with the reasons of browsing protection (1, 2, 9), of anti-phishing (0, 8)
 * and of parental control (5, 6, 7), and left as they are with every other one. */
typedef struct TARN_PACKED PromptBytes {
    uint8_t report; /* low byte of the feature's 16-bit status */
    uint8_t prompt; /* high byte */
} PromptBytes;
TARN_ASSERT_SIZE(PromptBytes, 2);
TARN_ASSERT_OFFSET(PromptBytes, report, 0);
TARN_ASSERT_OFFSET(PromptBytes, prompt, 1);

/* Values of PacketVerdict.action on return. */
enum { TARN_PACKET_ALLOW = 1, TARN_PACKET_BLOCK = 4 };

/* Values of PacketVerdict.reason; further ones come from the packet-signature module. */
enum {
    TARN_PACKET_REASON_KNOWN_ATTACK = 4,    /* the module's: described before, so the texts are withheld */
    TARN_PACKET_REASON_RULE_EXCLUDED = 20,  /* an attack that is allowed: the user switched its rule off */
    TARN_PACKET_REASON_REMOTE_DESKTOP = 23, /* this and the following: a known malicious address reaches for a */
    TARN_PACKET_REASON_SMB = 25,            /* service of this machine */
    TARN_PACKET_REASON_SQL_SERVER = 27,
    TARN_PACKET_REASON_MYSQL = 28
};

/* What the packet scan found in one Ethernet frame. A scan that finds nothing writes action alone, so the host zeroes
 * the record before each call. */
typedef struct TARN_PACKED PacketVerdict {
    uint32_t action;
    uint32_t reason;
    uint16_t ruleId;
    uint8_t alertFlag;
    uint8_t filled; /* 1 whenever the library completed the record */
    uint8_t isRemoteDesktop;
    uint16_t remotePort;    /* host byte order */
    uint16_t localPort;     /* host byte order */
    uint32_t localAddress;  /* network byte order */
    uint32_t remoteAddress; /* network byte order */
    uint8_t sourceMac[6];
    char16_t ruleName[50];
    char16_t description[150];
    char16_t details[400];
} PacketVerdict;
TARN_ASSERT_SIZE(PacketVerdict, 1231);
TARN_ASSERT_OFFSET(PacketVerdict, action, 0);
TARN_ASSERT_OFFSET(PacketVerdict, reason, 4);
TARN_ASSERT_OFFSET(PacketVerdict, ruleId, 8);
TARN_ASSERT_OFFSET(PacketVerdict, alertFlag, 10);
TARN_ASSERT_OFFSET(PacketVerdict, filled, 11);
TARN_ASSERT_OFFSET(PacketVerdict, isRemoteDesktop, 12);
TARN_ASSERT_OFFSET(PacketVerdict, remotePort, 13);
TARN_ASSERT_OFFSET(PacketVerdict, localPort, 15);
TARN_ASSERT_OFFSET(PacketVerdict, localAddress, 17);
TARN_ASSERT_OFFSET(PacketVerdict, remoteAddress, 21);
TARN_ASSERT_OFFSET(PacketVerdict, sourceMac, 25);
TARN_ASSERT_OFFSET(PacketVerdict, ruleName, 31);
TARN_ASSERT_OFFSET(PacketVerdict, description, 131);
TARN_ASSERT_OFFSET(PacketVerdict, details, 431);

/* Values of SmbScanResult.resultKind and, for a file event, of eventClass. */
enum { TARN_SMB_NOTHING = 1, TARN_SMB_FILE_EVENT = 7, TARN_SMB_FILE_EVENT_CLASS = 16 };

/* Values of SmbScanResult.createAction. */
enum {
    TARN_SMB_CREATED = 1,
    TARN_SMB_OVERWRITTEN = 2 /* or replaced */
};

/* A file that an SMB server said it created or overwrote. Only resultKind is written without an event, and createAction
 * is left as it is when the server names another outcome, so the host zeroes the record before each call. */
typedef struct TARN_PACKED SmbScanResult {
    uint32_t resultKind;
    uint32_t eventClass;
    uint32_t sourceAddress;      /* the server, network byte order */
    uint32_t destinationAddress; /* the client, network byte order */
    char16_t sharePath[260];
    char16_t fileName[260];
    uint16_t createAction; /* TARN_SMB_CREATED or TARN_SMB_OVERWRITTEN */
} SmbScanResult;
TARN_ASSERT_SIZE(SmbScanResult, 1058);
TARN_ASSERT_OFFSET(SmbScanResult, resultKind, 0);
TARN_ASSERT_OFFSET(SmbScanResult, eventClass, 4);
TARN_ASSERT_OFFSET(SmbScanResult, sourceAddress, 8);
TARN_ASSERT_OFFSET(SmbScanResult, destinationAddress, 12);
TARN_ASSERT_OFFSET(SmbScanResult, sharePath, 16);
TARN_ASSERT_OFFSET(SmbScanResult, fileName, 536);
TARN_ASSERT_OFFSET(SmbScanResult, createAction, 1056);

/* Values of LogonEvent.eventCode. Which session events of Windows the codes 4 to 9 stand for is the host's choice; what
 * they do is fixed, and named here. "Judged" means that the account's times decide. Codes above 9 are allowed and only
 * remembered. */
enum {
    TARN_EVENT_TICK = 0,       /* a minute of use: counted and judged; 60 of them make an hour */
    TARN_EVENT_LOGON = 1,      /* logged on, judged; an account that is new is entered */
    TARN_EVENT_DISCONNECT = 2, /* logged off, allowed; an earlier refusal is taken back */
    TARN_EVENT_LOGOFF = 3,     /* the same */
    TARN_EVENT_LOGON_4 = 4,    /* as TARN_EVENT_LOGON */
    TARN_EVENT_LOGON_5 = 5,    /* as TARN_EVENT_LOGON */
    TARN_EVENT_ALLOWED_6 = 6,  /* logged on, allowed */
    TARN_EVENT_LOGON_7 = 7,    /* as TARN_EVENT_LOGON */
    TARN_EVENT_ALLOWED_8 = 8,  /* logged on, allowed */
    TARN_EVENT_JUDGED_9 = 9    /* logged on, judged; an account that is new is not entered */
};

/* A session event of an account: a logon, a lock, a tick of use. */
typedef struct TARN_PACKED LogonEvent {
    uint32_t eventCode;  /* TARN_EVENT_... */
    uint32_t sessionId;  /* of terminal services */
    uint8_t sid[64];     /* the account's security identifier, binary, as GetTokenInformation gives it */
    uint32_t accountTag; /* the host's own; handed back when the account is refused */
    char16_t userName[260];
} LogonEvent;
TARN_ASSERT_SIZE(LogonEvent, 596);
TARN_ASSERT_OFFSET(LogonEvent, eventCode, 0);
TARN_ASSERT_OFFSET(LogonEvent, sessionId, 4);
TARN_ASSERT_OFFSET(LogonEvent, sid, 8);
TARN_ASSERT_OFFSET(LogonEvent, accountTag, 72);
TARN_ASSERT_OFFSET(LogonEvent, userName, 76);

/* The value of LogonVerdict.reason. */
enum { TARN_REASON_PARENTAL_CONTROL = 19 };

/* Whether the account may use the machine now. What follows sessionId is written only on a block. */
typedef struct TARN_PACKED LogonVerdict {
    uint32_t action; /* TARN_ALLOW or TARN_BLOCK */
    uint32_t reason; /* TARN_REASON_PARENTAL_CONTROL */
    uint8_t reserved8;
    uint32_t sessionId;
    uint8_t sid[64];
    uint32_t accountTag;
    char16_t userName[260];
} LogonVerdict;
TARN_ASSERT_SIZE(LogonVerdict, 601);
TARN_ASSERT_OFFSET(LogonVerdict, action, 0);
TARN_ASSERT_OFFSET(LogonVerdict, reason, 4);
TARN_ASSERT_OFFSET(LogonVerdict, reserved8, 8);
TARN_ASSERT_OFFSET(LogonVerdict, sessionId, 9);
TARN_ASSERT_OFFSET(LogonVerdict, sid, 13);
TARN_ASSERT_OFFSET(LogonVerdict, accountTag, 77);
TARN_ASSERT_OFFSET(LogonVerdict, userName, 81);

/* A web address to block, as the host's intrusion detection hands it over; two texts are read. */
typedef struct TARN_PACKED IdsBlockRequest {
    uint8_t reserved[1223];
    char requestText[1024]; /* the address: host and path, or the path; " HTTP/1." and what follows is cut off */
    char hostName[1024];    /* empty: nothing is added */
} IdsBlockRequest;
TARN_ASSERT_SIZE(IdsBlockRequest, 3271);
TARN_ASSERT_OFFSET(IdsBlockRequest, reserved, 0);
TARN_ASSERT_OFFSET(IdsBlockRequest, requestText, 1223);
TARN_ASSERT_OFFSET(IdsBlockRequest, hostName, 2247);

#if !defined(__GNUC__)
#pragma pack(pop)
#endif

#endif /* TARN_RECORDS_H */
