#include "host/serve/http_proxy.h"

#include <algorithm>
#include <fmt/format.h>

#include "host/printable_text.h"
#include "host/serve/first_bytes.h"
#include "host/serve/http_bytes.h"
#include "host/serve/http_head.h"
#include "host/serve/named_server.h"
#include "host/serve/pages/proxy_pac.h"
#include "host/serve/plain_page.h"
#include "host/serve/status_pages.h"
#include "host/serve/tunnel.h"
#include "host/serve/watched_connect.h"

namespace tarn::host::serve {

namespace {

// Of one connection at most, while bodies pass in both directions: two heads and two bodies, 64 + 64 + 16 + 64 KiB.
constexpr std::size_t kMostBuffered = kMostHead + 1024;
constexpr std::string_view kHtml = "text/html; charset=utf-8";

class HttpConnection : public Connection,
                       public HttpBytes<HttpConnection>,
                       public std::enable_shared_from_this<HttpConnection> {
 public:
    HttpConnection(Services& services, ClientSide client, std::optional<Target> fixed)
        : HttpBytes(client.socket->get_executor()),
          services_(services),
          client_(std::move(client)),
          fixed_(std::move(fixed)),
          strand_(client_.socket->get_executor()) {}

    void Start() {
        client_.place.Belong(shared_from_this());
        Give(std::exchange(client_.said, {}), fromClient_);
        NextRequest();
    }

    void Drain() override {
        asio::post(strand_, [self = shared_from_this()] {
            self->isDraining_ = true;
            if (self->isIdle_) self->End();
        });
    }
    void Close() override {
        asio::post(strand_, [self = shared_from_this()] { self->End(); });
    }

 private:
    friend class HttpBytes<HttpConnection>;

    // ---- the request's head

    void NextRequest() {
        if (isDraining_ && !isFirst_) return Linger();
        isFirst_ = false;
        Shrink(fromClient_);
        Shrink(fromServer_);
        request_.emplace();
        request_->header_limit(kMostHead);
        request_->body_limit(kNoLimit);
        response_.reset();
        isRequestSent_ = isResponseSent_ = isLast_ = hasAnswered_ = isHeadBegun_ = false;
        isIdle_ = fromClient_.size() == 0;
        BeIdle();
        Watch(services_.settings.idle, Limit::kFixed);
        ParseHead();
    }

    void ParseHead() {
        if (!request_->got_some())
            fromClient_.consume(
                LeadingLineEnds({static_cast<const std::uint8_t*>(fromClient_.data().data()), fromClient_.size()}));
        ErrorCode error = http::error::need_more;
        if (fromClient_.size() != 0) {
            if (!isHeadBegun_) Watch(services_.settings.head, Limit::kFixed);
            isHeadBegun_ = true;
            isIdle_ = false;
            fromClient_.consume(request_->put(fromClient_.data(), error));
        }
        if (error && error != http::error::need_more) return Reject(error);
        if (request_->is_header_done()) return TakeRequest();
        ReadSome(client_.socket, fromClient_, [](HttpConnection& self, ErrorCode failed) {
            if (failed) return self.End();
            self.ParseHead();
        });
    }

    void Reject(ErrorCode error) {
        const bool isLong = error == http::error::header_limit || error == http::error::buffer_overflow;
        AnswerItself(isLong ? 431 : 400,
                     isLong ? "The head of the request is longer than 64 KiB."
                            : fmt::format("This is no request that a proxy takes: {}.", error.message()));
    }

    // ---- what becomes of it

    void TakeRequest() {
        BeBusy();
        Watch(services_.settings.idle, Limit::kSilence);
        isRequestSent_ = request_->is_done();
        if (!fixed_ && AsksForScript(request_->get())) return AnswerScript();
        plan_ = PlanRequest(request_->get(), fixed_, request_->chunked());
        if (!plan_.mistake.empty())
            return AnswerItself(400, fmt::format("This is no request that can be sent on: {}.", plan_.mistake));
        services_.upstream.Resolve(plan_.target, client_.client, client_.socket->get_executor(),
                                   [self = shared_from_this()](Resolved resolved) {
                                       if (self->hasEnded_) return;
                                       self->resolved_ = std::move(resolved);
                                       self->Judge();
                                   });
    }

    void Judge() {
        if (resolved_.isForbidden) return AnswerItself(403, resolved_.mistake + ".");
        const bool isResolved = !resolved_.endpoints.empty();
        if (plan_.isConnect && isResolved) return OpenTunnel();  // what is said in it is judged
        const NamedServer server{plan_.target, resolved_.endpoints, client_.client, client_.processId};
        if (!plan_.isConnect && IsClosedToRequests(services_.filter, server))
            return AnswerItself(403, "The port is one of FTP, where a request could hide commands.");
        client_.judgedAt = services_.filter.Changes();
        const Answer answer = JudgeRequest(services_.filter, server, plan_);
        if (answer.isBlocked) return AnswerBlocked(answer);
        if (!isResolved) return AnswerItself(502, resolved_.mistake + ".");
        // What was open for too long may be closed already; a body cannot be sent twice,
        // and other methods must not be.
        isReused_ = server_ != nullptr && serverTarget_ == plan_.target && isRequestSent_ && !plan_.isUpgrade &&
                    IsIdempotent(request_->get().method());
        if (isReused_) return SendHead();
        ConnectServer();
    }

    void ConnectServer() {
        CloseServer();
        ConnectWatching(services_.upstream, resolved_.endpoints, client_.socket,
                        fromClient_.max_size() - fromClient_.size(),
                        [self = shared_from_this()](WatchedConnection connected) {
                            if (self->hasEnded_) return;
                            Give(connected.said, self->fromClient_);
                            self->client_.hasEnded |= connected.hasClientEnded;
                            if (!connected.server)
                                return self->AnswerItself(
                                    502, fmt::format("{} cannot be reached: {}.", Printable(self->plan_.target.Text()),
                                                     connected.mistake));
                            self->server_ = std::move(connected.server);
                            self->serverTarget_ = self->plan_.target;
                            self->SendHead();
                        });
    }

    void OpenTunnel() {
        static constexpr std::string_view kOpen = "HTTP/1.1 200 Connection established\r\n\r\n";
        asio::async_write(*client_.socket, asio::buffer(kOpen),
                          [self = shared_from_this()](ErrorCode error, std::size_t) {
                              if (self->hasEnded_ || error) return self->End();
                              const Target target = self->plan_.target;
                              StartOpening(self->services_, self->Release(), target);
                          });
    }

    // ---- upstream

    void ExpectAnswer() {
        response_.emplace();
        response_->header_limit(kMostHead);
        response_->body_limit(kNoLimit);
        if (request_->get().method() == http::verb::head) response_->skip(true);
    }

    void SendHead() {
        ExpectAnswer();
        isAnswering_ = false;
        asio::async_write(*server_, asio::buffer(plan_.head),
                          [self = shared_from_this(), server = server_](ErrorCode error, std::size_t) {
                              if (self->hasEnded_ || self->server_ != server) return;
                              if (error) return self->LoseServer(error);
                              self->Touch();
                              if (!self->isRequestSent_) {
                                  self->up_.resize(kUpBody);
                                  self->isSendingBody_ = true;
                                  self->SendBody();
                              }
                              if (!self->hasEnded_) self->ReadAnswer();
                          });
    }

    // Beside the answer, which may come before all of the body was sent.
    void SendBody() {
        if (isLingering_ || !server_) return EndBody();
        const std::size_t count = ParseBody(*request_, fromClient_, up_);
        if (parseError_) return End();
        if (count != 0)
            return WriteBody(server_, up_, count, upFrame_, plan_.isChunked, [](HttpConnection& self, ErrorCode error) {
                if (error) return self.EndBody();  // the server wants no more of it
                self.SendBody();
            });
        if (!request_->is_done()) {
            if (client_.hasEnded) return End();
            BeActive(services_.settings.body);
            return ReadSome(client_.socket, fromClient_, [](HttpConnection& self, ErrorCode error) {
                if (error) return self.End();
                self.BeBusy();
                self.SendBody();
            });
        }
        WriteEnd(server_, plan_.isChunked, [](HttpConnection& self, ErrorCode error) {
            self.isRequestSent_ = !error;
            self.EndBody();
        });
    }

    void EndBody() {
        isSendingBody_ = false;
        Chunk().swap(up_);
        if (isLingering_) return ReadRest(client_.socket, fromClient_);
        if (isResponseSent_) isRequestSent_ ? FinishExchange() : Linger();
    }

    // A connection that was kept open may have been closed by the server: once more on a new one.
    void LoseServer(ErrorCode error) {
        if (isReused_ && !isAnswering_ && isRequestSent_) {
            isReused_ = false;
            return ConnectServer();
        }
        if (!hasAnswered_)
            return AnswerItself(502, fmt::format("{} closed the connection without an answer: {}.",
                                                 Printable(plan_.target.Text()), error.message()));
        End();
    }

    void ReadAnswer() {
        ErrorCode error = http::error::need_more;
        if (fromServer_.size() != 0) {
            isAnswering_ = true;
            fromServer_.consume(response_->put(fromServer_.data(), error));
        }
        if (!error && response_->is_header_done()) return TakeAnswer();
        if (error && error != http::error::need_more)
            return AnswerItself(502, fmt::format("{} gave an answer that is no HTTP/1: {}.",
                                                 Printable(plan_.target.Text()), error.message()));
        ReadSome(server_, fromServer_, [](HttpConnection& self, ErrorCode failed) {
            if (failed) return self.LoseServer(failed);
            self.ReadAnswer();
        });
    }

    void TakeAnswer() {
        const ResponseHead& answer = response_->get();
        const unsigned version = request_->get().version();
        if (!HasPlainFraming(answer, response_->chunked()))
            return AnswerItself(502, Printable(plan_.target.Text()) + " gave an answer whose end is not clear.");
        if (answer.result() == http::status::switching_protocols) return Upgrade();
        if (answer.result_int() / 100 == 1) return PassInterim(version);
        // Only the end of the connection tells where the body ends.
        const bool isUntilEnd = response_->need_eof() && !response_->is_done();
        isChunked_ = !response_->is_done() && response_->chunked() && version == 11;
        isServerLast_ = isUntilEnd || !response_->keep_alive();
        isLast_ = isDraining_ || HasClientEnded() || isUntilEnd || (response_->chunked() && version != 11) ||
                  !request_->get().keep_alive() || !request_->is_done();
        Write(AnswerHead(answer, isChunked_, isLast_, version), [](HttpConnection& self, ErrorCode error) {
            if (error) return self.End();
            if (self.response_->is_done()) return self.FinishAnswer();
            self.down_.resize(kDownBody);
            self.PassBody();
        });
    }

    void PassInterim(unsigned version) {
        const std::string head = version == 11 ? AnswerHead(response_->get(), false, false, version) : std::string();
        ExpectAnswer();
        if (head.empty()) return ReadAnswer();
        Write(head, [](HttpConnection& self, ErrorCode error) {
            if (error) return self.End();
            self.ReadAnswer();
        });
    }

    void Upgrade() {
        if (!plan_.isUpgrade || !isRequestSent_ || !IsWebSocket(response_->get()))
            return AnswerItself(502, "The server changes to a protocol that nobody asked for.");
        Write(AnswerHead(response_->get(), false, false, 11), [](HttpConnection& self, ErrorCode error) {
            if (error) return self.End();
            const auto server = std::exchange(self.server_, nullptr);
            std::vector<std::uint8_t> serverSaid = Taken(self.fromServer_);
            NamedServer named{self.plan_.target, self.resolved_.endpoints, self.client_.client, self.client_.processId};
            StartTunnel(self.services_, self.Release(), server, std::move(serverSaid),
                        RequestAgain(self.services_.filter, std::move(named), self.plan_));
        });
    }

    void PassBody() {
        const std::size_t count = ParseBody(*response_, fromServer_, down_);
        if (parseError_) return EndShort();
        if (count != 0)
            return WriteBody(client_.socket, down_, count, downFrame_, isChunked_,
                             [](HttpConnection& self, ErrorCode error) {
                                 if (error) return self.End();
                                 self.PassBody();
                             });
        if (response_->is_done()) return FinishAnswer();
        ReadSome(server_, fromServer_, [](HttpConnection& self, ErrorCode error) {
            if (!error) return self.PassBody();
            ErrorCode cut;
            if (error == asio::error::eof) self.response_->put_eof(cut);
            if (error != asio::error::eof || cut) return self.EndShort();
            self.FinishAnswer();
        });
    }

    void FinishAnswer() {
        WriteEnd(client_.socket, isChunked_, [](HttpConnection& self, ErrorCode error) {
            if (error) return self.End();
            self.isResponseSent_ = true;
            Chunk().swap(self.down_);
            if (self.isRequestSent_) return self.FinishExchange();
            // All of it was read and is on its way, or the rest is of no use to anybody.
            if (!self.isSendingBody_ || !self.request_->is_done()) self.Linger();
        });
    }

    void FinishExchange() {
        if (isServerLast_ || fromServer_.size() != 0) CloseServer();
        if (isLast_ || !request_->get().keep_alive()) return Linger();
        NextRequest();
    }

    // ---- answers of its own

    void AnswerBlocked(const Answer& answer) {
        AnswerWith(403, kHtml, BlockPageFor(answer, services_.filter.LocalTime(), LanguagesOf(request_->get())));
    }

    // With nothing left that it said before.
    [[nodiscard]] bool HasClientEnded() const { return client_.hasEnded && fromClient_.size() == 0; }

    void AnswerItself(unsigned status, const std::string& text) {
        AnswerWith(status, kHtml, PlainPage(status, text, ChooseLanguage(LanguagesOf(request_->get()))));
    }

    // A browser of another machine is set up by http://ADDRESS:PORT/proxy.pac of the proxy itself.
    void AnswerScript() {
        AnswerWith(200, "application/x-ns-proxy-autoconfig", ProxyPac(FormatEndpoint(client_.listener)));
    }

    void AnswerWith(unsigned status, std::string_view type, const std::string& body) {
        if (hasAnswered_) return End();
        const bool isHead = request_->is_header_done() && request_->get().method() == http::verb::head;
        isLast_ = status == 400 || status == 431 || isDraining_ || HasClientEnded() || isSendingBody_ ||
                  !request_->is_done() || !request_->get().keep_alive();
        CloseServer();
        Write(OwnAnswer(status, type, body, isLast_, isHead), [](HttpConnection& self, ErrorCode error) {
            if (error) return self.End();
            if (self.isLast_) return self.Linger();
            self.NextRequest();
        });
    }

    // ---- bytes

    template <class Call>
    void Write(std::string text, Call call) {
        hasAnswered_ = true;
        outText_ = std::move(text);
        WriteText(client_.socket, outText_, call);
    }

    // ---- the end

    ClientSide Release() {
        timer_.cancel();
        hasEnded_ = true;
        client_.said = Taken(fromClient_);
        return std::move(client_);
    }

    void CloseServer() {
        if (server_) CloseSocket(*server_);
        server_.reset();
        fromServer_.consume(fromServer_.size());
    }

    // A client that still sends would lose the answer if the connection were closed at once.
    void Linger() {
        CloseServer();
        ErrorCode ignored;
        client_.socket->shutdown(Tcp::socket::shutdown_send, ignored);
        isLingering_ = true;
        Watch(kLinger, Limit::kFixed);
        if (!isSendingBody_) ReadRest(client_.socket, fromClient_);
    }

    // Where nothing but the end of the connection tells the body's end, a reset tells that it is not all of it.
    void EndShort() {
        if (!isChunked_ && !response_->content_length()) ResetAtClose(*client_.socket);
        End();
    }

    void End() {
        if (hasEnded_) return;
        hasEnded_ = true;
        timer_.cancel();
        CloseServer();
        CloseSocket(*client_.socket);
        client_.place.Leave();
    }

    Services& services_;
    ClientSide client_;
    std::optional<Target> fixed_;
    Strand strand_;  // of the socket, which goes on to somebody else

    Buffer fromClient_{kMostBuffered};
    Buffer fromServer_{kMostBuffered};
    std::optional<RequestParser> request_;
    std::optional<ResponseParser> response_;
    PlannedRequest plan_;
    Resolved resolved_;
    std::shared_ptr<Socket> server_;
    Target serverTarget_;
    Chunk up_;
    Chunk down_;

    bool isFirst_ = true;
    bool isIdle_ = false;
    bool isHeadBegun_ = false;
    bool isSendingBody_ = false;
    bool isDraining_ = false;
    bool isReused_ = false;
    bool isAnswering_ = false;  // the server has said something
    bool hasAnswered_ = false;  // something was sent to the client
    bool isRequestSent_ = false;
    bool isResponseSent_ = false;
    bool isChunked_ = false;
    bool isLast_ = false;  // the client's connection ends behind the answer
    bool isServerLast_ = false;
    bool isLingering_ = false;
};

}  // namespace

void StartHttp(Services& services, ClientSide client, std::optional<Target> fixed) {
    std::make_shared<HttpConnection>(services, std::move(client), std::move(fixed))->Start();
}

}  // namespace tarn::host::serve
