// A server on ports of its own whose library is a test's: it blocks what holds one of the given texts.
// The test's thread owns it; the library may be asked by any thread.
#ifndef TARN_TESTS_SERVE_RUNNING_SERVER_H
#define TARN_TESTS_SERVE_RUNNING_SERVER_H

#include <condition_variable>
#include <memory>
#include <stdexcept>

#include "host/fake_environment.h"
#include "host/serve/server.h"
#include "serve/loopback.h"

namespace tarn::host::serve {

class TextLibrary : public host::Judge {
 public:
    explicit TextLibrary(std::vector<std::string> blocked = {"blocked"}) : blocked_(std::move(blocked)) {}

    Judgement ScanUrl(std::uint8_t kind, base::Bytes data, const Endpoint& server) override {
        return ScanConnection({kind, data, {}, server, 0});
    }
    Judgement ScanConnection(const ConnectionData& connection) override {
        const std::string text(connection.data.begin(), connection.data.end());
        std::unique_lock lock(mutex_);
        asked_.push_back({connection.kind, text, connection.server});
        if (isAnswerSlow) lock.unlock();
        if (answer) return answer(connection);
        if (text.find("internal-error") != std::string::npos) throw std::runtime_error("made by the test");
        if (text.find("no-verdict") != std::string::npos) return {};
        for (const std::string& one : blocked_)
            if (text.find(one) != std::string::npos) return FakeLibrary::Malicious("Test.Threat", "");
        return FakeLibrary::Allowed();
    }
    PacketVerdict ScanPacket(base::Bytes, std::uint16_t, bool) override { return FakeLibrary::Harmless(); }
    std::optional<SmbScanResult> ScanSmb(base::Bytes, bool) override { return std::nullopt; }
    bool DropConnection(base::Bytes) override { return false; }
    void BlockAddress(const std::string&, const std::string&) override {}

    std::vector<ScannedUrl> Asked() {
        const std::lock_guard lock(mutex_);
        return asked_;
    }
    // Before the first connection: answers instead of the texts.
    std::function<Judgement(const ConnectionData&)> answer;
    bool isAnswerSlow = false;  // several threads may be in answer at once
    void Block(const std::string& text) {
        const std::lock_guard lock(mutex_);
        blocked_.push_back(text);
    }

 private:
    std::mutex mutex_;
    std::vector<std::string> blocked_;
    std::vector<ScannedUrl> asked_;
};

inline ServeSettings TestSettings() {
    ServeSettings settings;
    settings.proxy = ParseEndpoint("127.0.0.1:0");
    for (const char* name : {"site.example", "blocked.example", "other.example", "internal-error.example",
                             "no-verdict.example", "mixed.example"})
        settings.hosts[name] = *ParseIpAddress("127.0.0.1");
    settings.drain = kTestLimit;
    settings.silence = kTestLimit;
    settings.threads = 2;
    return settings;
}

inline ServeSettings RefusingSettings() {
    ServeSettings settings = TestSettings();
    settings.refusesUnknown = true;
    return settings;
}

// For clients that let the server speak first. With the others a test that is held up for a moment would count as one.
inline ServeSettings SilentClientSettings() {
    ServeSettings settings = TestSettings();
    settings.silence = std::chrono::seconds(1);
    return settings;
}

// A table of connections that knows no client, as on a machine whose programs are all outside of the system.
inline bool ReadNobody(std::vector<OwnedConnection>&) {
    return true;
}

class RunningServer {
 public:
    explicit RunningServer(
        const ServeSettings& settings = TestSettings(), ReadConnections read = ReadNobody,
        KnowsUser knowsUser = [](std::uint32_t) { return true; })
        : settings_(settings),
          recording_(hub_.Subscribe([this](const std::string& line) { Record(line); })),
          filter_({library, hub_, settings_, {}, [] { return TarnSystemTime{}; }}),
          server_(std::make_unique<Server>(filter_, settings_, std::move(read), std::move(knowsUser))) {
        std::string mistake;
        EXPECT_TRUE(server_->Start(mistake)) << mistake;
    }

    [[nodiscard]] std::uint16_t Port() const { return server_->Listening().proxy->port; }
    [[nodiscard]] Filter& TheFilter() { return filter_; }
    [[nodiscard]] Server& TheServer() { return *server_; }
    std::vector<nlohmann::json> Events(const char* type) {
        const std::lock_guard lock(mutex_);
        std::vector<nlohmann::json> found;
        for (const auto& event : events_)
            if (event["type"] == type) found.push_back(event);
        return found;
    }
    // Waits for so many events of that type.
    bool HasEvents(const char* type, std::size_t count) {
        std::unique_lock lock(mutex_);
        return recorded_.wait_for(lock, kTestLimit, [&] {
            return static_cast<std::size_t>(std::count_if(events_.begin(), events_.end(), [&](const auto& event) {
                       return event["type"] == type;
                   })) >= count;
        });
    }

    TextLibrary library;

 private:
    void Record(const std::string& line) {
        const std::lock_guard lock(mutex_);
        events_.push_back(nlohmann::json::parse(line));
        recorded_.notify_all();
    }

    ServeSettings settings_;
    std::mutex mutex_;
    std::condition_variable recorded_;
    std::vector<nlohmann::json> events_;
    EventHub hub_;
    EventHub::Subscription recording_;
    Filter filter_;
    std::unique_ptr<Server> server_;
};

inline std::string Get(const std::string& host, std::uint16_t port, const std::string& path = "/") {
    const std::string authority = host + ":" + std::to_string(port);
    return "GET http://" + authority + path + " HTTP/1.1\r\nHost: " + authority + "\r\n\r\n";
}

}  // namespace tarn::host::serve

#endif
