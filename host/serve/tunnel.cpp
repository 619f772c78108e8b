#include "host/serve/tunnel.h"

#include <algorithm>

#include "host/serve/filter.h"
#include "host/serve/first_bytes.h"
#include "host/serve/serve_settings.h"

namespace tarn::host::serve {

namespace {

struct Way {
    std::shared_ptr<Socket> from;
    std::shared_ptr<Socket> to;
    std::vector<std::uint8_t> buffer;
    std::uint64_t bytes = 0;
    bool isLast = false;  // what is being written
    bool hasEnded = false;
    bool isWriting = false;
};

class Tunnel : public Connection, public std::enable_shared_from_this<Tunnel> {
 public:
    Tunnel(Services& services, ClientSide client, std::shared_ptr<Socket> server, IsBlockedNow isBlockedNow,
           Inspection inspection)
        : services_(services),
          client_(std::move(client)),
          isBlockedNow_(std::move(isBlockedNow)),
          inspection_(std::move(inspection)),
          strand_(client_.socket->get_executor()),
          timer_(strand_),
          up_{client_.socket, server, {}},
          down_{std::move(server), client_.socket, {}} {}

    void Start(std::vector<std::uint8_t> serverSaid) {
        client_.place.Belong(shared_from_this());
        if (services_.filter.Changes() != client_.judgedAt && isBlockedNow_ && isBlockedNow_()) return End();
        Touch();
        WatchIdle();
        up_.isLast = client_.hasEnded;  // an end is read once: a second read would wait for ever
        Begin(up_, inspection_.judge ? std::vector<std::uint8_t>() : std::exchange(client_.said, {}));
        Begin(down_, std::move(serverSaid));
    }

    // What goes through it ends by itself, or at the limit.
    void Drain() override {}
    void Close() override {
        asio::post(strand_, [self = shared_from_this()] { self->End(); });
    }
    void JudgeAgain() override {
        asio::post(strand_, [self = shared_from_this()] {
            if (!self->hasEnded_ && self->isBlockedNow_ && self->isBlockedNow_()) self->End();
        });
    }

 private:
    void Touch() {
        active_ = std::chrono::steady_clock::now();
        BeActive();
    }

    void WatchIdle() {
        timer_.expires_at(active_ + services_.settings.idle);
        timer_.async_wait([self = shared_from_this()](ErrorCode error) {
            if (error || self->hasEnded_) return;
            if (std::chrono::steady_clock::now() - self->active_ >= self->services_.settings.idle) return self->End();
            self->WatchIdle();
        });
    }

    void Begin(Way& way, std::vector<std::uint8_t> said) {
        if (said.empty()) {
            if (way.isLast) return EndOf(way);
            way.buffer.resize(kLeastTunnelBuffer);
            return Read(way);
        }
        way.buffer = std::move(said);
        Write(way, way.buffer.size());
    }

    void Read(Way& way) {
        way.from->async_read_some(asio::buffer(way.buffer),
                                  [self = shared_from_this(), &way](ErrorCode error, std::size_t count) {
                                      if (self->hasEnded_) return;
                                      if (self->isGiven_) return self->Give(way, error, count);
                                      if (error == asio::error::eof && self->HoldsBack(way)) return self->PassHeld();
                                      if (error == asio::error::eof) return self->EndOf(way);
                                      if (error) return self->End();
                                      self->Touch();
                                      way.bytes += count;
                                      if (&way == &self->up_ && self->inspection_.judge) return self->Inspect(count);
                                      if (self->inspection_.judge) self->Listen(count);
                                      self->Write(way, count);
                                  });
    }

    void Write(Way& way, std::size_t count) {
        way.isWriting = true;
        asio::async_write(*way.to, asio::buffer(way.buffer.data(), count),
                          [self = shared_from_this(), &way, count](ErrorCode error, std::size_t) {
                              if (self->hasEnded_) return;
                              way.isWriting = false;
                              if (error) return self->End();
                              if (self->isGiven_) return self->Give(way, {}, 0);
                              self->Touch();
                              if (way.isLast) return self->EndOf(way);
                              Fit(way, count);
                              self->Read(way);
                          });
    }

    // As large as what comes at once, so that many silent tunnels need little.
    static void Fit(Way& way, std::size_t count) {
        if (count >= way.buffer.size())
            way.buffer.resize(std::min(kMostTunnelBuffer, std::max(count, kLeastTunnelBuffer) * 4));
        else if (count < way.buffer.size() / 16 && way.buffer.size() > kLeastTunnelBuffer)
            std::vector<std::uint8_t>(kLeastTunnelBuffer).swap(way.buffer);
    }

    void Listen(std::size_t count) {
        const std::string_view said = base::TextOf(base::Bytes(down_.buffer).first(count));
        if (inspection_.listen) inspection_.listen(said);
        heard_ += said.substr(0, kMostHeard - heard_.size());
    }

    void Inspect(std::size_t count) {
        std::vector<std::uint8_t>& said = client_.said;
        said.insert(said.end(), up_.buffer.begin(), up_.buffer.begin() + static_cast<std::ptrdiff_t>(count));
        switch (inspection_.judge(said, heard_, isBlockedNow_)) {
            case Held::kMore:
                return said.size() < kMostHeld ? Read(up_) : End();
            case Held::kPass:
                inspection_ = {};
                up_.buffer = std::exchange(said, {});
                return Write(up_, up_.buffer.size());
            case Held::kRefuse:
                return End();
            case Held::kTakeBoth:
                return GiveBoth();
            case Held::kTakeOver:
                break;
        }
        timer_.cancel();
        CloseSocket(*down_.from);
        hasEnded_ = true;
        const auto takeOver = std::exchange(inspection_, {}).takeOver;
        takeOver(std::move(client_));
    }

    [[nodiscard]] bool HoldsBack(const Way& way) const {
        return &way == &up_ && inspection_.judge && !client_.said.empty();
    }

    // What the client said before it ended is no request, and no whole hello.
    void PassHeld() {
        if (BeginsLikeHello(client_.said)) return End();
        inspection_ = {};
        up_.buffer = std::exchange(client_.said, {});
        up_.isLast = true;
        Write(up_, up_.buffer.size());
    }

    // Once nothing is under way on the server's side.
    void GiveBoth() {
        if (down_.hasEnded) return End();
        isGiven_ = true;
        ErrorCode ignored;
        if (!down_.isWriting) down_.from->cancel(ignored);
    }

    // What was read before the reading was called off goes along.
    void Give(Way& way, ErrorCode error, std::size_t count) {
        if (&way != &down_) return;
        if (error && error != asio::error::operation_aborted) return End();
        timer_.cancel();
        hasEnded_ = true;
        down_.buffer.resize(count);
        const auto takeBoth = std::exchange(inspection_, {}).takeBoth;
        takeBoth(std::move(client_), down_.from, std::move(down_.buffer));
    }

    void EndOf(Way& way) {
        way.hasEnded = true;
        if (up_.hasEnded && down_.hasEnded) return End();
        ErrorCode ignored;
        way.to->shutdown(Tcp::socket::shutdown_send, ignored);
    }

    void End() {
        if (hasEnded_) return;
        hasEnded_ = true;
        timer_.cancel();
        CloseSocket(*up_.from);
        CloseSocket(*down_.from);
        client_.place.Leave();
        inspection_ = {};
        isBlockedNow_ = {};
    }

    Services& services_;
    ClientSide client_;
    IsBlockedNow isBlockedNow_;
    Inspection inspection_;
    Strand strand_;  // of the socket, which goes on to somebody else
    Timer timer_;
    Way up_;
    Way down_;
    std::chrono::steady_clock::time_point active_;
    std::string heard_;     // how the server began
    bool isGiven_ = false;  // with the open server's side, as soon as that may be
    bool hasEnded_ = false;
};

}  // namespace

void StartTunnel(Services& services, ClientSide client, std::shared_ptr<Socket> server,
                 std::vector<std::uint8_t> serverSaid, IsBlockedNow isBlockedNow, Inspection inspection) {
    std::make_shared<Tunnel>(services, std::move(client), std::move(server), std::move(isBlockedNow),
                             std::move(inspection))
        ->Start(std::move(serverSaid));
}

}  // namespace tarn::host::serve
