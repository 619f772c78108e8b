// Start, end and changes of the exports' world.
#include <algorithm>
#include <iterator>
#include <string>

#include "tarn/companion_modules.h"

#include "api/library_instance.h"
#include "exports/exports_world.h"

namespace tarn::api {
namespace {

Library* exportedLibrary = nullptr;

}  // namespace

Library& TheLibrary() {
    return *exportedLibrary;
}

}  // namespace tarn::api

namespace tarn::fuzz {
namespace {

constexpr const char* kFailing[] = {"ReadWSInternalWhiteList",
                                    "ReadBPInternalWhiteList",
                                    "ReadBPUserWhiteList",
                                    "ReadBPSettings",
                                    "ReadAPSettings",
                                    "ReadIDSSettings",
                                    "ReadDNSCacheSettings",
                                    "ReadPCSystemControlSettings",
                                    "ReadPCSettings",
                                    "ReadBPStatus",
                                    "ReadAPStatus",
                                    "ReadIDSIPSStatus",
                                    "ReadIDSIPSSettings",
                                    "ReadBPReportPromptStatus",
                                    "ReadAPReportPromptStatus",
                                    "ReadWebSecCloudStatus",
                                    "ReadDisableFeaturesSettings",
                                    "ReadEPSServerIP",
                                    "ResetBPUserWhitelist",
                                    "WriteDNSCacheSettings",
                                    "WritePCSystemControlSettings",
                                    "GetYALStatus",
                                    "SCGetURLCategories",
                                    "SCGetCategoryName",
                                    "PKSScanPacket",
                                    "WSCheckURLMaliciousPattern",
                                    "TiScanHttpsPacket",
                                    "ZRQuarantineFile"};
// A module that does not start, or has not all its functions, is not there.
constexpr const char* kStarts[] = {"SCInit", "PKSInit", "IntializeSSL", "WSInitUrlsig"};
#define TARN_FILE(module, file, functions) file,
constexpr const char* kFiles[] = {TARN_COMPANION_FILES(TARN_FILE)};
#undef TARN_FILE
constexpr const char* kFunctions[] = {
    "ReadBPStatus", "ReleaseIDSIPSSettings", "TiShowPopup",    "WSDeInitUrlsig", "SCDeinit",
    "PKSDeinit",    "SCSaveCacheFile",       "ReadEPSServerIP"};

void Toggle(std::set<std::string>& names, const char* name) {
    if (names.erase(name) == 0) names.insert(name);
}

}  // namespace

ExportsWorld::ExportsWorld() {
    Require(moduleAnswers == nullptr, "there is one world at a time");
    moduleAnswers = &answers_;
    BindModuleAnswers(machine_.modules);
    fakes::FakeModules& modules = machine_.modules.inner;
    modules.Give("ReadBPStatus", std::uint8_t{1});
    modules.Give("ReadAPStatus", std::uint8_t{1});
    modules.Give("ReadIDSIPSStatus", IdsIpsStatus{1, {}});
    modules.Give("ReadBPReportPromptStatus", PromptBytes{1, 2});
    modules.Give("ReadAPReportPromptStatus", PromptBytes{3, 4});
    ModuleRecords::PutSid(0, machine_.processes.user.sid.data());
    library_ = std::make_unique<api::Library>(machine_);
    api::exportedLibrary = library_.get();
}

ExportsWorld::~ExportsWorld() {
    api::exportedLibrary = nullptr;
    library_.reset();
    moduleAnswers = nullptr;
}

void ExportsWorld::RequireAtRest() {
    Require(!library_->ready && library_->IsAtRest(), "nothing runs and nothing is loaded");
    Require(machine_.modules.inner.Loaded().empty(), "every module is unloaded");
    isOff_ = true;
}

void ExportsWorld::Init(Pieces& pieces) {
    const std::uint8_t choice = pieces.Byte();
    if (choice == 0xFF) {
        const bool wasReady = library_->ready;
        const std::size_t before = machine_.modules.inner.journal.size();
        Require(WSInit(TARN_START_RESTART, nullptr) == 0, "a start without a cell is refused");
        Require(library_->ready == wasReady && machine_.modules.inner.journal.size() == before,
                "a start without a cell changes nothing");
        return;
    }
    std::uint32_t error = 0;
    const std::uint8_t mode = choice < 0xE0 ? choice % 2 : choice;
    const std::uint8_t result = WSInit(mode, &error);
    Require(result <= 1 && library_->ready == (result == 1), "a start says whether the library is ready");
    if (result == 0)
        RequireAtRest();
    else
        isOff_ = false;
}

void ExportsWorld::Deinit(bool hasCell) {
    std::uint32_t error = 0;
    Require(WSDeinit(hasCell ? &error : nullptr) == 1, "the end always succeeds");
    RequireAtRest();
    Require(library_->idsBlockedList.Size() == 0, "no blocked address is left");
    Require(answers_.categories.empty(), "every array of categories was released");
    if (!mayLose_) answers_.given.RequireAllReleased();
}

void ExportsWorld::ShutDown(Pieces& pieces) {
    const bool wasReady = library_->ready;
    const auto loaded = machine_.modules.inner.Loaded();
    WSShutDown(pieces.Number(), 2, 3, 4);
    Require(library_->ready == wasReady && machine_.modules.inner.Loaded() == loaded,
            "modules stay loaded when the machine shuts down");
}

void ExportsWorld::ChangeSettings(Pieces& pieces) {
    const std::uint32_t kind = pieces.Byte() % 12;
    const std::size_t before = machine_.modules.inner.journal.size();
    const std::uint32_t result = WSSettingsChanged(kind, pieces.Number(), 1, 2);
    Require(result <= 1, "a change succeeds or fails");
    if (kind > TARN_SETTINGS_EVERYTHING)
        Require(result == 0 && machine_.modules.inner.journal.size() == before, "a kind that is none changes nothing");
    else
        isOff_ = false;
}

void ExportsWorld::Update(Pieces& pieces) {
    const std::uint32_t mask = pieces.Number();
    if (mask == 0xFFFF) {
        Require(WSUpdateSettingsChanged(nullptr) == 0, "an update without a mask is refused");
        return;
    }
    const std::uint32_t copy = mask;
    Require(WSUpdateSettingsChanged(&copy) <= 1 && copy == mask, "an update leaves the mask");
    isOff_ = false;
}

void ExportsWorld::End() {
    Deinit(true);
}

void ExportsWorld::ChangeModules(Pieces& pieces) {
    fakes::FakeModules& modules = machine_.modules.inner;
    const std::uint8_t choice = pieces.Byte();
    const std::uint8_t which = pieces.Byte();
    switch (choice % 8) {
        case 0:
            mayLose_ = true;
            return Toggle(modules.missingFiles, kFiles[which % std::size(kFiles)]);
        case 1:
            mayLose_ = true;
            return Toggle(modules.missingFunctions, kFunctions[which % std::size(kFunctions)]);
        case 2:
            mayLose_ = true;
            return Toggle(modules.failing, kStarts[which % std::size(kStarts)]);
        case 3:
        case 4:
            return Toggle(modules.failing, kFailing[which % std::size(kFailing)]);
        case 5:
            answers_.mayBeOdd = which % 2 != 0;
            answers_.salt = which;
            return;
        case 6:
            answers_.scansThrow = which % 4 == 1;
            return;
        default:
            // Everything is there again.
            modules.missingFiles.clear();
            modules.missingFunctions.clear();
            modules.failing.clear();
            modules.hasInstallFolder = true;
    }
}

void ExportsWorld::ChangeClock(Pieces& pieces) {
    TarnSystemTime time{2026, 1, 0, 1, 0, 0, 0, 0};
    time.month = static_cast<std::uint16_t>(pieces.Byte() % 13);  // 0: a clock without a date
    time.dayOfWeek = pieces.Byte() % 7;
    time.day = static_cast<std::uint16_t>(1 + pieces.Byte() % 31);
    time.hour = pieces.Byte() % 24;
    time.minute = pieces.Byte() % 60;
    machine_.bare.clock.Set(time);
}

void ExportsWorld::ChangeWorld(Pieces& pieces) {
    fakes::FakeModules& modules = machine_.modules.inner;
    const std::uint8_t choice = pieces.Byte();
    const std::uint8_t value = pieces.Byte();
    switch (choice % 10) {
        case 0:
        case 1: {
            const Bytes answer = pieces.Take(pieces.Byte() * 2U);
            answers_.records[value % kReadKinds].assign(answer.begin(), answer.end());
            return;
        }
        case 2:
            return ChangeClock(pieces);
        case 3:
            machine_.bare.integers[u"C:\\Suite\\dnsblock.ini [WEB_SECURITY] BLOCK_URL_IN_DNS"] = value % 2;
            machine_.bare.integers[u"C:\\Suite\\socialset.ini [FACEBOOK] FBOnlineHandle"] = value % 3;
            return;
        case 4: {
            std::u16string text;
            for (const std::uint8_t byte : pieces.Take(value)) text += static_cast<char16_t>(byte);
            machine_.bare.integers[u"C:\\Suite\\browskip.ini [BROWSER_EXCLUSION_LIST] COUNT"] = value;
            machine_.bare.texts[u"C:\\Suite\\browskip.ini [BROWSER_EXCLUSION_LIST] NAMES"] = text;
            machine_.bare.texts[u"C:\\Suite\\socialset.ini [FACEBOOK] FBLike"] = text;
            return;
        }
        case 5:
            modules.managed = value % 2 != 0;
            modules.classification = 50000U + value % 52U;
            modules.httpsFacts.productType = static_cast<std::uint8_t>(1 + value % 3);
            return;
        case 6: {
            modules.proxyFile.state = static_cast<machine::FileStart::State>(value % 3);
            modules.proxyFile.count = value % (modules.proxyFile.bytes.size() + 1);
            std::ranges::copy(pieces.Take(modules.proxyFile.count), modules.proxyFile.bytes.begin());
            return;
        }
        case 7:
            machine_.processes.userKnown = value % 4 != 1;
            machine_.processes.pathKnown = value % 8 != 2;
            ModuleRecords::PutSid(value >> 6, machine_.processes.user.sid.data());
            machine_.sessions.count = value % 6;
            machine_.sessions.canList = value % 16 != 5;
            return;
        case 8:
            modules.Give("ReadBPStatus", static_cast<std::uint8_t>(value & 1));
            modules.Give("ReadAPStatus", static_cast<std::uint8_t>(value >> 1 & 1));
            modules.Give("ReadIDSIPSStatus", IdsIpsStatus{static_cast<std::uint8_t>(value >> 2 & 1), {}});
            modules.Give("ReadWebSecCloudStatus", static_cast<std::uint8_t>(value >> 3 & 1));
            return;
        default:
            mayLose_ = true;  // what cannot be loaded anew gives nothing back
            modules.hasInstallFolder = value % 2 != 0;
    }
}

}  // namespace tarn::fuzz
