#include "api/host_threads.h"

#include <atomic>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <string_view>
#include <thread>
#include <vector>

#include "smb/smb_frames.h"

namespace tarn::api {
namespace {

constexpr std::uint32_t kTick = TARN_EVENT_TICK;
constexpr std::uint32_t kDisconnect = TARN_EVENT_DISCONNECT;
constexpr std::uint32_t kLogon = TARN_EVENT_LOGON_5;
constexpr std::uint32_t kAlwaysAllowed = 8;
constexpr std::uint8_t kSharedAccount = 200;
constexpr std::uint32_t kRemoteDesktopReason = 23;

// What all threads of a load share.
struct Shared {
    const HostCalls& calls;
    std::atomic<std::size_t> blockedPages{0};  // the pages /n1 to /n<this> of the blocked host
    std::mutex mutex;
    HostReport report;
};

// One host thread: its own requests and records, and what it must be told.
class HostThread {
 public:
    HostThread(Shared& shared, std::size_t number) : shared_(shared), number_(number) {}
    ~HostThread() {
        const std::lock_guard hold(shared_.mutex);
        shared_.report.calls += own_.calls;
        shared_.report.wrong += own_.wrong;
        shared_.report.sharedTicks += own_.sharedTicks;
        if (shared_.report.firstWrong.empty()) shared_.report.firstWrong = own_.firstWrong;
    }
    HostThread(const HostThread&) = delete;
    HostThread& operator=(const HostThread&) = delete;

    void Turn(std::size_t turn) {
        turn_ = turn;
        ScanUrls();
        ScanPackets();
        FollowSmb2();
        FollowSmb1();
        LogOn();
        TickShared();
    }

 private:
    void Expect(bool right, const char* what) {
        ++own_.calls;
        if (right) return;
        ++own_.wrong;
        if (own_.firstWrong.empty())
            own_.firstWrong =
                std::string(what) + " of thread " + std::to_string(number_) + ", turn " + std::to_string(turn_);
    }
    [[nodiscard]] std::string OwnPage(const char* name) const {
        return std::string("/") + name + std::to_string(number_) + "/" + std::to_string(turn_);
    }

    bool Get(std::string_view host, std::string_view page) {
        std::string data = "GET " + std::string(page) + " HTTP/1.1\r\nHost: " + std::string(host) + "\r\n\r\n";
        ScanRequest request{};
        request.data = reinterpret_cast<std::uint8_t*>(data.data());  // the string's NUL is the spare byte
        request.dataLength = static_cast<std::uint32_t>(data.size());
        request.remoteAddress = {TARN_FAMILY_IPV4, {203, 0, 113, 5}};
        request.remotePort = 80 << 8;
        request.kind = TARN_KIND_HTTP;
        std::memset(&verdict_, 0xCD, sizeof verdict_);
        return shared_.calls.scanUrl(&request, &verdict_, &prompt_) == 1;
    }
    [[nodiscard]] bool Says(std::uint32_t allow, std::uint32_t reason) const {
        return verdict_.allow == allow && verdict_.reason == reason;
    }

    void ScanUrls() {
        Expect(Get(kWhiteHost, OwnPage("w")) && Says(1, 26), "white site");
        std::string page = OwnPage("m");
        Expect(Get(kMaliciousHost, page) && Says(0, 2) && verdict_.text.threat.url == kMaliciousHost + page,
               "malicious site");
        page = OwnPage("p");
        Expect(Get(kPhishingHost, page) && Says(0, 0) && verdict_.text.url == kPhishingHost + page, "phishing site");
        page = OwnPage("innocent");
        Expect(Get(kBlockedHost, page) && Says(0, 1) && verdict_.text.threat.url == kBlockedHost + page,
               "page that is not blocked");
        // Whatever was blocked before the scan began counts in it.
        const std::size_t blockedPages = shared_.blockedPages.load();
        if (blockedPages == 0) return;
        page = "/n" + std::to_string(1 + turn_ % blockedPages);
        Expect(Get(kBlockedHost, page) && Says(0, 22) &&
                   std::string_view(verdict_.blockedHost).find(kBlockedHost) != std::string_view::npos &&
                   std::string_view(verdict_.blockedPath) == page,
               "blocked page");
    }

    // Remote desktop, asked for by an address that is this thread's own.
    void ScanPackets() {
        const auto own = static_cast<std::uint8_t>(40 + number_);
        smb::ByteList frame = smb::MakeSegment({1, 2, 50123, 3389}, {});
        smb::PutBe(frame, 26, 0xC6336400U | own, 4);
        PacketVerdict verdict{};
        const bool handled =
            shared_.calls.scanPacket(frame.data(), static_cast<std::uint32_t>(frame.size()), 1, 1, 0, &verdict) == 1;
        Expect(handled && verdict.action == TARN_PACKET_BLOCK && verdict.reason == kRemoteDesktopReason &&
                   verdict.remoteAddress == (0x006433C6U | std::uint32_t{own} << 24) && verdict.remotePort == 50123,
               "attacker's packet");
    }

    bool ScanSmb(const smb::ByteList& frame) {
        return shared_.calls.scanSmb(frame.data(), static_cast<std::uint32_t>(frame.size()), 0, &smb_) == 1;
    }
    [[nodiscard]] bool Reports(std::u16string_view share, std::u16string_view file) const {
        return smb_.resultKind == TARN_SMB_FILE_EVENT && TextIs(&smb_.sharePath, share) && TextIs(&smb_.fileName, file);
    }
    static bool TextIs(const void* field, std::u16string_view text) {
        std::u16string expected(text);  // with its NUL
        return std::memcmp(field, expected.data(), (text.size() + 1) * sizeof(char16_t)) == 0;
    }
    [[nodiscard]] std::u16string OwnName(char16_t prefix) const {
        std::u16string name{prefix};
        for (const char digit : std::to_string(number_) + "-" + std::to_string(turn_))
            name += static_cast<char16_t>(digit);
        return name;
    }

    void FollowSmb2() {
        const smb::Smb2Keys keys{.messageId = number_ << 32 | turn_, .tree = 5, .session = number_ + 1};
        const std::u16string share = OwnName(u's');
        const std::u16string file = OwnName(u'f');
        Expect(ScanSmb(smb::FromClient(smb::Smb2TreeConnectRequest(share, keys))) &&
                   ScanSmb(smb::FromServer(smb::Smb2TreeConnectResponse(keys))) &&
                   ScanSmb(smb::FromClient(smb::Smb2CreateRequest(file, keys))) &&
                   ScanSmb(smb::FromServer(smb::Smb2CreateResponse(2, keys))) && Reports(share, file) &&
                   ScanSmb(smb::FromServer(smb::Smb2Simple(4, true, keys))) &&
                   ScanSmb(smb::FromServer(smb::Smb2Simple(2, true, keys))),
               "SMB2 conversation");
    }
    void FollowSmb1() {
        const smb::Smb1Keys keys{.mid = static_cast<std::uint16_t>(number_ << 12 | (turn_ & 0xFFF))};
        const auto client = static_cast<std::uint8_t>(60 + number_);
        const std::u16string share = OwnName(u'S');
        const std::u16string file = OwnName(u'F');
        Expect(ScanSmb(smb::FromClient(smb::Smb1TreeConnectRequest(share, keys), client)) &&
                   ScanSmb(smb::FromServer(smb::Smb1TreeConnectReply(keys), client)) &&
                   ScanSmb(smb::FromClient(smb::Smb1CreateRequest(file, keys), client)) &&
                   ScanSmb(smb::FromServer(smb::Smb1CreateReply(2, keys), client)) && Reports(share, file) &&
                   ScanSmb(smb::FromServer(smb::Smb1Simple(0x71, true, keys), client)) &&
                   ScanSmb(smb::FromServer(smb::Smb1Simple(0x74, true, keys), client)),
               "SMB1 conversation");
    }

    bool Report(std::uint32_t code, std::uint8_t account) {
        LogonEvent event{};
        event.eventCode = code;
        event.sessionId = 10U + account;
        event.sid[0] = 1;
        event.sid[1] = 1;
        event.sid[7] = 5;
        event.sid[8] = account;
        event.accountTag = 500U + account;
        event.userName[0] = static_cast<char16_t>(u'A' + account);
        std::memset(&logon_, 0xCD, sizeof logon_);
        return shared_.calls.logon(&event, &logon_) == 1 && logon_.sessionId == event.sessionId;
    }
    [[nodiscard]] bool IsRefused(std::uint8_t account) const {
        return logon_.action == 0 && logon_.sid[8] == account && logon_.accountTag == 500U + account &&
               logon_.userName[0] == static_cast<char16_t>(u'A' + account);
    }
    void LogOn() {
        const auto own = static_cast<std::uint8_t>(1 + number_);
        Expect(Report(kLogon, own) && IsRefused(own), "logon");
        Expect(Report(kAlwaysAllowed, own) && logon_.action == 1, "event that is never refused");
        Expect(Report(kDisconnect, own) && logon_.action == 1, "disconnect");
    }
    void TickShared() {
        Expect(Report(kLogon, kSharedAccount) && IsRefused(kSharedAccount), "logon of the shared account");
        Expect(Report(kTick, kSharedAccount) && IsRefused(kSharedAccount), "tick of the shared account");
        ++own_.sharedTicks;
    }

    Shared& shared_;
    const std::size_t number_;
    std::size_t turn_ = 0;
    HostReport own_;
    UrlVerdict verdict_{};
    PromptBytes prompt_{};
    SmbScanResult smb_{};
    LogonVerdict logon_{};
};

// Where all threads wait for the last one. (The barrier of this C++ library loses its waiters on Windows.)
class Meeting {
 public:
    explicit Meeting(std::size_t members) : members_(members) {}

    void Wait() {
        std::unique_lock hold(mutex_);
        const std::size_t own = number_;
        if (++arrived_ == members_) {
            arrived_ = 0;
            ++number_;
            all_.notify_all();
        } else {
            all_.wait(hold, [&] { return number_ != own; });
        }
    }

 private:
    const std::size_t members_;
    std::mutex mutex_;
    std::condition_variable all_;
    std::size_t arrived_ = 0;
    std::size_t number_ = 0;  // of the meeting that is waited for
};

void BlockPage(Shared& shared, std::size_t page) {
    IdsBlockRequest request{};
    const std::string text = "/n" + std::to_string(page) + " HTTP/1.1";
    std::memcpy(request.requestText, text.data(), text.size());
    std::memcpy(request.hostName, kBlockedHost, std::strlen(kBlockedHost));
    if (shared.calls.blockAddress(&request) == 1) shared.blockedPages = page;
}

}  // namespace

HostReport RunHostThreads(const HostCalls& calls, const HostLoad& load) {
    constexpr std::size_t kPages = 2000;  // blocked at most, so that a long load keeps asking a table of one size
    Shared shared{calls, {}, {}, {}};
    std::atomic<bool> goOn{true};
    // Twice in a round: the scans have stopped; the change is made.
    Meeting meeting(kHostThreads + 2);
    std::vector<std::thread> threads;
    for (std::size_t number = 0; number < kHostThreads; ++number)
        threads.emplace_back([&, number] {
            HostThread thread(shared, number);
            for (std::size_t turn = 1; goOn;) {
                for (std::size_t i = 0; i < load.turns; ++i) thread.Turn(turn++);
                meeting.Wait();
                meeting.Wait();
            }
        });
    threads.emplace_back([&] {
        for (std::size_t page = 1; goOn;) {
            for (std::size_t i = 0; i < load.turns && page <= kPages; ++i) BlockPage(shared, page++);
            meeting.Wait();
            meeting.Wait();
        }
    });
    for (std::size_t round = 0; goOn; ++round) {
        meeting.Wait();
        goOn = load.between(round);
        meeting.Wait();
    }
    for (std::thread& thread : threads) thread.join();
    return shared.report;
}

HostReport RunOneTurn(const HostCalls& calls, std::size_t turn) {
    Shared shared{calls, {}, {}, {}};
    BlockPage(shared, 1);
    {
        HostThread thread(shared, turn % kHostThreads);
        thread.Turn(turn);
    }  // which reports at its end
    return shared.report;
}

}  // namespace tarn::api
