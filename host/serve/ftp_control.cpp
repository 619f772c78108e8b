#include "host/serve/ftp_control.h"

#include <array>
#include <fmt/format.h>
#include <optional>
#include <utility>

#include "host/serve/bytes_of.h"
#include "host/serve/first_bytes.h"
#include "host/serve/ftp_data.h"
#include "host/serve/ftp_judge.h"
#include "host/serve/named_server.h"
#include "host/serve/tunnel.h"

namespace tarn::host::serve {

namespace {

constexpr std::size_t kReadAtOnce = 4096;
constexpr std::size_t kMostUnended = 2048;    // of a line whose end is missing
constexpr std::chrono::seconds kLastWord{1};  // for a client to read why its session ends

class FtpControl : public Connection, public std::enable_shared_from_this<FtpControl> {
 public:
    FtpControl(Services& services, ClientSide client, Target target)
        : services_(services),
          client_(std::move(client)),
          target_(std::move(target)),
          strand_(client_.socket->get_executor()),
          timer_(strand_),
          commands_(client_.said.begin(), client_.said.end()) {}

    void Start() {
        client_.place.Belong(shared_from_this());
        services_.upstream.Resolve(target_, client_.client, strand_,
                                   [self = shared_from_this()](const Resolved& resolved) { self->Connect(resolved); });
    }

    void StartWith(std::shared_ptr<Socket> server, const FtpGreeting& greeting) {
        client_.place.Belong(shared_from_this());
        server_ = std::move(server);
        ErrorCode error;
        const auto remote = server_->remote_endpoint(error);
        if (error) return End();
        if (!Open(EndpointOf(remote))) return;
        replies_ = greeting.replies;
        if (greeting.hasEnded) owed_ = 0;
        Notice(greeting.held);
        if (greeting.held.empty()) {
            ReadServer();
        } else {
            isServerHeldBack_ = true;
            Tell(greeting.held);
        }
        Hear();
    }

    // What was begun is answered; between two commands it ends.
    void Drain() override {
        asio::post(strand_, [self = shared_from_this()] {
            self->isDraining_ = true;
            if (!self->hasEnded_) self->EndIfDrained();
        });
    }
    void Close() override {
        asio::post(strand_, [self = shared_from_this()] { self->End(); });
    }
    void JudgeAgain() override {
        asio::post(strand_, [self = shared_from_this()] {
            if (!self->hasEnded_ && self->judge_) self->EndIfBlocked();
        });
    }

 private:
    void Connect(const Resolved& resolved) {
        if (hasEnded_) return;
        if (resolved.endpoints.empty()) return Refuse("421 The server is not known.");
        const NamedServer named{target_, resolved.endpoints, client_.client, client_.processId};
        client_.judgedAt = services_.filter.Changes();
        if (JudgeName(services_.filter, named).isBlocked) return Refuse("421 The server is blocked.");
        services_.upstream.Connect(
            resolved.endpoints, strand_,
            [self = shared_from_this()](std::shared_ptr<Socket> server, Endpoint endpoint, const std::string&) {
                if (self->hasEnded_) return;
                if (!server) return self->Refuse("421 The server does not answer.");
                self->server_ = std::move(server);
                if (!self->Open(endpoint)) return;
                self->ReadServer();
                self->Hear();
            });
    }

    // False when it was blocked while it was connected or handed over, and ends.
    bool Open(const Endpoint& endpoint) {
        endpoint_ = endpoint;
        judge_.emplace(services_.filter, NamedServer{target_, {endpoint}, client_.client, client_.processId});
        Touch();
        WatchIdle();
        return services_.filter.Changes() == client_.judgedAt || !EndIfBlocked();
    }

    // Whether it ends.
    bool EndIfBlocked() {
        if (isEnding_ || !judge_->IsBlockedNow()) return isEnding_;
        CloseSocket(*server_);
        Refuse("421 The server is blocked by now.");
        EndAfter(kLastWord);  // who does not read would keep it open
        return true;
    }

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

    void EndAfter(std::chrono::seconds limit) {
        timer_.expires_after(limit);
        timer_.async_wait([self = shared_from_this()](ErrorCode error) {
            if (!error) self->End();
        });
    }

    // ---- from the client ----

    void ReadClient() {
        client_.socket->async_read_some(asio::buffer(fromClient_),
                                        [self = shared_from_this()](ErrorCode error, std::size_t count) {
                                            if (self->hasEnded_ || self->isEnding_) return;
                                            if (error) return self->EndOfClient();
                                            self->Touch();
                                            self->commands_.append(self->fromClient_.data(), count);
                                            self->Hear();
                                        });
    }

    // Everything that is there whole; then what may go on goes on, and more is read. A refusal waits for the answers to
    // the commands before it, as clients take answers in order, and nothing behind it is heard before; nor behind a
    // command whose answer says how to take what follows.
    void Hear() {
        if (isSealed_) return HearHello();
        if (BeginsLikeHello(BytesOf(commands_))) return Refuse("500 The server did not agree to TLS.");
        std::string allowed;
        while (refusal_.empty() && !awaited_ && !BeginsLikeHello(BytesOf(commands_))) {
            const auto line = TakeFtpLine(commands_);
            if (!line) break;
            const FtpLine kind = KindOfFtpLine(*line);
            if (kind == FtpLine::kBroken) return Refuse("500 This is no command that can be judged.");
            const FtpCommand command = ReadFtpCommand(*line);
            refusal_ = judge_->RefusalOf(kind, command);
            if (!refusal_.empty()) break;
            if (FtpFolder::IsToldBy(command) || AsksForTls(command)) awaited_ = command;
            allowed += *line;
            ++owed_;
        }
        if (refusal_.empty() && !awaited_ && commands_.size() > kMostUnended)
            return Refuse("500 The command is too long.");
        if (allowed.empty()) return HearOnWhenInOrder();
        isSending_ = true;
        toServer_ = std::move(allowed);
        asio::async_write(*server_, asio::buffer(toServer_), [self = shared_from_this()](ErrorCode error, std::size_t) {
            if (self->hasEnded_ || self->isEnding_) return;
            if (error) return self->End();
            self->Touch();
            self->isSending_ = false;
            self->HearOnWhenInOrder();
        });
    }

    // A client that reads no answers is not heard.
    void HearOnWhenInOrder() {
        if (isSending_ || isEnding_) return;
        isOutOfOrder_ = owed_ > 0 && (awaited_ || !refusal_.empty());
        if (isOutOfOrder_) return;
        if (!refusal_.empty()) Tell(std::exchange(refusal_, {}));
        EndIfDrained();
        if (isEnding_) return;
        if (!isTelling_) return HearOn();
        isHeldBack_ = true;
    }

    void HearOn() {
        const bool isHello = BeginsLikeHello(BytesOf(commands_));
        if (isSealed_ || isHello || commands_.find('\n') != std::string::npos)
            Hear();
        else
            ReadClient();
    }

    // The server agreed to TLS: nothing else can be meant from here on.
    void HearHello() {
        if (commands_.empty()) return ReadClient();
        if (!BeginsLikeHello(BytesOf(commands_))) return Refuse("500 The server waits for TLS.");
        const Speech speech = Recognise(BytesOf(commands_));
        if (speech == Speech::kMore) return ReadClient();
        if (speech != Speech::kTls && speech != Speech::kTlsCut) return End();
        if (isTelling_) {  // the answer to AUTH may be told already, and this thread not know it yet
            isHeldBack_ = true;
            return;
        }
        const NamedServer named{target_, {endpoint_}, client_.client, client_.processId};
        const std::vector<std::uint8_t> hello = JoinHello(BytesOf(commands_));
        const bool isCut = speech == Speech::kTlsCut;
        if (JudgeHello(services_.filter, named, hello, isCut).isBlocked) return End();
        timer_.cancel();
        hasEnded_ = true;
        ErrorCode ignored;
        server_->cancel(ignored);  // the reading of answers; the tunnel goes on with it
        client_.said.assign(commands_.begin(), commands_.end());
        StartTunnel(services_, std::move(client_), server_, {},
                    [isBlocked = HelloAgain(services_.filter, named, hello, isCut), judge = *judge_] {
                        return isBlocked() || judge.IsBlockedNow();
                    });
    }

    void EndOfClient() {
        ErrorCode ignored;
        server_->shutdown(Tcp::socket::shutdown_send, ignored);
    }

    // ---- from the server ----

    void ReadServer() {
        server_->async_read_some(asio::buffer(fromServer_),
                                 [self = shared_from_this()](ErrorCode error, std::size_t count) {
                                     if (self->hasEnded_) return;
                                     if (error) return self->EndOfServer();
                                     self->Touch();
                                     const std::string_view said(self->fromServer_.data(), count);
                                     self->Notice(said);
                                     self->isServerHeldBack_ = true;
                                     self->Tell(said);
                                     if (self->isOutOfOrder_ && self->owed_ == 0) self->HearOnWhenInOrder();
                                     self->EndIfDrained();
                                 });
    }

    // Answers, and the ports that it offers for transfers.
    void Notice(std::string_view said) {
        replies_.Read(said, [this](std::string_view line, bool endsAnswer) {
            if (const auto port = OfferedFtpPort(line, endpoint_.address))
                services_.ftpData->Offer(client_.client.address, {endpoint_.address, *port}, target_.host);
            if (endsAnswer && owed_ > 0 && --owed_ == 0) LastAnswer(line);
        });
    }

    // To everything that was sent.
    void LastAnswer(std::string_view line) {
        if (!awaited_) return;
        const FtpCommand command = *std::exchange(awaited_, std::nullopt);
        if (AsksForTls(command))
            isSealed_ = line.starts_with("234");
        else
            judge_->Answered(command, line);
    }

    void EndOfServer() {
        isEnding_ = true;
        if (!isTelling_) End();
    }

    // ---- to the client ----

    void Tell(std::string_view text) {
        waiting_ += text;
        if (!isTelling_) TellOn();
    }

    void TellOn() {
        isTelling_ = true;
        toClient_ = std::exchange(waiting_, {});
        asio::async_write(*client_.socket, asio::buffer(toClient_),
                          [self = shared_from_this()](ErrorCode error, std::size_t) {
                              if (self->hasEnded_) return;
                              if (error) return self->End();
                              self->Told();
                          });
    }

    void Told() {
        if (!waiting_.empty()) return TellOn();
        isTelling_ = false;
        if (isEnding_) return End();
        if (std::exchange(isServerHeldBack_, false)) ReadServer();
        if (std::exchange(isHeldBack_, false)) HearOn();
    }

    void EndIfDrained() {
        if (!isDraining_ || isEnding_) return;
        if (!server_) return End();
        if (owed_ == 0 && !isSending_ && refusal_.empty()) Refuse("421 The filter ends.");
    }

    void Refuse(std::string_view text) {
        isEnding_ = true;
        Tell(fmt::format("{}\r\n", text));
    }

    void End() {
        if (hasEnded_) return;
        hasEnded_ = true;
        timer_.cancel();
        CloseSocket(*client_.socket);
        if (server_) CloseSocket(*server_);
        client_.place.Leave();
    }

    Services& services_;
    ClientSide client_;
    Target target_;
    Strand strand_;  // of the socket, which goes on to somebody else
    Timer timer_;
    std::shared_ptr<Socket> server_;
    Endpoint endpoint_;
    std::chrono::steady_clock::time_point active_;
    std::array<char, kReadAtOnce> fromClient_{};
    std::array<char, kReadAtOnce> fromServer_{};
    std::string commands_;  // of the client, not judged yet
    std::string toServer_;
    std::string refusal_;                // not told yet
    std::optional<FtpCommand> awaited_;  // sent last; its answer says how to take what follows
    std::optional<FtpJudge> judge_;      // once the server is open
    FtpReplies replies_;
    std::size_t owed_ = 1;  // answers of the server to what it was sent, and its greeting
    std::string waiting_;
    std::string toClient_;
    bool isSending_ = false;  // to the server
    bool isTelling_ = false;
    bool isSealed_ = false;      // the server agreed to TLS
    bool isOutOfOrder_ = false;  // what is heard next waits for answers
    bool isDraining_ = false;
    bool isHeldBack_ = false;        // the client, until it has read what it was told
    bool isServerHeldBack_ = false;  // the server, for the same reason
    bool isEnding_ = false;          // once the client has been told everything
    bool hasEnded_ = false;
};

}  // namespace

void StartFtpControl(Services& services, ClientSide client, const Target& target) {
    std::make_shared<FtpControl>(services, std::move(client), target)->Start();
}

void StartFtpControl(Services& services, ClientSide client, const Target& target, std::shared_ptr<Socket> server,
                     const FtpGreeting& greeting) {
    std::make_shared<FtpControl>(services, std::move(client), target)->StartWith(std::move(server), greeting);
}

}  // namespace tarn::host::serve
