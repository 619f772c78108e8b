// Prints what the machine layer finds out about the process that runs it, one line per command:
//   --hklm KEY    puts this key of HKEY_CURRENT_USER into the place of HKEY_LOCAL_MACHINE
//   host | install | file NAME | version | agent | managed | system | read FILE | image
//   move FILE     moves the running program's file there
// The tests run copies of it in folders and under names of their own.
#include <cstdio>
#include <string>
#include <string_view>
#include <windows.h>

#include "machine/install_folder_win32.h"
#include "machine/machine_win32.h"
#include "machine/os_version_win32.h"
#include "modules/module_calls.h"

namespace tarn::machine {
namespace {

base::PathBuffer Wide16(std::string_view text) {
    base::PathBuffer path{};
    base::CopyText(path, std::u16string(text.begin(), text.end()));
    return path;
}

// The text of a call that succeeded; of one that failed, whether its buffer is at least terminated.
void PrintPath(const char* what, bool succeeded, const base::PathBuffer& path) {
    const std::u16string_view text(path.data(), path.size());
    if (text.find(u'\0') == std::u16string_view::npos) {
        std::printf("%s unterminated\n", what);
    } else if (!succeeded) {
        std::printf("%s none\n", what);
    } else {
        const std::u16string_view field = base::FieldText(path);
        std::printf("%s %s\n", what, std::string(field.begin(), field.end()).c_str());
    }
}

void PrintSystem() {
    const SystemFacts facts = QuerySystemFacts();
    bool older = false;
    const bool baselineKnown = QueryIsOlderThanServicePackBaseline(older);
    std::string exact;
    for (int number = 1; number <= 8; ++number) {
        bool matches = false;
        const bool known = QueryIsExactlyVersion(number, matches);
        exact += known ? (matches ? '1' : '0') : '?';
    }
    WindowsModuleSystem system;
    std::printf("system %u version %u.%u type %u architecture %u exactly %s older %s https %d\n",
                system.SystemClassification(), facts.version.major, facts.version.minor,
                unsigned{facts.version.productType}, unsigned{facts.architecture}, exact.c_str(),
                baselineKnown ? (older ? "1" : "0") : "?", modules::HttpsInspectionMayRun(system.HttpsFacts()) ? 1 : 0);
}

// One for the process, as the library has it.
WindowsProductData product;

bool Run(std::string_view command, std::string_view argument, bool& tookArgument) {
    base::PathBuffer path;
    path.fill(u'x');
    tookArgument = false;
    if (command == "host") {
        const bool found = GetHostFolder(path);
        PrintPath("host", found, path);
    } else if (command == "install") {
        const bool found = GetInstallFolder(path);
        PrintPath("install", found, path);
    } else if (command == "version") {
        ProductVersion version;
        if (product.ReadVersion(version)) {
            std::printf("version %u.%u\n", unsigned{version.major}, unsigned{version.minor});
        } else {
            std::puts("version none");
        }
    } else if (command == "agent") {
        std::printf("agent %d\n", product.FindAgentApplicationPath() ? 1 : 0);
    } else if (command == "managed") {
        std::printf("managed %d\n", product.IsManagedClientInstalled() ? 1 : 0);
    } else if (command == "image") {
        WindowsProcessInspector inspector;
        std::uint32_t error = 0;
        const bool found = inspector.GetProcessImagePath(inspector.CurrentProcessId(), path, error);
        const std::u16string_view image = base::FieldText(path);
        std::printf("image %d %s error %u\n", found ? 1 : 0, std::string(image.begin(), image.end()).c_str(), error);
    } else if (command == "move") {
        tookArgument = true;
        char own[MAX_PATH] = "";
        GetModuleFileNameA(nullptr, own, MAX_PATH);
        std::printf("move %d\n", MoveFileA(own, std::string(argument).c_str()) != 0 ? 1 : 0);
    } else if (command == "system") {
        PrintSystem();
    } else if (command == "file") {
        tookArgument = true;
        const bool found = GetInstallFile(path, std::u16string(argument.begin(), argument.end()));
        PrintPath("file", found, path);
    } else if (command == "read") {
        tookArgument = true;
        ProductRecord record{};
        std::uint32_t error = 0;
        const bool read = product.Read(Wide16(argument), record, error);
        const ProductVersion version = VersionOf(record);
        std::printf("read %d %u.%u error %u\n", read ? 1 : 0, unsigned{version.major}, unsigned{version.minor}, error);
    } else if (command == "--hklm") {
        tookArgument = true;
        HKEY key = nullptr;
        if (RegCreateKeyExA(HKEY_CURRENT_USER, std::string(argument).c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                            &key, nullptr) != ERROR_SUCCESS)
            return false;
        return RegOverridePredefKey(HKEY_LOCAL_MACHINE, key) == ERROR_SUCCESS;
    } else {
        return false;
    }
    return true;
}

}  // namespace
}  // namespace tarn::machine

int main(int count, char** arguments) {
    for (int i = 1; i < count; ++i) {
        bool tookArgument = false;
        if (!tarn::machine::Run(arguments[i], i + 1 < count ? arguments[i + 1] : "", tookArgument)) {
            std::printf("cannot %s\n", arguments[i]);
            return 1;
        }
        if (tookArgument) ++i;
    }
    return 0;
}
