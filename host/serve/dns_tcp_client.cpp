#include "host/serve/dns_tcp_client.h"

#include <array>
#include <deque>
#include <utility>

#include "host/serve/dns_message.h"

namespace tarn::host::serve {

namespace {

using Message = DnsService::Message;

class DnsTcpClient : public Connection, public std::enable_shared_from_this<DnsTcpClient> {
 public:
    DnsTcpClient(std::shared_ptr<DnsService> service, ClientSide client, std::shared_ptr<void> counted)
        : service_(std::move(service)),
          counted_(std::move(counted)),
          client_(std::move(client)),
          strand_(client_.socket->get_executor()),
          timer_(strand_) {}

    void Start() {
        client_.place.Belong(shared_from_this());
        ReadLength();
    }

    void Drain() override {
        asio::post(strand_, [self = shared_from_this()] { self->NoMore(); });
    }
    void Close() override {
        asio::post(strand_, [self = shared_from_this()] { self->End(); });
    }

 private:
    void ReadLength() {
        if (isEnding_ || isReading_ || open_ >= service_->Limits().pipelined) return;
        isReading_ = true;
        Watch();
        asio::async_read(*client_.socket, asio::buffer(length_),
                         [self = shared_from_this()](ErrorCode error, std::size_t) {
                             if (error) return self->NoMore();
                             const std::size_t length = std::size_t{self->length_[0]} << 8 | self->length_[1];
                             if (length > kLargestQuery) return self->End();
                             self->query_.resize(length);
                             self->ReadQuery();
                         });
    }

    void ReadQuery() {
        asio::async_read(
            *client_.socket, asio::buffer(query_), [self = shared_from_this()](ErrorCode error, std::size_t) {
                if (error) return self->NoMore();
                self->isReading_ = false;
                if (!DnsIdOf(self->query_) || IsDnsResponse(self->query_)) {
                    self->service_->CountUnreadable();
                    return self->End();
                }
                ++self->open_;
                self->service_->Answer(self->query_, self->client_.client, [self](Message message) {
                    asio::post(self->strand_, [self, message = std::move(message)] { self->Send(message); });
                });
                self->ReadLength();
            });
    }

    void Send(const Message& message) {
        Message frame{static_cast<std::uint8_t>(message.size() >> 8), static_cast<std::uint8_t>(message.size())};
        frame.insert(frame.end(), message.begin(), message.end());
        waiting_.push_back(std::move(frame));
        if (waiting_.size() == 1) Write();
    }

    void Write() {
        Watch();
        asio::async_write(*client_.socket, asio::buffer(waiting_.front()),
                          [self = shared_from_this()](ErrorCode error, std::size_t) {
                              if (error) return self->End();
                              self->waiting_.pop_front();
                              --self->open_;
                              if (!self->waiting_.empty()) return self->Write();
                              if (self->isEnding_ && self->open_ == 0) return self->End();
                              self->ReadLength();
                          });
    }

    // The client asks nothing more; what it asked is still answered.
    void NoMore() {
        isEnding_ = true;
        if (open_ == 0) End();
    }

    void Watch() {
        timer_.expires_after(service_->Limits().idle);
        timer_.async_wait([self = weak_from_this()](ErrorCode error) {
            const auto alive = self.lock();
            if (!error && alive) alive->TakeSilence();
        });
    }

    // What waits for a server is not the client's silence.
    void TakeSilence() {
        if (hasEnded_ || std::chrono::steady_clock::now() < timer_.expiry()) return;
        if (open_ != 0 && waiting_.empty()) return Watch();
        End();
    }

    void End() {
        if (std::exchange(hasEnded_, true)) return;
        isEnding_ = true;
        timer_.cancel();
        CloseSocket(*client_.socket);
        client_.place.Leave();
    }

    std::shared_ptr<DnsService> service_;
    std::shared_ptr<void> counted_;
    ClientSide client_;
    Strand strand_;
    Timer timer_;
    std::array<std::uint8_t, 2> length_{};
    Message query_;
    std::deque<Message> waiting_;  // frames, the first one on its way
    std::size_t open_ = 0;         // questions that were read and whose answer is not sent yet
    bool isReading_ = false;
    bool isEnding_ = false;
    bool hasEnded_ = false;
};

}  // namespace

void StartDnsTcpClient(std::shared_ptr<DnsService> service, ClientSide client, std::shared_ptr<void> counted) {
    std::make_shared<DnsTcpClient>(std::move(service), std::move(client), std::move(counted))->Start();
}

}  // namespace tarn::host::serve
