#include "host/serve/watched_connect.h"

#include <algorithm>
#include <array>
#include <utility>

namespace tarn::host::serve {

namespace {

class WatchedConnecting : public std::enable_shared_from_this<WatchedConnecting> {
 public:
    using Call = std::function<void(WatchedConnection)>;
    WatchedConnecting(std::shared_ptr<Socket> client, std::size_t most, Call call)
        : client_(std::move(client)), most_(most), call_(std::move(call)), timer_(client_->get_executor()) {}

    void Begin(Upstream& upstream, const std::vector<Endpoint>& endpoints) {
        giveUp_ = upstream.Connect(
            endpoints, client_->get_executor(),
            [self = shared_from_this()](std::shared_ptr<Socket> server, Endpoint, const std::string& mistake) {
                self->result_.server = std::move(server);
                self->End(mistake);
            });
        if (!hasEnded_) Read();
    }

 private:
    void Read() {
        const std::size_t room = std::min(room_.size(), most_ - result_.said.size());
        if (room == 0) return;
        isReading_ = true;
        client_->async_read_some(asio::buffer(room_.data(), room),
                                 [self = shared_from_this()](ErrorCode error, std::size_t count) {
                                     self->isReading_ = false;
                                     self->Hear(error, count);
                                 });
    }

    void Hear(ErrorCode error, std::size_t count) {
        result_.said.insert(result_.said.end(), room_.begin(), room_.begin() + static_cast<std::ptrdiff_t>(count));
        result_.hasClientEnded = error == asio::error::eof;
        // A reset is told once: who reads on would not hear of it.
        const bool hasGone = error && error != asio::error::eof && error != asio::error::operation_aborted;
        if (hasEnded_ && hasGone) result_.server.reset();
        if (hasEnded_) return Tell();
        if (!error) return Read();
        if (!result_.hasClientEnded) return GiveUp();
        timer_.expires_after(kEndedClientWaits);
        timer_.async_wait([self = shared_from_this()](ErrorCode cancelled) {
            if (!cancelled && !self->hasEnded_) self->GiveUp();
        });
    }

    void GiveUp() {
        giveUp_();
        End("the client has gone");
    }

    // What the client says goes on as soon as it is no longer read here.
    void End(const std::string& mistake) {
        hasEnded_ = true;
        result_.mistake = mistake;
        timer_.cancel();
        ErrorCode ignored;
        if (!isReading_) return Tell();
        client_->cancel(ignored);
    }

    void Tell() { std::exchange(call_, nullptr)(std::move(result_)); }

    std::shared_ptr<Socket> client_;
    const std::size_t most_;
    Call call_;
    Timer timer_;
    std::function<void()> giveUp_;
    WatchedConnection result_;
    std::array<std::uint8_t, 2048> room_{};
    bool isReading_ = false;
    bool hasEnded_ = false;
};

}  // namespace

void ConnectWatching(Upstream& upstream, const std::vector<Endpoint>& endpoints, std::shared_ptr<Socket> client,
                     std::size_t most, std::function<void(WatchedConnection)> call) {
    std::make_shared<WatchedConnecting>(std::move(client), most, std::move(call))->Begin(upstream, endpoints);
}

}  // namespace tarn::host::serve
