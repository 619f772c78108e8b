// The thirteen exports compiled into this program: null pointers, preset verdicts, and the barrier for exceptions.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <stdexcept>

#include "tarn/tarn.h"

#include "api/full_settings.h"
#include "api/library_instance.h"
#include "api/machine_with_modules.h"
#include "url/tls_hello.h"

namespace tarn::api {

Library* exportedLibrary = nullptr;
Library& TheLibrary() {
    return *exportedLibrary;
}

namespace {

using testing::IsEmpty;

std::uint8_t ThrowingCategories(const char*, std::uint16_t**, std::uint16_t*, std::uint32_t) {
    throw std::runtime_error("categories");
}
std::uint8_t ThrowingStatus(std::uint64_t, std::uint8_t*, std::uint32_t*) {
    throw std::runtime_error("status");
}
std::uint8_t ThrowingScan(const std::uint8_t*, std::uint32_t, std::uint16_t, std::uint8_t, PacketVerdict*) {
    throw std::runtime_error("scan");
}
void ThrowingRelease(void*) {
    throw std::runtime_error("release");
}
void ThrowingReleaseOfCategories(std::uint16_t*) {
    throw std::runtime_error("categories");
}
std::uint8_t MaliciousCategory(const char*, std::uint16_t** array, std::uint16_t* count, std::uint32_t) {
    static std::uint16_t category = TARN_CATEGORY_MALICIOUS;
    *array = &category;
    *count = 1;
    return 1;
}
std::uint8_t NoCategoriesInAnArray(const char* url, std::uint16_t** array, std::uint16_t* count, std::uint32_t mode) {
    MaliciousCategory(url, array, count, mode);
    *count = 0;
    return 1;
}
// Puts a function that throws in place of a module's.
template <class Result, class... Parameters>
void Throw(Result(TARN_CALL*& function)(Parameters...)) {
    function = [](Parameters...) -> Result { throw std::runtime_error("module"); };
}

class Exports : public testing::Test {
 protected:
    Exports() { exportedLibrary = library.get(); }
    ~Exports() override {
        machine.modules.replacements.clear();
        WSDeinit(&error);
        EXPECT_THAT(machine.modules.inner.Loaded(), IsEmpty());
        exportedLibrary = nullptr;
    }

    std::size_t SessionCount() {
        return library->parental.Write([](ParentalTables& tables) { return tables.sessions.Records().size(); });
    }

    MachineWithModules machine;
    FullSettings settings;
    std::unique_ptr<Library> library = std::make_unique<Library>(machine);
    std::uint32_t error = 0;
    UrlVerdict verdict{};
    PromptBytes prompt{};
    std::string url = "https://shop.example/";
};

TEST_F(Exports, ANullPointerGivesFalseAndTouchesNothing) {
    ScanRequest request{};
    PacketVerdict packet{};
    LogonEvent event{};
    LogonVerdict logon{};
    SmbScanResult smb{};
    const std::uint8_t frame[64] = {};
    EXPECT_EQ(WSInit(TARN_START_RESTART, nullptr), 0);
    EXPECT_EQ(WSUpdateSettingsChanged(nullptr), 0);
    EXPECT_EQ(WSScanUrl(nullptr, &verdict, &prompt), 0);
    EXPECT_EQ(WSScanUrl(&request, nullptr, &prompt), 0);
    EXPECT_EQ(WSScanUrl(&request, &verdict, nullptr), 0);
    EXPECT_EQ(WSWebExtScanUrl(nullptr, &verdict, &prompt), 0);
    EXPECT_EQ(WSWebExtScanUrl(&request, nullptr, &prompt), 0);
    EXPECT_EQ(WSWebExtScanUrl(&request, &verdict, nullptr), 0);
    EXPECT_EQ(WSGetUrlScanFeatureStatus(nullptr), 0);
    EXPECT_EQ(WSScanPacket(nullptr, 64, 1, 1, 0, &packet), 0);
    EXPECT_EQ(WSScanPacket(frame, 0, 1, 1, 0, &packet), 0);
    EXPECT_EQ(WSScanPacket(frame, sizeof frame, 1, 1, 0, nullptr), 0);
    EXPECT_EQ(WSDropConnection(nullptr), 0);
    EXPECT_EQ(WSAddURLToIDSBlockedList(nullptr), 0);
    EXPECT_EQ(WSScanLogonEventForPCCTRL(nullptr, &logon), 0);
    EXPECT_EQ(WSScanLogonEventForPCCTRL(&event, nullptr), 0);
    EXPECT_EQ(WSScanSMBPacket(nullptr, 64, 0, &smb), 0);
    EXPECT_EQ(WSScanSMBPacket(frame, 0, 0, &smb), 0);
    EXPECT_EQ(WSScanSMBPacket(frame, sizeof frame, 0, nullptr), 0);
    EXPECT_THAT(machine.modules.inner.journal, IsEmpty());
    EXPECT_EQ(verdict.allow + verdict.reason, 0U) << "no verdict is preset";
    EXPECT_EQ(packet.action + packet.reason, 0U);
    EXPECT_EQ(logon.action + logon.reason, 0U);
    EXPECT_EQ(smb.resultKind + 0, 0U);
    EXPECT_EQ(library->idsBlockedList.Size(), 0U);
    EXPECT_FALSE(library->ready);
}

TEST_F(Exports, AKindThatIsNoneChangesNothing) {
    EXPECT_EQ(WSSettingsChanged(9, 1, 2, 3), 0U);
    EXPECT_EQ(WSSettingsChanged(0xFFFFFFFF, 1, 2, 3), 0U);
    EXPECT_THAT(machine.modules.inner.journal, IsEmpty());
}

TEST_F(Exports, WithoutAnErrorCellTheEndReleasesEverything) {
    settings.GiveTo(machine.modules.inner);
    ASSERT_EQ(WSInit(TARN_START_RESTART, &error), 1);
    EXPECT_EQ(WSDeinit(nullptr), 1);
    EXPECT_THAT(machine.modules.inner.Loaded(), IsEmpty());
    EXPECT_FALSE(library->ready);
}

TEST_F(Exports, BeforeAStartEverythingIsSafe) {
    WSShutDown(1, 2, 3, 4);
    EXPECT_EQ(WSDeinit(&error), 1);
    std::uint8_t status = 9;
    EXPECT_EQ(WSGetUrlScanFeatureStatus(&status), 1);
    EXPECT_EQ(status, 0);
    EXPECT_THAT(machine.modules.inner.journal, IsEmpty());
}

TEST_F(Exports, NoExceptionLeavesAScan) {
    settings.GiveTo(machine.modules.inner);
    machine.modules.Replace("SCGetURLCategories", &ThrowingCategories);
    machine.modules.Replace("PKSScanPacket", &ThrowingScan);
    ASSERT_EQ(WSInit(TARN_START_RESTART, &error), 1);
    ScanRequest request{};
    request.data = reinterpret_cast<std::uint8_t*>(url.data());
    request.dataLength = static_cast<std::uint32_t>(url.size());
    request.kind = TARN_KIND_TLS;
    EXPECT_EQ(WSWebExtScanUrl(&request, &verdict, &prompt), 0);
    EXPECT_EQ(verdict.allow + 0, TARN_ALLOW + 0U) << "the preset verdict stands";
    const std::uint8_t frame[64] = {};
    PacketVerdict packet{};
    EXPECT_EQ(WSScanPacket(frame, sizeof frame, 1, 1, 0, &packet), 0);
}

TEST_F(Exports, AReleaseOfCategoriesThatThrowsLeavesTheVerdict) {
    settings.GiveTo(machine.modules.inner);
    machine.modules.Replace("SCGetURLCategories", &NoCategoriesInAnArray);
    machine.modules.Replace("SCReleaseCategories", &ThrowingReleaseOfCategories);
    ASSERT_EQ(WSInit(TARN_START_RESTART, &error), 1);
    ScanRequest request{};
    request.data = reinterpret_cast<std::uint8_t*>(url.data());
    request.dataLength = static_cast<std::uint32_t>(url.size());
    request.kind = TARN_KIND_TLS;
    EXPECT_EQ(WSWebExtScanUrl(&request, &verdict, &prompt), 1);
    EXPECT_EQ(verdict.allow + 0, TARN_ALLOW + 0U);
    EXPECT_EQ(verdict.reason, TARN_REASON_DEFAULT + 0U);
    library->companions.categorisation->SCGetURLCategories = MaliciousCategory;
    EXPECT_EQ(WSWebExtScanUrl(&request, &verdict, &prompt), 1);
    EXPECT_EQ(verdict.allow + 0, TARN_BLOCK + 0U);
}

TEST_F(Exports, AReleaseThatThrowsFailsTheStart) {
    settings.GiveTo(machine.modules.inner);
    for (const char* release : {"ReleaseDNSCacheSettings", "ReleaseIDSIPSSettings", "ReleaseAPSettings",
                                "ReleasePCSettings", "ReleasePCSystemControlSettings"}) {
        machine.modules.Replace(release, &ThrowingRelease);
        EXPECT_EQ(WSInit(TARN_START_RESTART, &error), 0) << release;
        EXPECT_THAT(machine.modules.inner.Loaded(), IsEmpty()) << release;
        machine.modules.replacements.clear();
    }
    EXPECT_EQ(WSInit(TARN_START_RESTART, &error), 1);
}

TEST_F(Exports, AReleaseThatThrowsInAChangeForgetsTheRecord) {
    settings.GiveTo(machine.modules.inner);
    ASSERT_EQ(WSInit(TARN_START_RESTART, &error), 1);
    Throw(library->companions.statusReader->ReleaseBPUserWhiteList);
    ASSERT_NE(library->settings.bpUserWhiteList.entries, nullptr);
    EXPECT_EQ(WSSettingsChanged(TARN_SETTINGS_USER_WHITE_LIST, 1, 2, 3), 0U);
    EXPECT_EQ(library->settings.bpUserWhiteList.entries, nullptr);
}

TEST_F(Exports, AModuleWhoseEndThrowsInAChangeIsFreed) {
    settings.GiveTo(machine.modules.inner);
    ASSERT_EQ(WSInit(TARN_START_RESTART, &error), 1);
    Throw(library->companions.categorisation->SCDeinit);
    EXPECT_EQ(WSSettingsChanged(TARN_SETTINGS_BROWSING_PROTECTION, 1, 2, 3), 0U);
    EXPECT_FALSE(library->companions.categorisation);
    EXPECT_EQ(WSDeinit(&error), 1);
    EXPECT_EQ(WSInit(TARN_START_RESTART, &error), 1);
}

TEST_F(Exports, NoExceptionLeavesStartAndChanges) {
    machine.modules.Replace("ReadBPStatus", &ThrowingStatus);
    EXPECT_EQ(WSInit(TARN_START_RESTART, &error), 0);
    EXPECT_THAT(machine.modules.inner.Loaded(), IsEmpty());
    // Without the question for the online decision the first such read is that of the settings load.
    settings.GiveTo(machine.modules.inner);
    machine.modules.inner.proxyFile.state = machine::FileStart::State::kUnreadable;
    EXPECT_EQ(WSInit(TARN_START_RESTART, &error), 0);
    EXPECT_THAT(machine.modules.inner.Loaded(), IsEmpty());
    EXPECT_EQ(machine.modules.inner.Count("ReadBPUserWhiteList"), 1U);
    EXPECT_EQ(machine.modules.inner.held["ReadBPUserWhiteList"], 0) << "what was read before is given back";
    machine.modules.replacements.clear();
    ASSERT_EQ(WSInit(TARN_START_RESTART, &error), 1) << "and the library can be started";
    library->companions.statusReader->ReadBPStatus = ThrowingStatus;
    EXPECT_EQ(WSSettingsChanged(TARN_SETTINGS_BROWSING_PROTECTION, 1, 2, 3), 0U);
}

TEST_F(Exports, NoExceptionLeavesTheEnd) {
    settings.GiveTo(machine.modules.inner);
    fakes::OneProgram processes;
    machine.bare.integers[u"C:\\Suite\\browskip.ini [BROWSER_EXCLUSION_LIST] COUNT"] = 1;
    machine.bare.texts[u"C:\\Suite\\browskip.ini [BROWSER_EXCLUSION_LIST] NAMES"] = u"reader.exe";
    ASSERT_EQ(WSInit(TARN_START_RESTART, &error), 1);
    ASSERT_FALSE(library->browsingProtection.ActOnMaliciousUrl(9, "a/", processes, machine.modules));
    ASSERT_NE(SessionCount(), 0U);
    modules::Companions& companions = library->companions;
    Throw(companions.settingsReader->ReleaseWSInternalWhiteList);
    Throw(companions.statusReader->WriteDNSCacheSettings);
    Throw(companions.statusReader->WritePCSystemControlSettings);
    Throw(companions.settingsReader->ReleaseBPSettings);
    Throw(companions.statusReader->ReleaseBPUserWhiteList);
    Throw(companions.settingsReader->ReleaseIDSSettings);
    Throw(companions.urlPatterns->WSDeInitUrlsig);
    Throw(companions.httpsInspection->DeIntializeSSL);
    Throw(companions.categorisation->SCDeinit);
    Throw(companions.packetSignatures->PKSDeinit);
    EXPECT_EQ(WSDeinit(&error), 1);
    EXPECT_THAT(machine.modules.inner.Loaded(), IsEmpty());
    EXPECT_FALSE(library->ready);
    EXPECT_TRUE(library->IsAtRest());
    EXPECT_EQ(SessionCount(), 0U);
    EXPECT_EQ(library->settings.bpSettings.entries, nullptr) << "nothing is kept of a module that is gone";
    EXPECT_TRUE(library->browsingProtection.ActOnMaliciousUrl(9, "a/", processes, machine.modules))
        << "the exclusion list is gone";
    EXPECT_EQ(WSInit(TARN_START_RESTART, &error), 1);
}

TEST_F(Exports, NoExceptionLeavesTheLighterEnd) {
    settings.GiveTo(machine.modules.inner);
    ASSERT_EQ(WSInit(TARN_START_RESTART, &error), 1);
    Throw(library->companions.categorisation->SCSaveCacheFile);
    Throw(library->companions.statusReader->WritePCSystemControlSettings);
    WSShutDown(1, 2, 3, 4);
    EXPECT_EQ(SessionCount(), 0U);
}

// A release that throws is one that failed.
TEST_F(Exports, NoExceptionStopsTheReleaseOfAChangeOfEverything) {
    settings.GiveTo(machine.modules.inner);
    ASSERT_EQ(WSInit(TARN_START_RESTART, &error), 1);
    Throw(library->companions.settingsReader->ReleaseWSInternalWhiteList);
    EXPECT_EQ(WSSettingsChanged(TARN_SETTINGS_EVERYTHING, 1, 2, 3), 0U);
    EXPECT_EQ(machine.modules.inner.held["ReadBPSettings"], 0);
    EXPECT_EQ(machine.modules.inner.Count("ReadBPSettings"), 1U) << "nothing is read again";
}

TEST_F(Exports, TheInspectionsPopupIsNeverShown) {
    settings.GiveTo(machine.modules.inner);
    ASSERT_EQ(WSInit(TARN_START_RESTART, &error), 1);
    library->companions.httpsInspection->TiScanHttpsPacket = [](std::uint32_t, const char*, std::uint32_t,
                                                                std::uint16_t, const std::uint8_t*, std::uint32_t,
                                                                std::uint8_t* block) -> std::uint8_t {
        *block = 1;
        return 1;
    };
    std::string hello = url::TlsHello("blocked.example");
    ScanRequest request{};
    request.data = reinterpret_cast<std::uint8_t*>(hello.data());
    request.dataLength = static_cast<std::uint32_t>(hello.size());
    request.remoteAddress = {TARN_FAMILY_IPV4, {203, 0, 113, 5}};
    request.kind = TARN_KIND_TLS;
    EXPECT_EQ(WSScanUrl(&request, &verdict, &prompt), 0) << "nobody is known to have asked";
    for (std::uint32_t kind = 0; kind <= TARN_SETTINGS_EVERYTHING; ++kind)
        EXPECT_EQ(WSSettingsChanged(kind, 1, 2, 3), 1U) << kind;
    WSShutDown(1, 2, 3, 4);
    EXPECT_EQ(WSDeinit(&error), 1);
    EXPECT_EQ(machine.modules.inner.Count("IntializeSSL"), 3U);
    EXPECT_EQ(machine.modules.inner.Count("TiShowPopup"), 0U);
}

TEST_F(Exports, TheConnectionBufferIsFilledByNothingAndFreedByBothEnds) {
    auto& buffer = library->relics.connectionBuffer;
    settings.GiveTo(machine.modules.inner);
    ASSERT_EQ(WSInit(TARN_START_RESTART, &error), 1);
    ScanRequest request{};
    request.data = reinterpret_cast<std::uint8_t*>(url.data());
    request.dataLength = static_cast<std::uint32_t>(url.size());
    request.kind = TARN_KIND_HTTP;
    WSScanUrl(&request, &verdict, &prompt);
    const std::uint8_t frame[64] = {};
    PacketVerdict packet{};
    WSScanPacket(frame, sizeof frame, 1, 1, 0, &packet);
    WSDropConnection(frame);
    EXPECT_EQ(buffer, nullptr);
    buffer = std::make_unique<std::uint8_t[]>(16);
    WSShutDown(1, 2, 3, 4);
    EXPECT_EQ(buffer, nullptr);
    buffer = std::make_unique<std::uint8_t[]>(16);
    EXPECT_EQ(WSDeinit(&error), 1);
    EXPECT_EQ(buffer, nullptr);
}

TEST_F(Exports, ADroppedConnectionIsGivenToTheMachine) {
    std::uint8_t frame[64] = {};
    frame[12] = 8;     // IPv4
    frame[14] = 0x45;  // a header of 20 bytes
    frame[23] = 17;
    EXPECT_EQ(WSDropConnection(frame), 0) << "UDP";
    EXPECT_THAT(machine.bare.tcpRows, IsEmpty());
    frame[23] = 6;
    EXPECT_EQ(WSDropConnection(frame), 1);
    EXPECT_THAT(machine.bare.tcpRows, testing::SizeIs(1));
}

}  // namespace
}  // namespace tarn::api
