#include "host/capture/tcp_turns.h"

#include <algorithm>
#include <array>
#include <bit>
#include <utility>

namespace tarn::host {

namespace {

// How far a stands behind b (negative: in front of it), in sequence numbers, which wrap around.
std::int32_t Distance(std::uint32_t a, std::uint32_t b) {
    return static_cast<std::int32_t>(a - b);
}

// The first sequence number of the payload: a SYN takes one itself.
std::uint32_t PayloadSequence(const TransportView& segment) {
    return segment.sequence + (segment.syn ? 1 : 0);
}

using Halves = std::array<std::uint64_t, 2>;  // of an address: comparing bytes would be a call

bool IsSame(const Endpoint& one, const Endpoint& other) {
    const auto a = std::bit_cast<Halves>(one.address.bytes);
    const auto b = std::bit_cast<Halves>(other.address.bytes);
    return one.port == other.port && one.address.isIpv6 == other.address.isIpv6 && a[0] == b[0] && a[1] == b[1];
}

// Each bit of the value reaches the upper half, which is folded down.
std::uint64_t Mix(std::uint64_t hash, std::uint64_t value) {
    hash = (hash ^ value) * 0x9E3779B97F4A7C15;
    return hash ^ hash >> 32;
}

std::uint64_t Mix(std::uint64_t hash, const Endpoint& end) {
    const auto halves = std::bit_cast<Halves>(end.address.bytes);
    hash = Mix(hash, halves[0] ^ std::uint64_t{end.port} << 32);
    return end.address.isIpv6 ? Mix(hash, halves[1]) : hash;
}

}  // namespace

bool TcpTurns::Pair::operator==(const Pair& other) const {
    return IsSame(client, other.client) && IsSame(server, other.server);
}

std::size_t TcpTurns::PairHash::operator()(const Pair& pair) const {
    return static_cast<std::size_t>(Mix(Mix(0, pair.client), pair.server));
}

void TcpTurns::Add(const TransportView& segment, std::uint64_t frame, std::uint64_t timeNanoseconds) {
    bool fromClient = true;
    const Connections::iterator at = Find(segment, fromClient);
    if (at == connections_.end()) return;
    Connection& connection = at->second;
    silences_.splice(silences_.end(), silences_, connection.silence);

    if (segment.reset) {
        HandOn(at->first, connection);
        connection.isReset = true;
        return;
    }
    if (fromClient)
        FromClient(segment, frame, timeNanoseconds, connection);
    else
        FromServer(segment, at->first, connection);
    if (segment.fin) (fromClient ? connection.clientDone : connection.serverDone) = true;
    if (connection.clientDone && connection.serverDone && connection.pending.empty()) HandOn(at->first, connection);
}

void TcpTurns::Finish() {
    std::vector<Connections::iterator> open;
    for (auto at = connections_.begin(); at != connections_.end(); ++at) open.push_back(at);
    std::sort(open.begin(), open.end(), [](auto a, auto b) { return a->second.order < b->second.order; });
    for (const auto at : open) Close(at);
}

TcpTurns::Connections::iterator TcpTurns::Find(const TransportView& segment, bool& fromClient) {
    const Pair asClient{segment.source, segment.destination};
    const Pair asServer{segment.destination, segment.source};
    if (segment.syn && !segment.ack) {
        const auto known = connections_.find(asClient);
        const bool isRepeated = known != connections_.end() && known->second.knowsClient &&
                                segment.sequence + 1 == known->second.clientNext;
        if (isRepeated) return known;
        if (known != connections_.end()) Close(known);
        return Open(asClient);
    }
    if (const auto known = connections_.find(asClient); known != connections_.end()) return known;
    if (const auto known = connections_.find(asServer); known != connections_.end()) {
        fromClient = false;
        return known;
    }
    if (segment.syn && !segment.reset) {
        fromClient = false;
        return Open(asServer);
    }
    if (segment.payload.empty()) return connections_.end();
    // The capture began in the middle of the connection: a server's port is the lower one.
    fromClient = segment.source.port >= segment.destination.port;
    return Open(fromClient ? asClient : asServer);
}

TcpTurns::Connections::iterator TcpTurns::Open(const Pair& pair) {
    if (connections_.size() >= limits_.connections) Close(connections_.find(silences_.front()));
    Connection added;
    added.order = opened_++;
    added.silence = silences_.insert(silences_.end(), pair);
    return connections_.emplace(pair, std::move(added)).first;
}

void TcpTurns::Close(Connections::iterator at) {
    HandOn(at->first, at->second);
    silences_.erase(at->second.silence);
    connections_.erase(at);
}

void TcpTurns::HandOn(const Pair& pair, Connection& connection) {
    if (connection.turn.totalLength == 0) return;
    Turn turn = std::exchange(connection.turn, Turn{});
    turn.client = pair.client;
    turn.server = pair.server;
    turn.index = connection.turns++;
    sink_(turn);
}

void TcpTurns::FromClient(const TransportView& segment, std::uint64_t frame, std::uint64_t time,
                          Connection& connection) {
    std::uint32_t sequence = PayloadSequence(segment);
    if (!connection.knowsClient) {
        connection.clientNext = sequence;
        connection.knowsClient = true;
    }
    if (!connection.knowsServer && segment.ack) {
        connection.serverNext = segment.acknowledged;
        connection.knowsServer = true;
    }
    if (segment.payload.empty() || connection.isReset) return;
    base::Bytes data = segment.payload;
    const std::int32_t ahead = Distance(sequence, connection.clientNext);
    if (ahead > 0) {
        Keep(connection, sequence, frame, time, data);
        return;
    }
    const std::uint32_t known = connection.clientNext - sequence;
    if (known >= data.size()) return;  // sent again
    sequence += known;
    Append(connection, sequence, frame, time, data.subspan(known));
    AppendPending(connection);
}

void TcpTurns::FromServer(const TransportView& segment, const Pair& pair, Connection& connection) {
    const std::uint32_t sequence = PayloadSequence(segment);
    const auto length = static_cast<std::uint32_t>(segment.payload.size());
    if (!connection.knowsClient && segment.ack) {
        connection.clientNext = segment.acknowledged;
        connection.knowsClient = true;
    }
    if (!connection.knowsServer || segment.syn) {
        connection.serverNext = sequence;
        connection.knowsServer = true;
    }
    const bool isNew = length > 0 && Distance(sequence + length, connection.serverNext) > 0;
    if (!isNew || connection.isReset) return;
    connection.serverNext = sequence + length;

    if (segment.ack && Distance(segment.acknowledged, connection.clientNext) > 0 && !connection.clientDone) {
        // The server has what the capture lacks: the turn ends at the gap, and the next one begins behind it.
        connection.turn.hasGap = true;
        HandOn(pair, connection);
        connection.turn.hasGap = false;
        connection.clientNext = segment.acknowledged;
        AppendPending(connection);
        return;
    }
    HandOn(pair, connection);
}

void TcpTurns::Append(Connection& connection, std::uint32_t sequence, std::uint64_t frame, std::uint64_t time,
                      base::Bytes data) {
    Turn& turn = connection.turn;
    if (turn.totalLength == 0) {
        turn.frame = frame;
        turn.timeNanoseconds = time;
        turn.firstSegment = data.size();
    }
    turn.totalLength += data.size();
    const std::size_t kept = std::min(data.size(), limits_.turnBytes - turn.data.size());
    turn.data.insert(turn.data.end(), data.begin(), data.begin() + static_cast<std::ptrdiff_t>(kept));
    connection.clientNext = sequence + static_cast<std::uint32_t>(data.size());
}

void TcpTurns::Keep(Connection& connection, std::uint32_t sequence, std::uint64_t frame, std::uint64_t time,
                    base::Bytes data) {
    const bool fits = sequence - connection.clientNext <= limits_.window &&
                      connection.pending.size() < limits_.pendingSegments &&
                      data.size() <= limits_.pendingBytes - connection.pendingBytes;
    if (!fits) return;
    const auto place = std::find_if(connection.pending.begin(), connection.pending.end(),
                                    [&](const Pending& kept) { return Distance(kept.sequence, sequence) > 0; });
    connection.pending.insert(place, Pending{sequence, frame, time, {data.begin(), data.end()}});
    connection.pendingBytes += data.size();
}

void TcpTurns::AppendPending(Connection& connection) {
    while (!connection.pending.empty()) {
        const Pending& first = connection.pending.front();
        if (Distance(first.sequence, connection.clientNext) > 0) return;
        const std::uint32_t known = connection.clientNext - first.sequence;
        if (known < first.data.size())
            Append(connection, first.sequence + known, first.frame, first.timeNanoseconds,
                   base::Bytes(first.data).subspan(known));
        connection.pendingBytes -= first.data.size();
        connection.pending.pop_front();
    }
}

}  // namespace tarn::host
