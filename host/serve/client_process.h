// Which program of this machine a connection comes from, by the system's table of connections.
// Reading the table may take long, so it happens on a thread of its own: one reading answers everybody who waits, and
// who has waited too long is told that nobody knows. Where the system has clients that its table never knows (Wine,
// with clients outside of it), and the table has told nobody anything in a second of reading, nobody waits for it any
// more, and it rests five times as long as its last reading took before it is read again. A program whose user may not
// be asked for counts as unknown: the library would hold it to no list of a user, and cannot quarantine it. Find and
// Snapshot are for any thread; the end comes after the last thread of the io_context.
#ifndef TARN_HOST_SERVE_CLIENT_PROCESS_H
#define TARN_HOST_SERVE_CLIENT_PROCESS_H

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "host/capture/transport_view.h"
#include "host/latency_histogram.h"
#include "host/serve/asio.h"

namespace tarn::host::serve {

struct OwnedConnection {
    Endpoint local;
    Endpoint remote;
    std::uint32_t processId = 0;
};

// False where the system does not tell. Called by one thread.
using ReadConnections = std::function<bool(std::vector<OwnedConnection>&)>;
// Whether the process has a user that this program may ask for, as the library would. Called by one thread.
using KnowsUser = std::function<bool(std::uint32_t processId)>;

// Of this system: client_process_win32.cpp asks for the table, client_process_posix.cpp knows nothing.
bool ReadSystemConnections(std::vector<OwnedConnection>& connections);
bool KnowsSystemUser(std::uint32_t processId);
// Whether programs outside of the system connect as if they were on this machine.
bool HasClientsOutside();
// Of this program.
std::uint32_t OwnProcessId();

struct ProcessCounters {
    std::uint64_t found = 0;
    std::uint64_t unknown = 0;  // clients of this machine alone
    std::uint64_t late = 0;     // of the unknown ones: the table came too late
    std::uint64_t unasked = 0;  // of the unknown ones: the table knows nobody anyway
    std::uint64_t hidden = 0;   // of the unknown ones: their user may not be asked for
    std::uint64_t remote = 0;   // clients of other machines
    LatencyHistogram readings{};
};

class ClientProcesses {
 public:
    using Clock = std::chrono::steady_clock;
    // So long is a table that tells nothing read, in one reading or in several.
    static constexpr std::chrono::seconds kVain{1};
    static constexpr int kRests = 5;  // of its last reading's time

    // limit: of who waits. mayGiveUp: when the table is slow and tells nothing. Else who makes it so would be unknown.
    ClientProcesses(asio::io_context& io, ReadConnections read, KnowsUser knowsUser, std::chrono::milliseconds limit,
                    bool mayGiveUp, std::function<Clock::time_point()> now = Clock::now);
    ~ClientProcesses();
    ClientProcesses(const ClientProcesses&) = delete;
    ClientProcesses& operator=(const ClientProcesses&) = delete;

    // Calls back once, on the io_context or at once; 0 for clients of other machines, and when nobody knows.
    void Find(const Endpoint& client, const Endpoint& listener, std::function<void(std::uint32_t)> call);
    [[nodiscard]] ProcessCounters Snapshot() const;

 private:
    struct Waiting;
    void Work();
    [[nodiscard]] bool KnowsNobody() const;
    [[nodiscard]] std::chrono::milliseconds Limit() const;
    [[nodiscard]] std::vector<std::shared_ptr<Waiting>> WaitForSomebody();
    void EndReading(Clock::time_point end, bool hasTold);
    // False when that one was told before.
    bool Tell(const std::shared_ptr<Waiting>& one, std::uint32_t processId, bool isLate);
    void CountHidden();

    asio::io_context& io_;
    const ReadConnections read_;
    const KnowsUser knowsUser_;
    const std::chrono::milliseconds limit_;
    const bool mayGiveUp_;
    const std::function<Clock::time_point()> now_;
    mutable std::mutex mutex_;
    std::condition_variable wake_;
    std::vector<std::shared_ptr<Waiting>> waiting_;
    ProcessCounters counters_;
    Clock::duration vain_{};  // of slow readings in a row that told nobody anything
    Clock::duration lastTook_{};
    Clock::time_point lastEnd_{};
    std::optional<Clock::time_point> begin_;  // of the reading that goes on
    bool isAnswering_ = false;                // somebody was told something, and not too much was in vain since
    bool isEnding_ = false;
    std::thread reader_;
};

}  // namespace tarn::host::serve

#endif
