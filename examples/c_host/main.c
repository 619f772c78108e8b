/* A host in C: starts tarn, has a web address and an Ethernet frame judged, says the verdicts in words, ends.
 *
 *     c_host [URL]        http:// only, for example  c_host http://lantern.example/redirect
 *
 * Exit code: 0 both were judged, 1 tarn did not start, 2 the URL is none, 3 there was no verdict. */
#include <stdio.h>
#include <string.h>
#include <tarn/tarn.h>
#include <windows.h>

#define APP_PATHS "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\CoreScan.exe"

/* ---- Start ---- */

/* WSInit says no more than "no", so what can be wrong is looked at here. */
static void ExplainStart(uint32_t error) {
    static const wchar_t* const kNeeded[] = {L"setrd.dll", L"statrd.dll", L"pktsig.dll", L"sitecls.dll"};
    wchar_t folder[260] = L"";
    DWORD bytes = sizeof folder - sizeof(wchar_t);
    size_t missing = 0;
    fprintf(stderr, "tarn does not start (WSInit false, error %u).\n", (unsigned)error);
    if (RegGetValueW(HKEY_LOCAL_MACHINE, L"" APP_PATHS, L"Path", RRF_RT_REG_SZ, NULL, folder, &bytes) !=
        ERROR_SUCCESS) {
        fprintf(stderr,
                "No install folder is registered. Set the value \"Path\" of the key\n"
                "  HKEY_LOCAL_MACHINE\\" APP_PATHS
                "\nto the folder of the companion modules, with a backslash at its end, as an administrator:\n"
                "  reg add \"HKLM\\" APP_PATHS "\" /v Path /d \"C:\\Program Files\\tarn\\bin\\\\\"\n");
        return;
    }
    fprintf(stderr, "The registered install folder is \"%ls\".\n", folder);
    if (folder[0] == L'\0' || folder[wcslen(folder) - 1] != L'\\') {
        fprintf(stderr, "It lacks the backslash at its end: file names are put right behind it.\n");
        return;
    }
    for (size_t i = 0; i < sizeof kNeeded / sizeof kNeeded[0]; ++i) {
        wchar_t file[520];
        swprintf(file, sizeof file / sizeof file[0], L"%ls%ls", folder, kNeeded[i]);
        if (GetFileAttributesW(file) != INVALID_FILE_ATTRIBUTES) continue;
        fprintf(stderr, "%ls is missing there.\n", kNeeded[i]);
        ++missing;
    }
    if (missing == 0) fprintf(stderr, "The four needed modules are there: one is damaged, or does not start itself.\n");
}

/* ---- Words ---- */

static const char* ReasonWords(uint32_t reason) {
    switch (reason) {
        case TARN_REASON_PHISHING:
            return "phishing site";
        case TARN_REASON_MALICIOUS_CATEGORY:
            return "site of the malicious category";
        case TARN_REASON_MALICIOUS:
            return "malicious site";
        case TARN_REASON_SCHEDULE:
            return "outside the allowed time";
        case TARN_REASON_PARENTAL_SITE:
            return "site blocked by parental control";
        case TARN_REASON_PARENTAL_CATEGORY:
            return "category blocked by parental control";
        case TARN_REASON_PHISHING_WHITE_LISTED:
            return "phishing site on a white list";
        case TARN_REASON_MALICIOUS_WHITE_LISTED:
            return "malicious site on a white list";
        case TARN_REASON_HTTPS_INSPECTION:
            return "HTTPS inspection";
        case TARN_REASON_IDS_BLOCKED:
            return "blocked by intrusion prevention";
        default:
            return "no rule decided";
    }
}

/* ---- A web address ---- */

/* Splits http://host/path. The path is "/" when the URL has none. */
static int SplitUrl(const char* url, char* host, size_t hostCapacity, const char** path) {
    static const char kScheme[] = "http://";
    size_t length;
    if (strncmp(url, kScheme, sizeof kScheme - 1) != 0) return 0;
    url += sizeof kScheme - 1;
    length = strcspn(url, "/");
    if (length == 0 || length >= hostCapacity) return 0;
    memcpy(host, url, length);
    host[length] = '\0';
    *path = url[length] == '\0' ? "/" : url + length;
    return 1;
}

/* The first bytes of a connection, as a filter driver or a proxy would see them. */
static int JudgeUrl(const char* host, const char* path) {
    char data[2048];
    ScanRequest request = {0};
    UrlVerdict verdict = {0};
    PromptBytes prompt = {0};
    /* snprintf leaves room for its NUL: the spare byte behind the data that a scan writes. */
    const int length = snprintf(data, sizeof data, "GET %s HTTP/1.1\r\nHost: %s\r\n\r\n", path, host);
    if (length < 0 || (size_t)length >= sizeof data) return 0;

    request.processId = GetCurrentProcessId(); /* a real host knows which program asks */
    request.data = (uint8_t*)data;
    request.dataLength = (uint32_t)length;
    request.remoteAddress.family = TARN_FAMILY_IPV4;
    memcpy(request.remoteAddress.bytes, "\xC0\x00\x02\x01", 4); /* 192.0.2.1 */
    request.remotePort = (uint16_t)(80 << 8);                   /* port 80 in network byte order */
    request.kind = TARN_KIND_HTTP;
    if (!WSScanUrl(&request, &verdict, &prompt)) {
        /* No verdict. This host lets pass what could not be judged, and says so. */
        printf("http://%s%s: not judged, let pass\n", host, path);
        return 0;
    }
    printf("http://%s%s: %s (%s", host, path, verdict.allow == TARN_BLOCK ? "BLOCKED" : "allowed",
           ReasonWords(verdict.reason));
    if (verdict.reason == TARN_REASON_MALICIOUS || verdict.reason == TARN_REASON_MALICIOUS_WHITE_LISTED)
        printf(", %s", verdict.text.threat.name);
    printf(")\n");
    return 1;
}

/* ---- A frame ---- */

/* Ethernet, IPv4 and TCP around a request that climbs out of the folder of its site; 198.51.100.7 sends it to port 80
 * of this machine. The checksums are 0: nobody here reads them. */
static size_t BuildFrame(uint8_t* frame) {
    static const char kPayload[] = "GET /../secret HTTP/1.1\r\n\r\n";
    static const uint8_t kHeaders[] = {
        2,    0,    0,   0,  0,  1, 2, 0, 0,  0, 0, 2, 0x08, 0x00,                       /* Ethernet: to, from, IPv4 */
        0x45, 0,    0,   0,  0,  0, 0, 0, 64, 6, 0, 0,                                   /* IPv4: TCP */
        198,  51,   100, 7,  10, 0, 0, 5,                                                /* from, to */
        0xC3, 0x50, 0,   80, 0,  0, 0, 1, 0,  0, 0, 1, 0x50, 0x18, 0x20, 0, 0, 0, 0, 0}; /* TCP: 50000 to 80 */
    const size_t ipLength = sizeof kHeaders - 14 + sizeof kPayload - 1;
    memcpy(frame, kHeaders, sizeof kHeaders);
    memcpy(frame + sizeof kHeaders, kPayload, sizeof kPayload - 1);
    frame[16] = (uint8_t)(ipLength >> 8);
    frame[17] = (uint8_t)ipLength;
    return sizeof kHeaders + sizeof kPayload - 1;
}

static int JudgeFrame(void) {
    uint8_t frame[256];
    PacketVerdict verdict = {0}; /* only the action is written when nothing is found */
    char16_t name[sizeof verdict.ruleName / sizeof(char16_t)];
    const size_t length = BuildFrame(frame);
    const uint16_t ruleId = 80; /* the rule whose texts go with what is found: here that of the port */
    if (!WSScanPacket(frame, (uint32_t)length, ruleId, TARN_INBOUND, 0, &verdict)) {
        printf("frame to port 80: not judged, let pass\n");
        return 0;
    }
    if (verdict.action != TARN_PACKET_BLOCK) {
        printf("frame to port 80: allowed\n");
        return 1;
    }
    /* Texts of the packed record stand at odd addresses: copy them before use. */
    memcpy(name, verdict.ruleName, sizeof name);
    printf("frame to port 80: BLOCKED (reason %u, rule %u: %ls)\n", (unsigned)verdict.reason, (unsigned)verdict.ruleId,
           (const wchar_t*)name);
    return 1;
}

int main(int argc, char** argv) {
    char host[256];
    const char* path = NULL;
    uint32_t error = 0;
    int judged = 1;
    if (!SplitUrl(argc > 1 ? argv[1] : "http://lantern.example/redirect", host, sizeof host, &path)) {
        fprintf(stderr, "usage: c_host [URL], the URL as http://host/path\n");
        return 2;
    }
    printf("tarn %s\n", TARN_VERSION_STRING);
    fflush(stdout);
    if (!WSInit(TARN_START_RESTART, &error)) {
        ExplainStart(error);
        return 1;
    }
    judged &= JudgeUrl(host, path);
    judged &= JudgeFrame();
    WSDeinit(&error); /* saves what the next start needs, and unloads the modules */
    return judged ? 0 : 3;
}
