#include "machine/product_data_win32.h"

#include "machine/install_folder_win32.h"
#include "machine/win32_owners.h"

namespace tarn::machine {
namespace {

class WindowsProductFile final : public ProductFile {
 public:
    explicit WindowsProductFile(HANDLE file) : file_(file) {}

    bool ReadExactly(std::span<std::uint8_t> bytes) override {
        std::size_t count = 0;
        return ReadSome(bytes, count) && count == bytes.size();
    }
    bool ReadSome(std::span<std::uint8_t> bytes, std::size_t& count) override {
        DWORD read = 0;
        if (ReadFile(file_, bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr) == 0) return false;
        count = read;
        return true;
    }
    bool SeekTo(std::uint32_t offset) override {
        return SetFilePointer(file_, static_cast<LONG>(offset), nullptr, FILE_BEGIN) != INVALID_SET_FILE_POINTER;
    }

 private:
    HANDLE file_;
};

bool Exists(const base::PathBuffer& path) {
    return GetFileAttributesW(Wide(path.data())) != INVALID_FILE_ATTRIBUTES;
}

bool FindProductFile(base::PathBuffer& path) {
    constexpr const char16_t* kFile = u"PRODCONF.DAT";
    base::PathBuffer folder;
    if (!GetHostFolder(folder)) return false;
    if (base::Succeeded(base::FormatText(path, {base::FieldText(folder), kFile})) && Exists(path)) return true;
    return GetInstallFile(path, kFile) && Exists(path);
}

}  // namespace

bool WindowsProductData::Read(const base::PathBuffer& path, ProductRecord& record, std::uint32_t& error) {
    const UniqueFile file(CreateFileW(Wide(path.data()), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                      FILE_ATTRIBUTE_NORMAL, nullptr));
    WindowsProductFile reader(file.Get());
    if (file.Owns() && ReadProductConfiguration(reader, checkedOnce_, record)) return true;
    error = GetLastError();
    return false;
}

bool WindowsProductData::ReadVersion(ProductVersion& version) {
    base::PathBuffer path;
    ProductRecord record{};
    std::uint32_t error = 0;
    if (!FindProductFile(path) || !Read(path, record, error)) return false;
    version = VersionOf(record);
    return true;
}

bool WindowsProductData::FindAgentApplicationPath() {
    ProductVersion version;
    base::PathBuffer name;
    base::PathBuffer keyPath;
    if (!ReadVersion(version) || !AgentExecutableName(version, name)) return false;
    if (!base::Succeeded(base::FormatText(
            keyPath, {u"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\App Paths\\", base::FieldText(name)})))
        return false;
    UniqueRegistryKey key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, Wide(keyPath.data()), 0, KEY_QUERY_VALUE, key.Out()) != ERROR_SUCCESS)
        return false;
    base::PathBuffer value;
    DWORD bytes = sizeof value;
    return RegQueryValueExW(key.Get(), L"Path", nullptr, nullptr, reinterpret_cast<BYTE*>(value.data()), &bytes) ==
           ERROR_SUCCESS;
}

bool WindowsProductData::IsManagedClientInstalled() {
    if (!FindAgentApplicationPath()) return false;
    ProductVersion version;
    base::PathBuffer name;
    if (!ReadVersion(version) || !AgentServiceName(version, name)) return false;
    const UniqueService manager(OpenSCManagerW(nullptr, nullptr, GENERIC_READ));
    if (!manager.Owns()) return false;
    const UniqueService service(OpenServiceW(manager.Get(), Wide(name.data()), GENERIC_READ));
    return service.Owns();
}

}  // namespace tarn::machine
