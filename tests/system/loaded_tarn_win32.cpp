#include "system/loaded_tarn_win32.h"

namespace tarn::system_test {
namespace {

template <class Function>
bool Bind(HMODULE library, const char* name, Function& function) {
    function = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
    return function != nullptr;
}

bool BindAll(HMODULE library, Exports& tarn) {
    return Bind(library, "WSInit", tarn.WSInit) && Bind(library, "WSDeinit", tarn.WSDeinit) &&
           Bind(library, "WSShutDown", tarn.WSShutDown) && Bind(library, "WSSettingsChanged", tarn.WSSettingsChanged) &&
           Bind(library, "WSUpdateSettingsChanged", tarn.WSUpdateSettingsChanged) &&
           Bind(library, "WSScanUrl", tarn.WSScanUrl) && Bind(library, "WSWebExtScanUrl", tarn.WSWebExtScanUrl) &&
           Bind(library, "WSGetUrlScanFeatureStatus", tarn.WSGetUrlScanFeatureStatus) &&
           Bind(library, "WSScanPacket", tarn.WSScanPacket) &&
           Bind(library, "WSDropConnection", tarn.WSDropConnection) &&
           Bind(library, "WSAddURLToIDSBlockedList", tarn.WSAddURLToIDSBlockedList) &&
           Bind(library, "WSScanLogonEventForPCCTRL", tarn.WSScanLogonEventForPCCTRL) &&
           Bind(library, "WSScanSMBPacket", tarn.WSScanSMBPacket);
}

}  // namespace

std::filesystem::path OwnFolder() {
    wchar_t path[MAX_PATH];
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return std::filesystem::path(path).parent_path();
}

std::filesystem::path BuiltTarn() {
    return OwnFolder().parent_path() / "bin" / "tarn.dll";
}

LoadedTarn::LoadedTarn(const std::filesystem::path& path) : module_(LoadLibraryW(path.c_str())) {
    if (module_ == nullptr || BindAll(module_, functions_)) return;
    FreeLibrary(module_);
    module_ = nullptr;
}

LoadedTarn::~LoadedTarn() {
    if (module_ != nullptr) FreeLibrary(module_);
}

}  // namespace tarn::system_test
