#include "host/serve/client_process.h"

#include <algorithm>
#include <map>
#include <utility>

#include "host/serve/addresses.h"

namespace tarn::host::serve {

namespace {

using Ends = std::pair<Endpoint, Endpoint>;
using SharedTimer = asio::steady_timer;

constexpr std::chrono::milliseconds kSlow{10};  // of a reading; Windows itself takes less

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
                                 std::chrono::milliseconds limit, bool mayGiveUp,
                                 std::function<Clock::time_point()> now)
    : io_(io),
      read_(std::move(read)),
      knowsUser_(std::move(knowsUser)),
      limit_(limit),
      mayGiveUp_(mayGiveUp),
      now_(std::move(now)),
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
        one->timer.expires_after(Limit());
        one->timer.async_wait([this, one](ErrorCode error) {
            if (!error) Tell(one, 0, true);
        });
    }
    wake_.notify_all();
}

bool ClientProcesses::Tell(const std::shared_ptr<Waiting>& one, std::uint32_t processId, bool isLate) {
    std::function<void(std::uint32_t)> call;
    {
        const std::lock_guard lock(mutex_);
        call = std::exchange(one->call, nullptr);
        if (!call) return false;
        ++(processId != 0 ? counters_.found : counters_.unknown);
        if (isLate) ++counters_.late;
        one->timer.cancel();
        one->work.reset();
    }
    asio::post(io_, [call = std::move(call), processId] { call(processId); });
    return true;
}

void ClientProcesses::Work() {
    std::vector<OwnedConnection> connections;
    for (;;) {
        const std::vector<std::shared_ptr<Waiting>> waiting = WaitForSomebody();
        if (waiting.empty()) return;
        // The connections stand in a table that is read from here on.
        connections.clear();
        const bool isKnown = read_(connections);
        const Clock::time_point end = now_();
        std::map<Ends, std::uint32_t> owners;
        if (isKnown)
            for (const OwnedConnection& connection : connections)
                owners.emplace(Ends{connection.local, connection.remote}, connection.processId);
        bool hasTold = false;
        std::map<std::uint32_t, bool> users;  // of this reading alone: numbers come to other processes
        for (const auto& one : waiting) {
            const auto owner = owners.find(one->ends);
            const std::uint32_t processId = owner == owners.end() ? 0 : owner->second;
            if (processId != 0 && !users.contains(processId)) users.emplace(processId, knowsUser_(processId));
            const bool isHidden = processId != 0 && !users.at(processId);
            if (isHidden) CountHidden();
            const bool isInTime = Tell(one, isHidden ? 0 : processId, false);
            hasTold = hasTold || (isInTime && processId != 0);
        }
        EndReading(end, hasTold);
    }
}

// Those whom a reading that begins now may serve; none at the end.
std::vector<std::shared_ptr<ClientProcesses::Waiting>> ClientProcesses::WaitForSomebody() {
    for (;;) {
        std::vector<std::shared_ptr<Waiting>> waiting;
        {
            std::unique_lock lock(mutex_);
            wake_.wait(lock, [this] { return isEnding_ || !waiting_.empty(); });
            waiting.swap(waiting_);
            std::erase_if(waiting, [](const auto& one) { return !one->call; });  // it was told meanwhile
            if (waiting.empty() && isEnding_) return waiting;
            if (!waiting.empty() && !KnowsNobody()) {
                begin_ = now_();
                return waiting;
            }
        }
        for (const auto& one : waiting) Tell(one, 0, true);
    }
}

void ClientProcesses::CountHidden() {
    const std::lock_guard lock(mutex_);
    ++counters_.hidden;
}

bool ClientProcesses::KnowsNobody() const {
    if (!mayGiveUp_) return false;
    const Clock::time_point now = now_();
    if (!begin_) return vain_ >= kVain && now - lastEnd_ < kRests * lastTook_;
    return !isAnswering_ && vain_ + (now - *begin_) >= kVain;
}

std::chrono::milliseconds ClientProcesses::Limit() const {
    return mayGiveUp_ && !isAnswering_ ? std::min<std::chrono::milliseconds>(limit_, kVain) : limit_;
}

void ClientProcesses::EndReading(Clock::time_point end, bool hasTold) {
    const std::lock_guard lock(mutex_);
    lastTook_ = end - *std::exchange(begin_, std::nullopt);
    lastEnd_ = end;
    counters_.readings.Add(
        static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(lastTook_).count()));
    vain_ = lastTook_ < kSlow || hasTold ? Clock::duration() : vain_ + lastTook_;
    isAnswering_ = hasTold || (isAnswering_ && vain_ < kVain);
}

ProcessCounters ClientProcesses::Snapshot() const {
    const std::lock_guard lock(mutex_);
    return counters_;
}

}  // namespace tarn::host::serve
