#include "smb/tracker.h"

#include <optional>
#include <utility>

#include "smb/smb1_message.h"
#include "smb/smb2_message.h"
#include "smb/wire_text.h"

namespace tarn::smb {
namespace {

using base::Bytes;

// Where the two versions differ: commands, layout, tables, and whose the trees are.
struct Smb2 {
    static constexpr SmbProtocol kProtocol = SmbProtocol::kSmb2;
    static constexpr std::uint16_t kLogoff = kSmb2Logoff;
    static constexpr std::uint16_t kTreeConnect = kSmb2TreeConnect;
    static constexpr std::uint16_t kTreeDisconnect = kSmb2TreeDisconnect;
    static constexpr std::uint16_t kCreate = kSmb2Create;

    // QUIRK: only the first message of a compound counts; NextCommand is not followed.
    // Test: OnlyTheFirstMessageOfACompoundCounts
    static Smb2Header Decode(Bytes message) { return DecodeSmb2Header(message); }
    static auto Request(const Smb2Header& header, Bytes message) { return ParseSmb2Request(header, message); }
    static auto ResponseBody(const Smb2Header& header, Bytes message) { return Smb2ResponseBody(header, message); }

    static auto& PendingRequests(SmbTables& tables) { return tables.smb2PendingRequests; }
    static auto& Owners(SmbTables& tables) { return tables.smb2Sessions; }
    static std::uint64_t OwnerOf(const SmbEndpointRecord& /*endpoint*/, const Smb2Header& header) {
        return header.sessionId;
    }
};

struct Smb1 {
    static constexpr SmbProtocol kProtocol = SmbProtocol::kSmb1;
    static constexpr std::uint16_t kLogoff = kSmb1Logoff;
    static constexpr std::uint16_t kTreeConnect = kSmb1TreeConnect;
    static constexpr std::uint16_t kTreeDisconnect = kSmb1TreeDisconnect;
    static constexpr std::uint16_t kCreate = kSmb1NtCreate;

    // QUIRK: only the header's command counts; AndX chains are not followed.  Test: AndXChainsAreNotFollowed
    static Smb1Header Decode(Bytes message) { return DecodeSmb1Header(message); }
    static auto Request(const Smb1Header& header, Bytes message) { return ParseSmb1Request(header, message); }
    static auto ResponseBody(const Smb1Header& header, Bytes message) { return Smb1ResponseBody(header, message); }

    static auto& PendingRequests(SmbTables& tables) { return tables.smb1PendingRequests; }
    static auto& Owners(SmbTables& tables) { return tables.smb1Clients; }
    // The client is the destination: responses travel from the server.
    // QUIRK: the logoff of one user forgets the trees of every user at that address.
    // Test: ALogoffForgetsAllUsersOfTheAddress
    static std::uint32_t OwnerOf(const SmbEndpointRecord& endpoint, const Smb1Header& /*header*/) {
        return endpoint.destinationAddress;
    }
};

template <class Version, class Header>
bool IsFollowedRequest(const Header& header) {
    return header.command == Version::kTreeConnect || header.command == Version::kCreate;
}

template <class Version, class Header>
bool IsTracked(const Header& header) {
    return IsFollowedRequest<Version>(header) || header.command == Version::kTreeDisconnect ||
           header.command == Version::kLogoff;
}

template <class Version, class Header>
bool TrackRequest(const Header& header, Bytes message, SmbTables& tables) {
    if (!IsFollowedRequest<Version>(header)) return true;
    const std::optional<SmbRequest> request = Version::Request(header, message);
    if (!request) return false;
    if (!request->isFollowed) return true;
    Version::PendingRequests(tables).Write([&](auto& pending) {
        // QUIRK: requests of all connections share the table; the first one under an id is kept.
        // Test: TheFirstRequestUnderAnIdIsKept
        const auto place = pending.lower_bound(header.requestId);
        if (place != pending.end() && place->first == header.requestId) return;
        pending.emplace_hint(place, header.requestId, PendingRequest{request->kind, NameOf(request->name)});
    });
    return true;
}

template <class Version, class Header>
bool TrackAnswer(const SmbEndpointRecord& endpoint, const Header& header, Bytes body, SmbTables& tables,
                 SmbScanResult& result) {
    auto request =
        Version::PendingRequests(tables).Write([&](auto& pending) { return pending.extract(header.requestId); });
    // QUIRK: a failed or interim response has used its request up.  Test: AFailedOrInterimResponseUsesItsRequestUp
    if (request.empty() || header.status != 0) return false;
    return Version::Owners(tables).Write([&](auto& owners) {
        // QUIRK: a create makes its session or client known even when its tree is not.
        // Test: ACreateOnAnUnknownTreeMakesItsOwner
        TreeTable& trees = owners[Version::OwnerOf(endpoint, header)];
        const CreateAnswer answer{endpoint, Version::kProtocol, header.command, body};
        return RecordInTrees(trees, header.treeKey, std::move(request.mapped()), answer, result);
    });
}

template <class Version, class Header>
bool TrackResponse(const SmbEndpointRecord& endpoint, const Header& header, Bytes message, SmbTables& tables,
                   SmbScanResult& result) {
    const std::optional<Bytes> body = Version::ResponseBody(header, message);
    if (!body) return false;
    const auto owner = Version::OwnerOf(endpoint, header);
    switch (header.command) {
        // QUIRK: these two end a session, a client or a tree whatever their Status.  Test: AFailedEndEndsNevertheless
        case Version::kLogoff:
            return Version::Owners(tables).Write([&](auto& owners) { return owners.erase(owner) == 1; });
        case Version::kTreeDisconnect:
            return Version::Owners(tables).Write([&](auto& owners) {
                const auto trees = owners.find(owner);
                return trees != owners.end() && trees->second.erase(header.treeKey) == 1;
            });
        default:
            return TrackAnswer<Version>(endpoint, header, *body, tables, result);
    }
}

template <class Version>
bool Track(const SmbEndpointRecord& endpoint, Bytes message, SmbTables& tables, SmbScanResult& result) {
    const auto header = Version::Decode(message);
    if (header.extent < HeaderExtent::kCommand) return false;
    if (!IsTracked<Version>(header)) return true;
    if (header.extent < HeaderExtent::kDirection) return false;
    return header.isResponse ? TrackResponse<Version>(endpoint, header, message, tables, result)
                             : TrackRequest<Version>(header, message, tables);
}

}  // namespace

bool Smb2Track(const SmbEndpointRecord& endpoint, Bytes message, SmbTables& tables, SmbScanResult& result) {
    return Track<Smb2>(endpoint, message, tables, result);
}

bool Smb1Track(const SmbEndpointRecord& endpoint, Bytes message, SmbTables& tables, SmbScanResult& result) {
    return Track<Smb1>(endpoint, message, tables, result);
}

}  // namespace tarn::smb
