#include "host/serve/name_lookup.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <fmt/format.h>
#include <map>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include "host/printable_text.h"
#include "host/serve/connection.h"

namespace tarn::host::serve {

namespace {

constexpr std::size_t kMostKnown = 1024;

using Clock = std::chrono::steady_clock;

// Answered by whoever comes first: the answer, or the end of its time.
struct Waiter {
    Waiter(asio::io_context& io, NameLookup::Call answer)
        : work(asio::make_work_guard(io)), timer(asio::make_strand(io)), call(std::move(answer)) {}
    asio::executor_work_guard<asio::io_context::executor_type> work;  // io must not run dry meanwhile
    Timer timer;                                                      // on its strand, as what follows
    NameLookup::Call call;

    void Answer(const FoundName& found) {
        timer.cancel();
        work.reset();
        if (const auto answer = std::exchange(call, nullptr)) answer(found);
    }
};

// A name that is looked up, or waits for a thread.
struct AskedName {
    std::vector<std::shared_ptr<Waiter>> waiters;
    std::vector<IpAddress> clients;  // each once; the first one's share of names it is
    Clock::time_point until;         // the last waiter's end
    bool isBegun = false;
};

}  // namespace

struct NameLookup::State : std::enable_shared_from_this<State> {
    Ask ask;
    Limits limits;
    std::mutex mutex;
    std::condition_variable changed;
    struct Known {
        FoundName found;
        Clock::time_point until;
    };
    struct Begun {
        std::string name;
        IpAddress client;
    };
    std::map<std::string, Known> known;
    std::map<std::string, AskedName> asked;
    std::deque<std::string> waiting;           // of them, for a thread
    std::map<IpAddress, std::size_t> threads;  // that are busy, by the client whose share they are
    std::size_t begunThreads = 0;
    std::size_t busy = 0;  // of them
    bool isStopped = false;

    // Somebody is there for one more name, if its client's share allows that.
    void Wake() {
        changed.notify_one();
        if (waiting.size() <= begunThreads - busy || begunThreads == limits.threads) return;
        try {
            std::thread([self = shared_from_this()] { self->Run(); }).detach();
            ++begunThreads;
        } catch (const std::system_error&) {  // those that there are have to do
        }
    }

    void Run() {
        std::unique_lock lock(mutex);
        for (;;) {
            std::optional<Begun> begun;
            changed.wait(lock, [&] { return isStopped || (begun = Begin()); });
            if (isStopped) return;
            lock.unlock();
            FoundName found = Look(begun->name);
            lock.lock();
            if (isStopped) return;  // io may be gone
            End(*begun, found);
            changed.notify_all();  // its share is free
        }
    }

    // The first name that somebody still waits for and has a thread left for.
    std::optional<Begun> Begin() {
        ForgetLate();
        for (auto at = waiting.begin(); at != waiting.end(); ++at) {
            AskedName& one = asked[*at];
            const auto client = std::find_if(one.clients.begin(), one.clients.end(), [this](const IpAddress& address) {
                const auto own = threads.find(address);
                return (own == threads.end() ? 0 : own->second) < limits.threads - busy;
            });
            if (client == one.clients.end()) continue;
            Begun begun{std::move(*at), *client};
            waiting.erase(at);
            one.isBegun = true;
            ++threads[begun.client];
            ++busy;
            return begun;
        }
        return std::nullopt;
    }

    void End(const Begun& begun, const FoundName& found) {
        --busy;
        if (const auto own = threads.find(begun.client); --own->second == 0) threads.erase(own);
        if (known.size() >= kMostKnown) known.clear();
        const auto kept = found.addresses.empty() ? limits.failureFor : limits.keptFor;
        known[begun.name] = {found, Clock::now() + kept};
        const auto one = asked.extract(begun.name);
        for (const auto& waiter : one.mapped().waiters)
            asio::post(waiter->timer.get_executor(), [waiter, found] { waiter->Answer(found); });
    }

    // Nobody waits for them any more.
    void ForgetLate() {
        const auto now = Clock::now();
        std::erase_if(waiting, [&](const std::string& name) {
            const auto one = asked.find(name);
            if (now < one->second.until) return false;
            asked.erase(one);
            return true;
        });
    }

    // A client may ask for no more names than it leaves to others.
    [[nodiscard]] bool HasRoomFor(const IpAddress& client) const {
        const auto own = std::count_if(asked.begin(), asked.end(),
                                       [&](const auto& one) { return one.second.clients.front() == client; });
        return asked.size() < limits.names && static_cast<std::size_t>(own) < limits.names - asked.size();
    }

    FoundName Look(const std::string& name) const {
        try {
            return ask(name);
        } catch (const std::exception& error) {
            return {{}, error.what()};
        }
    }
};

FoundName AskSystem(const std::string& name) {
    FoundName found;
    asio::io_context io;
    Tcp::resolver resolver(io);
    ErrorCode error;
    for (const auto& entry : resolver.resolve(name, "", error)) {
        const IpAddress one = EndpointOf(entry.endpoint()).address;
        if (std::find(found.addresses.begin(), found.addresses.end(), one) == found.addresses.end())
            found.addresses.push_back(one);
    }
    if (found.addresses.empty())
        found.mistake = fmt::format("the name {} cannot be resolved: {}", Printable(name),
                                    error ? error.message() : "it has no address");
    return found;
}

NameLookup::NameLookup(asio::io_context& io, Ask ask, const Limits& limits)
    : io_(io), state_(std::make_shared<State>()) {
    state_->ask = std::move(ask);
    state_->limits = limits;
}

NameLookup::~NameLookup() {
    Stop();
}

void NameLookup::Stop() {
    const std::lock_guard lock(state_->mutex);
    state_->isStopped = true;
    state_->waiting.clear();
    state_->asked.clear();
    state_->changed.notify_all();
}

void NameLookup::Find(const std::string& name, const IpAddress& client, Call call) {
    const auto waiter = std::make_shared<Waiter>(io_, std::move(call));
    const auto answer = [&waiter](FoundName found) {
        asio::post(waiter->timer.get_executor(), [waiter, found = std::move(found)] { waiter->Answer(found); });
    };
    const auto until = Clock::now() + state_->limits.wait;
    const auto begin = [&waiter, until] {
        waiter->timer.expires_at(until);
        waiter->timer.async_wait([waiter](ErrorCode error) {
            if (!error) waiter->Answer({{}, "the name is still looked up; try again in a while"});
        });
    };
    const std::lock_guard lock(state_->mutex);
    const auto known = state_->known.find(name);
    if (known != state_->known.end() && Clock::now() < known->second.until) return answer(known->second.found);
    if (state_->isStopped) return answer({{}, "the filter ends"});
    state_->ForgetLate();
    auto asked = state_->asked.find(name);
    if (asked == state_->asked.end()) {
        if (!state_->HasRoomFor(client)) return answer({{}, "too many names are looked up; try again in a while"});
        asked = state_->asked.try_emplace(name).first;
        state_->waiting.push_back(name);
    }
    begin();
    AskedName& one = asked->second;
    one.waiters.push_back(waiter);
    one.until = std::max(one.until, until);
    if (std::find(one.clients.begin(), one.clients.end(), client) == one.clients.end()) one.clients.push_back(client);
    if (!one.isBegun) state_->Wake();
}

}  // namespace tarn::host::serve
