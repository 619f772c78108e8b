/* The plain numbers that a host hands to the exports. The numbers inside a record stand beside it in records.h, those
 * of the companion modules in companion_records.h. Usable from C11 and C++20. */
#ifndef TARN_VALUES_H
#define TARN_VALUES_H

/* The mode of WSInit. A host that was only restarted takes the second one. */
enum {
    TARN_START_FRESH = 0,  /* no saved DNS answers, and the user's white list is emptied for good (managed clients keep
                              it) */
    TARN_START_RESTART = 1 /* with the DNS answers that were saved; the user's white list stays */
};

/* The kind of WSSettingsChanged: which setting has changed. */
enum {
    TARN_SETTINGS_ANTI_PHISHING = 0,        /* on or off, and its prompt bytes */
    TARN_SETTINGS_BROWSING_PROTECTION = 1,  /* on or off, and its prompt bytes */
    TARN_SETTINGS_IDS_STATUS = 2,           /* intrusion prevention on or off */
    TARN_SETTINGS_USER_WHITE_LIST = 3,      /* the user's white list */
    TARN_SETTINGS_PARENTAL_CONTROL = 4,     /* all of parental control */
    TARN_SETTINGS_IDS_SETTINGS = 5,         /* the alert byte of intrusion prevention */
    TARN_SETTINGS_HTTPS_INSPECTION = 6,     /* HTTPS inspection: its module is loaded anew */
    TARN_SETTINGS_HTTPS_INSPECTION_TOO = 7, /* the same */
    TARN_SETTINGS_EVERYTHING = 8            /* all records; HTTPS inspection and the signature modules stay */
};

/* The bits of WSUpdateSettingsChanged's mask: which files or records were updated. Other bits are ignored. */
enum {
    TARN_UPDATED_PACKET_SIGNATURES = 0x01,   /* pktsig.dll */
    TARN_UPDATED_SETTINGS_READER = 0x02,     /* setrd.dll; the records that were read stay in use */
    TARN_UPDATED_CATEGORISATION = 0x04,      /* sitecls.dll */
    TARN_UPDATED_URL_PATTERNS = 0x08,        /* urlsig.dll */
    TARN_UPDATED_HTTPS_INSPECTION = 0x10,    /* tlsinsp.dll, whatever the system */
    TARN_UPDATED_STATUS_READER = 0x20,       /* statrd.dll; the records that were read stay in use */
    TARN_UPDATED_BROWSING_PROTECTION = 0x40, /* the list of malicious sites */
    TARN_UPDATED_CATEGORISATION_TOO = 0x80,  /* as 0x04; both together reload it once */
    TARN_UPDATED_IDS_RULES = 0x1000          /* the IDS rules */
};

/* Which way a frame went: inbound of WSScanPacket, direction of WSScanSMBPacket. */
enum { TARN_OUTBOUND = 0, TARN_INBOUND = 1 };

#endif /* TARN_VALUES_H */
