#include "host/companion_kit/companion_probe_win32.h"

#include <algorithm>
#include <cstdio>
#include <io.h>
#include <type_traits>
#include <vector>
#include <windows.h>

#include "base/text.h"
#include "host/companion_kit/module_facts.h"
#include "host/companion_kit/probe.h"
#include "host/companion_kit/probe_lines.h"
#include "host/utf8_win32.h"

namespace tarn::host {

namespace {

// Lines on what was the standard output; what modules print goes to the error output from then on.
class LineReport : public ProbeReport {
 public:
    LineReport() {
        HANDLE self = GetCurrentProcess();
        DuplicateHandle(self, GetStdHandle(STD_OUTPUT_HANDLE), self, &lines_, 0, FALSE, DUPLICATE_SAME_ACCESS);
        SetStdHandle(STD_OUTPUT_HANDLE, GetStdHandle(STD_ERROR_HANDLE));
        _dup2(_fileno(stderr), _fileno(stdout));
    }
    void Calling(std::string_view function) override { Write(CallLine(function)); }
    void Add(const CompanionFinding& finding) override { Write(FindingLine(finding)); }
    void End() { Write(EndLine()); }

 private:
    void Write(const std::string& line) {
        DWORD written = 0;
        WriteFile(lines_, line.data(), static_cast<DWORD>(line.size()), &written, nullptr);
    }

    HANDLE lines_ = nullptr;
};

std::vector<HANDLE> Heaps() {
    std::vector<HANDLE> heaps(64);
    const DWORD count = GetProcessHeaps(static_cast<DWORD>(heaps.size()), heaps.data());
    heaps.resize(std::min<std::size_t>(count, heaps.size()));
    return heaps;
}

bool MayBeRead(const MEMORY_BASIC_INFORMATION& region) {
    constexpr DWORD kReadable = PAGE_READONLY | PAGE_READWRITE | PAGE_WRITECOPY | PAGE_EXECUTE_READ |
                                PAGE_EXECUTE_READWRITE | PAGE_EXECUTE_WRITECOPY;
    return region.State == MEM_COMMIT && (region.Protect & kReadable) != 0 && (region.Protect & PAGE_GUARD) == 0;
}

class LoadedWorld : public ProbeWorld {
 public:
    LoadedWorld(std::wstring file, std::function<void(HMODULE)> bind)
        : file_(std::move(file)), bind_(std::move(bind)) {}

    // Null, with the system's error, when the file does not load.
    HMODULE Load() { return module_ = LoadLibraryExW(file_.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH); }
    void Free() {
        FreeLibrary(module_);
        module_ = nullptr;
    }

    // A block of a heap by its size, other memory by its pages.
    [[nodiscard]] std::size_t Readable(const void* at, std::size_t size) const override {
        const auto first = reinterpret_cast<std::uintptr_t>(at);
        std::uintptr_t end = first;
        MEMORY_BASIC_INFORMATION region{};
        while (end - first < size && VirtualQuery(reinterpret_cast<const void*>(end), &region, sizeof region) != 0 &&
               MayBeRead(region))
            end = reinterpret_cast<std::uintptr_t>(region.BaseAddress) + region.RegionSize;
        const std::size_t readable = std::min<std::size_t>(end - first, size);
        if (readable == 0) return 0;
        for (HANDLE heap : Heaps())
            if (HeapValidate(heap, 0, at) != 0) return std::min<std::size_t>(readable, HeapSize(heap, 0, at));
        return readable;
    }

    [[nodiscard]] HeapUse Heap() const override {
        HeapUse use;
        for (HANDLE heap : Heaps()) {
            HeapLock(heap);
            PROCESS_HEAP_ENTRY entry{};
            while (HeapWalk(heap, &entry) != 0) {
                if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) == 0) continue;
                ++use.blocks;
                use.bytes += entry.cbData;
            }
            HeapUnlock(heap);
        }
        return use;
    }

    bool Reload() override {
        Free();
        if (Load() == nullptr) return false;
        bind_(module_);
        return true;
    }

 private:
    std::wstring file_;
    std::function<void(HMODULE)> bind_;
    HMODULE module_ = nullptr;
};

std::vector<std::string> ExportNames(HMODULE module) {
    const auto* const image = reinterpret_cast<const std::uint8_t*>(module);
    const auto& dos = *reinterpret_cast<const IMAGE_DOS_HEADER*>(image);
    const auto& headers = *reinterpret_cast<const IMAGE_NT_HEADERS64*>(image + dos.e_lfanew);
    const IMAGE_DATA_DIRECTORY& place = headers.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
    if (place.Size == 0) return {};
    const auto& exports = *reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(image + place.VirtualAddress);
    const auto* const names = reinterpret_cast<const DWORD*>(image + exports.AddressOfNames);
    std::vector<std::string> all;
    for (DWORD i = 0; i < exports.NumberOfNames; ++i) all.emplace_back(reinterpret_cast<const char*>(image + names[i]));
    return all;
}

// An export that was probably meant: in other letters, or decorated.
std::string Resembling(const std::vector<std::string>& exports, std::string_view function) {
    for (const std::string& one : exports)
        if (base::EqualIgnoringCase(one, function) || one.find(function) != std::string::npos) return one;
    return {};
}

template <class Calls>
void Bind(HMODULE module, Calls& calls) {
    calls.VisitSlots([module](const char* name, auto& slot) {
        slot = reinterpret_cast<std::remove_reference_t<decltype(slot)>>(
            reinterpret_cast<void*>(GetProcAddress(module, name)));
    });
}

// True when the library would take the module.
template <class Calls>
bool HasAllExports(const Probe& probe, HMODULE module, Calls& calls, std::string_view consequence) {
    const std::vector<std::string> exports = ExportNames(module);
    bool hasAll = true;
    calls.VisitSlots([&](std::string_view name, const auto& slot) {
        if (slot != nullptr) return;
        if (MayBeMissing(name)) {
            probe.Note(name, "is missing, and may be", "the read fails");
            return;
        }
        hasAll = false;
        const std::string meant = Resembling(exports, name);
        probe.Find(name, meant.empty() ? "is not exported" : fmt::format("is not exported, but {} is", meant),
                   fmt::format("the module counts as missing: {}", consequence));
    });
    return hasAll;
}

std::string WhyNotLoaded(DWORD error) {
    if (error == ERROR_BAD_EXE_FORMAT)
        return fmt::format("cannot be loaded (error {}): it is no whole 64-bit DLL", error);
    if (error == ERROR_MOD_NOT_FOUND)
        return fmt::format("cannot be loaded (error {}): a DLL that it needs is missing", error);
    return fmt::format("cannot be loaded (error {})", error);
}

template <class Calls>
void ProbeFile(const CompanionCheck& check, const ModuleFacts& facts, LineReport& report) {
    Calls calls;
    LoadedWorld world(ToWide(check.folder + check.module), [&calls](HMODULE module) { Bind(module, calls); });
    const Probe probe(world, report, check);
    report.Calling("its load");
    HMODULE const module = world.Load();
    if (module == nullptr) {
        probe.Find("", WhyNotLoaded(GetLastError()), std::string(facts.without));
        return;
    }
    Bind(module, calls);
    if (HasAllExports(probe, module, calls, facts.without)) ProbeModule(probe, calls);
    report.Calling("its end");
    world.Free();
}

// No dialog and no debugger: who started this process reads the code.
LONG WINAPI EndByException(EXCEPTION_POINTERS* exception) {
    TerminateProcess(GetCurrentProcess(), exception->ExceptionRecord->ExceptionCode);
    return EXCEPTION_EXECUTE_HANDLER;
}

}  // namespace

int RunCompanionProbe() {
    SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOGPFAULTERRORBOX | SEM_NOOPENFILEERRORBOX);
    SetUnhandledExceptionFilter(EndByException);
    std::vector<wchar_t> text(32768);
    GetEnvironmentVariableW(kProbeVariable, text.data(), static_cast<DWORD>(text.size()));
    CompanionCheck check;
    if (!ReadCheck(FromWide(text.data()), check)) return 2;
    const ModuleFacts* const facts = FindModuleFacts(check.module);
    if (facts == nullptr) return 2;
    LineReport report;
    for (const std::string& neighbour : check.neighbours) {
        report.Calling("its neighbour " + neighbour);
        LoadLibraryExW(ToWide(check.folder + neighbour).c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    }
#define TARN_PROBE(module, name, functions) \
    if (facts->file == (name)) ProbeFile<module##Calls>(check, *facts, report);
    TARN_COMPANION_FILES(TARN_PROBE)
#undef TARN_PROBE
    report.End();
    // Without the modules' farewell: the library frees what it needs to, one by one.
    TerminateProcess(GetCurrentProcess(), 0);
    return 0;
}

}  // namespace tarn::host
