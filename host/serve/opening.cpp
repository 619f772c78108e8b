#include "host/serve/opening.h"

#include <algorithm>
#include <iterator>

#include "host/serve/first_bytes.h"
#include "host/serve/ftp_control.h"
#include "host/serve/ftp_data.h"
#include "host/serve/ftp_line.h"
#include "host/serve/http_proxy.h"
#include "host/serve/named_server.h"
#include "host/serve/tunnel.h"
#include "host/serve/watched_connect.h"

namespace tarn::host::serve {

namespace {

constexpr std::size_t kReadAtOnce = 4096;
// "access denied" (RFC 8446, 6.2), so that a browser gives up at once.
constexpr std::uint8_t kAccessDenied[] = {21, 3, 3, 0, 2, 2, 49};
// Browsers open connections to these before they have anything to say; their servers never speak first.
constexpr std::uint16_t kSilentPorts[] = {80, 443, 3000, 8000, 8008, 8080, 8443, 8888};
// Of servers that speak nothing but HTTP/1.
constexpr std::uint16_t kWebPorts[] = {80, 8080};

constexpr std::uint64_t kOffered = 0;  // a transfer was judged when it was offered: at any time since the start
constexpr std::string_view kNoHttp = "on this port a web server could take it for a request, which is not judged";
constexpr std::string_view kLate = "it may become a request or a hello, and was not whole in time";
constexpr std::string_view kUnexpected = "a server that speaks first takes no such beginning";

std::vector<std::uint8_t> HelloIn(base::Bytes said) {
    return JoinHello(said.subspan(LeadingLineEnds(said)));
}

class Opening : public Connection, public std::enable_shared_from_this<Opening> {
 public:
    Opening(Services& services, ClientSide client, Target target)
        : services_(services),
          client_(std::move(client)),
          target_(std::move(target)),
          strand_(client_.socket->get_executor()),
          timer_(strand_),
          begin_(std::chrono::steady_clock::now()) {}

    void Start() {
        client_.place.Belong(shared_from_this());
        services_.upstream.Resolve(target_, client_.client, client_.socket->get_executor(),
                                   [self = shared_from_this()](Resolved resolved) {
                                       self->resolved_ = std::move(resolved);
                                       self->TakeOffer();
                                       self->Listen();
                                   });
    }

    void Drain() override { Close(); }
    void Close() override {
        asio::post(strand_, [self = shared_from_this()] { self->End(); });
    }

 private:
    [[nodiscard]] bool IsSilentPort() const {
        return std::find(std::begin(kSilentPorts), std::end(kSilentPorts), target_.port) != std::end(kSilentPorts);
    }

    [[nodiscard]] NamedServer Server() const {
        return {target_, resolved_.endpoints, client_.client, client_.processId};
    }

    // A transfer that an FTP server offered belongs to a command that was judged, and to the host of its session. The
    // server may speak first there; what the client says is judged nevertheless.
    void TakeOffer() {
        for (const Endpoint server : resolved_.endpoints) {
            auto host = services_.ftpData->Take(client_.client.address, server, target_.host);
            if (!host) continue;
            isTransfer_ = true;
            target_.host = std::move(*host);
            resolved_.endpoints = {server};
            return;
        }
    }

    void Listen() {
        if (hasEnded_) return;
        isLate_ = false;
        if (resolved_.isForbidden) return End();
        const Speech speech = Recognise(client_.said);
        if (speech != Speech::kMore) return Hear(speech);
        if (client_.said.size() >= kMostHello) return End();  // line ends, and no end of them
        if (isTransfer_ && client_.said.empty()) return HearNoMore();
        if (!IdleSince()) BeIdle();
        const auto& settings = services_.settings;
        if (!client_.said.empty())
            timer_.expires_at(begin_ + settings.head);
        else if (IsSilentPort())
            timer_.expires_after(settings.idle);
        else
            timer_.expires_after(settings.silence);
        timer_.async_wait([self = shared_from_this()](ErrorCode error) {
            if (error || self->hasEnded_ || std::chrono::steady_clock::now() < self->timer_.expiry()) return;
            self->isLate_ = true;
            self->client_.socket->cancel();
        });
        const std::size_t there = client_.said.size();
        client_.said.resize(there + kReadAtOnce);
        client_.socket->async_read_some(asio::buffer(client_.said.data() + there, kReadAtOnce),
                                        [self = shared_from_this(), there](ErrorCode error, std::size_t count) {
                                            self->timer_.cancel();
                                            self->client_.said.resize(there + count);
                                            if (self->hasEnded_) return;
                                            if (there == 0 && count != 0)
                                                self->begin_ = std::chrono::steady_clock::now();
                                            if (count != 0) return self->Listen();
                                            if (self->isLate_) return self->HearNoMore();
                                            (void)error;
                                            self->End();
                                        });
    }

    void HearNoMore() {
        isLate_ = false;
        BeBusy();
        if (!client_.said.empty()) return RefuseLate();
        if (IsSilentPort()) return End();
        client_.judgedAt = isTransfer_ ? kOffered : services_.filter.Changes();
        // A transfer that an FTP server offered belongs to a command that was judged.
        if (!isTransfer_ && !NameMayPass(services_.filter, Speech::kOther, Server())) return End();
        Connect([self = shared_from_this()](std::shared_ptr<Socket> server) {
            StartTunnel(self->services_, self->Release(), std::move(server), {},
                        QuestionAbout(self->services_.filter, self->Server(), {}, Speech::kOther),
                        self->InspectionOfClient());
        });
    }

    // What was begun may still become a request or a hello, and would do so unseen if it went on.
    void RefuseLate() {
        const bool isTls = BeginsLikeHello(client_.said);
        JudgeName(services_.filter, Server(),
                  Unread{isTls ? Unexamined::kHelloSplit : Unexamined::kUnknownProtocol, kLate});
        Refuse(isTls);
    }

    // By what it was judged the first time: its hello, or the name of its server alone.
    static IsBlockedNow QuestionAbout(Filter& filter, NamedServer server, base::Bytes said, Speech speech) {
        if (!IsTls(speech)) return NameAgain(filter, std::move(server));
        return HelloAgain(filter, std::move(server), HelloIn(said), speech == Speech::kTlsCut);
    }

    // The server may speak, and what the client says then is judged nevertheless.
    Inspection InspectionOfClient() {
        Services& services = services_;
        const Target target = target_;
        Inspection inspection;
        const auto greeting = std::make_shared<FtpGreeting>();
        // Where a transfer waits the client may send a file that looks like commands.
        inspection.judge = [&services, server = Server(), isTransfer = isTransfer_](
                               base::Bytes said, std::string_view heard, IsBlockedNow& isBlockedNow) {
            const Speech speech = Recognise(said);
            if (speech == Speech::kMore) return Held::kMore;
            if (speech == Speech::kHttp && heard.empty()) return Held::kTakeOver;
            if (speech == Speech::kOther && (!isTransfer || !heard.empty()) && SpeaksFtp(heard, base::TextOf(said))) {
                return Held::kTakeBoth;
            }
            // A server that greets in plain text takes no hello before a command; what stands behind it it would take.
            if (!heard.empty() && (speech == Speech::kHttp || IsTls(speech))) {
                const Unread unread{Unexamined::kUnknownProtocol, kUnexpected};
                if (IsTls(speech))
                    JudgeHello(services.filter, server, HelloIn(said), speech == Speech::kTlsCut, unread);
                else
                    JudgeName(services.filter, server, unread);
                return Held::kRefuse;
            }
            if (!MayPass(services.filter, speech, said, server, true)) return Held::kRefuse;
            isBlockedNow = QuestionAbout(services.filter, server, said, speech);
            return Held::kPass;
        };
        inspection.listen = [greeting](std::string_view said) {
            greeting->replies.Read(said, [&](std::string_view, bool endsAnswer) {
                greeting->hasEnded = greeting->hasEnded || endsAnswer;
            });
        };
        inspection.takeOver = [&services, target](ClientSide side) { StartHttp(services, std::move(side), target); };
        inspection.takeBoth = [&services, target, greeting](ClientSide side, std::shared_ptr<Socket> server,
                                                            const std::vector<std::uint8_t>& serverSaid) {
            greeting->held.assign(serverSaid.begin(), serverSaid.end());
            StartFtpControl(services, std::move(side), target, std::move(server), *greeting);
        };
        return inspection;
    }

    static bool IsTls(Speech speech) { return speech == Speech::kTls || speech == Speech::kTlsCut; }

    // isJudged: the name was judged, as that of a protocol that is not known.
    static bool MayPass(Filter& filter, Speech speech, base::Bytes said, const NamedServer& server, bool isJudged) {
        if (IsTls(speech)) return !JudgeHello(filter, server, HelloIn(said), speech == Speech::kTlsCut).isBlocked;
        return (isJudged && speech != Speech::kHttp2) || NameMayPass(filter, speech, server);
    }

    // What a web server would take for a request nevertheless is not judged.
    static bool NameMayPass(Filter& filter, Speech speech, const NamedServer& server) {
        const bool isWeb =
            std::find(std::begin(kWebPorts), std::end(kWebPorts), server.target.port) != std::end(kWebPorts);
        const Unexamined kind = speech == Speech::kHttp2 ? Unexamined::kHttp2 : Unexamined::kUnknownProtocol;
        return !JudgeName(filter, server, Unread{kind, isWeb ? kNoHttp : std::string_view()}).isBlocked;
    }

    void Hear(Speech speech) {
        BeBusy();
        if (speech == Speech::kHttp) {
            Services& services = services_;
            const Target target = target_;
            return StartHttp(services, Release(), target);
        }
        if (speech == Speech::kOther && !isTransfer_ && SpeaksFtp({}, base::TextOf(client_.said))) {
            Services& services = services_;
            const Target target = target_;
            return StartFtpControl(services, Release(), target);
        }
        client_.judgedAt = isTransfer_ ? kOffered : services_.filter.Changes();
        if (!MayPass(services_.filter, speech, client_.said, Server(), isTransfer_)) return Refuse(IsTls(speech));
        const std::vector<std::uint8_t> judged = client_.said;
        const auto start = [self = shared_from_this(), speech, judged](std::shared_ptr<Socket> server) {
            auto isBlockedNow = QuestionAbout(self->services_.filter, self->Server(), judged, speech);
            StartTunnel(self->services_, self->Release(), std::move(server), {}, std::move(isBlockedNow));
        };
        // A client that brings a file over FTP may end its side at once.
        if (isTransfer_) return Connect(start);
        ConnectWatching(services_.upstream, resolved_.endpoints, client_.socket, kMostHello,
                        [self = shared_from_this(), start](WatchedConnection connected) {
                            if (self->hasEnded_) return;
                            if (!connected.server) return self->End();
                            std::vector<std::uint8_t>& said = self->client_.said;
                            said.insert(said.end(), connected.said.begin(), connected.said.end());
                            self->client_.hasEnded = connected.hasClientEnded;
                            start(std::move(connected.server));
                        });
    }

    void Connect(std::function<void(std::shared_ptr<Socket>)> call) {
        services_.upstream.Connect(resolved_.endpoints, client_.socket->get_executor(),
                                   [self = shared_from_this(), call = std::move(call)](std::shared_ptr<Socket> server,
                                                                                       Endpoint, const std::string&) {
                                       if (self->hasEnded_) return;
                                       if (!server) return self->End();
                                       call(std::move(server));
                                   });
    }

    ClientSide Release() {
        timer_.cancel();
        hasEnded_ = true;
        return std::move(client_);
    }

    void Refuse(bool isTls) {
        if (!isTls) return End();
        asio::async_write(*client_.socket, asio::buffer(kAccessDenied),
                          [self = shared_from_this()](ErrorCode, std::size_t) { self->End(); });
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
    Target target_;
    Resolved resolved_;
    Strand strand_;  // of the socket, which goes on to somebody else
    Timer timer_;
    std::chrono::steady_clock::time_point begin_;
    bool isTransfer_ = false;  // of a session of FTP
    bool isLate_ = false;
    bool hasEnded_ = false;
};

}  // namespace

void StartOpening(Services& services, ClientSide client, Target target) {
    if (IsFtpPort(target.port)) return StartFtpControl(services, std::move(client), target);
    std::make_shared<Opening>(services, std::move(client), std::move(target))->Start();
}

}  // namespace tarn::host::serve
