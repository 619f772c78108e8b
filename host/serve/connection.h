// What every connection of the server is: it counts, can be told that the end comes, and can be closed.
// Close, Drain and JudgeAgain may be called from any thread; the connection does it on its own strand.
// No client shuts out the others: when all places are taken, one that holds the most of them gives one back.
#ifndef TARN_HOST_SERVE_CONNECTION_H
#define TARN_HOST_SERVE_CONNECTION_H

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/capture/transport_view.h"
#include "host/serve/asio.h"

namespace tarn::host::serve {

class Filter;
class FtpDataPorts;
class Upstream;
struct ServeSettings;

class Connection {
 public:
    virtual ~Connection() = default;
    // No more than what has begun.
    virtual void Drain() = 0;
    virtual void Close() = 0;
    // What it carries may be blocked meanwhile.
    virtual void JudgeAgain() {}

    // Since when it waits for its client or, where both sides may be silent, nothing passes; nothing while it works.
    // Any thread may ask.
    using Clock = std::chrono::steady_clock;
    [[nodiscard]] std::optional<Clock::time_point> IdleSince() const {
        const Clock::rep since = idleSince_.load();
        if (since == 0 || since > Clock::now().time_since_epoch().count()) return std::nullopt;
        return Clock::time_point(Clock::duration(since));
    }
    // How long nothing passes until an open connection counts as idle.
    static constexpr std::chrono::seconds kRest{1};

 protected:
    void BeIdle(Clock::time_point since = Clock::now()) { idleSince_ = since.time_since_epoch().count(); }
    // Idle once nothing has passed for a while.
    void BeActive(std::chrono::seconds rest = kRest) { BeIdle(Clock::now() + rest); }
    void BeBusy() { idleSince_ = 0; }

 private:
    std::atomic<Clock::rep> idleSince_{0};
};

// The living connections of all listeners.
class ConnectionSet {
 public:
    // Who a place is for. Pages of this server have places of their own, which no traffic takes.
    enum class Room { kTraffic, kPages };
    static constexpr std::size_t kMostPages = 64;
    static constexpr std::chrono::minutes kTellAgain{1};

    explicit ConnectionSet(std::size_t most) : most_(most) {}
    // Told that all places are taken, at most once a minute, on the thread of a newcomer. Before the first one.
    void OnFull(std::function<void(const std::string& text)> tell) { tell_ = std::move(tell); }

    // Kept as long as the connection lives, handed from one protocol to the next.
    class Place {
     public:
        Place() = default;
        Place(ConnectionSet& set, std::uint64_t number) : set_(&set), number_(number) {}
        ~Place() { Leave(); }
        Place(Place&& other) noexcept { *this = std::move(other); }
        Place& operator=(Place&& other) noexcept;
        Place(const Place&) = delete;
        Place& operator=(const Place&) = delete;
        [[nodiscard]] explicit operator bool() const { return set_ != nullptr; }
        // From now on that one is told of the end. Closed at once when the place is given to another one already.
        void Belong(const std::shared_ptr<Connection>& connection);
        void Leave();

     private:
        ConnectionSet* set_ = nullptr;
        std::uint64_t number_ = 0;
    };

    // When all places are taken, the address that holds the most of them gives one back: the one that is idle for the
    // longest time, or, to an address that holds less than a quarter, its oldest. No place when there is none to give,
    // and after the end has come.
    [[nodiscard]] Place Enter(const IpAddress& client, Room room = Room::kTraffic);

    // All of them, the oldest first; none is kept alive by it.
    [[nodiscard]] std::vector<std::weak_ptr<Connection>> All() const;
    void DrainAll();
    void CloseAll();
    // False when some are left after that time.
    bool WaitUntilEmpty(std::chrono::milliseconds time);
    [[nodiscard]] std::size_t Count() const;
    [[nodiscard]] std::uint64_t Refused() const;
    // Closed for a newcomer.
    [[nodiscard]] std::uint64_t GivenBack() const;

 private:
    struct One {
        std::weak_ptr<Connection> connection{};
        IpAddress client{};
        Room room = Room::kTraffic;
        bool isLeaving = false;  // it was told to close, and its place is given to another one
    };
    [[nodiscard]] std::vector<std::shared_ptr<Connection>> Living() const;
    // seen: to be let go without the lock.
    [[nodiscard]] std::shared_ptr<Connection> GiveBack(const IpAddress& client, Room room,
                                                       std::vector<std::shared_ptr<Connection>>& seen);
    [[nodiscard]] std::string WhatIsFull();

    mutable std::mutex mutex_;
    std::condition_variable empty_;
    std::map<std::uint64_t, One> living_;  // by age
    std::array<std::size_t, 2> taken_{};   // by room, without those that leave
    std::uint64_t next_ = 1;
    std::size_t most_;
    std::uint64_t refused_ = 0;
    std::uint64_t givenBack_ = 0;
    std::function<void(const std::string&)> tell_;
    std::optional<std::chrono::steady_clock::time_point> told_;
    bool isDraining_ = false;
};

// What connections need of the server. All of it outlives them.
struct Services {
    asio::io_context& io;
    Filter& filter;
    Upstream& upstream;
    ConnectionSet& connections;
    const ServeSettings& settings;
    // The process of a client on this machine; called back on any thread. Null when nobody knows.
    std::function<void(const Endpoint& client, const Endpoint& listener, std::function<void(std::uint32_t)>)>
        findProcess{};
    // Where FTP servers offered to transfer files.
    std::shared_ptr<FtpDataPorts> ftpData{};
};

Endpoint EndpointOf(const Tcp::endpoint& endpoint);
asio::ip::address AddressOfEndpoint(const Endpoint& endpoint);

// Closes it; a socket that is closed already stays so.
void CloseSocket(Socket& socket);

}  // namespace tarn::host::serve

#endif
