#include "host/serve/status_connection.h"

#include <array>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <fmt/format.h>
#include <optional>

namespace tarn::host::serve {

namespace {

namespace http = boost::beast::http;

constexpr std::uint32_t kMostHead = 16384;
constexpr std::chrono::seconds kWriteLimit{10};
constexpr std::chrono::seconds kBeat{15};              // a stream without events says that it lives
constexpr std::chrono::milliseconds kStreamRest{200};  // between two parts of a stream

class StatusConnection : public Connection, public std::enable_shared_from_this<StatusConnection> {
 public:
    StatusConnection(Services& services, AnswerPage answer, StatusFeed* feed, asio::thread_pool* slow,
                     ClientSide client)
        : services_(services),
          answer_(std::move(answer)),
          feed_(feed),
          slow_(slow),
          client_(std::move(client)),
          limit_(client_.socket->get_executor()),
          rest_(client_.socket->get_executor()) {}

    void Start() {
        client_.place.Belong(shared_from_this());
        NextRequest();
    }
    void Drain() override { Close(); }
    void Close() override {
        asio::post(client_.socket->get_executor(), [self = shared_from_this()] { self->End(); });
    }

 private:
    void End() {
        if (std::exchange(hasEnded_, true)) return;
        limit_.cancel();
        rest_.cancel();
        CloseSocket(*client_.socket);
        client_.place.Leave();
    }

    void Limit(std::chrono::seconds time) {
        limit_.expires_after(time);
        limit_.async_wait([self = shared_from_this()](ErrorCode error) {
            if (!error) self->End();
        });
    }

    void NextRequest() {
        parser_.emplace();
        parser_->header_limit(kMostHead);
        parser_->body_limit(std::uint64_t{0});
        Limit(services_.settings.head);
        BeIdle();
        http::async_read(*client_.socket, buffer_, *parser_, [self = shared_from_this()](ErrorCode error, std::size_t) {
            if (self->hasEnded_) return;
            self->limit_.cancel();
            self->BeBusy();
            error ? self->Reject(error) : self->Answer();
        });
    }

    void Reject(ErrorCode error) {
        if (error == http::error::end_of_stream || !parser_->got_some()) return End();
        isLast_ = true;
        const bool isLong = error == http::error::header_limit || error == http::error::body_limit;
        Send(MakeResponse(isLong ? 413 : 400, "text/plain; charset=utf-8",
                          isLong ? "The request is longer than any of a browser.\n" : "This is no request.\n"));
    }

    void Answer() {
        const auto& request = parser_->get();
        isLast_ = !request.keep_alive();
        isHead_ = request.method() == http::verb::head;
        if (slow_ == nullptr || !TakesLong(Asked())) return Send(Ask());
        asio::post(*slow_, [self = shared_from_this()] {
            PageResponse response = self->Ask();
            asio::post(self->client_.socket->get_executor(), [self, response = std::move(response)] {
                if (!self->hasEnded_) self->Send(response);
            });
        });
    }

    // Nothing else touches the request meanwhile.
    [[nodiscard]] PageRequest Asked() const {
        const auto& request = parser_->get();
        const auto view = [](const auto& text) { return std::string_view(text.data(), text.size()); };
        return {view(request.method_string()),    view(request.target()),
                view(request[http::field::host]), view(request[http::field::origin]),
                view(request["Sec-Fetch-Site"]),  view(request[http::field::accept_language])};
    }

    [[nodiscard]] PageResponse Ask() const {
        try {
            return answer_(Asked(), client_);
        } catch (const std::exception& error) {
            services_.filter.CountError(error.what());
            return MakeResponse(500, "text/plain; charset=utf-8", "This could not be answered.\n");
        }
    }

    void Send(const PageResponse& response) {
        if (response.isEventStream && !isHead_) {
            reader_ = feed_->Open([weak = weak_from_this()] {
                if (const auto self = weak.lock())
                    asio::post(self->client_.socket->get_executor(), [self] { self->GoOn(); });
            });
            if (!reader_) return Send(MakeResponse(503, "text/plain; charset=utf-8", "Too many pages are open.\n"));
        }
        isLast_ |= reader_ != nullptr;
        const auto reason = http::obsolete_reason(static_cast<http::status>(response.status));
        out_ = fmt::format("HTTP/1.1 {} {}\r\n", response.status, std::string_view(reason.data(), reason.size()));
        for (const auto& [name, value] : response.fields) out_ += fmt::format("{}: {}\r\n", name, value);
        if (!reader_) out_ += fmt::format("Content-Length: {}\r\n", response.body.size());
        out_ += isLast_ ? "Connection: close\r\n\r\n" : "\r\n";
        if (!isHead_) out_ += response.body;
        Write([](StatusConnection& self) {
            if (self.reader_) return self.BeginStream();
            self.isLast_ ? self.Linger() : self.NextRequest();
        });
    }

    template <class Next>
    void Write(Next next) {
        Limit(kWriteLimit);
        asio::async_write(*client_.socket, asio::buffer(out_),
                          [self = shared_from_this(), next](ErrorCode error, std::size_t) {
                              if (self->hasEnded_) return;
                              self->limit_.cancel();
                              error ? self->End() : next(*self);
                          });
    }

    // Lets the client read what it was sent: closing with bytes unread would take it away.
    void Linger() {
        ErrorCode ignored;
        client_.socket->shutdown(Tcp::socket::shutdown_send, ignored);
        Limit(std::chrono::seconds{2});
        ReadUntilEnd();
    }

    void ReadUntilEnd() {
        client_.socket->async_read_some(asio::buffer(unread_),
                                        [self = shared_from_this()](ErrorCode error, std::size_t) {
                                            if (self->hasEnded_) return;
                                            error ? self->End() : self->ReadUntilEnd();
                                        });
    }

    // ---- the stream

    void BeginStream() {
        ReadUntilEnd();
        GoOn();
    }

    // Writes what has come, or a sign of life when it is due.
    void GoOn() {
        if (hasEnded_ || isWriting_) return;
        out_ = reader_->Take();
        const bool isQuiet = out_.empty();
        if (isQuiet && !std::exchange(isBeating_, false)) return Rest(kBeat, true);
        if (isQuiet) out_ = ": \n\n";
        isWriting_ = true;
        ++rests_;
        Write([](StatusConnection& self) { self.Rest(kStreamRest, false); });
    }

    // Resting after a part keeps what comes meanwhile together.
    void Rest(std::chrono::milliseconds time, bool isBeat) {
        rest_.expires_after(time);
        rest_.async_wait([self = shared_from_this(), isBeat, rest = ++rests_](ErrorCode error) {
            if (error || self->hasEnded_ || rest != self->rests_) return;  // it was over already, and another one began
            self->isWriting_ = false;
            self->isBeating_ = isBeat;
            self->GoOn();
        });
    }

    Services& services_;
    AnswerPage answer_;
    StatusFeed* feed_;
    asio::thread_pool* slow_;
    ClientSide client_;
    Timer limit_;
    Timer rest_;
    boost::beast::flat_buffer buffer_{kMostHead + 1024};
    std::optional<http::request_parser<http::string_body>> parser_;
    std::string out_;
    std::array<char, 1024> unread_{};
    std::shared_ptr<StatusReader> reader_;
    std::uint64_t rests_ = 0;
    bool isHead_ = false;
    bool isLast_ = false;
    bool isWriting_ = false;
    bool isBeating_ = false;
    bool hasEnded_ = false;
};

}  // namespace

void StartPages(Services& services, AnswerPage answer, StatusFeed* feed, asio::thread_pool* slow, ClientSide client) {
    std::make_shared<StatusConnection>(services, std::move(answer), feed, slow, std::move(client))->Start();
}

}  // namespace tarn::host::serve
