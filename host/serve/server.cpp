#include "host/serve/server.h"

#include <algorithm>
#include <fmt/format.h>
#include <thread>

#include "host/serve/addresses.h"
#include "host/serve/dns_forwarder.h"
#include "host/serve/ftp_data.h"
#include "host/serve/http_proxy.h"
#include "host/serve/listener.h"
#include "host/serve/refused_name.h"
#include "host/serve/socks5.h"
#include "host/serve/status_connection.h"
#include "host/serve/upstream.h"
#include "host/urgent_end.h"

namespace tarn::host::serve {

namespace {

constexpr std::chrono::seconds kCloseLimit{5};
constexpr std::chrono::seconds kUrgentLimit{1};
// Under Wine the table of thousands of connections takes a minute, and clients outside of Wine are never in it.
constexpr std::chrono::milliseconds kMostLookUpWithClientsOutside{3000};

std::chrono::milliseconds LookUpLimit(const ServeSettings& settings) {
    const std::chrono::milliseconds head = settings.head;
    return HasClientsOutside() ? std::min(head, kMostLookUpWithClientsOutside) : head;
}

class Repeating : public std::enable_shared_from_this<Repeating> {
 public:
    Repeating(asio::io_context& io, std::chrono::milliseconds time, std::function<void()> call)
        : timer_(asio::make_strand(io)), time_(time), call_(std::move(call)) {}
    void Begin() {
        timer_.expires_after(time_);
        timer_.async_wait([self = shared_from_this()](ErrorCode error) {
            if (error) return;
            self->Begin();  // also when the call fails
            self->call_();
        });
    }

 private:
    Timer timer_;
    std::chrono::milliseconds time_;
    std::function<void()> call_;
};

// Goes through the connections that there are when it begins, on the threads of io and without taking all of their
// time.
class JudgingAgain : public std::enable_shared_from_this<JudgingAgain> {
 public:
    JudgingAgain(asio::io_context& io, const ConnectionSet& connections)
        : connections_(connections), strand_(asio::make_strand(io)), timer_(strand_) {}
    void Begin() {
        asio::post(strand_, [self = shared_from_this()] {
            const bool isUnderWay = self->next_ < self->all_.size();
            self->all_ = self->connections_.All();
            self->next_ = 0;
            if (!isUnderWay) self->GoOn();
        });
    }

 private:
    static constexpr std::size_t kAtOnce = 50;
    static constexpr std::chrono::milliseconds kPause{20};

    void GoOn() {
        for (std::size_t i = 0; i < kAtOnce && next_ < all_.size(); ++i)
            if (const auto connection = all_[next_++].lock()) connection->JudgeAgain();
        if (next_ == all_.size()) {
            all_.clear();
            next_ = 0;
            return;
        }
        timer_.expires_after(kPause);
        timer_.async_wait([self = shared_from_this()](ErrorCode error) {
            if (!error) self->GoOn();
        });
    }

    const ConnectionSet& connections_;
    Strand strand_;
    Timer timer_;
    std::vector<std::weak_ptr<Connection>> all_;
    std::size_t next_ = 0;
};

bool Reaches(const Endpoint& upstream, const Endpoint& listener) {
    if (upstream.port != listener.port || upstream.address.isIpv6 != listener.address.isIpv6) return false;
    if (upstream.address == listener.address) return true;
    return AddressOfEndpoint(listener).is_unspecified() && AskWhetherOwn(upstream.address) == Own::kYes;
}

}  // namespace

struct Server::Running {
    Running(Filter& filter, const ServeSettings& settings, ReadConnections read, KnowsUser knowsUser)
        : connections(settings.connections),
          io(static_cast<int>(settings.threads)),
          upstream(io, settings),
          services{io, filter, upstream, connections, settings},
          processes(io, std::move(read), std::move(knowsUser), LookUpLimit(settings), HasClientsOutside()),
          judgingAgain(std::make_shared<JudgingAgain>(io, connections)) {}

    // What is left of a handler ends with io, and leaves its place then.
    ConnectionSet connections;
    std::unique_ptr<StatusPages> pages;
    asio::io_context io;
    asio::thread_pool slow{1};
    asio::executor_work_guard<asio::io_context::executor_type> work = asio::make_work_guard(io);
    Upstream upstream;
    Services services;
    ClientProcesses processes;
    std::shared_ptr<JudgingAgain> judgingAgain;
    std::unique_ptr<DnsForwarder> dns;
    std::vector<std::shared_ptr<Listener>> listeners;
    std::vector<std::thread> threads;
    bool isStarted = false;
};

Server::Server(Filter& filter, const ServeSettings& settings, ReadConnections read, KnowsUser knowsUser)
    : filter_(filter),
      settings_(settings),
      running_(std::make_unique<Running>(filter_, settings_, std::move(read), std::move(knowsUser))) {}

Server::~Server() {
    Stop();
}

Services& Server::Shared() {
    return running_->services;
}

void Server::Every(std::chrono::milliseconds time, std::function<void()> call) {
    std::make_shared<Repeating>(running_->io, time, std::move(call))->Begin();
}

void Server::JudgeAgain() {
    running_->judgingAgain->Begin();
}

bool Server::Start(std::string& mistake) {
    Services& services = running_->services;
    const auto listen = [&](std::optional<Endpoint>& endpoint, Listener::Serve serve, ConnectionSet::Room room) {
        if (!endpoint) return true;
        auto listener = std::make_shared<Listener>(services, std::move(serve), room);
        if (!listener->Open(*endpoint, mistake)) return false;
        running_->listeners.push_back(std::move(listener));
        return true;
    };
    constexpr auto kTraffic = ConnectionSet::Room::kTraffic;
    constexpr auto kPages = ConnectionSet::Room::kPages;
    running_->connections.OnFull([this](const std::string& text) { filter_.TellError(text); });
    const auto proxy = [&services](ClientSide client) { StartHttp(services, std::move(client)); };
    if (!listen(settings_.proxy, proxy, kTraffic)) return false;
    services.ftpData = std::make_shared<FtpDataPorts>();
    const auto socks = [&services](ClientSide client) { StartSocks(services, std::move(client)); };
    if (!listen(settings_.socks, socks, kTraffic)) return false;
    if (settings_.dns) {
        running_->dns = std::make_unique<DnsForwarder>(services);
        if (!running_->dns->Open(*settings_.dns, mistake)) return false;
        for (const Endpoint& upstream : settings_.dnsUpstreams)
            if (Reaches(upstream, *settings_.dns)) {
                mistake =
                    fmt::format("serve.dns_upstream holds {}, which is this server itself; name another DNS server",
                                FormatEndpoint(upstream));
                return false;
            }
    }
    if (!services.findProcess)
        services.findProcess = [this](const Endpoint& client, const Endpoint& listener,
                                      std::function<void(std::uint32_t)> call) {
            if (settings_.status == listener) return call(0);  // whoever looks at the page is no client
            running_->processes.Find(client, listener, std::move(call));
        };
    const auto status = [this](ClientSide client) {
        StatusPages& pages = *running_->pages;
        StartPages(
            running_->services,
            [&pages](const PageRequest& request, const ClientSide&) { return pages.Answer(request); }, &pages.Feed(),
            &running_->slow, std::move(client));
    };
    const auto refusedName = [this](ClientSide client) {
        StartPages(
            running_->services,
            [this](const PageRequest& request, const ClientSide& from) {
                return AnswerRefusedName(filter_, request, from.client, from.processId);
            },
            nullptr, nullptr, std::move(client));
    };
    if (!listen(settings_.status, status, kPages) || !listen(settings_.blockPage, refusedName, kTraffic)) return false;
    running_->pages =
        std::make_unique<StatusPages>(filter_.Events(), filter_, running_->connections, running_->processes, settings_);
    for (const auto& endpoint :
         {settings_.proxy, settings_.socks, settings_.dns, settings_.status, settings_.blockPage})
        if (endpoint) running_->upstream.Forbid(*endpoint);
    for (const auto& listener : running_->listeners) listener->Begin();
    if (running_->dns) running_->dns->Begin();
    running_->isStarted = true;
    Every(settings_.again, [this] { JudgeAgain(); });
    for (std::size_t i = 0; i < settings_.threads; ++i) running_->threads.emplace_back([this] { Run(); });
    return true;
}

// A connection whose handler fails ends with it; the others go on.
void Server::Run() {
    while (!running_->io.stopped()) try {
            running_->io.run();
        } catch (const std::exception& error) {
            filter_.CountError(error.what());
        }
}

// As long as the settings say; shorter when the system ends the process soon, which may turn out while it waits.
bool Server::WaitForConnections() {
    constexpr std::chrono::milliseconds kStep{100};
    const auto begin = std::chrono::steady_clock::now();
    for (;;) {
        const std::chrono::milliseconds limit =
            IsEndUrgent() ? std::min<std::chrono::milliseconds>(kUrgentLimit, settings_.drain) : settings_.drain;
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(begin + limit - std::chrono::steady_clock::now());
        if (running_->connections.WaitUntilEmpty(std::clamp(left, std::chrono::milliseconds(0), kStep))) return true;
        if (left <= kStep) return false;
    }
}

bool Server::Stop() {
    if (!running_->isStarted) return true;
    running_->isStarted = false;
    for (const auto& listener : running_->listeners) listener->Close();
    if (running_->dns) running_->dns->Stop();
    ConnectionSet& connections = running_->connections;
    connections.DrainAll();
    const bool isEmpty = WaitForConnections();
    if (!isEmpty) {
        connections.CloseAll();
        connections.WaitUntilEmpty(IsEndUrgent() ? kUrgentLimit : kCloseLimit);
    }
    running_->upstream.Stop();
    running_->slow.stop();  // explanations that nobody waits for any more
    running_->slow.join();
    running_->work.reset();
    running_->io.stop();
    for (std::thread& thread : running_->threads) thread.join();
    return isEmpty;
}

}  // namespace tarn::host::serve
