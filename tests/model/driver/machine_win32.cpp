#include "model/driver/machine_win32.h"

#include <fstream>
#include <iphlpapi.h>
#include <set>
#include <stdexcept>

#include "tarn/companion_modules.h"

#include "companions/scripted/companion_script.h"

namespace tarn::model {
namespace {

#define TARN_FILE(module, file, functions) file,
constexpr const char* kModules[] = {TARN_COMPANION_FILES(TARN_FILE)};
#undef TARN_FILE

struct {
    SYSTEMTIME clock{2026, 3, 3, 4, 12, 0, 0, 0};
    std::set<std::string> refusedFiles;
    std::set<std::string> hiddenFunctions;
    bool hasService = false;

    HANDLE thread = nullptr;  // the last one, a handle of our own
    HANDLE isWaiting = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    HANDLE wake = CreateEventW(nullptr, FALSE, FALSE, nullptr);
    DWORD wait = 0;
} script;

void WINAPI Clock(SYSTEMTIME* time) {
    *time = script.clock;
}

HMODULE WINAPI LoadModule(const wchar_t* path, HANDLE file, DWORD flags) {
    if (script.refusedFiles.contains(std::filesystem::path(path).filename().string())) {
        SetLastError(ERROR_MOD_NOT_FOUND);
        return nullptr;
    }
    return LoadLibraryExW(path, file, flags);
}

FARPROC WINAPI FindFunction(HMODULE module, const char* name) {
    const bool isOrdinal = reinterpret_cast<std::uintptr_t>(name) < 0x10000;
    if (!isOrdinal && script.hiddenFunctions.contains(name)) return nullptr;
    return GetProcAddress(module, name);
}

// Any value that is no null serves: the library hands the handles to these three functions alone.
SC_HANDLE WINAPI OpenManager(const wchar_t*, const wchar_t*, DWORD) {
    return reinterpret_cast<SC_HANDLE>(&script);
}
SC_HANDLE WINAPI OpenAgent(SC_HANDLE, const wchar_t* name, DWORD) {
    return script.hasService && std::wstring(name) == L"CLIENT AGENT 5.1" ? reinterpret_cast<SC_HANDLE>(&script)
                                                                          : nullptr;
}
BOOL WINAPI CloseAgent(SC_HANDLE) {
    return TRUE;
}

DWORD WINAPI DropConnection(MIB_TCPROW* row) {
    ScriptNote(("SetTcpEntry " + HexOf(reinterpret_cast<const std::uint8_t*>(row), sizeof *row)).c_str());
    return ScriptResult("SetTcpEntry") != 0 ? 0 : ERROR_ACCESS_DENIED;
}

HANDLE WINAPI StartThread(SECURITY_ATTRIBUTES* attributes, SIZE_T stack, LPTHREAD_START_ROUTINE start, void* argument,
                          DWORD flags, DWORD* id) {
    ResetEvent(script.isWaiting);
    ResetEvent(script.wake);
    const HANDLE thread = CreateThread(attributes, stack, start, argument, flags, id);
    if (script.thread != nullptr) CloseHandle(script.thread);
    script.thread = nullptr;
    DuplicateHandle(GetCurrentProcess(), thread, GetCurrentProcess(), &script.thread, 0, FALSE, DUPLICATE_SAME_ACCESS);
    return thread;
}

// The schedule thread alone waits for a time.
DWORD WINAPI Wait(HANDLE object, DWORD milliseconds) {
    if (milliseconds == INFINITE) return WaitForSingleObject(object, INFINITE);
    script.wait = milliseconds;
    SetEvent(script.isWaiting);
    const HANDLE either[] = {object, script.wake};
    const DWORD which = WaitForMultipleObjects(2, either, FALSE, INFINITE);
    ResetEvent(script.isWaiting);
    return which == WAIT_OBJECT_0 ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
}

}  // namespace

Machine::Machine(const std::filesystem::path& library) : path_(library) {
    folder_ = system_test::OwnFolder() / ("model-" + std::to_string(GetCurrentProcessId()));
    std::filesystem::remove_all(folder_);
    std::filesystem::create_directories(folder_);
    for (const char* module : kModules)
        std::filesystem::copy_file(system_test::OwnFolder() / "scripted" / module, folder_ / module);
    if (!registry_.IsThere()) throw std::runtime_error("there is no private registry");
    SetInstalled(true);
}

Machine::~Machine() {
    Unload();
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
}

void Machine::Load() {
    Unload();
    library_ = std::make_unique<system_test::LoadedTarn>(path_);
    const HMODULE module = library_->Module();
    if (module == nullptr) throw std::runtime_error("tarn.dll does not load");
    patches_.emplace_back(module, "GetLocalTime", Clock);
    patches_.emplace_back(module, "LoadLibraryExW", LoadModule);
    patches_.emplace_back(module, "GetProcAddress", FindFunction);
    patches_.emplace_back(module, "OpenSCManagerW", OpenManager);
    patches_.emplace_back(module, "OpenServiceW", OpenAgent);
    patches_.emplace_back(module, "CloseServiceHandle", CloseAgent);
    patches_.emplace_back(module, "SetTcpEntry", DropConnection);
    patches_.emplace_back(module, "CreateThread", StartThread);
    patches_.emplace_back(module, "WaitForSingleObject", Wait);
    for (const system_test::ImportPatch& patch : patches_)
        if (!patch.IsInPlace()) throw std::runtime_error("a call of the system is not in the script's hands");
}

const system_test::Exports& Machine::Library() {
    if (library_ == nullptr) Load();
    return library_->Functions();
}

void Machine::Unload() {
    if (library_ == nullptr) return;
    library_->Functions().WSDeinit(nullptr);
    patches_.clear();
    library_.reset();
    if (script.thread != nullptr) CloseHandle(script.thread);
    script.thread = nullptr;
}

void Machine::WriteFile(const std::string& name, const Bytes& bytes) {
    std::ofstream out(folder_ / name, std::ios::binary);
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!out) throw std::runtime_error("cannot write " + name);
    files_.push_back(name);
    // The system keeps the last ini file that was read.
    WritePrivateProfileStringW(nullptr, nullptr, nullptr, (folder_ / name).c_str());
}

void Machine::RemoveFile(const std::string& name) {
    std::filesystem::remove(folder_ / name);
    WritePrivateProfileStringW(nullptr, nullptr, nullptr, (folder_ / name).c_str());
}

void Machine::SetInstalled(bool isThere) {
    if (isThere)
        registry_.SetInstallPath(folder_.wstring() + L"\\");
    else
        registry_.RemoveInstallPath();
}

void Machine::RegisterAgent(const std::string& executable) {
    registry_.RegisterAgent({executable.begin(), executable.end()});
}

void Machine::Reset() {
    for (const std::string& name : files_) RemoveFile(name);
    files_.clear();
    script.refusedFiles.clear();
    script.hiddenFunctions.clear();
    script.hasService = false;
    SetInstalled(true);
}

void Machine::SetClock(const SYSTEMTIME& time) {
    script.clock = time;
}

void Machine::RefuseFile(const std::string& name) {
    script.refusedFiles.insert(name);
}

void Machine::HideFunction(const std::string& name) {
    script.hiddenFunctions.insert(name);
}

void Machine::SetService(bool isThere) {
    script.hasService = isThere;
}

std::string Machine::Worker() {
    if (script.thread == nullptr) return "none";
    const HANDLE either[] = {script.thread, script.isWaiting};
    if (WaitForMultipleObjects(2, either, FALSE, INFINITE) != WAIT_OBJECT_0)
        return "waits " + std::to_string(script.wait);
    DWORD code = 0;
    GetExitCodeThread(script.thread, &code);
    return "ended " + std::to_string(code);
}

void Machine::WakeWorker() {
    if (!Worker().starts_with("waits")) return;
    ResetEvent(script.isWaiting);
    SetEvent(script.wake);
}

}  // namespace tarn::model
