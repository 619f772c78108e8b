#include "fakes/fake_modules.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <utility>

#include "support/uncounted.h"

namespace tarn::fakes {
namespace {

FakeModules* current = nullptr;

using Pointer = void (*)();

// A name as a template argument, so that each exported name gets a function of its own.
template <std::size_t N>
struct Name {
    char text[N];
    constexpr Name(const char (&from)[N]) { std::copy_n(from, N, text); }
};

constexpr std::uint32_t kModuleError = 1234;

// Statuses and the disabled features are values that nobody hands back.
bool IsReleased(std::string_view read) {
    return !read.ends_with("Status") && read != "ReadDisableFeaturesSettings";
}

bool AnyByteSet(const std::vector<std::uint8_t>& bytes) {
    return std::ranges::any_of(bytes, [](std::uint8_t byte) { return byte != 0; });
}

void NoteCell(std::uint32_t* error) {
    EXPECT_NE(error, nullptr);
    FakeModules::Current().errorCells.push_back(error);
}

template <Name name, class Out>
std::uint8_t Read(std::uint64_t reserved, Out* out, std::uint32_t* error) {
    const support::Uncounted pause;
    const std::string text = name.text;
    EXPECT_EQ(reserved, 0U) << text;
    NoteCell(error);
    const bool presetToOne = text == "ReadWebSecCloudStatus";
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(out);
    EXPECT_TRUE(
        std::all_of(bytes, bytes + sizeof(Out), [&](std::uint8_t byte) { return byte == (presetToOne ? 1 : 0); }))
        << text << " is handed a used record";
    if (!FakeModules::Current().Called(text)) {
        std::memset(static_cast<void*>(out), 0xEE, sizeof(Out));
        *error = kModuleError;
        return 0;
    }
    if (const auto* given = FakeModules::Current().Given(text); given != nullptr) {
        EXPECT_EQ(given->size(), sizeof(Out)) << text;
        std::memcpy(static_cast<void*>(out), given->data(), std::min(given->size(), sizeof(Out)));
        if (AnyByteSet(*given) && IsReleased(text)) ++FakeModules::Current().held[text];
    }
    return 1;
}

template <Name name, class Out>
void Release(Out* out) {
    const support::Uncounted pause;
    FakeModules& fake = FakeModules::Current();
    fake.Called(name.text);
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(out);
    auto& released = fake.released[name.text];
    released.assign(bytes, bytes + sizeof(Out));
    if (AnyByteSet(released)) --fake.held["Read" + std::string(name.text).substr(std::strlen("Release"))];
}

template <Name name, class Record>
std::uint8_t Write(std::uint64_t reserved, const Record* record, std::uint32_t* error) {
    const support::Uncounted pause;
    EXPECT_EQ(reserved, 0U);
    NoteCell(error);
    EXPECT_NE(record, nullptr);
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(record);
    FakeModules::Current().written[name.text].assign(bytes, bytes + sizeof(Record));
    const auto count = record->count;
    return FakeModules::Current().Called(name.text, std::to_string(count)) ? 1 : 0;
}

std::uint8_t ResetBPUserWhitelist(std::uint64_t, std::uint32_t* error) {
    const support::Uncounted pause;
    NoteCell(error);
    return FakeModules::Current().Called("ResetBPUserWhitelist") ? 1 : 0;
}

std::uint8_t ReadEPSServerIP(char16_t* buffer, std::uint32_t capacity, std::uint32_t* error) {
    const support::Uncounted pause;
    NoteCell(error);
    const bool succeeds = FakeModules::Current().Called("ReadEPSServerIP", std::to_string(capacity));
    base::CopyText(buffer, capacity, succeeds ? u"192.0.2.77" : u"rubbish");
    return succeeds ? 1 : 0;
}

std::uint8_t SCInit(std::uint8_t online, std::uint32_t* error) {
    const support::Uncounted pause;
    NoteCell(error);
    return FakeModules::Current().Called("SCInit", std::to_string(online)) ? 1 : 0;
}
void SCDeinit(std::uint32_t* error) {
    const support::Uncounted pause;
    NoteCell(error);
    FakeModules::Current().Called("SCDeinit");
}
std::uint8_t SCGetURLCategories(const char* text, std::uint16_t** categories, std::uint16_t* count,
                                std::uint32_t mode) {
    const support::Uncounted pause;
    FakeModules& fake = FakeModules::Current();
    const bool succeeds = fake.Called("SCGetURLCategories", std::string(text) + " " + std::to_string(mode));
    if (!succeeds && !fake.returnsArrayOnFailure) return 0;
    *categories = new std::uint16_t[fake.categories.size() + 1];
    std::copy(fake.categories.begin(), fake.categories.end(), *categories);
    *count = static_cast<std::uint16_t>(fake.categories.size());
    ++fake.liveArrays;
    return succeeds ? 1 : 0;
}
std::uint8_t SCGetCategoryName(std::uint16_t category, char16_t* buffer, std::uint32_t capacity) {
    const support::Uncounted pause;
    const bool succeeds = FakeModules::Current().Called("SCGetCategoryName", std::to_string(category));
    std::fill_n(buffer, capacity, u'x');
    if (succeeds && category != 0xFFFF) base::CopyText(buffer, capacity, u"Shopping");
    return succeeds ? 1 : 0;
}
std::uint8_t SCReleaseCategories(std::uint16_t* categories) {
    const support::Uncounted pause;
    FakeModules::Current().Called("SCReleaseCategories");
    --FakeModules::Current().liveArrays;
    delete[] categories;
    return 1;
}
std::uint8_t SCSaveCacheFile(std::uint64_t, std::uint64_t, std::uint64_t, std::uint64_t) {
    const support::Uncounted pause;
    return FakeModules::Current().Called("SCSaveCacheFile") ? 1 : 0;
}

std::uint8_t PKSInit(void** context, std::uint32_t* error) {
    const support::Uncounted pause;
    NoteCell(error);
    FakeModules::Current().packetContextCell = context;
    *context = FakeModules::Current().packetContext;
    return FakeModules::Current().Called("PKSInit") ? 1 : 0;
}
void PKSDeinit(void* context, std::uint32_t* error) {
    const support::Uncounted pause;
    NoteCell(error);
    EXPECT_EQ(context, FakeModules::Current().packetContext);
    FakeModules::Current().Called("PKSDeinit");
}
std::uint8_t PKSScanPacket(const std::uint8_t*, std::uint32_t, std::uint16_t, std::uint8_t, PacketVerdict*) {
    const support::Uncounted pause;
    return FakeModules::Current().Called("PKSScanPacket") ? 1 : 0;
}

std::uint32_t IntializeSSL() {
    const support::Uncounted pause;
    return FakeModules::Current().Called("IntializeSSL") ? 7 : 0;
}
void DeIntializeSSL() {
    const support::Uncounted pause;
    FakeModules::Current().Called("DeIntializeSSL");
}
std::uint8_t TiScanHttpsPacket(std::uint32_t, const char*, std::uint32_t, std::uint16_t, const std::uint8_t*,
                               std::uint32_t, std::uint8_t*) {
    const support::Uncounted pause;
    return FakeModules::Current().Called("TiScanHttpsPacket") ? 1 : 0;
}
void TiShowPopup() {
    const support::Uncounted pause;
    FakeModules::Current().Called("TiShowPopup");
}

std::uint8_t WSCheckURLMaliciousPattern(std::uint8_t, const char*, const char*, std::uint16_t, std::uint8_t*) {
    const support::Uncounted pause;
    return FakeModules::Current().Called("WSCheckURLMaliciousPattern") ? 1 : 0;
}
std::uint8_t WSInitUrlsig() {
    const support::Uncounted pause;
    return FakeModules::Current().Called("WSInitUrlsig") ? 1 : 0;
}
void WSDeInitUrlsig(std::uint32_t* error) {
    const support::Uncounted pause;
    NoteCell(error);
    FakeModules::Current().Called("WSDeInitUrlsig");
}

std::uint8_t ZRQuarantineFile(const char16_t* path, std::uint64_t a, const QuarantineRequest* request, std::uint64_t b,
                              std::uint64_t c, std::uint64_t d, std::uint64_t* out1, std::uint32_t* out2) {
    const support::Uncounted pause;
    EXPECT_EQ(a + b + c + d, 0U);
    EXPECT_NE(out1, nullptr);
    EXPECT_NE(out2, nullptr);
    const std::u16string_view text = path;
    const std::uint32_t type = request->type;
    *out1 = 1;
    *out2 = 1;
    return FakeModules::Current().Called("ZRQuarantineFile",
                                         std::string(text.begin(), text.end()) + " " + std::to_string(type))
               ? 1
               : 0;
}

std::uint8_t GetYALStatus(std::uint8_t* status) {
    const support::Uncounted pause;
    *status = 9;
    return FakeModules::Current().Called("GetYALStatus") ? 1 : 0;
}

template <class Function>
Pointer P(Function* function) {
    return reinterpret_cast<Pointer>(function);
}

struct Export {
    const char* file;
    const char* name;
    Pointer function;
};

template <Name name, class Out>
Export ReadOf(const char* file) {
    return {file, name.text, P(&Read<name, Out>)};
}
template <Name name, class Out>
Export ReleaseOf(const char* file) {
    return {file, name.text, P(&Release<name, Out>)};
}
template <Name name, class Record>
Export WriteOf(const char* file) {
    return {file, name.text, P(&Write<name, Record>)};
}

const std::vector<Export>& Exports() {
    static const std::vector<Export> kExports = {
        ReadOf<"ReadWSInternalWhiteList", UrlListRecord>("setrd.dll"),
        ReadOf<"ReadBPSettings", ThreatSiteList>("setrd.dll"),
        ReadOf<"ReadIDSSettings", IdsSettingsRecord>("setrd.dll"),
        ReleaseOf<"ReleaseIDSSettings", IdsSettingsRecord>("setrd.dll"),
        ReleaseOf<"ReleaseWSInternalWhiteList", UrlListRecord>("setrd.dll"),
        ReleaseOf<"ReleaseBPSettings", ThreatSiteList>("setrd.dll"),
        ReadOf<"ReadAPSettings", PhishingSiteList>("setrd.dll"),
        ReleaseOf<"ReleaseAPSettings", PhishingSiteList>("setrd.dll"),
        ReadOf<"ReadBPInternalWhiteList", UrlListRecord>("setrd.dll"),
        ReleaseOf<"ReleaseBPInternalWhiteList", UrlListRecord>("setrd.dll"),
        ReadOf<"ReadBPStatus", std::uint8_t>("statrd.dll"),
        ReadOf<"ReadIDSIPSStatus", IdsIpsStatus>("statrd.dll"),
        ReadOf<"ReadPCSettings", PcSettingsRecord>("statrd.dll"),
        ReleaseOf<"ReleasePCSettings", PcSettingsRecord>("statrd.dll"),
        ReadOf<"ReadAPStatus", std::uint8_t>("statrd.dll"),
        ReadOf<"ReadBPUserWhiteList", UrlListRecord>("statrd.dll"),
        Export{"statrd.dll", "ResetBPUserWhitelist", P(&ResetBPUserWhitelist)},
        ReleaseOf<"ReleaseBPUserWhiteList", UrlListRecord>("statrd.dll"),
        ReadOf<"ReadWebSecCloudStatus", std::uint8_t>("statrd.dll"),
        ReadOf<"ReadDNSCacheSettings", DnsCacheRecord>("statrd.dll"),
        WriteOf<"WriteDNSCacheSettings", DnsCacheRecord>("statrd.dll"),
        ReleaseOf<"ReleaseDNSCacheSettings", DnsCacheRecord>("statrd.dll"),
        ReadOf<"ReadIDSIPSSettings", IdsIpsSettings>("statrd.dll"),
        ReleaseOf<"ReleaseIDSIPSSettings", IdsIpsSettings>("statrd.dll"),
        ReadOf<"ReadBPReportPromptStatus", PromptBytes>("statrd.dll"),
        ReadOf<"ReadAPReportPromptStatus", PromptBytes>("statrd.dll"),
        ReadOf<"ReadPCSystemControlSettings", PcSystemControlRecord>("statrd.dll"),
        ReleaseOf<"ReleasePCSystemControlSettings", PcSystemControlRecord>("statrd.dll"),
        WriteOf<"WritePCSystemControlSettings", PcSystemControlRecord>("statrd.dll"),
        Export{"statrd.dll", "ReadEPSServerIP", P(&ReadEPSServerIP)},
        Export{"sitecls.dll", "SCInit", P(&SCInit)},
        Export{"sitecls.dll", "SCDeinit", P(&SCDeinit)},
        Export{"sitecls.dll", "SCGetURLCategories", P(&SCGetURLCategories)},
        Export{"sitecls.dll", "SCGetCategoryName", P(&SCGetCategoryName)},
        Export{"sitecls.dll", "SCReleaseCategories", P(&SCReleaseCategories)},
        Export{"sitecls.dll", "SCSaveCacheFile", P(&SCSaveCacheFile)},
        Export{"pktsig.dll", "PKSInit", P(&PKSInit)},
        Export{"pktsig.dll", "PKSDeinit", P(&PKSDeinit)},
        Export{"pktsig.dll", "PKSScanPacket", P(&PKSScanPacket)},
        Export{"tlsinsp.dll", "IntializeSSL", P(&IntializeSSL)},
        Export{"tlsinsp.dll", "DeIntializeSSL", P(&DeIntializeSSL)},
        Export{"tlsinsp.dll", "TiScanHttpsPacket", P(&TiScanHttpsPacket)},
        Export{"tlsinsp.dll", "TiShowPopup", P(&TiShowPopup)},
        Export{"urlsig.dll", "WSCheckURLMaliciousPattern", P(&WSCheckURLMaliciousPattern)},
        Export{"urlsig.dll", "WSInitUrlsig", P(&WSInitUrlsig)},
        Export{"urlsig.dll", "WSDeInitUrlsig", P(&WSDeInitUrlsig)},
        Export{"isolate.dll", "ZRQuarantineFile", P(&ZRQuarantineFile)},
        ReadOf<"ReadDisableFeaturesSettings", DisabledFeatures>("OPTSTORE.DLL"),
        Export{"agentst.dll", "GetYALStatus", P(&GetYALStatus)},
    };
    return kExports;
}

}  // namespace

FakeModules::FakeModules() {
    EXPECT_EQ(current, nullptr);
    current = this;
}
FakeModules::~FakeModules() {
    EXPECT_EQ(liveArrays, 0U) << "a category array was not released";
    current = nullptr;
}
FakeModules& FakeModules::Current() {
    return *current;
}

std::set<std::string> FakeModules::Loaded() const {
    std::set<std::string> files;
    for (const auto& [handle, instance] : instances_)
        if (instance.loaded) files.insert(instance.file);
    return files;
}

std::size_t FakeModules::Count(const std::string& entry) const {
    return static_cast<std::size_t>(std::count(journal.begin(), journal.end(), entry));
}

std::vector<std::string> FakeModules::Take() {
    return std::exchange(journal, {});
}

void* FakeModules::Load(const char16_t* path) {
    const support::Uncounted pause;
    const std::u16string text = path;
    loads.push_back(text);
    if (!text.starts_with(installFolder)) return nullptr;
    const std::string file(text.begin() + static_cast<std::ptrdiff_t>(installFolder.size()), text.end());
    const auto isFile = [&](const Export& entry) { return file == entry.file; };
    if (missingFiles.contains(file) || std::none_of(Exports().begin(), Exports().end(), isFile)) return nullptr;
    journal.push_back("load " + file);
    void* handle = handles_.emplace_back(std::make_unique<int>()).get();
    instances_[handle] = {file};
    return handle;
}

void* FakeModules::Find(void* module, const char* function) {
    const support::Uncounted pause;
    finds.emplace_back(function);
    const auto instance = instances_.find(module);
    if (instance == instances_.end() || !instance->second.loaded) {
        ADD_FAILURE() << function << " is asked of a module that is not loaded";
        return nullptr;
    }
    if (missingFunctions.contains(function)) return nullptr;
    for (const Export& entry : Exports())
        if (instance->second.file == entry.file && std::string(entry.name) == function)
            return reinterpret_cast<void*>(entry.function);
    ADD_FAILURE() << instance->second.file << " knows no " << function;
    return nullptr;
}

void FakeModules::Free(void* module) {
    const support::Uncounted pause;
    const auto instance = instances_.find(module);
    if (instance == instances_.end() || !instance->second.loaded) {
        ADD_FAILURE() << "a module that is not loaded is freed";
        return;
    }
    instance->second.loaded = false;
    journal.push_back("free " + instance->second.file);
}

bool FakeModules::InstallFolder(base::PathBuffer& folder) {
    return hasInstallFolder && base::Succeeded(base::CopyText(folder, installFolder));
}
bool FakeModules::HostExecutableKnown() {
    return hostExecutableKnown;
}
bool FakeModules::ManagedClientInstalled() {
    return managed;
}
machine::FileStart FakeModules::ReadFileStart(const base::PathBuffer& path) {
    const support::Uncounted pause;
    filesRead.emplace_back(base::FieldText(path));
    return proxyFile;
}
std::uint32_t FakeModules::SystemClassification() {
    return classification;
}
machine::HttpsInspectionFacts FakeModules::HttpsFacts() {
    return httpsFacts;
}

bool FakeModules::Called(const std::string& function, const std::string& arguments) {
    const support::Uncounted pause;
    journal.push_back(arguments.empty() ? function : function + " " + arguments);
    for (const Export& entry : Exports()) {
        if (function != entry.name) continue;
        EXPECT_TRUE(Loaded().contains(entry.file)) << function << " is called while its module is not loaded";
    }
    return !failing.contains(function);
}

const std::vector<std::uint8_t>* FakeModules::Given(const std::string& read) const {
    const auto found = given_.find(read);
    return found == given_.end() ? nullptr : &found->second;
}

}  // namespace tarn::fakes
