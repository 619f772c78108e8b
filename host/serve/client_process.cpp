#include "host/serve/client_process.h"

#include <map>
#include <utility>

#include "host/serve/addresses.h"

namespace tarn::host::serve {

namespace {

using Ends = std::pair<Endpoint, Endpoint>;
using SharedTimer = asio::steady_timer;

constexpr std::chrono::milliseconds kSlow{10};  // of a reading; Windows itself takes less
constexpr unsigned kVain = 20;                  // so many slow readings in vain are enough
constexpr std::chrono::seconds kLookAgain{1};   // whether somebody is known now

}  // namespace

struct ClientProcesses::Waiting {
    Waiting(asio::io_context& io, Ends both, std::function<void(std::uint32_t)> then)
        : ends(std::move(both)), call(std::move(then)), timer(io), work(asio::make_work_guard(io)) {}
    Ends ends;
    std::function<void(std::uint32_t)> call;  // gone once it was called
    SharedTimer timer;
    asio::executor_work_guard<asio::io_context::executor_type> work;  // the io_context must not run dry meanwhile
};

ClientProcesses::ClientProcesses(asio::io_context& io, ReadConnections read, KnowsUser knowsUser,
                                 std::chrono::milliseconds limit, bool mayGiveUp)
    : io_(io),
      read_(std::move(read)),
      knowsUser_(std::move(knowsUser)),
      limit_(limit),
      mayGiveUp_(mayGiveUp),
      reader_([this] { Work(); }) {}

ClientProcesses::~ClientProcesses() {
    {
        const std::lock_guard lock(mutex_);
        isEnding_ = true;
    }
    wake_.notify_all();
    reader_.join();
}

// A client on this machine that reached another address of it has that address itself.
void ClientProcesses::Find(const Endpoint& client, const Endpoint& listener, std::function<void(std::uint32_t)> call) {
    if (!IsLoopback(client.address) && client.address != listener.address) {
        {
            const std::lock_guard lock(mutex_);
            ++counters_.remote;
        }
        return call(0);
    }
    auto one = std::make_shared<Waiting>(io_, Ends{client, listener}, std::move(call));
    {
        std::unique_lock lock(mutex_);
        if (KnowsNobody()) {
            ++counters_.unknown;
            ++counters_.unasked;
            lock.unlock();
            return one->call(0);
        }
        waiting_.push_back(one);
        one->timer.expires_after(limit_);
        one->timer.async_wait([this, one](ErrorCode error) {
            if (!error) Tell(one, 0, true);
        });
    }
    wake_.notify_all();
}

void ClientProcesses::Tell(const std::shared_ptr<Waiting>& one, std::uint32_t processId, bool isLate) {
    std::function<void(std::uint32_t)> call;
    {
        const std::lock_guard lock(mutex_);
        call = std::exchange(one->call, nullptr);
        if (!call) return;
        ++(processId != 0 ? counters_.found : counters_.unknown);
        if (isLate) ++counters_.late;
        one->timer.cancel();
        one->work.reset();
    }
    asio::post(io_, [call = std::move(call), processId] { call(processId); });
}

void ClientProcesses::Work() {
    std::vector<OwnedConnection> connections;
    for (;;) {
        std::vector<std::shared_ptr<Waiting>> waiting;
        {
            std::unique_lock lock(mutex_);
            wake_.wait(lock, [this] { return isEnding_ || !waiting_.empty(); });
            if (isEnding_ && waiting_.empty()) return;
            waiting.swap(waiting_);
        }
        // The connections stand in a table that is read from here on.
        connections.clear();
        const auto begin = std::chrono::steady_clock::now();
        const bool isKnown = read_(connections);
        const auto took = std::chrono::steady_clock::now() - begin;
        std::map<Ends, std::uint32_t> owners;
        if (isKnown)
            for (const OwnedConnection& connection : connections)
                owners.emplace(Ends{connection.local, connection.remote}, connection.processId);
        bool hasFound = false;
        std::map<std::uint32_t, bool> users;  // of this reading alone: numbers come to other processes
        for (const auto& one : waiting) {
            const auto owner = owners.find(one->ends);
            const std::uint32_t processId = owner == owners.end() ? 0 : owner->second;
            hasFound = hasFound || processId != 0;
            if (processId != 0 && !users.contains(processId)) users.emplace(processId, knowsUser_(processId));
            const bool isHidden = processId != 0 && !users.at(processId);
            if (isHidden) CountHidden();
            Tell(one, isHidden ? 0 : processId, false);
        }
        Judge(took, hasFound);
    }
}

void ClientProcesses::CountHidden() {
    const std::lock_guard lock(mutex_);
    ++counters_.hidden;
}

bool ClientProcesses::KnowsNobody() const {
    return mayGiveUp_ && vainReadings_ >= kVain && std::chrono::steady_clock::now() - lastReading_ < kLookAgain;
}

void ClientProcesses::Judge(std::chrono::steady_clock::duration took, bool hasFound) {
    const std::lock_guard lock(mutex_);
    counters_.readings.Add(
        static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(took).count()));
    lastReading_ = std::chrono::steady_clock::now();
    vainReadings_ = took < kSlow || hasFound ? 0 : vainReadings_ + 1;
}

ProcessCounters ClientProcesses::Snapshot() const {
    const std::lock_guard lock(mutex_);
    return counters_;
}

}  // namespace tarn::host::serve
