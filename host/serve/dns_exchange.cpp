#include "host/serve/dns_exchange.h"

#include <algorithm>
#include <array>
#include <exception>
#include <memory>
#include <random>
#include <utility>

#include "host/serve/connection.h"
#include "host/serve/dns_message.h"

namespace tarn::host::serve {

namespace {

constexpr std::size_t kUdpBuffer = 8192;
constexpr unsigned kMostWrongAnswers = 64;  // of one attempt; then somebody is guessing, and TCP is asked

using Datagrams = asio::basic_datagram_socket<Udp, Strand>;

std::uint16_t RandomNumber(std::uint16_t low, std::uint16_t high) {
    std::random_device source;  // the system's, not a sequence that can be guessed
    return std::uniform_int_distribution<std::uint16_t>(low, high)(source);
}

// At a port that nobody can foretell.
bool OpenAtRandomPort(Datagrams& socket, const Udp& protocol) {
    constexpr std::uint16_t kLowest = 20000;
    constexpr int kTries = 16;
    ErrorCode error;
    for (int i = 0; i < kTries; ++i) {
        if (socket.is_open()) socket.close(error);
        socket.open(protocol, error);
        if (error) return false;
        socket.bind({protocol, RandomNumber(kLowest, 65535)}, error);
        if (!error) return true;
    }
    return false;
}

class Exchange : public std::enable_shared_from_this<Exchange> {
 public:
    Exchange(asio::io_context& io, DnsServers& servers, std::vector<std::uint8_t> query,
             std::function<void(DnsReply)> call)
        : strand_(io.get_executor()),
          servers_(servers),
          query_(std::move(query)),
          call_(std::move(call)),
          timer_(strand_),
          datagrams_(strand_),
          stream_(strand_),
          first_(servers.preferred.load()) {
        if (const auto message = ParseDnsMessage(query_)) question_ = message->question;
        buffer_.resize(kUdpBuffer);
    }

    void Begin() {
        asio::post(strand_, [self = shared_from_this()] { self->Next(); });
    }

 private:
    // Whoever asked is answered in any case.
    void Next() {
        try {
            Ask();
        } catch (const std::exception&) {  // no memory, or no numbers at random
            if (!isDone_) Finish({});
        }
    }

    // Each server once, then the first one again.
    void Ask() {
        Forget();
        if (servers_.servers.empty() || attempts_ > servers_.servers.size()) return Finish({});
        index_ = (first_ + attempts_++) % servers_.servers.size();
        server_ = servers_.servers[index_];
        id_ = RandomNumber(0, 65535);
        wrong_ = 0;
        SetDnsId(query_, id_);
        const Udp::endpoint to(AddressOfEndpoint(server_), server_.port);
        if (!OpenAtRandomPort(datagrams_, to.protocol())) return Next();
        Limit();
        datagrams_.async_send_to(asio::buffer(query_), to,
                                 [self = shared_from_this(), attempt = attempts_](ErrorCode error, std::size_t) {
                                     if (self->attempts_ != attempt || self->isDone_) return;
                                     if (error) return self->Next();
                                     self->Receive();
                                 });
    }

    void Limit() {
        timer_.expires_after(servers_.attempt);
        timer_.async_wait([self = shared_from_this(), attempt = attempts_](ErrorCode error) {
            if (error || self->attempts_ != attempt || self->isDone_) return;
            self->Next();
        });
    }

    void Receive() {
        datagrams_.async_receive_from(
            asio::buffer(buffer_), from_,
            [self = shared_from_this(), attempt = attempts_](ErrorCode error, std::size_t length) {
                if (self->attempts_ != attempt || self->isDone_) return;
                self->Received(error, length);
            });
    }

    void Received(ErrorCode error, std::size_t length) {
        if (error == asio::error::operation_aborted) return;
        const bool isCut = error == asio::error::message_size || (!error && length == buffer_.size());
        if (error && !isCut) return Next();  // it says that nobody listens
        const bool isAsked = AddressOfEndpoint(server_) == from_.address() && server_.port == from_.port();
        if (isAsked && isCut) return AskOverTcp();
        const auto message = isAsked ? Fitting({buffer_.data(), length}) : std::nullopt;
        if (!message) {
            ++servers_.dropped;
            if (++wrong_ >= kMostWrongAnswers) return AskOverTcp();
            return Receive();
        }
        if (message->isTruncated) return AskOverTcp();
        Take({buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(length)}, *message);
    }

    std::optional<DnsMessage> Fitting(base::Bytes bytes) const {
        auto message = ParseDnsMessage(bytes);
        if (!message || !message->isResponse || message->id != id_ || message->question != question_)
            return std::nullopt;
        return message;
    }

    // A server that cannot answer leaves it to the next one, if there is one.
    void Take(std::vector<std::uint8_t> bytes, const DnsMessage& message) {
        const bool failed = message.result == static_cast<std::uint8_t>(DnsResult::kServerFailure) ||
                            message.result == static_cast<std::uint8_t>(DnsResult::kRefused);
        if (failed && attempts_ < servers_.servers.size()) return Next();
        if (!failed) servers_.preferred = index_;
        Finish({std::move(bytes), server_});
    }

    void AskOverTcp() {
        Forget();
        ++servers_.overTcp;
        Limit();
        stream_.async_connect({AddressOfEndpoint(server_), server_.port},
                              [self = shared_from_this(), attempt = attempts_](ErrorCode error) {
                                  if (self->attempts_ != attempt || self->isDone_) return;
                                  if (error) return self->Next();
                                  self->SendFrame();
                              });
    }

    void SendFrame() {
        length_ = {static_cast<std::uint8_t>(query_.size() >> 8), static_cast<std::uint8_t>(query_.size())};
        asio::async_write(
            stream_, std::array{asio::const_buffer(asio::buffer(length_)), asio::const_buffer(asio::buffer(query_))},
            [self = shared_from_this(), attempt = attempts_](ErrorCode error, std::size_t) {
                if (self->attempts_ != attempt || self->isDone_) return;
                if (error) return self->Next();
                self->ReadFrame();
            });
    }

    void ReadFrame() {
        asio::async_read(stream_, asio::buffer(length_),
                         [self = shared_from_this(), attempt = attempts_](ErrorCode error, std::size_t) {
                             if (self->attempts_ != attempt || self->isDone_) return;
                             if (error) return self->Next();
                             self->buffer_.resize(std::size_t{self->length_[0]} << 8 | self->length_[1]);
                             self->ReadMessage();
                         });
    }

    void ReadMessage() {
        asio::async_read(stream_, asio::buffer(buffer_),
                         [self = shared_from_this(), attempt = attempts_](ErrorCode error, std::size_t) {
                             if (self->attempts_ != attempt || self->isDone_) return;
                             if (error) return self->Next();
                             const auto message = self->Fitting(self->buffer_);
                             if (message) return self->Take(self->buffer_, *message);
                             ++self->servers_.dropped;
                             self->Next();
                         });
    }

    // Whatever still runs of an attempt.
    void Forget() {
        ErrorCode ignored;
        timer_.cancel();
        datagrams_.close(ignored);
        stream_.close(ignored);
        buffer_.resize(kUdpBuffer);
    }

    void Finish(DnsReply reply) {
        isDone_ = true;
        Forget();
        const auto call = std::exchange(call_, nullptr);
        call(std::move(reply));
    }

    Strand strand_;
    DnsServers& servers_;
    std::vector<std::uint8_t> query_;
    std::function<void(DnsReply)> call_;
    Timer timer_;
    Datagrams datagrams_;
    Socket stream_;
    DnsQuestion question_;
    std::vector<std::uint8_t> buffer_;
    std::array<std::uint8_t, 2> length_{};
    Udp::endpoint from_;
    Endpoint server_;
    std::size_t first_;
    std::size_t index_ = 0;
    std::size_t attempts_ = 0;  // begun; also tells handlers of an earlier one that it is over
    unsigned wrong_ = 0;
    std::uint16_t id_ = 0;
    bool isDone_ = false;
};

}  // namespace

void ExchangeDns(asio::io_context& io, DnsServers& servers, std::vector<std::uint8_t> query,
                 std::function<void(DnsReply)> call) {
    std::make_shared<Exchange>(io, servers, std::move(query), std::move(call))->Begin();
}

}  // namespace tarn::host::serve
