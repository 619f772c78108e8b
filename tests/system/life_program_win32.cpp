// A host whose life does not end as it should: it unloads the library without ending it, or ends itself while
// the library runs. It writes what happens line by line; library_life_test starts it and reads them.
//   life_program CASE INSTALL_FOLDER
#include <atomic>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <windows.h>

#include "companions/scripted/companion_script.h"
#include "system/import_patch_win32.h"
#include "system/loaded_tarn_win32.h"
#include "system/private_registry_win32.h"

namespace tarn::system_test {
namespace {

constexpr DWORD kLongest = 15'000;
constexpr int kExitCode = 7;
constexpr int kFailed = 1;

void Say(const std::string& text) {
    const std::string line = text + "\n";
    DWORD written = 0;
    WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
}

std::atomic<bool> exiting{false};
HANDLE clockAsked = nullptr;
HANDLE workerThread = nullptr;

// One second before a range begins: the worker wakes every second.
void WINAPI StandingClock(SYSTEMTIME* time) {
    *time = {2026, 3, 3, 18, 11, 59, 59, 0};
    SetEvent(clockAsked);
}
HANDLE WINAPI WatchedCreateThread(SECURITY_ATTRIBUTES* attributes, SIZE_T stack, LPTHREAD_START_ROUTINE start,
                                  void* argument, DWORD flags, DWORD* id) {
    const HANDLE thread = CreateThread(attributes, stack, start, argument, flags, id);
    DuplicateHandle(GetCurrentProcess(), thread, GetCurrentProcess(), &workerThread, 0, FALSE, DUPLICATE_SAME_ACCESS);
    return thread;
}
BOOL WINAPI WatchedCloseHandle(HANDLE handle) {
    if (exiting) Say("closes a handle");
    return CloseHandle(handle);
}

// The library, started with a schedule; what it is made of is given back to nobody when the process ends.
class Host {
 public:
    explicit Host(const std::filesystem::path& install) {
        registry_.SetInstallPath(install.wstring() + L"\\");
        clockAsked = CreateEventW(nullptr, FALSE, FALSE, nullptr);
        Load();
        // They go with the module: nothing may be written back into it once it is unloaded.
        for (auto* patch : {new ImportPatch(loaded->Module(), "GetLocalTime", StandingClock),
                            new ImportPatch(loaded->Module(), "CreateThread", WatchedCreateThread),
                            new ImportPatch(loaded->Module(), "CloseHandle", WatchedCloseHandle)})
            if (!patch->IsInPlace()) Say("not patched");
        ScriptReset();
        script::Answers& answers = *ScriptAnswers();
        profile_.leading.profileSwitch = profile_.leading.scheduleSwitch = profile_.leading.categorySwitch = 1;
        for (auto& day : profile_.schedule) day = {1, &range_};
        answers.pcSettings.mode = TARN_PC_ONE_FOR_ALL;
        answers.pcSettings.entryCount = 1;
        answers.pcSettings.entries = &profile_;
        answers.bpStatus = 1;
        answers.listenerContext = this;
        answers.listener = [](void* self, const char* line) { static_cast<Host*>(self)->Hear(line); };
    }
    bool Start() {
        std::uint32_t error = 0;
        const bool started = loaded->Functions().WSInit(TARN_START_RESTART, &error) == 1 && workerThread != nullptr;
        Say(started ? "started" : "not started");
        return started;
    }
    void Load() { loaded = std::make_unique<LoadedTarn>(BuiltTarn()); }
    void StopScheduling() { profile_.leading.scheduleSwitch = 0; }

    // The module call at which the calling thread stays for good.
    void StayIn(const char* call) { stayIn_ = call; }
    void WaitUntilSomebodyStays() { WaitForSingleObject(stays_, kLongest); }

    void Scan() {
        std::string text = "GET /x HTTP/1.1\r\nHost: a.example\r\n\r\n";
        ScanRequest request{};
        request.data = reinterpret_cast<std::uint8_t*>(text.data());
        request.dataLength = static_cast<std::uint32_t>(text.size());
        request.remoteAddress = {TARN_FAMILY_IPV4, {203, 0, 113, 5}};
        request.kind = TARN_KIND_HTTP;
        UrlVerdict verdict;
        PromptBytes prompt;
        loaded->Functions().WSScanUrl(&request, &verdict, &prompt);
    }
    void Add(int number) {
        IdsBlockRequest request{};
        std::strcpy(request.hostName, "ids.example");
        std::strcpy(request.requestText, ("/n" + std::to_string(number) + " HTTP/1.1").c_str());
        loaded->Functions().WSAddURLToIDSBlockedList(&request);
    }
    void LogOn(int number) {
        LogonEvent event{};
        event.eventCode = 5;
        event.sid[0] = event.sid[1] = 1;
        std::memcpy(event.sid + 8, &number, sizeof number);
        LogonVerdict verdict;
        loaded->Functions().WSScanLogonEventForPCCTRL(&event, &verdict);
    }

    std::unique_ptr<LoadedTarn> loaded;

 private:
    void Hear(const std::string& line) {
        if (exiting) Say("module call: " + line);
        if (stayIn_.empty() || !line.starts_with(stayIn_)) return;
        SetEvent(stays_);
        WaitForSingleObject(never_, INFINITE);
    }

    PrivateRegistry registry_;
    PcUserEntryRecord profile_{};
    TimeRange range_{12, 0, 23, 59};
    std::string stayIn_;
    HANDLE stays_ = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    HANDLE never_ = CreateEventW(nullptr, TRUE, FALSE, nullptr);
};

[[noreturn]] void Exit() {
    Say("exit begins");
    exiting = true;
    ExitProcess(kExitCode);
}

// True when the worker did one of the two: it took another turn, or it ended.
bool WorkerGoesOnOrEnds() {
    const HANDLE either[] = {clockAsked, workerThread};
    switch (WaitForMultipleObjects(2, either, FALSE, kLongest)) {
        case WAIT_OBJECT_0:
            Say("the worker took a turn");
            return true;
        case WAIT_OBJECT_0 + 1:
            Say("the worker ended");
            return true;
        default:
            Say("nothing of the worker is seen");
            return false;
    }
}

int Unload(Host& host) {
    host.loaded.reset();
    Say("unloaded");
    for (int turn = 0; turn < 3; ++turn) {
        ResetEvent(clockAsked);
        if (!WorkerGoesOnOrEnds()) return kFailed;
    }
    return 0;
}

int UnloadLoadAndEnd(Host& host) {
    host.loaded.reset();
    ResetEvent(clockAsked);
    if (!WorkerGoesOnOrEnds()) return kFailed;
    host.Load();
    host.loaded->Functions().WSDeinit(nullptr);
    if (WaitForSingleObject(workerThread, kLongest) != WAIT_OBJECT_0) return kFailed;
    Say("the worker ended at last");
    host.loaded.reset();
    if (GetModuleHandleW(L"tarn.dll") != nullptr) return kFailed;
    Say("the library is gone");
    return 0;
}

int ExitWhileSomebodyStaysIn(Host& host, const char* call, const std::function<void()>& enter) {
    host.StayIn(call);
    std::thread(enter).detach();
    host.WaitUntilSomebodyStays();
    Exit();
}

int ExitAmidCalls(Host& host) {
    for (int thread = 0; thread < 4; ++thread)
        std::thread([&host, thread] {
            for (int i = 0;; ++i) {
                host.Scan();
                host.Add(i % 4000);
                host.LogOn(i % 4000 * 4 + thread);
            }
        }).detach();
    for (int turn = 0; turn < 2; ++turn)
        if (!WorkerGoesOnOrEnds()) return kFailed;
    Exit();
}

int Run(const std::string& what, const std::filesystem::path& install) {
    Host& host = *new Host(install);
    if (!host.Start()) return kFailed;
    if (what == "unload") return Unload(host);
    if (what == "unload_load_end") return UnloadLoadAndEnd(host);
    if (what == "exit") Exit();
    if (what == "exit_after_unload") {
        host.loaded.reset();
        Exit();
    }
    if (what == "exit_in_scan")
        return ExitWhileSomebodyStaysIn(host, "SCGetURLCategories", [&host] {
            host.loaded->Functions().WSDeinit(nullptr);
            host.StopScheduling();
            std::uint32_t error = 0;
            host.loaded->Functions().WSInit(TARN_START_RESTART, &error);
            host.Scan();
        });
    if (what == "exit_in_save")
        return ExitWhileSomebodyStaysIn(host, "WritePCSystemControlSettings",
                                        [&host] { host.loaded->Functions().WSShutDown(0, 0, 0, 0); });
    if (what == "exit_amid_calls") return ExitAmidCalls(host);
    return kFailed;
}

}  // namespace
}  // namespace tarn::system_test

int main(int count, char** arguments) {
    if (count != 3) return tarn::system_test::kFailed;
    return tarn::system_test::Run(arguments[1], arguments[2]);
}
