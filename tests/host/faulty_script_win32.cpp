// Takes the place of companion_script.dll: the scripted modules then answer in good order, but for the one fault that
// the variable TARN_SCRIPTED_FAULT names. Nothing is journalled, so that nothing but a fault stays behind.
#include <atomic>
#include <cstring>
#include <string>
#include <windows.h>

#include "companions/scripted/companion_script.h"

namespace {

constexpr std::uint32_t kCrcA = 0xE8B7BE43;  // of "a"
constexpr std::uint32_t kCrcB = 0x71BEEFF9;  // of "b"
constexpr std::size_t kLost = 40000;

std::atomic<std::uintptr_t> nowhere = 8;  // an address that nobody has
char hostA[] = "a";
char hostB[] = "b";

struct Faulty {
    Faulty() {
        char text[64] = "";
        GetEnvironmentVariableA("TARN_SCRIPTED_FAULT", text, sizeof text);
        fault = text;
        answers.cloudStatus = 1;
        answers.packetVerdict.action = TARN_SIGNATURE_NO_ATTACK;
        answers.categories[0] = 7;
        answers.categories[1] = 9;
        answers.categoryCount = 2;
        const bool isUnsorted = fault == "unsorted";
        sites[isUnsorted ? 1 : 0] = {1, kCrcB, hostB, nullptr};
        sites[isUnsorted ? 0 : 1] = {1, kCrcA, hostA, nullptr};
        answers.bpSettings = {2, sites};
        std::memset(entries, fault == "unterminated" ? 'x' : 0, sizeof entries);
        std::memcpy(entries[0], "a", 2);
        entries[1][0] = 'b';
        answers.bpUserWhiteList = {2, entries};
        if (fault == "null-list") answers.apSettings = {3, nullptr};
        chain[0].next = &chain[1];
        profile.allowedSites = {fault == "short-chain" ? 5U : fault == "long-chain" ? 1U : 2U, chain};
        answers.pcSettings.mode = TARN_PC_ONE_FOR_ALL;
        answers.pcSettings.entryCount = 1;
        answers.pcSettings.entries = &profile;
    }

    std::string fault;
    tarn::script::Answers answers{};
    ThreatSiteEntry sites[2]{};
    char entries[2][TARN_URL_CAPACITY];
    UserUrlEntry chain[2]{};
    PcUserEntryRecord profile{};
    std::atomic<DWORD> firstThread = 0;
};
Faulty faulty;

bool IsTold(const char* fault, const char* line, const char* function) {
    return faulty.fault == fault && std::strncmp(line, function, std::strlen(function)) == 0;
}

}  // namespace

extern "C" {

tarn::script::Answers* ScriptAnswers() {
    return &faulty.answers;
}
void ScriptReset() {}
void ScriptSetResult(const char*, std::uint32_t) {}
std::uint32_t ScriptResult(const char* function) {
    return faulty.fault == "no-start" && std::strcmp(function, "SCInit") == 0 ? 0 : 1;
}
std::size_t ScriptJournal(char*, std::size_t) {
    return 0;
}

void ScriptNote(const char* line) {
    if (IsTold("crash", line, "ReadBPSettings")) *reinterpret_cast<volatile int*>(nowhere.load()) = 1;
    if (IsTold("exit", line, "ReadBPSettings")) ExitProcess(0);
    if (IsTold("hang", line, "ReadIDSSettings")) Sleep(INFINITE);
    if (IsTold("leak", line, "ReadAPSettings")) HeapAlloc(GetProcessHeap(), 0, kLost);
    if (IsTold("threads", line, "WSCheckURLMaliciousPattern")) {
        DWORD nobody = 0;
        faulty.firstThread.compare_exchange_strong(nobody, GetCurrentThreadId());
        if (faulty.firstThread != GetCurrentThreadId()) faulty.answers.malicious = 1;
    }
}

}  // extern "C"
