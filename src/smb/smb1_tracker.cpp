#include "smb/smb1_tracker.h"

#include <optional>
#include <utility>

#include "smb/wire_text.h"

namespace tarn::smb {
namespace {

bool IsTracked(std::uint8_t command) {
    return command == kSmb1TreeDisconnect || command == kSmb1Logoff || command == kSmb1TreeConnect ||
           command == kSmb1NtCreate;
}

bool TrackRequest(std::uint8_t command, base::Bytes message, SmbTables& tables) {
    if (command != kSmb1TreeConnect && command != kSmb1NtCreate) return true;
    const std::optional<Smb1Request> request = ParseSmb1Request(message);
    if (!request) return false;
    // QUIRK: the frame counts as examined even when its request was refused.  Test: ANameLongerThanAllBytesIsNotParked
    Smb1RecordRequest(*request, tables);
    return true;
}

bool TrackAnswer(const SmbEndpointRecord& endpoint, const Smb1Reply& reply, SmbTables& tables, SmbScanResult& result) {
    PendingRequest request;
    if (!Smb1TakeRequest(reply, tables, request)) return false;
    if (reply.status != 0) return false;
    return tables.smb1Clients.Write(
        [&](Smb1Clients& clients) { return Smb1RecordResponse(endpoint, std::move(request), reply, clients, result); });
}

bool TrackReply(const SmbEndpointRecord& endpoint, const Smb1Reply& reply, SmbTables& tables, SmbScanResult& result) {
    switch (reply.command) {
        // QUIRK: these two end a client or a tree whatever their Status.  Test: AFailedEndEndsNevertheless
        case kSmb1Logoff:
            return tables.smb1Clients.Write([&](Smb1Clients& clients) { return Smb1EndClient(endpoint, clients); });
        case kSmb1TreeDisconnect:
            return tables.smb1Clients.Write(
                [&](Smb1Clients& clients) { return Smb1EndTree(endpoint, reply, clients); });
        default:
            return TrackAnswer(endpoint, reply, tables, result);
    }
}

}  // namespace

bool Smb1Track(const SmbEndpointRecord& endpoint, base::Bytes message, SmbTables& tables, SmbScanResult& result) {
    // QUIRK: only the header's command counts; AndX chains are not followed.  Test: AndXChainsAreNotFollowed
    const std::optional<std::uint8_t> command = Smb1CommandOf(message);
    if (!command) return false;
    if (!IsTracked(*command)) return true;
    const std::optional<bool> isReply = IsSmb1Reply(message);
    if (!isReply) return false;
    if (!*isReply) return TrackRequest(*command, message, tables);
    const std::optional<Smb1Reply> reply = ParseSmb1Reply(message);
    return reply && TrackReply(endpoint, *reply, tables, result);
}

bool Smb1RecordRequest(const Smb1Request& request, SmbTables& tables) {
    if (!request.isParked) return false;
    tables.smb1PendingRequests.Write([&](Smb1PendingRequests& pending) {
        // QUIRK: MIDs of all connections share the table; the first request under one is kept.
        // Test: TheFirstRequestUnderAMidIsKept
        const auto place = pending.lower_bound(request.mid);
        if (place != pending.end() && place->first == request.mid) return;
        pending.emplace_hint(place, request.mid, PendingRequest{request.kind, NameOf(request.name)});
    });
    return true;
}

bool Smb1TakeRequest(const Smb1Reply& reply, SmbTables& tables, PendingRequest& request) {
    auto taken =
        tables.smb1PendingRequests.Write([&](Smb1PendingRequests& pending) { return pending.extract(reply.mid); });
    if (taken.empty()) return false;
    request = std::move(taken.mapped());
    return true;
}

bool Smb1RecordResponse(const SmbEndpointRecord& endpoint, PendingRequest&& request, const Smb1Reply& reply,
                        Smb1Clients& clients, SmbScanResult& result) {
    TreeTable& trees = clients[endpoint.destinationAddress];
    const CreateAnswer answer{endpoint, SmbProtocol::kSmb1, reply.command, reply.body};
    return RecordInTrees(trees, reply.treeKey, std::move(request), answer, result);
}

bool Smb1EndTree(const SmbEndpointRecord& endpoint, const Smb1Reply& reply, Smb1Clients& clients) {
    const auto client = clients.find(endpoint.destinationAddress);
    return client != clients.end() && client->second.erase(reply.treeKey) == 1;
}

bool Smb1EndClient(const SmbEndpointRecord& endpoint, Smb1Clients& clients) {
    // QUIRK: the logoff of one user forgets the trees of every user at that address.
    // Test: ALogoffForgetsAllUsersOfTheAddress
    return clients.erase(endpoint.destinationAddress) == 1;
}

}  // namespace tarn::smb
