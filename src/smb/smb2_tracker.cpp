#include "smb/smb2_tracker.h"

#include <optional>
#include <utility>

#include "smb/wire_text.h"

namespace tarn::smb {
namespace {

bool TrackRequest(std::uint16_t command, base::Bytes message, SmbTables& tables) {
    if (command != kSmb2TreeConnect && command != kSmb2Create) return true;
    const std::optional<Smb2Request> request = ParseSmb2Request(message);
    if (!request) return false;
    Smb2RecordRequest(*request, tables);
    return true;
}

bool TrackAnswer(const SmbEndpointRecord& endpoint, const Smb2Response& response, SmbTables& tables,
                 SmbScanResult& result) {
    PendingRequest request;
    if (!Smb2TakeRequest(response, tables, request)) return false;
    // QUIRK: a failed or interim response has used the request up.  Test: AnInterimResponseLosesItsRequest
    if (response.status != 0) return false;
    return tables.smb2Sessions.Write([&](Smb2Sessions& sessions) {
        return Smb2RecordResponse(endpoint, std::move(request), response, sessions, result);
    });
}

bool TrackResponse(const SmbEndpointRecord& endpoint, const Smb2Response& response, SmbTables& tables,
                   SmbScanResult& result) {
    switch (response.command) {
        // QUIRK: these two end a session or a tree whatever their Status.  Test: AFailedEndEndsNevertheless
        case kSmb2Logoff:
            return tables.smb2Sessions.Write(
                [&](Smb2Sessions& sessions) { return Smb2EndSession(response, sessions); });
        case kSmb2TreeDisconnect:
            return tables.smb2Sessions.Write([&](Smb2Sessions& sessions) { return Smb2EndTree(response, sessions); });
        default:
            return TrackAnswer(endpoint, response, tables, result);
    }
}

}  // namespace

bool Smb2Track(const SmbEndpointRecord& endpoint, base::Bytes message, SmbTables& tables, SmbScanResult& result) {
    // QUIRK: only the first message of a compound counts; NextCommand is not followed.
    // Test: OnlyTheFirstMessageOfACompoundCounts
    const std::optional<std::uint16_t> command = Smb2CommandOf(message);
    if (!command) return false;
    if (*command < kSmb2Logoff || *command > kSmb2Create) return true;
    const std::optional<bool> isResponse = IsSmb2Response(message);
    if (!isResponse) return false;
    if (!*isResponse) return TrackRequest(*command, message, tables);
    const std::optional<Smb2Response> response = ParseSmb2Response(message);
    return response && TrackResponse(endpoint, *response, tables, result);
}

bool Smb2RecordRequest(const Smb2Request& request, SmbTables& tables) {
    if (!request.isParked) return true;
    tables.smb2PendingRequests.Write([&](Smb2PendingRequests& pending) {
        // QUIRK: MessageIds of all connections share the table; the first request under one is kept.
        // Test: TheFirstRequestUnderAMessageIdIsKept
        const auto place = pending.lower_bound(request.messageId);
        if (place != pending.end() && place->first == request.messageId) return;
        pending.emplace_hint(place, request.messageId, PendingRequest{request.kind, NameOf(request.name)});
    });
    return true;
}

bool Smb2TakeRequest(const Smb2Response& response, SmbTables& tables, PendingRequest& request) {
    auto taken = tables.smb2PendingRequests.Write(
        [&](Smb2PendingRequests& pending) { return pending.extract(response.messageId); });
    if (taken.empty()) return false;
    request = std::move(taken.mapped());
    return true;
}

bool Smb2RecordResponse(const SmbEndpointRecord& endpoint, PendingRequest&& request, const Smb2Response& response,
                        Smb2Sessions& sessions, SmbScanResult& result) {
    // QUIRK: a create makes its session known even when its tree is not.  Test: ACreateOnAnUnknownTreeMakesItsSession
    TreeTable& trees = sessions[response.sessionId];
    const CreateAnswer answer{endpoint, SmbProtocol::kSmb2, response.command, response.body};
    return RecordInTrees(trees, response.treeId, std::move(request), answer, result);
}

bool Smb2EndTree(const Smb2Response& response, Smb2Sessions& sessions) {
    if (response.command != kSmb2TreeDisconnect) return false;
    const auto session = sessions.find(response.sessionId);
    return session != sessions.end() && session->second.erase(response.treeId) == 1;
}

bool Smb2EndSession(const Smb2Response& response, Smb2Sessions& sessions) {
    return response.command == kSmb2Logoff && sessions.erase(response.sessionId) == 1;
}

}  // namespace tarn::smb
