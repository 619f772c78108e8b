#include "host/serve/socks5.h"

#include <utility>

#include "host/serve/serve_settings.h"
#include "host/serve/socks_message.h"

namespace tarn::host::serve {

namespace {

constexpr std::size_t kReadAtOnce = 1024;

class SocksHandshake : public Connection, public std::enable_shared_from_this<SocksHandshake> {
 public:
    SocksHandshake(Services& services, ClientSide client)
        : services_(services), client_(std::move(client)), strand_(client_.socket->get_executor()), timer_(strand_) {}

    void Start() {
        client_.place.Belong(shared_from_this());
        BeIdle();
        timer_.expires_after(services_.settings.head);
        timer_.async_wait([self = shared_from_this()](ErrorCode error) {
            if (!error) self->End();
        });
        Read();
    }

    void Drain() override { Close(); }
    void Close() override {
        asio::post(strand_, [self = shared_from_this()] { self->End(); });
    }

 private:
    void Read() {
        const std::size_t there = client_.said.size();
        client_.said.resize(there + kReadAtOnce);
        client_.socket->async_read_some(asio::buffer(client_.said.data() + there, kReadAtOnce),
                                        [self = shared_from_this(), there](ErrorCode error, std::size_t count) {
                                            if (self->hasEnded_) return;
                                            self->client_.said.resize(there + count);
                                            if (error) return self->End();
                                            self->Hear();
                                        });
    }

    void Hear() {
        if (!isGreeted_) {
            const SocksGreeting greeting = ReadSocksGreeting(client_.said);
            if (greeting.state == SocksState::kMore) return Read();
            if (greeting.state == SocksState::kOther) return End();
            Consume(greeting.length);
            if (!greeting.acceptsNoLogin) return Write(kSocksNoMethod, [this] { End(); });
            isGreeted_ = true;
            return Write(kSocksNoLogin, [this] { Hear(); });
        }
        const SocksRequest request = ReadSocksRequest(client_.said);
        if (request.state == SocksState::kMore) return Read();
        if (request.state == SocksState::kOther) return End();
        Consume(request.length);
        if (request.code != SocksCode::kDone) return Refuse(request.code);
        target_ = request.target;
        BeBusy();
        services_.upstream.Resolve(target_, client_.client, strand_,
                                   [self = shared_from_this()](const Resolved& resolved) {
                                       if (!self->hasEnded_) self->Know(resolved);
                                   });
    }

    // A name without an address is no failure here: the request for it may have to be blocked by its name.
    void Know(const Resolved& resolved) {
        if (resolved.isForbidden) return Refuse(SocksCode::kNotAllowed);
        Write(ComposeSocksReply(SocksCode::kDone), [this] { HandOver(); });
    }

    void HandOver() {
        Services& services = services_;
        const Target target = target_;
        timer_.cancel();
        hasEnded_ = true;
        StartOpening(services, std::move(client_), target);
    }

    void Refuse(SocksCode code) {
        Write(ComposeSocksReply(code), [this] { End(); });
    }

    template <std::size_t count, class Then>
    void Write(const std::array<std::uint8_t, count>& bytes, Then then) {
        reply_.assign(bytes.begin(), bytes.end());
        asio::async_write(*client_.socket, asio::buffer(reply_),
                          [self = shared_from_this(), then](ErrorCode error, std::size_t) {
                              if (self->hasEnded_) return;
                              if (error) return self->End();
                              then();
                          });
    }

    void Consume(std::size_t length) {
        client_.said.erase(client_.said.begin(), client_.said.begin() + static_cast<std::ptrdiff_t>(length));
    }

    void End() {
        if (hasEnded_) return;
        hasEnded_ = true;
        timer_.cancel();
        CloseSocket(*client_.socket);
        client_.place.Leave();
    }

    Services& services_;
    ClientSide client_;
    Strand strand_;  // of the socket, which goes on to somebody else
    Timer timer_;
    Target target_;
    std::vector<std::uint8_t> reply_;
    bool isGreeted_ = false;
    bool hasEnded_ = false;
};

}  // namespace

void StartSocks(Services& services, ClientSide client) {
    std::make_shared<SocksHandshake>(services, std::move(client))->Start();
}

}  // namespace tarn::host::serve
