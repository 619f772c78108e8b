// Puts the segments of TCP connections together into turns: what a client sent until the server answered it.
#ifndef TARN_HOST_CAPTURE_TCP_TURNS_H
#define TARN_HOST_CAPTURE_TCP_TURNS_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <unordered_map>
#include <vector>

#include "host/capture/transport_view.h"

namespace tarn::host {

struct Turn {
    Endpoint client;
    Endpoint server;
    std::uint64_t frame = 0;  // number and time of the frame that began the turn
    std::uint64_t timeNanoseconds = 0;
    std::uint32_t index = 0;         // of the turn in its connection
    std::vector<std::uint8_t> data;  // in sequence order, cut at TurnLimits::turnBytes
    std::uint64_t totalLength = 0;   // before the cut
    std::size_t firstSegment = 0;    // bytes of it that the first segment brought
    bool hasGap = false;             // the server acknowledged more than the capture holds
};

// What keeps the memory of a replay bounded.
struct TurnLimits {
    std::size_t turnBytes = 32768;      // kept of one turn
    std::size_t pendingBytes = 65536;   // of segments that wait for an earlier one, in one connection
    std::size_t pendingSegments = 256;  // of them
    std::uint32_t window = 1 << 20;     // how far ahead of the expected byte such a segment may stand
    std::size_t connections = 4096;     // followed at a time; the one that was silent longest makes room
};

class TcpTurns {
 public:
    using Sink = std::function<void(const Turn&)>;

    explicit TcpTurns(Sink sink, TurnLimits limits = {}) : sink_(std::move(sink)), limits_(limits) {}

    void Add(const TransportView& segment, std::uint64_t frame, std::uint64_t timeNanoseconds);
    // Hands on the turns that no server answered, in the order in which their connections began.
    void Finish();

 private:
    struct Pair {
        Endpoint client;
        Endpoint server;
        bool operator==(const Pair& other) const;
    };
    struct PairHash {
        std::size_t operator()(const Pair& pair) const;
    };
    struct Pending {
        std::uint32_t sequence = 0;
        std::uint64_t frame = 0;
        std::uint64_t timeNanoseconds = 0;
        std::vector<std::uint8_t> data;
    };
    struct Connection {
        std::uint64_t order = 0;       // when it began
        std::uint32_t clientNext = 0;  // the sequence number expected next, of either side
        std::uint32_t serverNext = 0;
        bool knowsClient = false;
        bool knowsServer = false;
        bool clientDone = false;
        bool serverDone = false;
        bool isReset = false;
        std::uint32_t turns = 0;
        Turn turn;  // what the client has sent since the server's last answer; its totalLength is 0 when nothing
        std::list<Pending> pending;
        std::size_t pendingBytes = 0;
        std::list<Pair>::iterator silence;  // place in silences_
    };
    using Connections = std::unordered_map<Pair, Connection, PairHash>;

    Connections::iterator Find(const TransportView& segment, bool& fromClient);
    Connections::iterator Open(const Pair& pair);
    void Close(Connections::iterator at);
    void HandOn(const Pair& pair, Connection& connection);
    void FromClient(const TransportView& segment, std::uint64_t frame, std::uint64_t time, Connection& connection);
    void FromServer(const TransportView& segment, const Pair& pair, Connection& connection);
    void Append(Connection& connection, std::uint32_t sequence, std::uint64_t frame, std::uint64_t time,
                base::Bytes data);
    void Keep(Connection& connection, std::uint32_t sequence, std::uint64_t frame, std::uint64_t time,
              base::Bytes data);
    void AppendPending(Connection& connection);

    Sink sink_;
    TurnLimits limits_;
    Connections connections_;
    std::list<Pair> silences_;  // the pair that was silent longest stands first
    std::uint64_t opened_ = 0;
};

}  // namespace tarn::host

#endif
