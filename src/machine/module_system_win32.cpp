#include "machine/module_system_win32.h"

#include <fcntl.h>
#include <io.h>

#include "machine/install_folder.h"
#include "machine/os_version.h"
#include "machine/product_data.h"
#include "machine/win32_owners.h"

namespace tarn::machine {

void* WindowsModuleSystem::Load(const char16_t* path) {
    return LoadLibraryExW(Wide(path), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
}

void* WindowsModuleSystem::Find(void* module, const char* function) {
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(module), function));
}

void WindowsModuleSystem::Free(void* module) {
    FreeLibrary(static_cast<HMODULE>(module));
}

bool WindowsModuleSystem::InstallFolder(base::PathBuffer& folder) {
    return GetInstallFolder(folder);
}

bool WindowsModuleSystem::HostExecutableKnown() {
    base::PathBuffer folder;
    return GetHostFolder(folder);
}

bool WindowsModuleSystem::ManagedClientInstalled() {
    return IsManagedClientInstalled();
}

FileStart WindowsModuleSystem::ReadFileStart(const base::PathBuffer& path) {
    FileStart start;
    if (GetFileAttributesW(Wide(path.data())) == INVALID_FILE_ATTRIBUTES) {
        if (GetLastError() == ERROR_FILE_NOT_FOUND) start.state = FileStart::State::kAbsent;
        return start;
    }
    const int file = _wopen(Wide(path.data()), _O_RDONLY | _O_BINARY);
    if (file == -1) return start;
    const int count = _read(file, start.bytes.data(), static_cast<unsigned>(start.bytes.size()));
    _close(file);
    if (count < 0) return start;
    start.count = static_cast<std::size_t>(count);
    start.state = FileStart::State::kRead;
    return start;
}

std::uint32_t WindowsModuleSystem::SystemClassification() {
    return ClassifySystem(QuerySystemFacts());
}

HttpsInspectionFacts WindowsModuleSystem::HttpsFacts() {
    HttpsInspectionFacts facts;
    facts.baselineKnown = QueryIsOlderThanServicePackBaseline(facts.olderThanBaseline);
    facts.classification = SystemClassification();
    VersionRecord version;
    facts.productTypeKnown = QueryVersion(version);
    facts.productType = version.productType;
    return facts;
}

}  // namespace tarn::machine
