#include "host/loaded_library_win32.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fmt/format.h>
#include <utility>
#include <vector>
#include <windows.h>

#include "tarn/companion_modules.h"
#include "tarn/tarn.h"

#include "host/library_clock_win32.h"
#include "host/policy_check.h"
#include "host/policy_file.h"
#include "host/private_registry_win32.h"
#include "host/registered_folder.h"
#include "host/this_machine_win32.h"
#include "host/utf8_win32.h"

namespace tarn::host {

namespace {

// What the library loads from its install folder.
#define TARN_FILE(module, file, functions) L"" file,
constexpr const wchar_t* kModules[] = {TARN_COMPANION_FILES(TARN_FILE)};
#undef TARN_FILE

std::string MissingModules(const std::wstring& folder) {
    std::string missing;
    for (const wchar_t* module : kModules) {
        if (GetFileAttributesW((folder + module).c_str()) != INVALID_FILE_ATTRIBUTES) continue;
        missing += (missing.empty() ? "" : ", ") + FromWide(module);
    }
    return missing;
}

// Those that stand there and that the system does not load, with its error.
std::string UnloadableModules(const std::wstring& folder) {
    std::string unloadable;
    for (const wchar_t* module : kModules) {
        const std::wstring file = folder + module;
        if (GetFileAttributesW(file.c_str()) == INVALID_FILE_ATTRIBUTES || GetModuleHandleW(file.c_str()) != nullptr)
            continue;
        const HMODULE loaded = LoadLibraryExW(file.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
        const DWORD error = GetLastError();
        if (loaded != nullptr)
            FreeLibrary(loaded);
        else
            unloadable += fmt::format("{}{} (error {})", unloadable.empty() ? "" : ", ", FromWide(module), error);
    }
    return unloadable;
}

std::wstring FullPath(const std::wstring& name) {
    std::vector<wchar_t> path(32768);
    const DWORD length = GetFullPathNameW(name.c_str(), static_cast<DWORD>(path.size()), path.data(), nullptr);
    return {path.data(), length};
}

class LoadedLibrary : public Judge {
 public:
    LoadedLibrary() = default;
    ~LoadedLibrary() override {
        std::uint32_t error = 0;
        if (isReady_) deinit_(&error);
        if (module_ != nullptr) FreeLibrary(module_);
    }
    LoadedLibrary(const LoadedLibrary&) = delete;
    LoadedLibrary& operator=(const LoadedLibrary&) = delete;

    bool Open(const std::wstring& ownFolder, const LibraryOptions& options, std::string& mistake,
              std::ostream* terminal) {
        const std::wstring installFolder = ChooseInstallFolder(options, ownFolder, mistake);
        if (installFolder.empty()) return false;
        // The modules would start without it and switch everything off.
        const auto findSid = [](const std::string& name, SidBytes& sid) {
            Account account;
            const bool isKnown = FindMachineAccount(name, account);
            sid = account.sid;
            return isKnown;
        };
        mistake = DescribePolicyMistakes(ChoosePolicy(options, installFolder), findSid, terminal);
        if (!mistake.empty()) return false;
        const std::wstring file = ownFolder + L"tarn.dll";
        module_ = LoadLibraryW(file.c_str());
        if (module_ == nullptr) {
            mistake = fmt::format(
                "{} cannot be loaded (error {}); put tarnhost.exe into the folder that holds the 64-bit tarn.dll",
                FromWide(file), GetLastError());
            return false;
        }
        if (!Bind(init_, "WSInit") || !Bind(deinit_, "WSDeinit") || !Bind(scanUrl_, "WSScanUrl") ||
            !Bind(scanExtensionUrl_, "WSWebExtScanUrl") || !Bind(scanLogonEvent_, "WSScanLogonEventForPCCTRL") ||
            !Bind(settingsChanged_, "WSSettingsChanged") || !Bind(updateSettingsChanged_, "WSUpdateSettingsChanged") ||
            !Bind(featureStatus_, "WSGetUrlScanFeatureStatus") || !Bind(scanPacket_, "WSScanPacket") ||
            !Bind(scanSmb_, "WSScanSMBPacket") || !Bind(drop_, "WSDropConnection") ||
            !Bind(blockAddress_, "WSAddURLToIDSBlockedList")) {
            mistake =
                fmt::format("{} does not export what a tarn.dll exports; is it another program's?", FromWide(file));
            return false;
        }
        if (!ReplaceClockOf(module_)) {
            mistake = fmt::format("the clock of {} cannot be set; is it another program's?", FromWide(file));
            return false;
        }
        if (options.clock) SetLibraryClock(*options.clock);
        if (options.verbose)
            std::fprintf(stderr, "tarnhost: %s with the modules of %s\n", FromWide(file).c_str(),
                         FromWide(installFolder).c_str());
        std::uint32_t error = 0;
        isReady_ = init_(options.mode, &error) != 0;
        if (!isReady_) {
            mistake = StartMistake(installFolder, error);
            return false;
        }
        if (const std::string unloadable = UnloadableModules(installFolder); !unloadable.empty())
            std::fprintf(stderr,
                         "tarnhost: the library runs without %s of %s, which cannot be loaded; is it damaged or "
                         "not 64-bit?\n",
                         unloadable.c_str(), FromWide(installFolder).c_str());
        std::uint8_t status = 0;
        if (options.judgesUrls && featureStatus_(&status) != 0 && status == 0)
            std::fprintf(stderr, "tarnhost: the settings switch every URL-scanning feature off\n");
        return true;
    }

    Judgement ScanUrl(std::uint8_t kind, base::Bytes data, const Endpoint& server) override {
        return ScanConnection({kind, data, {}, server, GetCurrentProcessId()});
    }

    Judgement ScanConnection(const ConnectionData& connection) override {
        // The scan writes into the data and one byte behind it.
        std::vector<std::uint8_t> buffer(connection.data.size() + 1);
        std::copy(connection.data.begin(), connection.data.end(), buffer.begin());
        const Endpoint& server = connection.server;
        ScanRequest request{};
        request.processId = connection.processId;
        request.data = buffer.data();
        request.dataLength = static_cast<std::uint32_t>(connection.data.size());
        request.remoteAddress.family = server.address.isIpv6 ? TARN_FAMILY_IPV6 : TARN_FAMILY_IPV4;
        std::memcpy(request.remoteAddress.bytes, server.address.bytes.data(), server.address.bytes.size());
        request.remotePort = static_cast<std::uint16_t>(server.port >> 8 | server.port << 8);  // network byte order
        request.kind = connection.kind;
        Judgement judgement;
        judgement.isValid = scanUrl_(&request, &judgement.verdict, &judgement.prompt) != 0;
        return judgement;
    }

    PacketVerdict ScanPacket(base::Bytes frame, std::uint16_t rule, bool inbound) override {
        PacketVerdict verdict{};
        verdict.action = TARN_PACKET_ALLOW;  // stands when the scan refuses an empty frame
        scanPacket_(frame.data(), static_cast<std::uint32_t>(frame.size()), rule,
                    inbound ? TARN_INBOUND : TARN_OUTBOUND, 0, &verdict);
        return verdict;
    }

    std::optional<SmbScanResult> ScanSmb(base::Bytes frame, bool inbound) override {
        const bool isHandled = scanSmb_(frame.data(), static_cast<std::uint32_t>(frame.size()),
                                        inbound ? TARN_INBOUND : TARN_OUTBOUND, &smbResult_) != 0;
        if (smbResult_.resultKind != TARN_SMB_FILE_EVENT) return std::nullopt;
        const SmbScanResult result = std::exchange(smbResult_, {});
        return isHandled ? std::optional(result) : std::nullopt;
    }

    bool DropConnection(base::Bytes frame) override { return drop_(frame.data()) != 0; }

    void BlockAddress(const std::string& host, const std::string& path) override {
        IdsBlockRequest request{};
        host.copy(request.hostName, sizeof request.hostName - 1);
        (host + path).copy(request.requestText, sizeof request.requestText - 1);
        blockAddress_(&request);
    }

    Judgement ScanExtensionUrl(std::uint8_t kind, const std::string& url) override {
        std::vector<std::uint8_t> buffer(url.begin(), url.end());
        buffer.push_back(0);
        ScanRequest request{};
        request.data = buffer.data();
        request.kind = kind;
        Judgement judgement;
        judgement.isValid = scanExtensionUrl_(&request, &judgement.verdict, &judgement.prompt) != 0;
        return judgement;
    }

    LogonJudgement ScanLogonEvent(const LogonEvent& event) override {
        LogonJudgement judgement;
        judgement.isValid = scanLogonEvent_(&event, &judgement.verdict) != 0;
        return judgement;
    }

    void SetClock(const TarnSystemTime& now) override { SetLibraryClock(now); }
    bool SettingsChanged(std::uint32_t kind) override { return settingsChanged_(kind, 0, 0, 0) != 0; }
    bool UpdateSettingsChanged(std::uint32_t mask) override { return updateSettingsChanged_(&mask) != 0; }

 private:
    template <class Function>
    bool Bind(Function& function, const char* name) {
        function = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module_, name)));
        return function != nullptr;
    }

    // The registered folder needs nothing; any other one is put into a private view of the registry.
    std::wstring ChooseInstallFolder(const LibraryOptions& options, const std::wstring& ownFolder,
                                     std::string& mistake) {
        std::wstring folder = ownFolder;
        if (!options.installFolder.empty()) {
            folder = FullFolder(ToWide(options.installFolder));
            const DWORD attributes = GetFileAttributesW(folder.c_str());
            if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0) {
                mistake = fmt::format("--install-folder {}: there is no such folder", FromWide(folder));
                return {};
            }
        } else if (std::wstring registered = RegisteredInstallFolder(); !registered.empty()) {
            mistake = RegisteredFolderMistake(FromWide(registered));
            return mistake.empty() ? registered : std::wstring();
        }
        unsigned long error = 0;
        if (registry_.Create(folder, error)) return folder;
        mistake = fmt::format(
            "no private view of the registry can be made (error {}); this account must be able to write below "
            "HKEY_CURRENT_USER\\Software",
            error);
        return {};
    }

    static std::string StartMistake(const std::wstring& installFolder, std::uint32_t error) {
        const std::string folder = FromWide(installFolder);
        if (const std::string missing = MissingModules(installFolder); !missing.empty())
            return fmt::format(
                "WSInit failed (error cell {}): {} lacks {}; copy what is missing there, or name another folder with "
                "--install-folder",
                error, folder, missing);
        if (const std::string unloadable = UnloadableModules(installFolder); !unloadable.empty())
            return fmt::format(
                "WSInit failed (error cell {}): {} of {} cannot be loaded: damaged or not 64-bit; copy it there anew",
                error, unloadable, folder);
        return fmt::format(
            "WSInit failed (error cell {}), although all modules of {} can be loaded; is one of another version?",
            error, folder);
    }

    PrivateRegistry registry_;  // outlives the library's end
    HMODULE module_ = nullptr;
    bool isReady_ = false;
    decltype(&WSInit) init_ = nullptr;
    decltype(&WSDeinit) deinit_ = nullptr;
    decltype(&WSScanUrl) scanUrl_ = nullptr;
    decltype(&WSWebExtScanUrl) scanExtensionUrl_ = nullptr;
    decltype(&WSScanLogonEventForPCCTRL) scanLogonEvent_ = nullptr;
    decltype(&WSSettingsChanged) settingsChanged_ = nullptr;
    decltype(&WSUpdateSettingsChanged) updateSettingsChanged_ = nullptr;
    decltype(&WSGetUrlScanFeatureStatus) featureStatus_ = nullptr;
    decltype(&WSScanPacket) scanPacket_ = nullptr;
    decltype(&WSScanSMBPacket) scanSmb_ = nullptr;
    decltype(&WSDropConnection) drop_ = nullptr;
    decltype(&WSAddURLToIDSBlockedList) blockAddress_ = nullptr;
    SmbScanResult smbResult_{};  // zero but for resultKind before each call: without an event that alone is written
};

}  // namespace

std::wstring FullFolder(const std::wstring& folder) {
    std::wstring text = FullPath(folder);
    if (text.empty() || text.back() != L'\\') text += L'\\';
    return text;
}

std::wstring OwnFolder() {
    std::vector<wchar_t> path(32768);
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    const std::wstring text(path.data(), length);
    return text.substr(0, text.find_last_of(L'\\') + 1);
}

std::string ChoosePolicy(const LibraryOptions& options, const std::wstring& installFolder) {
    SetEnvironmentVariableW(ToWide(kPolicyQuietVariable).c_str(), options.warnsOfPolicy ? nullptr : L"1");
    const std::wstring variable = ToWide(kPolicyVariable);
    if (!options.policyFile.empty())
        SetEnvironmentVariableW(variable.c_str(), FullPath(ToWide(options.policyFile)).c_str());
    std::vector<wchar_t> named(32768);
    const DWORD length = GetEnvironmentVariableW(variable.c_str(), named.data(), static_cast<DWORD>(named.size()));
    if (length != 0 && length < named.size()) return FromWide({named.data(), length});
    return FromWide(installFolder) + std::string(policy::kPolicyFile);
}

std::unique_ptr<Judge> LoadLibraryFromOwnFolder(const LibraryOptions& options, std::string& mistake,
                                                std::ostream* terminal) {
    return LoadLibraryFrom(OwnFolder(), options, mistake, terminal);
}

std::unique_ptr<Judge> LoadLibraryFrom(const std::wstring& folder, const LibraryOptions& options, std::string& mistake,
                                       std::ostream* terminal) {
    auto library = std::make_unique<LoadedLibrary>();
    if (!library->Open(folder, options, mistake, terminal)) return nullptr;
    return library;
}

}  // namespace tarn::host
