/* A companion module in C: the categorisation module sitecls.dll, which answers from site-categories.txt beside it.
 * The text is read at SCInit and kept until SCDeinit. Look-ups come from many threads at once and only read it. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <tarn/companions.h>
#include <windows.h>

enum { kMaxSites = 1000, kMaxCategories = 8 };

typedef struct Site {
    char host[256];
    uint16_t categories[kMaxCategories];
    uint16_t count;
} Site;

static Site sites[kMaxSites];
static size_t siteCount;

/* ---- The text file ---- */

static FILE* OpenBesideModule(void) {
    wchar_t path[MAX_PATH];
    wchar_t* name;
    HMODULE self = NULL;
    const DWORD flags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    if (!GetModuleHandleExW(flags, (const wchar_t*)(void*)&siteCount, &self)) return NULL;
    const DWORD length = GetModuleFileNameW(self, path, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) return NULL;
    name = wcsrchr(path, L'\\');
    if (name == NULL || (size_t)(name + 1 - path) + wcslen(L"site-categories.txt") >= MAX_PATH) return NULL;
    wcscpy(name + 1, L"site-categories.txt");
    return _wfopen(path, L"r");
}

static void ReadSite(char* line) {
    char* text = strtok(line, " \t\r\n");
    Site* site = &sites[siteCount];
    if (text == NULL || text[0] == '#' || siteCount == kMaxSites || strlen(text) >= sizeof site->host) return;
    strcpy(site->host, text);
    site->count = 0;
    while ((text = strtok(NULL, " \t\r\n")) != NULL && site->count < kMaxCategories)
        site->categories[site->count++] = (uint16_t)strtoul(text, NULL, 10);
    ++siteCount;
}

/* ---- Look-ups ---- */

/* The host of "https://www.bad.example:443/path" is www.bad.example. */
static const char* HostIn(const char* text, size_t* length) {
    const char* scheme = strstr(text, "://");
    if (scheme != NULL) text = scheme + 3;
    *length = strcspn(text, "/:?#");
    return text;
}

static const Site* FindSite(const char* host, size_t length) {
    for (size_t i = 0; i < siteCount; ++i) {
        const size_t own = strlen(sites[i].host);
        if (own > length || _strnicmp(host + length - own, sites[i].host, own) != 0) continue;
        if (own == length || host[length - own - 1] == '.') return &sites[i];
    }
    return NULL;
}

/* ---- What tarn.dll binds; all six have to be there ---- */

uint8_t TARN_CALL SCInit(uint8_t onlineAllowed, uint32_t* error) {
    char line[512];
    FILE* file = OpenBesideModule();
    (void)onlineAllowed; /* this module never asks anybody */
    siteCount = 0;
    if (file == NULL) {
        *error = ERROR_FILE_NOT_FOUND;
        return 0; /* the module is not loaded, and WSInit fails */
    }
    while (fgets(line, sizeof line, file) != NULL) ReadSite(line);
    fclose(file);
    return 1;
}

void TARN_CALL SCDeinit(uint32_t* error) {
    *error = 0;
    siteCount = 0;
}

/* The array is the module's and comes back through SCReleaseCategories. From the process heap: another instance of this
 * module may have to release it. */
uint8_t TARN_CALL SCGetURLCategories(const char* hostOrUrl, uint16_t** categories, uint16_t* count, uint32_t mode) {
    size_t length = 0;
    const char* host = HostIn(hostOrUrl, &length);
    const Site* site = FindSite(host, length);
    (void)mode; /* a text file answers at once; TARN_LOOKUP_AHEAD_OF_CONNECTION would be the time to fetch */
    *categories = NULL;
    *count = 0;
    if (site == NULL || site->count == 0) return 1; /* "no category" is an answer too */
    *categories = HeapAlloc(GetProcessHeap(), 0, site->count * sizeof **categories);
    if (*categories == NULL) return 0;
    memcpy(*categories, site->categories, site->count * sizeof **categories);
    *count = site->count;
    return 1;
}

uint8_t TARN_CALL SCGetCategoryName(uint16_t category, char16_t* buffer, uint32_t capacity) {
    wchar_t name[32];
    const int length = swprintf(name, sizeof name / sizeof name[0], L"Category %u", (unsigned)category);
    if (length < 0 || (uint32_t)length >= capacity) return 0;
    memcpy(buffer, name, ((size_t)length + 1) * sizeof *buffer);
    return 1;
}

uint8_t TARN_CALL SCReleaseCategories(uint16_t* categories) {
    return HeapFree(GetProcessHeap(), 0, categories) != 0;
}

uint8_t TARN_CALL SCSaveCacheFile(uint64_t a, uint64_t b, uint64_t c, uint64_t d) {
    (void)a, (void)b, (void)c, (void)d; /* nothing is cached */
    return 1;
}
