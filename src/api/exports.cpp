// The thirteen exports: null checks, and the barrier that no exception passes. Further down only that is caught whose
// failure changes nothing: the action against a program, the steps of an end, the release of categories. What a module
// throws ends at its call, with an exception of the library in its place (modules/module_exceptions.h).
// Host threads call them at the same time; the library's instance comes from library_instance.h.
#include <cstdint>

#include "tarn/tarn.h"

#include "api/library_instance.h"
#include "api/lifecycle.h"
#include "api/settings_change.h"
#include "network/connection_drop.h"
#include "network/packet_scan.h"
#include "parental/logon_check.h"
#include "smb/frame_dispatch.h"
#include "url/feature_status.h"
#include "url/url_scan.h"
#include "url/web_extension_scan.h"

namespace {

using tarn::api::Library;

// No exception crosses the library's boundary: one that gets here is a failure of the call.
template <class Work>
std::uint8_t AtBoundary(Work&& work) noexcept {
    try {
        return work(tarn::api::TheLibrary()) ? 1 : 0;
    } catch (...) {
        return 0;
    }
}

}  // namespace

extern "C" {

std::uint8_t TARN_CALL WSInit(std::uint8_t mode, std::uint32_t* error) {
    if (error == nullptr) return 0;
    return AtBoundary([&](Library& library) { return tarn::api::Start(library, mode, *error); });
}

std::uint8_t TARN_CALL WSDeinit(std::uint32_t* error) {
    std::uint32_t ownError = 0;  // a host that passes no cell still gets everything released
    AtBoundary([&](Library& library) {
        tarn::api::Stop(library, error != nullptr ? *error : ownError);
        return true;
    });
    return 1;
}

void TARN_CALL WSShutDown(std::uint64_t a, std::uint64_t b, std::uint64_t c, std::uint64_t d) {
    AtBoundary([&](Library& library) {
        tarn::api::SaveForShutDown(library, a, b, c, d);
        return true;
    });
}

std::uint32_t TARN_CALL WSSettingsChanged(std::uint32_t kind, std::uint64_t a, std::uint64_t b, std::uint64_t c) {
    if (kind > TARN_SETTINGS_EVERYTHING) return 0;
    return AtBoundary([&](Library& library) { return tarn::api::ChangeSettings(library, kind, {a, b, c}); });
}

std::uint8_t TARN_CALL WSUpdateSettingsChanged(const std::uint32_t* mask) {
    if (mask == nullptr) return 0;
    return AtBoundary([&](Library& library) { return tarn::api::ReloadUpdated(library, *mask); });
}

std::uint8_t TARN_CALL WSScanUrl(ScanRequest* request, UrlVerdict* verdict, PromptBytes* prompt) {
    if (request == nullptr || verdict == nullptr || prompt == nullptr) return 0;
    return AtBoundary(
        [&](Library& library) { return tarn::url::ScanUrl(library.urlScan, *request, *verdict, *prompt); });
}

std::uint8_t TARN_CALL WSWebExtScanUrl(ScanRequest* request, UrlVerdict* verdict, PromptBytes* prompt) {
    if (request == nullptr || verdict == nullptr || prompt == nullptr) return 0;
    return AtBoundary(
        [&](Library& library) { return tarn::url::ScanWebExtensionUrl(library.urlScan, *request, *verdict, *prompt); });
}

std::uint8_t TARN_CALL WSGetUrlScanFeatureStatus(std::uint8_t* status) {
    if (status == nullptr) return 0;
    return AtBoundary([&](Library& library) {
        *status = tarn::url::FeatureStatus(library.urlScan);
        return true;
    });
}

std::uint8_t TARN_CALL WSScanPacket(const std::uint8_t* frame, std::uint32_t frameLength, std::uint16_t ruleId,
                                    std::uint8_t inbound, std::uint64_t /*reserved*/, PacketVerdict* verdict) {
    if (frame == nullptr || frameLength == 0 || verdict == nullptr) return 0;
    return AtBoundary([&](Library& library) {
        return tarn::network::ScanPacket(library.packetScan, frame, frameLength, ruleId, inbound, *verdict);
    });
}

std::uint8_t TARN_CALL WSDropConnection(const std::uint8_t* frame) {
    if (frame == nullptr) return 0;
    return AtBoundary([&](Library& library) {
        const auto row = tarn::network::RowOfConnection(frame);
        return row && library.machine.SetTcpRow(*row);
    });
}

std::uint8_t TARN_CALL WSAddURLToIDSBlockedList(const IdsBlockRequest* request) {
    if (request == nullptr) return 0;
    return AtBoundary([&](Library& library) {
        library.idsBlockedList.Add(*request);
        return true;
    });
}

std::uint8_t TARN_CALL WSScanLogonEventForPCCTRL(const LogonEvent* event, LogonVerdict* verdict) {
    if (event == nullptr || verdict == nullptr) return 0;
    return AtBoundary([&](Library& library) {
        return library.parental.Write([&](tarn::api::ParentalTables& tables) {
            return tarn::parental::ScanLogonEvent(*event, *verdict, tables.sessions, tables.settings,
                                                  library.machine.Clock());
        });
    });
}

std::uint8_t TARN_CALL WSScanSMBPacket(const std::uint8_t* frame, std::uint32_t frameLength, std::uint8_t direction,
                                       SmbScanResult* result) {
    if (frame == nullptr || frameLength == 0 || result == nullptr) return 0;
    return AtBoundary([&](Library& library) {
        return tarn::smb::ScanSmbFrame({frame, frameLength}, direction, library.smbTables, *result);
    });
}

}  // extern "C"
